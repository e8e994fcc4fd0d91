#include "project/memorybudget.h"

#include <QFile>
#include <QString>

#include <algorithm>
#include <unistd.h>

namespace {

constexpr qint64 kBytesPerKilobyte = 1024;

qint64 installedMemoryBytes()
{
    return qint64{::sysconf(_SC_PHYS_PAGES)} * ::sysconf(_SC_PAGESIZE);
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
    return affordableMemoryBytes(available >= 0 ? available : installedMemoryBytes());
}
