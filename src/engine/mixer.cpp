#include "engine/mixer.h"

#include "project/kernelclones.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

namespace mixer {

namespace {

/// Channels that share one pass over the sum: as many streams as the memory
/// system keeps up with, so that the sum is loaded and stored seldom.
constexpr std::size_t kChannelsPerPass = 8;

enum class Stage {
    Only = 3,   ///< begins the sum and finishes it
    First = 1,  ///< begins the sum
    Middle = 0, ///< adds to the sum
    Last = 2,   ///< adds to the sum and finishes it
};

constexpr bool begins(Stage stage)
{
    return stage == Stage::First || stage == Stage::Only;
}

constexpr bool finishes(Stage stage)
{
    return stage == Stage::Last || stage == Stage::Only;
}

/// One side of the block.
struct Side {
    double* sum;
    float* out; ///< written when the sum is finished
};

/// Loops of their own: each becomes a single vector instruction an element.
[[gnu::always_inline]] inline void clip(Side side)
{
    double* __restrict sum = side.sum;
    float* __restrict out = side.out;
    for (qsizetype i = 0; i < kBlockFrames; ++i)
        sum[i] = 1.0 < sum[i] ? 1.0 : sum[i];
    for (qsizetype i = 0; i < kBlockFrames; ++i) {
        const double value = sum[i];
        out[i] = static_cast<float>(-1.0 > value ? -1.0 : value);
        sum[i] = -1.0 > value ? -1.0 : value;
    }
}

/// Adds the first `kCount` channels, one after the other, which makes the result
/// the same to the bit as one pass for each. Whether anything must be clipped is
/// found out on the way, for mostly nothing must.
template <std::size_t kCount, Stage kStage>
[[gnu::always_inline]] inline void pass(Side side, const float* const* channels)
{
    double* __restrict sum = side.sum;
    float* __restrict out = side.out;
    std::array<const float*, kCount> in{};
    std::copy_n(channels, kCount, in.begin());
    qint64 exceeds = 0;
    for (qsizetype i = 0; i < kBlockFrames; ++i) {
        double value = begins(kStage) ? 0.0 : sum[i];
        for (const float* channel : in)
            value += static_cast<double>(channel[i]);
        sum[i] = value;
        if constexpr (finishes(kStage)) {
            out[i] = static_cast<float>(value);
            // The square of a number just above 1 does not round to 1.
            exceeds |= value * value > 1.0 ? 1 : 0;
        }
    }
    if (exceeds != 0)
        clip(side);
}

template <Stage kStage>
[[gnu::always_inline]] inline void passOf(std::size_t count, Side side,
                                          const float* const* channels)
{
    switch (count) {
    case 0:
        return pass<0, kStage>(side, channels);
    case 1:
        return pass<1, kStage>(side, channels);
    case 2:
        return pass<2, kStage>(side, channels);
    case 4:
        return pass<4, kStage>(side, channels);
    default:
        return pass<kChannelsPerPass, kStage>(side, channels);
    }
}

VELA_KERNEL_CLONES
void runPass(Stage stage, std::size_t count, Side side, const float* const* channels)
{
    switch (stage) {
    case Stage::Only:
        return passOf<Stage::Only>(count, side, channels);
    case Stage::First:
        return passOf<Stage::First>(count, side, channels);
    case Stage::Middle:
        return passOf<Stage::Middle>(count, side, channels);
    case Stage::Last:
        return passOf<Stage::Last>(count, side, channels);
    }
}

VELA_KERNEL_CLONES
void addPart(double* __restrict sum, const float* __restrict samples, qsizetype count)
{
    for (qsizetype i = 0; i < count; ++i)
        sum[i] += static_cast<double>(samples[i]);
}

/// The most channels, of `waiting` ones, that a pass exists for.
constexpr std::size_t passSize(std::size_t waiting)
{
    if (waiting >= kChannelsPerPass)
        return kChannelsPerPass;
    return waiting >= 4 ? 4 : std::min<std::size_t>(waiting, 2);
}

/// Sums one side of the block. Channels that cover the whole block wait here
/// until a full pass has come together, the last ones until the sum is finished;
/// a channel that begins or ends inside the block goes in by itself, in its turn.
class SideSum {
public:
    explicit SideSum(Side side)
        : m_side(side)
    {
    }

    void add(const QList<float>& channel, qint64 trackLength, qint64 position)
    {
        const qint64 length = std::min<qint64>(channel.size(), trackLength);
        if (position >= length || position <= -kBlockFrames)
            return;
        const qint64 from = std::max<qint64>(position, 0);
        const qint64 to = std::min(position + kBlockFrames, length);
        if (to - from == kBlockFrames)
            wait(channel.constData() + from);
        else if (from < to)
            addPartly(channel.constData() + from, from - position, to - from);
    }

    void finish()
    {
        while (passSize(m_count) < m_count)
            run(passSize(m_count), false);
        run(m_count, true);
    }

private:
    void wait(const float* samples)
    {
        if (m_count == kChannelsPerPass)
            run(kChannelsPerPass, false);
        m_waiting[m_count++] = samples;
    }

    void addPartly(const float* samples, qsizetype first, qsizetype count)
    {
        while (m_count > 0)
            run(passSize(m_count), false);
        if (!m_begun)
            run(0, false);
        addPart(m_side.sum + first, samples, count);
    }

    void run(std::size_t count, bool last)
    {
        const auto stage = static_cast<Stage>((m_begun ? 0 : 1) + (last ? 2 : 0));
        runPass(stage, count, m_side, m_waiting.data());
        std::copy(m_waiting.begin() + count, m_waiting.begin() + m_count, m_waiting.begin());
        m_count -= count;
        m_begun = true;
    }

    Side m_side;
    std::array<const float*, kChannelsPerPass> m_waiting{};
    std::size_t m_count = 0;
    bool m_begun = false;
};

/// The tracks that one machine word has a bit for each of.
constexpr qsizetype kTracksPerGroup = 64;

/// The switches of a group of tracks, the first one in the lowest bit.
struct Switches {
    quint64 soloed = 0;
    quint64 open = 0; ///< not muted
};

/// Without branches: a silent track costs next to nothing.
Switches switchesOf(const QList<TrackHandle>& tracks, qsizetype begin)
{
    Switches switches;
    const qsizetype count = std::min(tracks.size() - begin, kTracksPerGroup);
    for (qsizetype i = 0; i < count; ++i) {
        const Track& track = *tracks[begin + i];
        switches.soloed |= quint64{track.solo} << i;
        switches.open |= quint64{!track.muted} << i;
    }
    return switches;
}

bool isAnySoloed(const QList<TrackHandle>& tracks, qsizetype begin)
{
    return std::any_of(tracks.cbegin() + std::min(begin, tracks.size()), tracks.cend(),
                       [](const TrackHandle& track) { return track->solo; });
}

/// One block of both sides.
class BlockSum {
public:
    BlockSum(qint64 position, Side left, Side right)
        : m_position(position)
        , m_left(left)
        , m_right(right)
    {
    }

    void add(const Track& track)
    {
        if (track.channels < 1 || track.samples.isEmpty())
            return;
        const qint64 length = track.length();
        const bool mono = track.channels == 1 || track.samples.size() == 1;
        m_left.add(track.samples[0], length, m_position);
        m_right.add(track.samples[mono ? 0 : 1], length, m_position);
    }

    void finish()
    {
        m_left.finish();
        m_right.finish();
    }

private:
    qint64 m_position;
    SideSum m_left;
    SideSum m_right;
};

} // namespace

void mixBlock(const VelaProject& project, qint64 position, double* planar, float* left,
              float* right)
{
    const QList<TrackHandle>& tracks = project.tracks;
    BlockSum sum(position, {planar, left}, {planar + kBlockFrames, right});
    Switches switches = switchesOf(tracks, 0);
    const bool anySolo = switches.soloed != 0 || isAnySoloed(tracks, kTracksPerGroup);
    for (qsizetype begin = 0; begin < tracks.size(); begin += kTracksPerGroup) {
        if (begin > 0)
            switches = switchesOf(tracks, begin);
        quint64 sounding = anySolo ? switches.soloed : switches.open;
        for (; sounding != 0; sounding &= sounding - 1)
            sum.add(*tracks[begin + std::countr_zero(sounding)]);
    }
    sum.finish();
}

} // namespace mixer
