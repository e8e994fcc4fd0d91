#include "engine/mixer.h"

#include "project/kernelclones.h"

#include <algorithm>
#include <array>
#include <utility>

namespace mixer {

namespace {

/// Tracks whose sums share one pass over the accumulator: enough to hide its
/// loads and stores, few enough for the registers.
constexpr std::size_t kTracksPerPass = 4;

/// The part of one source channel that falls into the block.
struct Span {
    const float* samples = nullptr;
    qsizetype first = 0; ///< block frame of samples[0]
    qsizetype count = 0;

    [[nodiscard]] bool coversBlock() const { return first == 0 && count == kBlockFrames; }
};

Span clipToBlock(const QList<float>& channel, qint64 position, qint64 trackLength)
{
    const qint64 length = std::min<qint64>(channel.size(), trackLength);
    if (position >= length || position <= -kBlockFrames)
        return {};
    const qint64 first = std::max<qint64>(position, 0);
    const qint64 last = std::min(position + kBlockFrames, length);
    if (last <= first)
        return {};
    return {channel.constData() + first, first - position, last - first};
}

VELA_KERNEL_CLONES
void addOne(double* __restrict sum, const float* __restrict samples, qsizetype count)
{
    for (qsizetype i = 0; i < count; ++i)
        sum[i] += static_cast<double>(samples[i]);
}

/// The additions keep the tracks' order, so the result is the same to the bit
/// as one pass for each.
VELA_KERNEL_CLONES
void addFour(double* __restrict sum, const float* a, const float* b, const float* c, const float* d)
{
    for (qsizetype i = 0; i < kBlockFrames; ++i) {
        sum[i] = (((sum[i] + static_cast<double>(a[i])) + static_cast<double>(b[i])) +
                  static_cast<double>(c[i])) +
                 static_cast<double>(d[i]);
    }
}

/// Sums one side of the block. Sources that cover the whole block wait here
/// until four of them can be added at once; any other source flushes first.
class SideSum {
public:
    explicit SideSum(double* accumulator)
        : m_sum(accumulator)
    {
    }

    void add(const Span& span)
    {
        if (span.count == 0)
            return;
        if (!span.coversBlock()) {
            flush();
            addOne(m_sum + span.first, span.samples, span.count);
            return;
        }
        m_waiting[m_count++] = span.samples;
        if (m_count == kTracksPerPass) {
            addFour(m_sum, m_waiting[0], m_waiting[1], m_waiting[2], m_waiting[3]);
            m_count = 0;
        }
    }

    void flush()
    {
        for (std::size_t i = 0; i < m_count; ++i)
            addOne(m_sum, m_waiting[i], kBlockFrames);
        m_count = 0;
    }

private:
    double* m_sum;
    std::array<const float*, kTracksPerPass> m_waiting{};
    std::size_t m_count = 0;
};

VELA_KERNEL_CLONES
void clipSide(double* __restrict samples, float* __restrict out)
{
    for (qsizetype i = 0; i < kBlockFrames; ++i) {
        double value = samples[i];
        value = value > 1.0 ? 1.0 : value;
        value = value < -1.0 ? -1.0 : value;
        samples[i] = value;
        out[i] = static_cast<float>(value);
    }
}

} // namespace

void sumTracks(const VelaProject& project, qint64 position, double* planar)
{
    std::fill_n(planar, kBlockSamples, 0.0);
    const bool anySolo = std::any_of(project.tracks.cbegin(), project.tracks.cend(),
                                     [](const TrackHandle& track) { return track->solo; });
    SideSum left(planar);
    SideSum right(planar + kBlockFrames);
    for (const TrackHandle& handle : project.tracks) {
        const Track& track = *handle;
        const bool sounds = anySolo ? track.solo : !track.muted;
        if (!sounds || track.channels < 1 || track.samples.isEmpty())
            continue;
        const qint64 length = track.length();
        const bool mono = track.channels == 1 || track.samples.size() == 1;
        left.add(clipToBlock(track.samples[0], position, length));
        right.add(clipToBlock(track.samples[mono ? 0 : 1], position, length));
    }
    left.flush();
    right.flush();
}

void clipBlock(double* planar, float* left, float* right)
{
    clipSide(planar, left);
    clipSide(planar + kBlockFrames, right);
}

} // namespace mixer
