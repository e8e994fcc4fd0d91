#pragma once

#include <QList>

/// What the record pump does with a chunk of captured samples but append it.
namespace capture {

/// Fills `out` with the first channel of each of `frames` interleaved frames.
void firstChannel(const float* interleaved, qsizetype frames, qsizetype channels,
                  QList<float>& out);

} // namespace capture
