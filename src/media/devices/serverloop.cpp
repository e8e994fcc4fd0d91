#include "media/devices/serverloop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <dlfcn.h>
#include <memory>
#include <mutex>
#include <pulse/stream.h>
#include <pulse/thread-mainloop.h>
#include <vector>

namespace media::devices {

namespace {

/// Never destroyed, so that what it keeps stays reachable to the very end.
class DroppedLoops {
public:
    static DroppedLoops& instance()
    {
        static auto* const dropped = new DroppedLoops;
        return *dropped;
    }

    void keep(pa_threaded_mainloop* loop)
    {
        const std::lock_guard lock(m_lock);
        m_loops.push_back(loop);
    }

    int count()
    {
        const std::lock_guard lock(m_lock);
        return static_cast<int>(m_loops.size());
    }

private:
    std::mutex m_lock;
    std::vector<pa_threaded_mainloop*> m_loops;
};

std::atomic<void (*)()> waitForStreams = nullptr;

void drop(pa_threaded_mainloop* loop)
{
    if (const auto wait = waitForStreams.load())
        wait();
    pa_threaded_mainloop_stop(loop);
    DroppedLoops::instance().keep(loop);
}

/// Where the toolkit puts what it writes to a dead stream; null otherwise.
thread_local std::unique_ptr<char[]> lostSamples;
std::atomic<int> lostWriteCount = 0;
constexpr std::size_t kMostLostBytes = std::size_t{1} << 16;

template <typename Function>
Function* librarysOwn(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

void waitBeforeServerLoopEnds(void (*wait)())
{
    waitForStreams = wait;
}

int droppedServerLoops()
{
    return DroppedLoops::instance().count();
}

int lostWrites()
{
    return lostWriteCount;
}

} // namespace media::devices

// A program's own functions take precedence over a library's of the same name, so
// these are the ones that the toolkit calls.
extern "C" {

void pa_threaded_mainloop_free(pa_threaded_mainloop* m)
{
    media::devices::drop(m);
}

int pa_stream_begin_write(pa_stream* p, void** data, size_t* nbytes)
{
    using namespace media::devices;
    static auto* const begin = librarysOwn<decltype(pa_stream_begin_write)>(__func__);
    const int result = begin(p, data, nbytes);
    if (result >= 0 || pa_stream_get_state(p) == PA_STREAM_READY)
        return result;
    *nbytes = std::min(*nbytes, kMostLostBytes); // it may ask for all there is
    lostSamples = std::make_unique<char[]>(*nbytes);
    *data = lostSamples.get();
    return 0;
}

int pa_stream_write(pa_stream* p, const void* data, size_t nbytes, pa_free_cb_t free_cb,
                    int64_t offset, pa_seek_mode_t seek)
{
    using namespace media::devices;
    static auto* const write = librarysOwn<decltype(pa_stream_write)>(__func__);
    if (!lostSamples || data != lostSamples.get())
        return write(p, data, nbytes, free_cb, offset, seek);
    lostSamples.reset();
    ++lostWriteCount;
    return 0;
}

} // extern "C"
