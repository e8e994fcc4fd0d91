#include "media/audio/streamconnection.h"

#include "media/audio/devicethread.h"

#include <QCoreApplication>

#include <condition_variable>
#include <memory>
#include <mutex>

namespace media::audio {

namespace {

constexpr std::chrono::milliseconds kEndBound{500};

class StreamConnection {
public:
    static StreamConnection& instance()
    {
        static auto* const connection = new StreamConnection;
        return *connection;
    }

    bool keep(const std::function<void()>& touch, std::chrono::milliseconds bound)
    {
        std::unique_lock lock(m_lock);
        if (!m_thread) {
            m_thread = std::make_unique<DeviceThread>(QStringLiteral("audio-streams"));
            m_thread->post([this, touch] {
                touch();
                const std::lock_guard ready(m_lock);
                m_made = true;
                m_changed.notify_all();
            });
            qAddPostRoutine([] { instance().close(); });
        }
        return m_changed.wait_for(lock, bound, [this] { return m_made; });
    }

private:
    /// The toolkit's connection outlives the application object, its thread must
    /// not; one that hangs is left behind.
    void close()
    {
        std::unique_ptr<DeviceThread> thread;
        {
            const std::lock_guard lock(m_lock);
            thread = std::move(m_thread);
        }
        if (thread && !thread->end(kEndBound))
            thread->abandon({});
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::unique_ptr<DeviceThread> m_thread;
    bool m_made = false;
};

} // namespace

bool keepStreamConnection(const std::function<void()>& touch, std::chrono::milliseconds bound)
{
    return StreamConnection::instance().keep(touch, bound);
}

} // namespace media::audio
