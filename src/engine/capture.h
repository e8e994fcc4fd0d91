#pragma once

#include "project/track.h"

#include <QList>

/// What the record pump does with a chunk of captured samples.
namespace capture {

/// Appends `frames` interleaved frames of the track's own channel count to the
/// track, whose channel lists are first made as many as its channels. The lists
/// grow in place by doubling (the allocator remaps large blocks), so appending
/// to a long take does not copy it as long as nobody else shares its lists.
void append(Track& track, const float* interleaved, qsizetype frames);

/// Fills `out` with the first channel of each of `frames` interleaved frames.
void firstChannel(const float* interleaved, qsizetype frames, qsizetype channels,
                  QList<float>& out);

} // namespace capture
