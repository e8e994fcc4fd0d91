#include "media/audio/streamconnection.h"

#include "media/audio/devicethread.h"

#include <QCoreApplication>

#include <condition_variable>
#include <memory>
#include <mutex>

namespace media::audio {

namespace {

constexpr std::chrono::milliseconds kEndBound{500};

using Deadline = std::chrono::steady_clock::time_point;

/// The thread "audio-streams". Never destroyed, as device threads that hang may
/// come back to it until the very end.
///
/// Idle → (enter) Held → (the last leave) Idle.
class StreamConnection {
public:
    static StreamConnection& instance()
    {
        static auto* const connection = new StreamConnection;
        return *connection;
    }

    bool enter(const std::function<void()>& touch, Deadline deadline)
    {
        std::unique_lock lock(m_lock);
        if (m_closed)
            return false;
        if (!m_thread)
            connectOnThread(touch);
        if (!m_changed.wait_until(lock, deadline, [this] { return m_made; }))
            return false;
        ++m_starts;
        hold();
        if (m_changed.wait_until(lock, deadline, [this] { return m_held; }))
            return true;
        --m_starts;
        m_changed.notify_all();
        return false;
    }

    void leave()
    {
        const std::lock_guard lock(m_lock);
        --m_starts;
        m_changed.notify_all();
    }

private:
    void connectOnThread(const std::function<void()>& touch)
    {
        m_thread = std::make_unique<DeviceThread>(QStringLiteral("audio-streams"));
        m_thread->post([this, touch] {
            touch();
            const std::lock_guard lock(m_lock);
            m_made = true;
            m_changed.notify_all();
        });
        qAddPostRoutine([] { instance().close(); });
    }

    void hold()
    {
        if (m_holdPosted || !m_thread)
            return;
        m_holdPosted = true;
        m_thread->post([this] {
            std::unique_lock lock(m_lock);
            m_held = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_starts == 0; });
            m_held = false;
            m_holdPosted = false;
        });
    }

    /// The toolkit's connection outlives the application object, its thread must
    /// not; one that hangs is left behind.
    void close()
    {
        std::unique_ptr<DeviceThread> thread;
        {
            const std::lock_guard lock(m_lock);
            m_closed = true;
            thread = std::move(m_thread);
        }
        if (thread && !thread->end(kEndBound))
            thread->abandon({});
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::unique_ptr<DeviceThread> m_thread;
    int m_starts = 0;
    bool m_made = false;
    bool m_holdPosted = false;
    bool m_held = false;
    bool m_closed = false;
};

} // namespace

StreamStart::StreamStart(const std::function<void()>& touch)
    : m_allowed(
          StreamConnection::instance().enter(touch, std::chrono::steady_clock::now() + kBound))
{
}

StreamStart::~StreamStart()
{
    if (m_allowed)
        StreamConnection::instance().leave();
}

} // namespace media::audio
