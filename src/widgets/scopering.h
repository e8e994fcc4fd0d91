#pragma once

#include <QtGlobal>

#include <array>
#include <atomic>

/// One channel's samples on their way to the scope. When the scope falls behind,
/// the oldest samples are dropped, never the newest.
///
/// One producer thread calls push(), one consumer thread calls drain(); they may
/// be the same. Neither blocks nor allocates. The write index belongs to the
/// producer alone; the read index to the consumer, but the producer moves it
/// forward when the ring is about to overflow, always before it overwrites a
/// sample, so a consumer that copied an overwritten sample finds its read index
/// moved and copies again.
class ScopeRing {
public:
    static constexpr qint32 kCapacitySamples = 16384;
    /// One slot stays empty, so that full and empty differ.
    static constexpr qint32 kMaxHeldSamples = kCapacitySamples - 1;

    ScopeRing() = default;
    Q_DISABLE_COPY_MOVE(ScopeRing)

    /// Producer. Appends `count` samples; count below 1 does nothing.
    void push(const float* samples, qint32 count);

    /// Consumer. Takes everything held into `destination`, which has room for
    /// kMaxHeldSamples; returns how many. 0 also when the producer overran every
    /// attempt to copy: what was lost is counted, the rest comes next time.
    qint32 drain(float* destination);

    /// Empties the ring and puts both indices to 0; the overflow count stays.
    /// Neither thread may be inside push() or drain().
    void resetIndices();

    [[nodiscard]] qint32 heldSamples() const;
    [[nodiscard]] qint32 writeIndex() const;
    [[nodiscard]] qint32 readIndex() const;

    /// Samples dropped unread since construction.
    [[nodiscard]] quint64 overflowCount() const;

private:
    // Counted without wrapping at the capacity, which divides 2³²: the slot is the
    // remainder, and the difference of the two is what is held.
    alignas(64) std::atomic<quint32> m_written{0};
    alignas(64) std::atomic<quint32> m_read{0};
    std::atomic<quint64> m_overflow{0};
    alignas(64) std::array<std::atomic<float>, kCapacitySamples> m_slots{};
};
