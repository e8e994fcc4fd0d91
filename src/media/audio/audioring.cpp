#include "media/audio/audioring.h"

#include <QDebug>

#include <algorithm>
#include <bit>
#include <cstring>

namespace media::audio {

namespace {

void copySamples(float* to, const float* from, quint64 count)
{
    std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(float));
}

} // namespace

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

quint64 AudioRing::write(const float* source, quint64 count)
{
    if (m_slots.empty() || !source)
        return 0;
    const quint64 mask = m_mask;
    // relaxed: only this side stores the write index.
    const quint64 writeAt = m_writeIndex.load(std::memory_order_relaxed);
    quint64 room = mask - ((writeAt - m_readIndexSeen) & mask);
    if (room < count) [[unlikely]] {
        // acquire: pairs with the release in read(); the slots given back there
        // have been copied out before they are overwritten here.
        m_readIndexSeen = m_readIndex.load(std::memory_order_acquire);
        room = mask - ((writeAt - m_readIndexSeen) & mask);
    }
    const quint64 taken = std::min(room, count);
    const quint64 next = (writeAt + taken) & mask;
    float* const storage = m_slots.data();
    if (next >= writeAt) [[likely]] {
        copySamples(storage + writeAt, source, taken);
    } else {
        copySamples(storage + writeAt, source, taken - next);
        copySamples(storage, source + (taken - next), next);
    }
    // release: pairs with the acquire in read() and available(); the samples are
    // in their slots before the consumer is told of them.
    m_writeIndex.store(next, std::memory_order_release);
    return taken;
}

quint64 AudioRing::read(float* destination, quint64 count)
{
    if (m_slots.empty() || !destination)
        return 0;
    const quint64 mask = m_mask;
    // relaxed: only this side stores the read index.
    const quint64 readAt = m_readIndex.load(std::memory_order_relaxed);
    quint64 waiting = (m_writeIndexSeen - readAt) & mask;
    if (waiting < count) [[unlikely]] {
        // acquire: pairs with the release in write(); the samples announced there
        // are visible here.
        m_writeIndexSeen = m_writeIndex.load(std::memory_order_acquire);
        waiting = (m_writeIndexSeen - readAt) & mask;
    }
    const quint64 given = std::min(waiting, count);
    const quint64 next = (readAt + given) & mask;
    const float* const storage = m_slots.data();
    if (next >= readAt) [[likely]] {
        copySamples(destination, storage + readAt, given);
    } else {
        copySamples(destination, storage + readAt, given - next);
        copySamples(destination + (given - next), storage, next);
    }
    // release: pairs with the acquire in write() and freeSamples(); the samples
    // are copied out before the producer may reuse their slots.
    m_readIndex.store(next, std::memory_order_release);
    return given;
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
