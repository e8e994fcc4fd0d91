#include "project/timetext.h"

QString timeText(qint64 frame, qint32 rateHz)
{
    if (rateHz <= 0)
        return QStringLiteral("00:00:00.000");
    const qint64 ms = frame * 1000 / rateHz;
    const qint64 s = ms / 1000;
    const auto m = static_cast<qint32>(s / 60);
    const qint32 h = m / 60;
    const QChar zero = u'0';
    return QStringLiteral("%1:%2:%3.%4")
        .arg(h, 2, 10, zero)
        .arg(m - qint32{60} * h, 2, 10, zero)
        .arg(s - qint64{60} * m, 2, 10, zero)
        .arg(ms - 1000 * s, 3, 10, zero);
}
