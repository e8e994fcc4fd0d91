// The sample ring, in blocks of 1024 samples, against two bare block copies.

#include "media/audio/audioring.h"
#include "ratio.h"
#include "reference.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#if __has_include(<boost/lockfree/spsc_queue.hpp>)
#include <boost/lockfree/spsc_queue.hpp>
#define VELA_BENCH_WITH_BOOST
#endif

namespace {

using media::audio::AudioRing;

constexpr std::size_t kBlock = 1024;
/// What the engine asks for: 8192 frames of stereo.
constexpr std::size_t kRingSamples = 16384;
/// The places that the ring makes of it.
constexpr std::size_t kRingSlots = 2 * kRingSamples;
constexpr double kTarget = 1.1;
/// Blocks that cross between the threads in one timed call.
constexpr std::size_t kBlocksPerCrossing = 2000;

/// A side that finds nothing to do waits like this in every contestant.
void relax(int& idleTurns)
{
    constexpr int kTurnsBeforeYield = 64;
    if (++idleTurns < kTurnsBeforeYield) {
#if defined(__x86_64__)
        _mm_pause();
#endif
        return;
    }
    idleTurns = 0;
    std::this_thread::yield();
}

/// The least that two threads need to hand blocks over: whole blocks in fixed
/// places, two counters, no wrap within a block and no partial transfer.
class BlockExchange {
public:
    std::size_t write(const float* source, std::size_t /*count*/)
    {
        const std::size_t at = m_written.load(std::memory_order_relaxed);
        if (at - m_read.load(std::memory_order_acquire) == kPlaces)
            return 0;
        reference::copyBytes(place(at), source, kBlock * sizeof(float));
        m_written.store(at + 1, std::memory_order_release);
        return kBlock;
    }

    std::size_t read(float* destination, std::size_t /*count*/)
    {
        const std::size_t at = m_read.load(std::memory_order_relaxed);
        if (at == m_written.load(std::memory_order_acquire))
            return 0;
        reference::copyBytes(destination, place(at), kBlock * sizeof(float));
        m_read.store(at + 1, std::memory_order_release);
        return kBlock;
    }

private:
    static constexpr std::size_t kPlaces = kRingSlots / kBlock;

    float* place(std::size_t index) { return m_samples.data() + index % kPlaces * kBlock; }

    std::vector<float> m_samples = std::vector<float>(kRingSlots);
    alignas(64) std::atomic<std::size_t> m_written = 0;
    alignas(64) std::atomic<std::size_t> m_read = 0;
};

#ifdef VELA_BENCH_WITH_BOOST
class BoostQueue {
public:
    std::size_t write(const float* source, std::size_t count)
    {
        return m_queue.push(source, count);
    }

    std::size_t read(float* destination, std::size_t count)
    {
        return m_queue.pop(destination, count);
    }

private:
    boost::lockfree::spsc_queue<float> m_queue{kRingSlots};
};
#endif

/// Sends blocks through a queue from one thread to another, block by block.
template <typename Queue>
class Crossing {
public:
    explicit Crossing(Queue& queue)
        : m_queue(queue)
    {
    }

    void run()
    {
        std::jthread producer([this] { produce(); });
        std::array<float, kBlock> destination{};
        int idleTurns = 0;
        for (std::size_t left = kBlocksPerCrossing * kBlock; left > 0;) {
            const std::size_t given = m_queue.read(destination.data(), std::min(kBlock, left));
            left -= given;
            if (given == 0)
                relax(idleTurns);
        }
    }

private:
    void produce()
    {
        std::array<float, kBlock> source{};
        std::iota(source.begin(), source.end(), 0.0F);
        int idleTurns = 0;
        for (std::size_t left = kBlocksPerCrossing * kBlock; left > 0;) {
            const std::size_t taken = m_queue.write(source.data(), std::min(kBlock, left));
            left -= taken;
            if (taken == 0)
                relax(idleTurns);
        }
    }

    Queue& m_queue;
};

/// The caller's side of a block, the same for every contestant: storages start at
/// a page, these lie well away from that within theirs. (A load that has its
/// offset within the page in common with a store just made waits for it.)
struct Caller {
    static constexpr std::size_t kPageFloats = 1024;

    alignas(4096) std::array<float, 4 * kPageFloats> memory{};
    const float* source = memory.data() + kPageFloats / 2;
    float* destination = memory.data() + 2 * kPageFloats + kPageFloats / 4;
};

/// A block written and read again on one thread; the queue stays half full, so
/// that every place of the storage is visited.
template <typename Queue>
class RoundTrip {
public:
    RoundTrip(Queue& queue, Caller& caller)
        : m_queue(queue)
        , m_caller(caller)
    {
        for (std::size_t filled = 0; filled < kRingSamples / 2; filled += kBlock)
            m_queue.write(m_caller.source, kBlock);
    }

    void run()
    {
        m_queue.write(m_caller.source, kBlock);
        m_queue.read(m_caller.destination, kBlock);
    }

private:
    Queue& m_queue;
    Caller& m_caller;
};

/// Two block copies through a storage of the same size.
class TwoCopies {
public:
    explicit TwoCopies(Caller& caller)
        : m_caller(caller)
    {
    }

    void run()
    {
        m_at = (m_at + kBlock) % m_samples.size();
        const std::size_t from = (m_at + kRingSamples / 2) % m_samples.size();
        reference::copyBytes(m_samples.data() + m_at, m_caller.source, kBlock * sizeof(float));
        reference::copyBytes(m_caller.destination, m_samples.data() + from, kBlock * sizeof(float));
    }

private:
    std::size_t m_at = 0;
    std::vector<float> m_samples = std::vector<float>(kRingSlots);
    Caller& m_caller;
};

template <typename Work>
bench::Kernel kernel(Work& work)
{
    return {.run = [&work] { work.run(); }, .prepare = {}};
}

/// Many short samples: longer ones would each lose their processor to other
/// programs once in a while, and always the same contestant in step with them.
void compare(bench::Report& report, const std::string& row, const bench::Kernel& reference,
             const bench::Kernel& ours)
{
    constexpr int kRounds = 301;
    constexpr double kSampleMs = 0.2;
    const bench::Times times = bench::timeTurnAbout(reference, ours, kRounds, kSampleMs);
    report.add(row, times.figureNs, times.referenceNs, kTarget, "ns");
}

template <typename Reference>
void compareOneThread(bench::Report& report, const std::string& against, Reference& reference,
                      Caller& caller)
{
    const std::string row = "ring, write and read on one thread, against " + against;
    if (!report.wants(row))
        return;
    AudioRing ring;
    ring.setCapacity(kRingSamples);
    RoundTrip ours(ring, caller);
    compare(report, row, kernel(reference), kernel(ours));
}

template <typename Queue>
void compareTwoThreads(bench::Report& report, const std::string& against, Queue& reference)
{
    const std::string row = "ring, two threads, against " + against;
    if (!report.wants(row))
        return;
    AudioRing ring;
    ring.setCapacity(kRingSamples);
    Crossing theirs(reference);
    Crossing ours(ring);
    compare(report, row, kernel(theirs), kernel(ours));
}

} // namespace

int main(int argc, char** argv)
{
    bench::Report report(argc, argv);

    Caller caller;
    TwoCopies copies(caller);
    compareOneThread(report, "two block copies", copies, caller);
    BlockExchange blocks;
    compareTwoThreads(report, "two block copies handed over", blocks);

#ifdef VELA_BENCH_WITH_BOOST
    BoostQueue queue;
    RoundTrip roundTrip(queue, caller);
    compareOneThread(report, "a packaged queue", roundTrip, caller);
    BoostQueue crossed;
    compareTwoThreads(report, "a packaged queue", crossed);
#endif
    return report.exitCode();
}
