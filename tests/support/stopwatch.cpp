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
    do {
        m_queuedNs = queuedNs();
        m_clock.start();
    } while (queuedNs() != m_queuedNs); // else they are not of one moment
}

qint64 Stopwatch::elapsedMs() const
{
    qint64 queued = 0;
    qint64 elapsedNs = 0;
    do {
        queued = queuedNs();
        elapsedNs = m_clock.nsecsElapsed();
    } while (queuedNs() != queued); // as above
    return std::max(qint64{0}, elapsedNs - (queued - m_queuedNs)) / kNsPerMs;
}
