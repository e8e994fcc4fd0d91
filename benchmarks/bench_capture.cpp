// Recording: captured blocks appended to a take of an hour, against the copies of
// those blocks, and the longest that one look at the ring takes meanwhile.

#include "engine/takewriter.h"
#include "ratio.h"
#include "reference.h"
#include "support/fakenodes.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <functional>
#include <optional>
#include <vector>

namespace {

/// What the thread itself has worked, the system's part included: on a machine that
/// others use, the wall's clock would show how long they made it wait.
std::chrono::nanoseconds worked()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

constexpr qint32 kRateHz = 44100;
constexpr qsizetype kBlockFrames = 1024;
constexpr qsizetype kHourBlocks = qsizetype{3600} * kRateHz / kBlockFrames;
constexpr double kMostTime = 3.0;
constexpr double kMostAppendMs = 20.0;
constexpr int kRounds = 9;

constexpr qint32 kNodeRateHz = 48000;
constexpr qint64 kNodeHour = qint64{3600} * kNodeRateHz;
constexpr quint64 kRingFrames = 32768;

/// A copy of the take is made every five minutes of it and kept for one, which
/// stands for a save.
constexpr qsizetype kBlocksPerMinute = qsizetype{60} * kRateHz / kBlockFrames;
constexpr qsizetype kMinutesPerSave = 5;

using Block = std::array<float, kBlockFrames>;

TrackHandle newTake(qint32 rateHz)
{
    return TrackHandle::create(QStringLiteral("Recording"), 1, rateHz);
}

double milliseconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

/// A whole take, from nothing to an hour; the longest single append in ms.
double recordHour(const Block& block, bool saving = false)
{
    const TrackHandle take = newTake(kRateHz);
    TakeWriter writer(take);
    std::optional<Track> copy;
    std::chrono::nanoseconds longest{};
    for (qsizetype i = 0; i < kHourBlocks; ++i) {
        if (saving && i % (kMinutesPerSave * kBlocksPerMinute) == 0)
            copy = *take;
        else if (i % kBlocksPerMinute == 0)
            copy.reset();
        const auto begin = worked();
        writer.append(block.data(), kBlockFrames);
        longest = std::max(longest, worked() - begin);
    }
    return milliseconds(longest);
}

/// An hour in a hurry through the input node; the longest look at its ring in ms.
double recordHourFromNode()
{
    FakeInputNode node([](qint64 i) { return static_cast<float>(i); }, kNodeHour);
    QAudioFormat format;
    format.setSampleFormat(QAudioFormat::Float);
    format.setSampleRate(kNodeRateHz);
    format.setChannelCount(1);
    node.configure({}, format, kRingFrames);
    const TrackHandle take = newTake(kNodeRateHz);
    TakeWriter writer(take);
    std::vector<float> buffer(2 * kRingFrames);
    std::chrono::nanoseconds longest{};
    node.start();
    while (take->length() < kNodeHour) {
        const auto begin = worked();
        const quint64 got = node.read(buffer.data(), node.availableSamples());
        writer.append(buffer.data(), static_cast<qsizetype>(got));
        longest = std::max(longest, worked() - begin);
    }
    node.stop();
    return milliseconds(longest);
}

double medianOfRounds(const std::function<double()>& run)
{
    std::vector<double> runs;
    for (int round = 0; round < kRounds; ++round)
        runs.push_back(run());
    std::nth_element(runs.begin(), runs.begin() + kRounds / 2, runs.end());
    return runs[kRounds / 2];
}

/// The same blocks, one behind the other in memory that nobody has touched yet.
void copyHour(const Block& block)
{
    const auto memory = std::make_unique_for_overwrite<float[]>(kHourBlocks * kBlockFrames);
    for (qsizetype i = 0; i < kHourBlocks; ++i)
        reference::copyBytes(memory.get() + i * kBlockFrames, block.data(), sizeof(block));
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    bench::Report report(argc, argv);
    Block block{};
    block.fill(0.25F);
    report.compare("append an hour of blocks to a take", {[&] { copyHour(block); }, [] {}},
                   {[&] { recordHour(block); }, [] {}}, kMostTime, kRounds);
    const auto longest = [&](const char* row, const std::function<double()>& run) {
        if (report.wants(row))
            report.bound(row, medianOfRounds(run), bench::Bound::AtMost, kMostAppendMs, "ms");
    };
    longest("longest single append within an hour", [&] { return recordHour(block); });
    longest("longest single append while it is saved", [&] { return recordHour(block, true); });
    longest("longest look at the ring, an hour through the node", recordHourFromNode);
    return report.exitCode();
}
