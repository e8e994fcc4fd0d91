#include "project/timetext.h"

#include <algorithm>
#include <limits>

namespace {

// A file or a view zoomed far out may name any frame.
qint64 milliseconds(qint64 frame, qint32 rateHz)
{
    const __int128 ms = __int128{frame} * 1000 / rateHz;
    constexpr __int128 kLowest = std::numeric_limits<qint64>::min();
    constexpr __int128 kHighest = std::numeric_limits<qint64>::max();
    return static_cast<qint64>(std::clamp(ms, kLowest, kHighest));
}

} // namespace

QString timeText(qint64 frame, qint32 rateHz)
{
    if (rateHz <= 0)
        return QStringLiteral("00:00:00.000");
    const qint64 ms = milliseconds(frame, rateHz);
    const qint64 s = ms / 1000;
    const qint64 m = s / 60;
    const qint64 h = m / 60;
    const QChar zero = u'0';
    return QStringLiteral("%1:%2:%3.%4")
        .arg(h, 2, 10, zero)
        .arg(m - 60 * h, 2, 10, zero)
        .arg(s - 60 * m, 2, 10, zero)
        .arg(ms - 1000 * s, 3, 10, zero);
}
