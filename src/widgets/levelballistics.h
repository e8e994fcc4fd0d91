#pragma once

#include <QtGlobal>

/// What a level meter shows of one channel: linear amplitudes, 1 is full scale.
struct LevelReading {
    double smoothedRms = 0;
    double displayedPeak = 0;
    double peakHold = 0;

    bool operator==(const LevelReading&) const = default;
};

/// How a level meter's bars rise and fall. Pure: time comes in with each call, as
/// milliseconds of any steady clock that never runs backwards.
class LevelBallistics {
public:
    /// Lets a block of `count` samples act on the bars; count below 1 does nothing.
    /// Samples that are not finite count as silence.
    void addBlock(const float* samples, qint32 count, qint64 nowMs);

    /// Lets peak and hold fall; called once a tick, after the tick's block.
    void advance(qint64 nowMs);

    [[nodiscard]] const LevelReading& reading() const { return m_reading; }

private:
    LevelReading m_reading;
    double m_peakBase = 0;
    double m_holdFallStep = 0;
    qint64 m_peakSinceMs = 0;
    qint64 m_holdSinceMs = 0;
};
