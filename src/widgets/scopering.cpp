#include "widgets/scopering.h"

#include <algorithm>

namespace {

constexpr quint32 kSlotMask = ScopeRing::kCapacitySamples - 1;
constexpr int kDrainAttempts = 4;

static_assert((ScopeRing::kCapacitySamples & (ScopeRing::kCapacitySamples - 1)) == 0);
static_assert(std::atomic<quint32>::is_always_lock_free);
static_assert(std::atomic<quint64>::is_always_lock_free);
static_assert(std::atomic<float>::is_always_lock_free);

} // namespace

void ScopeRing::push(const float* samples, qint32 count)
{
    if (count < 1)
        return;
    const auto added = static_cast<quint32>(count);
    const quint32 oldWritten = m_written.load(std::memory_order_relaxed);
    const quint32 newWritten = oldWritten + added;

    // acquire: pairs with the consumer's exchange in drain(), whose copying is then over.
    quint32 read = m_read.load(std::memory_order_acquire);
    while (newWritten - read >= static_cast<quint32>(kCapacitySamples)) {
        const quint32 oldestKept = newWritten + 1 - static_cast<quint32>(kCapacitySamples);
        if (m_read.compare_exchange_weak(read, oldestKept, std::memory_order_acq_rel,
                                         std::memory_order_acquire)) {
            m_overflow.fetch_add(oldestKept - read, std::memory_order_relaxed);
            break;
        }
    }

    // Of a push longer than the ring only the end survives; the rest need not be stored.
    const quint32 first = added - std::min(added, static_cast<quint32>(kCapacitySamples));
    for (quint32 i = first; i < added; ++i) {
        // release: pairs with the acquire in drain(), which then sees the moved read index.
        m_slots[(oldWritten + i) & kSlotMask].store(samples[i], std::memory_order_release);
    }
    // release: pairs with the acquire in drain().
    m_written.store(newWritten, std::memory_order_release);
}

qint32 ScopeRing::drain(float* destination)
{
    for (int attempt = 0; attempt < kDrainAttempts; ++attempt) {
        quint32 read = m_read.load(std::memory_order_acquire);
        // acquire: pairs with the release at the end of push().
        const quint32 written = m_written.load(std::memory_order_acquire);
        // Signed, because in the middle of a long push the read index may stand ahead.
        const auto held = static_cast<qint32>(written - read);
        if (held <= 0)
            return 0;
        if (held > kMaxHeldSamples)
            continue;
        for (quint32 i = 0; i < static_cast<quint32>(held); ++i)
            destination[i] = m_slots[(read + i) & kSlotMask].load(std::memory_order_acquire);
        // release: pairs with the acquire in push(), which then may overwrite these slots.
        if (m_read.compare_exchange_strong(read, written, std::memory_order_acq_rel,
                                           std::memory_order_relaxed)) {
            return held;
        }
    }
    return 0;
}

void ScopeRing::resetIndices()
{
    m_written.store(0, std::memory_order_relaxed);
    m_read.store(0, std::memory_order_relaxed);
}

qint32 ScopeRing::heldSamples() const
{
    const quint32 read = m_read.load(std::memory_order_relaxed);
    const quint32 written = m_written.load(std::memory_order_relaxed);
    return std::clamp(static_cast<qint32>(written - read), 0, kMaxHeldSamples);
}

qint32 ScopeRing::writeIndex() const
{
    return static_cast<qint32>(m_written.load(std::memory_order_relaxed) & kSlotMask);
}

qint32 ScopeRing::readIndex() const
{
    return static_cast<qint32>(m_read.load(std::memory_order_relaxed) & kSlotMask);
}

quint64 ScopeRing::overflowCount() const
{
    return m_overflow.load(std::memory_order_relaxed);
}
