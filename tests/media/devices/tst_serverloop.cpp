#include "support/soundserver.h"

#include <QTest>

#include <atomic>
#include <chrono>
#include <pulse/context.h>
#include <pulse/mainloop-api.h>
#include <pulse/thread-mainloop.h>
#include <thread>

namespace {

constexpr int kPatienceMs = 20000;
constexpr std::chrono::milliseconds kWork{300};

/// A connection to the sound server, worked by a loop's own thread, as the toolkit's is.
class Connection {
public:
    Connection()
        : m_loop(pa_threaded_mainloop_new())
        , m_api(pa_threaded_mainloop_get_api(m_loop))
        , m_context(pa_context_new(m_api, "test"))
    {
        pa_context_set_state_callback(m_context, &Connection::onStateChanged, this);
        pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
        pa_threaded_mainloop_start(m_loop);
    }

    ~Connection()
    {
        pa_threaded_mainloop_stop(m_loop);
        pa_context_unref(m_context);
        pa_threaded_mainloop_free(m_loop);
    }

    Q_DISABLE_COPY_MOVE(Connection)

    [[nodiscard]] bool isReady() const { return m_state == PA_CONTEXT_READY; }

    [[nodiscard]] bool hasEnded() const { return m_state == PA_CONTEXT_TERMINATED; }

    /// It ended while the loop's thread was at work.
    [[nodiscard]] bool wasDisturbed() const { return m_wasDisturbed; }

    void end() { pa_context_disconnect(m_context); }

    void endWithTheLock()
    {
        pa_threaded_mainloop_lock(m_loop);
        end();
        pa_threaded_mainloop_unlock(m_loop);
    }

    void endOnItsOwnThread()
    {
        once([](pa_mainloop_api* /*api*/, void* self) { static_cast<Connection*>(self)->end(); });
    }

    /// Returns as soon as the loop's thread has begun.
    void work()
    {
        once([](pa_mainloop_api* /*api*/, void* self) {
            auto* const connection = static_cast<Connection*>(self);
            connection->m_isAtWork = true;
            std::this_thread::sleep_for(kWork);
            connection->m_isAtWork = false;
        });
        while (!m_isAtWork)
            std::this_thread::yield();
    }

private:
    static void onStateChanged(pa_context* context, void* self)
    {
        auto* const connection = static_cast<Connection*>(self);
        connection->m_wasDisturbed = connection->m_isAtWork.load();
        connection->m_state = pa_context_get_state(context);
    }

    void once(void (*task)(pa_mainloop_api*, void*))
    {
        pa_threaded_mainloop_lock(m_loop);
        pa_mainloop_api_once(m_api, task, this);
        pa_threaded_mainloop_unlock(m_loop);
    }

    pa_threaded_mainloop* m_loop;
    pa_mainloop_api* m_api;
    pa_context* m_context;
    std::atomic<pa_context_state_t> m_state = PA_CONTEXT_UNCONNECTED;
    std::atomic_bool m_isAtWork = false;
    std::atomic_bool m_wasDisturbed = false;
};

} // namespace

/// The end of a connection, as the toolkit brings it about.
class TestServerLoop : public QObject {
    Q_OBJECT

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void aConnectionDoesNotEndBesideItsLoopsThread()
    {
        Connection connection;
        QTRY_VERIFY_WITH_TIMEOUT(connection.isReady(), kPatienceMs);
        connection.work();
        connection.end();
        QVERIFY(connection.hasEnded());
        QVERIFY(!connection.wasDisturbed());
    }

    void whoHasTheLockMayEndAConnection()
    {
        Connection connection;
        QTRY_VERIFY_WITH_TIMEOUT(connection.isReady(), kPatienceMs);
        connection.endWithTheLock();
        QVERIFY(connection.hasEnded());
    }

    void aLoopsThreadMayEndItsConnection()
    {
        Connection connection;
        QTRY_VERIFY_WITH_TIMEOUT(connection.isReady(), kPatienceMs);
        connection.endOnItsOwnThread();
        QTRY_VERIFY_WITH_TIMEOUT(connection.hasEnded(), kPatienceMs);
    }

private:
    SoundServer m_server;
};

QTEST_GUILESS_MAIN(TestServerLoop)
#include "tst_serverloop.moc"
