#include "engine/capture.h"

namespace capture {

void append(Track& track, const float* interleaved, qsizetype frames)
{
    const qsizetype channels = track.channels;
    track.samples.resize(channels);
    for (qsizetype c = 0; c < channels; ++c) {
        QList<float>& channel = track.samples[c];
        const qsizetype before = channel.size();
        channel.resize(before + frames);
        float* out = channel.data() + before;
        for (qsizetype i = 0; i < frames; ++i)
            out[i] = interleaved[i * channels + c];
    }
}

void firstChannel(const float* interleaved, qsizetype frames, qsizetype channels, QList<float>& out)
{
    out.resize(frames);
    float* to = out.data();
    for (qsizetype i = 0; i < frames; ++i)
        to[i] = interleaved[i * channels];
}

} // namespace capture
