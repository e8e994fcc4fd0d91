#pragma once

#include <QtGlobal>

/// Inner loops over samples. Any thread; nothing is allocated. NaN samples count
/// as if they were not there; a stretch without any sample ranges from 0 to 0.
/// Results do not depend on the processor.
namespace sample_kernels {

/// One level per pixel column, in arrays of their own.
struct Levels {
    float* minimum;
    float* maximum;
};

/// Smallest and largest of each `blockFrames` samples for `blocks` whole blocks.
void summariseBlocks(const float* samples, qint64 blocks, qint64 blockFrames, Levels levels);

/// Smallest and largest of one stretch of `count` samples.
void summariseStretch(const float* samples, qint64 count, float& minimum, float& maximum);

/// Per column c: smallest and largest of the `counts[c]` samples from
/// `begins[c]` on, and the sum of their squares, added up in single precision
/// in the order of the samples. A count below 1 is an empty stretch.
void reduceColumns(const float* samples, const qint64* begins, const qint64* counts, int columns,
                   Levels levels, float* sumsOfSquares);

/// Per column c: smallest of `minima` and largest of `maxima` over the
/// `counts[c]` blocks from `begins[c]` on.
void reducePeaks(const float* minima, const float* maxima, const qint64* begins,
                 const qint64* counts, int columns, Levels levels);

} // namespace sample_kernels
