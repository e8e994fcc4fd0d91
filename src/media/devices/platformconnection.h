#pragma once

#include <QObject>
#include <QThread>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace media::devices {

/// The toolkit's connection to the sound server, made and kept on a thread of
/// its own ("audio-devices").
///
/// The first question about devices makes the toolkit connect, and that waits
/// as long as the server does not answer; whoever asks meanwhile, on whatever
/// thread, waits too. So the question is first put on this thread, and nobody
/// else may ask before `isOpen`. From then on the toolkit answers from memory
/// within microseconds on any thread, even when the server hangs.
///
/// The thread lives on with an event loop: when the server comes back after a
/// crash, the toolkit reconnects on the thread that connected first, and without
/// it the device lists would stay as they were for ever.
///
/// Closed → (open) Waiting for a server → Asking → (the answer came) Open. There
/// is no way back.
///
/// Lives on the main thread. Destroying one whose question is still unanswered
/// is not possible; `close` says what happens at the end of the process.
class PlatformConnection : public QObject {
    Q_OBJECT

public:
    /// Returns true once the question may be put, false once `giveUp` says so.
    using Await = std::function<bool(const std::function<bool()>& giveUp)>;

    /// `ask` is the first question; it runs on the thread and may hang there.
    /// `await` runs on the thread before it; an empty one means no waiting.
    explicit PlatformConnection(std::function<void()> ask, Await await = {});
    ~PlatformConnection() override;
    Q_DISABLE_COPY_MOVE(PlatformConnection)

    /// Main thread. The first call asks and waits up to `bound` for the answer;
    /// later calls do not wait. Returns `isOpen`. When the bound passes, a
    /// warning says so, and `opened` follows whenever the answer comes.
    bool open(std::chrono::milliseconds bound);

    /// Any thread, never blocks: the devices may be asked for.
    [[nodiscard]] bool isOpen() const { return m_open.load(); }

    /// Main thread, at the end of the application. Ends the thread, waiting up to
    /// `bound`, and returns whether it ended. A thread that hangs in its question
    /// is left alone: it holds locks that the toolkit wants at the very end, so
    /// the caller has to see to it that the process ends without that.
    bool close(std::chrono::milliseconds bound);

signals:
    /// Asking → Open; delivered on the main thread.
    void opened();

private:
    void askAndAnnounce();

    QThread m_thread;
    QObject m_onThread;
    std::function<void()> m_ask;
    Await m_await;
    std::mutex m_lock;
    std::condition_variable m_answered;
    bool m_asked = false;
    std::atomic<bool> m_open = false;
};

} // namespace media::devices
