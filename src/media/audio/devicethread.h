#pragma once

#include <QString>
#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class QObject;
class QThread;

namespace media::audio {

/// A thread on which one device is opened, run and closed, and of which nobody
/// ever waits without a bound: opening a device that has just gone, or one of a
/// server that hangs, may never return.
///
/// Running → (end) Ended, or → (abandon) Abandoned: left to itself, never
/// terminated, until the toolkit lets go of it. An abandoned thread that is
/// still stuck when the process exits cuts the exit short after main() with
/// main's status, as the toolkit's own tear-down would wait for it for ever.
///
/// Before the toolkit drops its connection to a server that has died, every
/// running thread gets kServerLoopBound to close the streams of that connection.
///
/// Operations come from one thread at a time: the owner's, or that of whoever
/// holds the lock under which several share it. Work is run one piece after the
/// other, in order, by the thread's event loop.
class DeviceThread {
public:
    using Work = std::function<void()>;
    using Ms = std::chrono::milliseconds;

    /// How long all threads together may hold up the end of a server's connection.
    static constexpr Ms kServerLoopBound{400};

    /// Tells whoever holds it, on any thread, that a piece of work is done.
    class Completion;

    /// Starts the thread.
    explicit DeviceThread(const QString& name);

    /// Abandons the thread unless it has ended.
    ~DeviceThread();
    Q_DISABLE_COPY_MOVE(DeviceThread)

    /// Does not wait. The work has to own what it touches.
    void post(Work work);

    /// `post`, with a completion to wait for; never null.
    [[nodiscard]] std::shared_ptr<Completion> submit(Work work);

    /// Waits until the work is done, at most `bound`; false when it is not: the
    /// thread hangs in this work or an earlier one, and may still do it later.
    [[nodiscard]] bool run(Work work, Ms bound);

    /// Running → Ended, after all posted work; waits up to `bound`. False, and
    /// still Running, when the thread did not come to its end.
    [[nodiscard]] bool end(Ms bound);

    /// Running → Abandoned: does `last` and ends, should it ever come to it.
    void abandon(Work last);

    /// Moves an object of the calling thread onto this one.
    void adopt(QObject* object);

private:
    class Queue;
    friend class RunningThreads;

    QThread* m_thread = nullptr; ///< null when Ended or Abandoned
    /// Takes events on the thread. Not deleted by it, as a thread that comes to its
    /// end just when it is abandoned must not take it away.
    Queue* m_queue = nullptr;
};

class DeviceThread::Completion {
public:
    void signal();

    /// False when the work is not done within `bound`.
    [[nodiscard]] bool waitFor(Ms bound);

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_done = false;
};

} // namespace media::audio
