#include "faultinjection.h"

#include "project/interposed.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

using fault_injection::Fault;

namespace {

std::atomic<int> calls = 0;
std::atomic<bool> stalled = false;
int struckCall = 0;
Fault struckBy = Fault::None;
int reported = 0;

Fault nextFault()
{
    return ++calls == struckCall ? struckBy : Fault::None;
}

template <typename Call>
long watched(Call call)
{
    const Fault fault = nextFault();
    if (fault == Fault::Error) {
        errno = reported;
        return -1;
    }
    stalled = stalled || fault == Fault::Stall;
    while (fault == Fault::Stall)
        ::pause();
    if (fault == Fault::KillBefore)
        ::raise(SIGKILL);
    const long result = call(fault);
    if (fault == Fault::KillAfter)
        ::raise(SIGKILL);
    return result;
}

} // namespace

int interposed::openFile(const char* path, int flags, mode_t mode)
{
    const auto call = [=](Fault) { return ::syscall(SYS_openat, AT_FDCWD, path, flags, mode); };
    return static_cast<int>((flags & O_CREAT) != 0 ? watched(call) : call(Fault::None));
}

ssize_t interposed::writeAt(int fd, const void* data, size_t size, off_t offset)
{
    return watched([=](Fault fault) {
        const size_t taken = fault == Fault::ShortWrite && size > 1 ? size / 2 : size;
        return ::syscall(SYS_pwrite64, fd, data, taken, offset);
    });
}

void fault_injection::strike(int callNumber, Fault fault, int errorNumber)
{
    calls = 0;
    struckCall = callNumber;
    struckBy = fault;
    reported = errorNumber;
}

int fault_injection::callCount()
{
    return calls;
}

bool fault_injection::isStalled()
{
    return stalled;
}

// The C library's own declarations differ in attributes that say nothing here.
extern "C" {

int fsync(int fd)
{
    return static_cast<int>(watched([=](Fault) { return ::syscall(SYS_fsync, fd); }));
}

int fchmod(int fd, mode_t mode) noexcept
{
    return static_cast<int>(watched([=](Fault) { return ::syscall(SYS_fchmod, fd, mode); }));
}

int fchown(int fd, uid_t owner, gid_t group) noexcept
{
    return static_cast<int>(
        watched([=](Fault) { return ::syscall(SYS_fchown, fd, owner, group); }));
}

int rename(const char* from, const char* to) noexcept
{
    return static_cast<int>(watched([=](Fault) { return ::syscall(SYS_rename, from, to); }));
}

} // extern "C"
