#include "support/stopwatch.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <algorithm>

namespace {

constexpr qint64 kNsPerMs = 1'000'000;

/// The second figure of three. 0 where the kernel does not count it: nothing is taken
/// off then.
qint64 queuedNs()
{
    QFile file(QStringLiteral("/proc/thread-self/schedstat"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLongLong();
}

} // namespace

Stopwatch::Stopwatch()
{
    restart();
}

void Stopwatch::restart()
{
    m_queuedNs = queuedNs();
    m_clock.start();
}

qint64 Stopwatch::elapsedMs() const
{
    const qint64 elapsedNs = m_clock.nsecsElapsed();
    return std::max(qint64{0}, elapsedNs - (queuedNs() - m_queuedNs)) / kNsPerMs;
}
