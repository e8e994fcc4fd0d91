#include "media/audio/audioring.h"

#include <QDebug>

#include <bit>

namespace media::audio {

void AudioRing::setCapacity(quint64 requested)
{
    if (requested > kMaxRingFrames) {
        qWarning("AudioRing::setCapacity: clamping request %zu → %zu (over kMaxRingFrames). "
                 "Caller likely passed a junk channelCount or sample rate. "
                 "Investigate upstream.",
                 static_cast<std::size_t>(requested), static_cast<std::size_t>(kMaxRingFrames));
        requested = kMaxRingFrames;
    }
    const quint64 slotCount = std::bit_ceil(requested + 1);
    m_slots.assign(static_cast<std::size_t>(slotCount), 0.0F);
    m_mask = slotCount - 1;
    // relaxed: neither side runs; whoever starts them publishes this to them.
    m_writeIndex.store(0, std::memory_order_relaxed);
    m_readIndex.store(0, std::memory_order_relaxed);
    m_readIndexSeen = 0;
    m_writeIndexSeen = 0;
}

quint64 AudioRing::available() const
{
    if (m_slots.empty())
        return 0;
    // acquire: pairs with the releases in read() and write(). The read index is
    // loaded first, so that the consumer's own position is never ahead of the
    // write index it is compared with.
    const quint64 readAt = m_readIndex.load(std::memory_order_acquire);
    const quint64 writeAt = m_writeIndex.load(std::memory_order_acquire);
    return (writeAt - readAt) & m_mask;
}

quint64 AudioRing::freeSamples() const
{
    return m_slots.empty() ? 0 : m_mask - available();
}

quint64 AudioRing::capacity() const
{
    return m_slots.empty() ? 0 : m_mask;
}

} // namespace media::audio
