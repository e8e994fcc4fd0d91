#include "project/sidework.h"

#include <QEventLoop>
#include <QTimer>

#include <mutex>
#include <pthread.h>
#include <system_error>
#include <thread>

struct SideWork::Shared {
    std::atomic_bool isStopped = false;
    std::function<void(const std::atomic_bool&)> work; ///< the thread's alone
    std::mutex mutex;
    bool isDone = false;           ///< under the mutex
    QEventLoop* waiting = nullptr; ///< under the mutex; null when nobody waits (any more)

    void runToItsEnd()
    {
        work(isStopped);
        work = nullptr;
        const std::lock_guard lock(mutex);
        isDone = true;
        if (waiting != nullptr)
            QMetaObject::invokeMethod(waiting, &QEventLoop::quit, Qt::QueuedConnection);
    }

    [[nodiscard]] bool hasEnded()
    {
        const std::lock_guard lock(mutex);
        return isDone;
    }

    [[nodiscard]] bool leave()
    {
        const std::lock_guard lock(mutex);
        waiting = nullptr;
        return isDone;
    }
};

void SideWork::stop()
{
    if (!m_shared)
        return;
    const std::lock_guard lock(m_shared->mutex);
    if (m_shared->waiting == nullptr)
        return;
    m_shared->isStopped = true;
    m_shared->waiting->quit();
}

bool SideWork::isStopped() const
{
    return m_shared && m_shared->isStopped;
}

bool SideWork::complete(const char* threadName, AtQuit atQuit,
                        std::function<void(const std::atomic_bool&)> work)
{
    QEventLoop loop;
    const auto shared = std::make_shared<Shared>();
    shared->work = std::move(work);
    shared->waiting = &loop;
    m_shared = shared;
    try {
        std::thread([shared, threadName] {
            ::pthread_setname_np(::pthread_self(), threadName);
            shared->runToItsEnd();
        }).detach();
    } catch (const std::system_error&) {
        shared->runToItsEnd(); // rather late than not at all
    }
    loop.exec();

    // Once the program quits no loop runs, but events are still to be had.
    if (atQuit == AtQuit::Stop && !shared->hasEnded())
        stop();
    while (!shared->hasEnded() && !shared->isStopped)
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    QTimer patience;
    patience.setSingleShot(true);
    patience.start(kPatienceMs);
    while (!shared->hasEnded() && patience.isActive())
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    m_wasLeftBehind = !shared->leave();
    return !m_wasLeftBehind;
}
