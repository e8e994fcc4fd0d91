#pragma once

#include "support/files.h"

#include <QList>

#include <sys/resource.h>
#include <unistd.h>

/// Leaves this process `bytes` more than it has, for as long as it lives.
class AddressSpaceLimit {
public:
    explicit AddressSpaceLimit(qint64 bytes)
    {
        const qint64 pages =
            readFile(QStringLiteral("/proc/self/statm")).split(' ')[0].toLongLong();
        m_isSet = ::getrlimit(RLIMIT_AS, &m_before) == 0;
        const rlimit limit{rlim_t(pages * ::sysconf(_SC_PAGESIZE) + bytes), m_before.rlim_max};
        m_isSet = m_isSet && ::setrlimit(RLIMIT_AS, &limit) == 0;
    }

    ~AddressSpaceLimit() { ::setrlimit(RLIMIT_AS, &m_before); }
    Q_DISABLE_COPY_MOVE(AddressSpaceLimit)

    [[nodiscard]] bool isSet() const { return m_isSet; }

private:
    rlimit m_before{};
    bool m_isSet = false;
};
