#pragma once

#include <QtGlobal>

#include <atomic>
#include <cstddef>
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

} // namespace media::audio
