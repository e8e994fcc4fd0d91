// Recording: captured blocks appended to a take of an hour, against the copies of
// those blocks.

#include "engine/capture.h"
#include "ratio.h"
#include "reference.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <vector>

namespace {

constexpr qint32 kRateHz = 44100;
constexpr qsizetype kBlockFrames = 1024;
constexpr qsizetype kHourBlocks = qsizetype{3600} * kRateHz / kBlockFrames;
constexpr double kMostTime = 3.0;
constexpr double kMostAppendMs = 20.0;
constexpr int kRounds = 9;

using Block = std::array<float, kBlockFrames>;

/// A whole take, from nothing to an hour; the longest single append in ms.
double recordHour(const Block& block)
{
    using Clock = std::chrono::steady_clock;
    Track take(QStringLiteral("Recording"), 1, kRateHz);
    Clock::duration longest{};
    for (qsizetype i = 0; i < kHourBlocks; ++i) {
        const Clock::time_point begin = Clock::now();
        capture::append(take, block.data(), kBlockFrames);
        longest = std::max(longest, Clock::now() - begin);
    }
    return std::chrono::duration<double, std::milli>(longest).count();
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
    bench::Report report(argc, argv);
    Block block{};
    block.fill(0.25F);
    report.compare("C1 append an hour of blocks to a take", {[&] { copyHour(block); }, [] {}},
                   {[&] { recordHour(block); }, [] {}}, kMostTime, kRounds);
    const char* const longest = "C1 longest single append within an hour";
    if (report.wants(longest)) {
        std::vector<double> runs;
        for (int round = 0; round < kRounds; ++round)
            runs.push_back(recordHour(block));
        std::nth_element(runs.begin(), runs.begin() + kRounds / 2, runs.end());
        report.bound(longest, runs[kRounds / 2], bench::Bound::AtMost, kMostAppendMs, "ms");
    }
    return report.exitCode();
}
