#include "media/audio/devicethread.h"

#include "media/devices/processend.h"
#include "media/devices/serverloop.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QThread>

#include <algorithm>
#include <deque>
#include <utility>
#include <vector>

namespace media::audio {

namespace {

/// Threads that were given up. They are kept for good, with all they use: some may
/// still run.
class AbandonedThreads {
public:
    static AbandonedThreads& instance()
    {
        static auto* const threads = new AbandonedThreads;
        return *threads;
    }

    void add(QThread* thread, QObject* queue)
    {
        const std::lock_guard lock(m_lock);
        if (m_threads.empty())
            devices::endProcessWithoutTearDownIf([] { return instance().anyRunning(); });
        m_threads.push_back(thread);
        m_queues.push_back(queue);
    }

private:
    bool anyRunning()
    {
        const std::lock_guard lock(m_lock);
        return std::any_of(m_threads.begin(), m_threads.end(),
                           [](const QThread* thread) { return thread->isRunning(); });
    }

    std::mutex m_lock;
    std::vector<QThread*> m_threads;
    std::vector<QObject*> m_queues;
};

} // namespace

/// The threads that take work: neither abandoned, nor ended, nor asked to end. Never
/// destroyed.
class RunningThreads {
public:
    static RunningThreads& instance()
    {
        static auto* const threads = new RunningThreads;
        return *threads;
    }

    void add(DeviceThread* thread)
    {
        const std::lock_guard lock(m_lock);
        m_threads.push_back(thread);
    }

    void remove(DeviceThread* thread)
    {
        const std::lock_guard lock(m_lock);
        std::erase(m_threads, thread);
    }

private:
    RunningThreads()
    {
        devices::waitBeforeServerLoopEnds([] { instance().finishWhatIsPosted(); });
    }

    /// What the toolkit has told the streams lies in the queues already.
    void finishWhatIsPosted()
    {
        const auto deadline = std::chrono::steady_clock::now() + DeviceThread::kServerLoopBound;
        for (const auto& completion : submitToOthers()) {
            const auto left =
                std::chrono::ceil<DeviceThread::Ms>(deadline - std::chrono::steady_clock::now());
            (void)completion->waitFor(std::max(left, DeviceThread::Ms{0}));
        }
    }

    std::vector<std::shared_ptr<DeviceThread::Completion>> submitToOthers()
    {
        const std::lock_guard lock(m_lock);
        std::vector<std::shared_ptr<DeviceThread::Completion>> completions;
        for (DeviceThread* thread : m_threads) {
            if (thread->m_thread != QThread::currentThread())
                completions.push_back(thread->submit([] {}));
        }
        return completions;
    }

    std::mutex m_lock;
    std::vector<DeviceThread*> m_threads;
};

/// Takes work from the owner's thread and does it on the device thread.
class DeviceThread::Queue : public QObject {
public:
    Queue() = default;

    // Seen by race detectors, which do not see the toolkit's own wait: the thread
    // left this object when it let go of the lock.
    ~Queue() override { const std::lock_guard lock(m_lock); }

    Q_DISABLE_COPY_MOVE(Queue)

    void push(Work work)
    {
        {
            const std::lock_guard lock(m_lock);
            m_pending.push_back(std::move(work));
        }
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        if (const Work work = pop())
            work();
        return true;
    }

private:
    Work pop()
    {
        const std::lock_guard lock(m_lock);
        if (m_pending.empty())
            return {};
        Work work = std::move(m_pending.front());
        m_pending.pop_front();
        return work;
    }

    std::mutex m_lock;
    std::deque<Work> m_pending;
};

void DeviceThread::Completion::signal()
{
    const std::lock_guard lock(m_lock);
    m_done = true;
    m_changed.notify_all();
}

bool DeviceThread::Completion::waitFor(Ms bound)
{
    std::unique_lock lock(m_lock);
    return m_changed.wait_for(lock, bound, [this] { return m_done; });
}

DeviceThread::DeviceThread(const QString& name)
    : m_thread(new QThread)
    , m_queue(new Queue)
{
    m_thread->setObjectName(name);
    m_queue->moveToThread(m_thread);
    m_thread->start();
    RunningThreads::instance().add(this);
}

DeviceThread::~DeviceThread()
{
    abandon({});
}

void DeviceThread::post(Work work)
{
    if (m_thread)
        m_queue->push(std::move(work));
}

std::shared_ptr<DeviceThread::Completion> DeviceThread::submit(Work work)
{
    auto completion = std::make_shared<Completion>();
    post([work = std::move(work), completion] {
        work();
        completion->signal();
    });
    return completion;
}

bool DeviceThread::run(Work work, Ms bound)
{
    return m_thread && submit(std::move(work))->waitFor(bound);
}

bool DeviceThread::end(Ms bound)
{
    if (!m_thread)
        return true;
    RunningThreads::instance().remove(this);
    m_queue->push([] { QThread::currentThread()->quit(); });
    if (!m_thread->wait(static_cast<unsigned long>(std::max(bound, Ms{0}).count())))
        return false;
    delete m_queue;
    delete m_thread;
    m_thread = nullptr;
    m_queue = nullptr;
    return true;
}

void DeviceThread::abandon(Work last)
{
    if (!m_thread)
        return;
    RunningThreads::instance().remove(this);
    AbandonedThreads::instance().add(m_thread, m_queue);
    m_queue->push([last = std::move(last)] {
        if (last)
            last();
        QThread::currentThread()->quit();
    });
    m_thread = nullptr;
    m_queue = nullptr;
}

void DeviceThread::adopt(QObject* object)
{
    object->moveToThread(m_thread);
}

} // namespace media::audio
