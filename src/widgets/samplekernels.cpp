#include "widgets/samplekernels.h"

#include "project/kernelclones.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace sample_kernels {

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr int kLanes = 8;   // floats of one vector
constexpr int kVectors = 4; // enough at once to hide each operation's latency
constexpr int kColumnsAtOnce = 2 * kLanes;
constexpr qint64 kStride = qint64{kLanes} * kVectors;

using Vector = float __attribute__((vector_size(kLanes * sizeof(float))));

// Vectors go by reference: by value, their passing would depend on the processor.
#define VELA_ALWAYS_INLINE [[gnu::always_inline]] inline

VELA_ALWAYS_INLINE void load(Vector& vector, const float* from)
{
    std::memcpy(&vector, from, sizeof vector);
}

// A comparison with NaN is false: the level found so far stays.
template <typename T>
VELA_ALWAYS_INLINE void lower(T& level, const T& value)
{
    level = value < level ? value : level;
}

template <typename T>
VELA_ALWAYS_INLINE void raise(T& level, const T& value)
{
    level = value > level ? value : level;
}

/// Lane 0 becomes the lowest of all lanes of `low` and the highest of `high`.
VELA_ALWAYS_INLINE void foldLanes(Vector& low, Vector& high)
{
    lower(low, Vector(__builtin_shufflevector(low, low, 4, 5, 6, 7, 0, 1, 2, 3)));
    raise(high, Vector(__builtin_shufflevector(high, high, 4, 5, 6, 7, 0, 1, 2, 3)));
    lower(low, Vector(__builtin_shufflevector(low, low, 2, 3, 0, 1, 6, 7, 4, 5)));
    raise(high, Vector(__builtin_shufflevector(high, high, 2, 3, 0, 1, 6, 7, 4, 5)));
    lower(low, Vector(__builtin_shufflevector(low, low, 1, 0, 3, 2, 5, 4, 7, 6)));
    raise(high, Vector(__builtin_shufflevector(high, high, 1, 0, 3, 2, 5, 4, 7, 6)));
}

VELA_ALWAYS_INLINE void store(Levels levels, qint64 index, float minimum, float maximum)
{
    const bool any = minimum <= maximum;
    levels.minimum[index] = any ? minimum : 0.0F;
    levels.maximum[index] = any ? maximum : 0.0F;
}

/// Extremes of a stretch, started at ±infinity. Where `lows` and `highs` are
/// the same array, each value is loaded once.
VELA_ALWAYS_INLINE void extremes(const float* lows, const float* highs, qint64 count,
                                 float& minimum, float& maximum)
{
    minimum = kInfinity;
    maximum = -kInfinity;
    if (count < kLanes) {
        for (qint64 i = 0; i < count; ++i) {
            lower(minimum, lows[i]);
            raise(maximum, highs[i]);
        }
        return;
    }
    Vector low[kVectors];
    Vector high[kVectors];
    for (int v = 0; v < kVectors; ++v) {
        low[v] = Vector{} + kInfinity;
        high[v] = Vector{} - kInfinity;
    }
    Vector value;
    qint64 i = 0;
    for (; i + kStride <= count; i += kStride) {
        for (int v = 0; v < kVectors; ++v) {
            const qint64 from = i + qint64{v} * kLanes;
            load(value, lows + from);
            lower(low[v], value);
            load(value, highs + from);
            raise(high[v], value);
        }
    }
    // The last vector may overlap what was seen: that changes no extreme.
    for (; i < count; i += kLanes) {
        const qint64 from = std::min<qint64>(i, count - kLanes);
        load(value, lows + from);
        lower(low[0], value);
        load(value, highs + from);
        raise(high[0], value);
    }
    for (int v = 1; v < kVectors; ++v) {
        lower(low[0], low[v]);
        raise(high[0], high[v]);
    }
    foldLanes(low[0], high[0]);
    minimum = low[0][0];
    maximum = high[0][0];
}

/// Rows of eight columns → one vector per sample position.
VELA_ALWAYS_INLINE void transpose(Vector (&r)[kLanes])
{
    Vector t[kLanes];
    for (int i = 0; i < kLanes; i += 2) {
        t[i] = __builtin_shufflevector(r[i], r[i + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        t[i + 1] = __builtin_shufflevector(r[i], r[i + 1], 2, 10, 3, 11, 6, 14, 7, 15);
    }
    Vector u[kLanes];
    for (int half = 0; half < kLanes; half += 4) {
        for (int i = 0; i < 2; ++i) {
            const Vector& a = t[half + i];
            const Vector& b = t[half + i + 2];
            u[half + 2 * i] = __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
            u[half + 2 * i + 1] = __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
        }
    }
    for (int i = 0; i < 4; ++i) {
        r[i] = __builtin_shufflevector(u[i], u[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        r[i + 4] = __builtin_shufflevector(u[i], u[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

/// Eight columns side by side, one lane each, so that every column's squares
/// are added in order and yet eight additions run at once.
struct ColumnGroup {
    Vector sum;

    /// The next eight samples of each column, `offset` after its begin.
    VELA_ALWAYS_INLINE void add(const float* samples, const qint64* begins, qint64 offset)
    {
        Vector rows[kLanes];
        for (int lane = 0; lane < kLanes; ++lane)
            load(rows[lane], samples + begins[lane] + offset);
        transpose(rows);
        for (const Vector& row : rows)
            sum += row * row;
    }
};

/// What `reduceColumns` is asked for.
struct ColumnJob {
    const float* samples;
    const qint64* begins;
    const qint64* counts;
    Levels levels;
    float* sums;
};

/// Adds the squares of a column from its sample `done` on to the sum so far.
VELA_ALWAYS_INLINE float addSquares(const ColumnJob& job, int column, qint64 done, float sum)
{
    const float* const stretch = job.samples + job.begins[column];
    for (qint64 i = done; i < job.counts[column]; ++i)
        sum += stretch[i] * stretch[i];
    return sum;
}

/// Two groups in turn: one is transposed while the other's sums wait. Sixteen
/// columns read side by side are no stream that the processor would foresee, so
/// their first samples are looked at in order of memory, extremes and all.
VELA_ALWAYS_INLINE void reduceSixteenColumns(const ColumnJob& job, int column)
{
    float minimum[kColumnsAtOnce];
    float maximum[kColumnsAtOnce];
    for (int i = 0; i < kColumnsAtOnce; ++i) {
        const float* const stretch = job.samples + job.begins[column + i];
        extremes(stretch, stretch, job.counts[column + i], minimum[i], maximum[i]);
    }
    qint64 common = job.counts[column];
    for (int i = 1; i < kColumnsAtOnce; ++i)
        common = std::min(common, job.counts[column + i]);
    ColumnGroup groups[2]{};
    qint64 done = 0;
    for (; done + kLanes <= common; done += kLanes) {
        groups[0].add(job.samples, job.begins + column, done);
        groups[1].add(job.samples, job.begins + column + kLanes, done);
    }
    for (int i = 0; i < kColumnsAtOnce; ++i) {
        store(job.levels, column + i, minimum[i], maximum[i]);
        const float sum = groups[i / kLanes].sum[i % kLanes];
        job.sums[column + i] = addSquares(job, column + i, done, sum);
    }
}

} // namespace

VELA_KERNEL_CLONES void summariseBlocks(const float* samples, qint64 blocks, qint64 blockFrames,
                                        Levels levels)
{
    for (qint64 block = 0; block < blocks; ++block) {
        const float* const from = samples + block * blockFrames;
        float minimum = 0;
        float maximum = 0;
        extremes(from, from, blockFrames, minimum, maximum);
        store(levels, block, minimum, maximum);
    }
}

void summariseStretch(const float* samples, qint64 count, float& minimum, float& maximum)
{
    summariseBlocks(samples, 1, count, {&minimum, &maximum});
}

VELA_KERNEL_CLONES void reduceColumns(const float* samples, const qint64* begins,
                                      const qint64* counts, int columns, Levels levels,
                                      float* sumsOfSquares)
{
    const ColumnJob job{samples, begins, counts, levels, sumsOfSquares};
    int column = 0;
    for (; column + kColumnsAtOnce <= columns; column += kColumnsAtOnce)
        reduceSixteenColumns(job, column);
    for (; column < columns; ++column) {
        float minimum = 0;
        float maximum = 0;
        const float* const stretch = samples + begins[column];
        extremes(stretch, stretch, counts[column], minimum, maximum);
        store(levels, column, minimum, maximum);
        sumsOfSquares[column] = addSquares(job, column, 0, 0.0F);
    }
}

VELA_KERNEL_CLONES void reducePeaks(const float* minima, const float* maxima, const qint64* begins,
                                    const qint64* counts, int columns, Levels levels)
{
    for (int column = 0; column < columns; ++column) {
        float minimum = 0;
        float maximum = 0;
        extremes(minima + begins[column], maxima + begins[column], counts[column], minimum,
                 maximum);
        store(levels, column, minimum, maximum);
    }
}

} // namespace sample_kernels
