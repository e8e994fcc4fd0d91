#include "media/devices/serverloop.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <dlfcn.h>
#include <map>
#include <memory>
#include <mutex>
#include <pulse/context.h>
#include <pulse/mainloop-api.h>
#include <pulse/stream.h>
#include <pulse/thread-mainloop.h>
#include <vector>

namespace media::devices {

namespace {

/// Never destroyed, so that what it keeps stays reachable to the very end.
class Loops {
public:
    static Loops& instance()
    {
        static auto* const loops = new Loops;
        return *loops;
    }

    void keepDropped(pa_threaded_mainloop* loop)
    {
        const std::lock_guard lock(m_lock);
        m_dropped.push_back(loop);
    }

    int dropped()
    {
        const std::lock_guard lock(m_lock);
        return static_cast<int>(m_dropped.size());
    }

    void note(const pa_mainloop_api* api, pa_threaded_mainloop* loop)
    {
        const std::lock_guard lock(m_lock);
        m_apis[api] = loop;
    }

    void note(const pa_context* context, const pa_mainloop_api* api)
    {
        const std::lock_guard lock(m_lock);
        const auto known = m_apis.find(api);
        if (known != m_apis.end())
            m_contexts[context] = known->second;
        else
            m_contexts.erase(context); // another had its address before
    }

    /// The loop on whose thread the connection is, null for one without a thread.
    pa_threaded_mainloop* of(const pa_context* context)
    {
        const std::lock_guard lock(m_lock);
        const auto known = m_contexts.find(context);
        return known == m_contexts.end() ? nullptr : known->second;
    }

private:
    std::mutex m_lock;
    std::vector<pa_threaded_mainloop*> m_dropped;
    std::map<const pa_mainloop_api*, pa_threaded_mainloop*> m_apis;
    std::map<const pa_context*, pa_threaded_mainloop*> m_contexts;
};

std::atomic<void (*)()> waitForStreams = nullptr;

void drop(pa_threaded_mainloop* loop)
{
    if (const auto wait = waitForStreams.load())
        wait();
    pa_threaded_mainloop_stop(loop);
    Loops::instance().keepDropped(loop);
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
    return Loops::instance().dropped();
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

pa_mainloop_api* pa_threaded_mainloop_get_api(pa_threaded_mainloop* m)
{
    using namespace media::devices;
    static auto* const get = librarysOwn<decltype(pa_threaded_mainloop_get_api)>(__func__);
    pa_mainloop_api* const api = get(m);
    Loops::instance().note(api, m);
    return api;
}

pa_context* pa_context_new(pa_mainloop_api* mainloop, const char* name)
{
    using namespace media::devices;
    static auto* const make = librarysOwn<decltype(pa_context_new)>(__func__);
    pa_context* const context = make(mainloop, name);
    Loops::instance().note(context, mainloop);
    return context;
}

void pa_context_disconnect(pa_context* c)
{
    using namespace media::devices;
    static auto* const disconnect = librarysOwn<decltype(pa_context_disconnect)>(__func__);
    pa_threaded_mainloop* const loop = Loops::instance().of(c);
    if (loop == nullptr || pa_threaded_mainloop_in_thread(loop) != 0)
        return disconnect(c);
    pa_threaded_mainloop_lock(loop); // the caller may have it already
    disconnect(c);
    pa_threaded_mainloop_unlock(loop);
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
