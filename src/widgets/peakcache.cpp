#include "widgets/peakcache.h"

#include "project/track.h"
#include "widgets/samplekernels.h"

#include <algorithm>

void PeakCache::clear()
{
    m_track = nullptr;
    m_summarised = 0;
    m_channels.clear();
}

void PeakCache::update(const Track* track)
{
    if (track == nullptr || track->channels < 1)
        return;
    const qint64 frames = track->length();
    // A damaged track may claim channels that it has no list for.
    const qint64 channels = std::min<qint64>(track->channels, track->samples.size());
    if (m_track != track || channels != qint64{channelCount()} || frames < m_summarised) {
        clear();
        m_channels.resize(static_cast<std::size_t>(channels));
        m_track = track;
    }
    const qint64 blocks = (frames + kBlockFrames - 1) / kBlockFrames;
    for (std::size_t c = 0; c < m_channels.size(); ++c) {
        Channel& peaks = m_channels[c];
        peaks.minima.resize(static_cast<std::size_t>(blocks));
        peaks.maxima.resize(static_cast<std::size_t>(blocks));
        const QList<float>& samples = track->samples.at(static_cast<qsizetype>(c));
        summarise(peaks, samples.constData(), samples.size(), m_summarised / kBlockFrames);
    }
    m_summarised = frames / kBlockFrames * kBlockFrames;
}

const std::vector<float>& PeakCache::minima(int channel) const
{
    return m_channels[static_cast<std::size_t>(channel)].minima;
}

const std::vector<float>& PeakCache::maxima(int channel) const
{
    return m_channels[static_cast<std::size_t>(channel)].maxima;
}

void PeakCache::summarise(Channel& peaks, const float* samples, qint64 length, qint64 firstBlock)
{
    const auto blocks = static_cast<qint64>(peaks.minima.size());
    const qint64 wholeBlocks = std::clamp(length / kBlockFrames, firstBlock, blocks);
    float* const minima = peaks.minima.data();
    float* const maxima = peaks.maxima.data();
    sample_kernels::summariseBlocks(samples + firstBlock * kBlockFrames, wholeBlocks - firstBlock,
                                    kBlockFrames, {minima + firstBlock, maxima + firstBlock});
    for (qint64 block = wholeBlocks; block < blocks; ++block) {
        const qint64 from = std::min(block * kBlockFrames, length);
        const qint64 count = std::min(length - from, kBlockFrames);
        sample_kernels::summariseStretch(samples + from, count, minima[block], maxima[block]);
    }
}
