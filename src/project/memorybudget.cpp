#include "project/memorybudget.h"

#include <QFile>
#include <QString>

#include <algorithm>
#include <limits>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr qint64 kBytesPerKilobyte = 1024;

qint64 installedMemoryBytes()
{
    return qint64{::sysconf(_SC_PHYS_PAGES)} * ::sysconf(_SC_PAGESIZE);
}

// What `ulimit -v` leaves to this process.
qint64 addressSpaceLeftBytes()
{
    rlimit limit = {};
    QFile pages(QStringLiteral("/proc/self/statm"));
    if (::getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
        !pages.open(QIODevice::ReadOnly))
        return std::numeric_limits<qint64>::max();
    const qint64 taken = pages.readAll().split(' ').value(0).toLongLong();
    return std::max<qint64>(static_cast<qint64>(limit.rlim_cur) - taken * ::sysconf(_SC_PAGESIZE),
                            0);
}

} // namespace

bool MemoryBudget::take(qint64 bytes)
{
    if (bytes > m_bytesLeft)
        m_isExceeded = true;
    if (!m_isExceeded)
        m_bytesLeft -= bytes;
    return !m_isExceeded;
}

qint64 availableMemoryBytes(const QByteArray& report)
{
    for (const QByteArray& line : report.split('\n')) {
        if (!line.startsWith("MemAvailable:"))
            continue;
        const QByteArrayList words = line.simplified().split(' ');
        bool isNumber = false;
        const qint64 kilobytes = words.value(1).toLongLong(&isNumber);
        return isNumber && kilobytes >= 0 ? kilobytes * kBytesPerKilobyte : -1;
    }
    return -1;
}

qint64 affordableMemoryBytes(qint64 availableBytes)
{
    return availableBytes - std::min(availableBytes / 2, kMemoryMarginBytes);
}

qint64 affordableMemoryBytes()
{
    QFile report(QStringLiteral("/proc/meminfo"));
    const qint64 available =
        report.open(QIODevice::ReadOnly) ? availableMemoryBytes(report.readAll()) : -1;
    return affordableMemoryBytes(
        std::min(available >= 0 ? available : installedMemoryBytes(), addressSpaceLeftBytes()));
}
