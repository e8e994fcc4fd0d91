#pragma once

#include <QString>

/// A frame position as "hours:minutes:seconds.milliseconds", truncated to whole
/// milliseconds; hours, minutes and seconds have at least two digits. Hours are
/// not wrapped; a time of more milliseconds than 64 bits hold is shown as the last
/// that fits. "00:00:00.000" when `rateHz` is not positive.
[[nodiscard]] QString timeText(qint64 frame, qint32 rateHz);
