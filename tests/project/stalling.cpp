#include "project/stalling.h"

#include "project/interposed.h"

#include <QDir>
#include <QFile>

#include <array>
#include <atomic>
#include <climits>
#include <condition_variable>
#include <fcntl.h>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>

using stalling::Call;

namespace {

// Calls come before the first static object is made and after the last has gone.
struct State {
    std::mutex mutex;
    bool isOn = false;
    std::condition_variable released;
    Call call = Call::Open;
    std::string folder;
    std::chrono::steady_clock::time_point end;
    int waiting = 0;
};

State& state()
{
    static auto& only = *new State;
    return only;
}

std::atomic_bool isUsed = false;

void pass(Call call, const char* path)
{
    State& s = state();
    std::unique_lock lock(s.mutex);
    if (!s.isOn || call != s.call || !std::string_view(path).starts_with(s.folder))
        return;
    ++s.waiting;
    s.released.wait_until(lock, s.end, [&s] { return !s.isOn; });
    --s.waiting;
}

void pass(Call call, int fd)
{
    std::array<char, PATH_MAX> path = {};
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    if (::readlink(link.c_str(), path.data(), path.size() - 1) > 0)
        pass(call, path.data());
}

} // namespace

int interposed::openFile(const char* path, int flags, mode_t mode)
{
    if (isUsed)
        pass(Call::Open, path);
    return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

ssize_t interposed::writeAt(int fd, const void* data, size_t size, off_t offset)
{
    if (isUsed)
        pass(Call::Write, fd);
    return ::syscall(SYS_pwrite64, fd, data, size, offset);
}

void stalling::begin(Call call, const QString& folder, std::chrono::milliseconds atMost)
{
    State& s = state();
    const std::lock_guard lock(s.mutex);
    s.call = call;
    s.folder = QFile::encodeName(folder).toStdString();
    s.end = std::chrono::steady_clock::now() + atMost;
    s.isOn = true;
    isUsed = true;
}

void stalling::release()
{
    State& s = state();
    const std::lock_guard lock(s.mutex);
    s.isOn = false;
    s.released.notify_all();
}

int stalling::waiting()
{
    State& s = state();
    const std::lock_guard lock(s.mutex);
    return s.waiting;
}

int stalling::threadsNamed(const QByteArray& name)
{
    const QDir tasks(QStringLiteral("/proc/self/task"));
    int count = 0;
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        std::string found; // empty where the thread has ended meanwhile
        std::getline(std::ifstream(tasks.filePath(task + "/comm").toStdString()), found);
        count += found == name.toStdString() ? 1 : 0;
    }
    return count;
}

// The C library's own declarations differ in attributes that say nothing here.
extern "C" {

int fsync(int fd)
{
    if (!isUsed)
        return static_cast<int>(::syscall(SYS_fsync, fd));
    pass(Call::Sync, fd);
    return 0; // how long the machine's own disk takes is no part of the stall
}

} // extern "C"
