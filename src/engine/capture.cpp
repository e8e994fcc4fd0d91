#include "engine/capture.h"

namespace capture {

void firstChannel(const float* interleaved, qsizetype frames, qsizetype channels, QList<float>& out)
{
    out.resize(frames);
    float* to = out.data();
    for (qsizetype i = 0; i < frames; ++i)
        to[i] = interleaved[i * channels];
}

} // namespace capture
