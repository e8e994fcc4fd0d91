#pragma once

#include <QtGlobal>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

namespace media::audio {

/// Lock-free queue of interleaved float samples between one producer thread and
/// one consumer thread, all counts in samples (frames × channels).
///
/// The producer owns the write index and publishes it after its samples are
/// stored; the consumer owns the read index and publishes it after its samples
/// are copied out. Each side sees the other's index late at worst, and a late
/// index only makes the ring look fuller to the producer and emptier to the
/// consumer than it is: neither can touch a slot that the other still uses.
/// One slot always stays empty, so that equal indices mean "empty" and never
/// "full".
///
/// `write` and `read` never wait, lock or allocate and make no system call.
/// A ring that never got a capacity is inert: it takes and gives nothing.
/// Neither copied nor moved: both sides hold on to its address.
// The padding keeps the sides apart. NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
class AudioRing {
public:
    /// Largest request that `setCapacity` takes as it is.
    static constexpr quint64 kMaxRingFrames = quint64{1} << 24;

    AudioRing() = default;
    ~AudioRing() = default;
    Q_DISABLE_COPY_MOVE(AudioRing)

    /// Makes room for at least `requested` samples, drops what was queued and
    /// zeroes every slot. A request above kMaxRingFrames is clamped to it, with
    /// a warning. Allocates; only while neither side is running.
    void setCapacity(quint64 requested);

    /// Producer only. Stores the first samples of `source` that fit and returns
    /// how many; the rest is the caller's to count. `source` is borrowed.
    quint64 write(const float* source, quint64 count);

    /// Consumer only. Copies out up to `count` samples and returns how many;
    /// what `destination` holds beyond them is left alone.
    quint64 read(float* destination, quint64 count);

    /// Samples waiting. Either side: the consumer can read at least as many, to
    /// the producer it is an upper bound. Never blocks.
    [[nodiscard]] quint64 available() const;

    /// Samples that fit now. Either side: the producer can write at least as
    /// many, to the consumer it is an upper bound. Never blocks.
    [[nodiscard]] quint64 freeSamples() const;

    /// Samples that the ring holds when full; 0 without storage. Changes only in
    /// `setCapacity`, so any thread may ask while a side runs.
    [[nodiscard]] quint64 capacity() const;

private:
    using Index = std::atomic<quint64>;

    static void copySamples(float* to, const float* from, quint64 count)
    {
        std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(float));
    }

    static_assert(Index::is_always_lock_free, "a device callback must never meet a lock");
    static_assert(std::is_trivially_copyable_v<float>, "samples move by block copies");

    /// A cache line: an index that shared one with its neighbour would be
    /// dragged from core to core by the other side's stores.
    static constexpr std::size_t kCacheLineBytes = 64;

    // Changed by setCapacity only; read by both sides.
    std::vector<float> m_slots;
    quint64 m_mask = 0;

    // The producer's line. The remembered read index is the producer's alone: it
    // spares fetching the consumer's line as long as the old value leaves room.
    alignas(kCacheLineBytes) Index m_writeIndex = 0;
    quint64 m_readIndexSeen = 0;

    // The consumer's line, mirrored.
    alignas(kCacheLineBytes) Index m_readIndex = 0;
    quint64 m_writeIndexSeen = 0;
};

// Here, so that they merge into their callers: a block's copy takes so little
// time that the calls themselves would be felt.

inline quint64 AudioRing::write(const float* source, quint64 count)
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

inline quint64 AudioRing::read(float* destination, quint64 count)
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

} // namespace media::audio
