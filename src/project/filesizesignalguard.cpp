#include "project/filesizesignalguard.h"

#include <ctime>

namespace {

sigset_t fileSizeSignal()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGXFSZ);
    return set;
}

} // namespace

FileSizeSignalGuard::FileSizeSignalGuard()
{
    const sigset_t set = fileSizeSignal();
    pthread_sigmask(SIG_BLOCK, &set, &m_before);
}

FileSizeSignalGuard::~FileSizeSignalGuard()
{
    if (sigismember(&m_before, SIGXFSZ) == 1)
        return;
    // One that came meanwhile is pending and would strike on unblocking.
    const sigset_t set = fileSizeSignal();
    const timespec atOnce = {};
    while (sigtimedwait(&set, nullptr, &atOnce) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}
