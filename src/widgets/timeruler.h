#pragma once

#include "widgets/waveformgeometry.h"

#include <QtGlobal>

#include <vector>

/// One mark of the time ruler.
struct RulerTick {
    qint64 sample = 0; ///< frame, for the label
    int x = 0;         ///< logical pixel

    friend bool operator==(const RulerTick&, const RulerTick&) = default;
};

/// Seconds between two ticks for a view of `durationSeconds`: the smallest step
/// of the table that leaves about thirty ticks, 1 s when even the largest does not.
[[nodiscard]] double rulerStepSeconds(double durationSeconds);

/// The ticks of a view at `rateHz`, from left to right; none when the range is
/// not valid. Ticks that share a pixel column with an earlier one are left out
/// once there are far more ticks than columns, so the work stays in proportion
/// to the width whatever the span.
[[nodiscard]] std::vector<RulerTick> rulerTicks(const WaveformGeometry& geometry, qint32 rateHz);
