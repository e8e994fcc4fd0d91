#pragma once

#include <QtGlobal>

#include <vector>

struct Track;

/// The smallest and the largest sample of every 256 frames of a track, per
/// channel, so that a view far zoomed out reads 1/128 of the samples.
///
/// What makes it stale, and so summarised anew from the first frame: another
/// track, another channel count, a track shorter than what is summarised. A
/// track that grew has only its new frames summarised, and its last, partly
/// filled block again. Samples changed in place are not noticed: `clear()`.
///
/// GUI thread only; keeps no pointer into the samples and only reads them. The
/// track's address is its identity: `clear()` before that track dies.
class PeakCache {
public:
    static constexpr qint64 kBlockFrames = 256;

    void clear();

    /// Brings the summary up to date with `track`. Work in proportion to what is
    /// new. Does nothing without a track or a channel.
    void update(const Track* track);

    /// Channels that the summary knows.
    [[nodiscard]] int channelCount() const { return static_cast<int>(m_channels.size()); }

    /// One minimum and one maximum a block, for `channel` < `channelCount()`.
    [[nodiscard]] const std::vector<float>& minima(int channel) const;
    [[nodiscard]] const std::vector<float>& maxima(int channel) const;

    /// Frames that need not be summarised again: a multiple of `kBlockFrames`.
    [[nodiscard]] qint64 summarisedFrames() const { return m_summarised; }

private:
    struct Channel {
        std::vector<float> minima;
        std::vector<float> maxima;
    };

    static void summarise(Channel& peaks, const float* samples, qint64 length, qint64 firstBlock);

    const Track* m_track = nullptr;
    qint64 m_summarised = 0;
    std::vector<Channel> m_channels;
};
