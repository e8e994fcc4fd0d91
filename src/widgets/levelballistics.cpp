#include "widgets/levelballistics.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kRmsKeepPerSpan = 0.9;
constexpr double kRmsSpanSamples = 128.0;
constexpr double kPeakFallPerMs = 0.0005;
constexpr qint64 kHoldMs = 500;
constexpr double kHoldFirstStep = 1.002;
constexpr double kHoldStepExponent = 1.1;

} // namespace

void LevelBallistics::addBlock(const float* samples, qint32 count, qint64 nowMs)
{
    if (count < 1)
        return;
    double sumOfSquares = 0;
    double blockPeak = 0;
    for (qint32 i = 0; i < count; ++i) {
        const double sample = std::isfinite(samples[i]) ? static_cast<double>(samples[i]) : 0.0;
        sumOfSquares += sample * sample;
        blockPeak = std::max(blockPeak, std::abs(sample));
    }
    const double rms = std::sqrt(sumOfSquares / count);
    const double keep = std::pow(kRmsKeepPerSpan, count / kRmsSpanSamples);
    m_reading.smoothedRms = (1.0 - keep) * rms + keep * m_reading.smoothedRms;

    if (blockPeak > m_reading.displayedPeak) {
        m_peakBase = blockPeak;
        m_reading.displayedPeak = blockPeak;
        m_peakSinceMs = nowMs;
    }
    if (blockPeak > m_reading.peakHold) {
        m_reading.peakHold = blockPeak;
        m_holdSinceMs = nowMs;
        m_holdFallStep = kHoldFirstStep;
    }
}

void LevelBallistics::advance(qint64 nowMs)
{
    const double fallen = kPeakFallPerMs * static_cast<double>(nowMs - m_peakSinceMs);
    m_reading.displayedPeak = std::max(m_peakBase - fallen, 0.0);

    // At 0 the hold rests: letting the step grow on would only take it to infinity.
    if (m_reading.peakHold > 0 && nowMs - m_holdSinceMs > kHoldMs) {
        m_reading.peakHold = std::max(m_reading.peakHold - (m_holdFallStep - 1.0), 0.0);
        m_holdFallStep = std::pow(m_holdFallStep, kHoldStepExponent);
    }
}
