#include "lifecycle/shutdownlifecycle.h"

#include "lifecycle/pointercheck.h"

#include <QCoreApplication>
#include <QDebug>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace {

using std::chrono::milliseconds;

// The standard mutex rather than the toolkit's: thread sanitizers see through it.
using Lock = std::unique_lock<std::recursive_mutex>;

qint64 steadyMs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<milliseconds>(now).count();
}

} // namespace

ShutdownLifecycle& ShutdownLifecycle::instance()
{
    static ShutdownLifecycle coordinator;
    static const bool prepared = [] {
        // The first user may be a short-lived thread; the coordinator outlives it.
        if (const auto* application = QCoreApplication::instance())
            coordinator.moveToThread(application->thread());
        // Pixmaps must not outlive the application object, the coordinator does.
        qAddPostRoutine([] { instance().dropIcons(); });
        return true;
    }();
    Q_UNUSED(prepared)
    return coordinator;
}

ShutdownLifecycle::ShutdownLifecycle(Clock clock, QObject* parent)
    : QObject(parent)
    , m_clock(clock ? std::move(clock) : Clock(&steadyMs))
{
    checkPointers(this, parent ? static_cast<const void*>(parent) : this);
}

ShutdownLifecycle::~ShutdownLifecycle()
{
    const QStringList ids = taskIds();
    if (!ids.isEmpty()) {
        qWarning() << "ShutdownLifecycle: shutdown with" << ids.size()
                   << "outstanding tasks:" << ids;
    }
}

quint64 ShutdownLifecycle::registerTask(ShutdownTask task)
{
    Lock lock(m_mutex);
    const quint64 serial = m_nextSerial++;
    task.started = false;
    task.startMs = m_requested ? nowMs() : -1;
    const QString id = task.id;
    m_tasks.insert(id, {std::move(task), serial});
    m_order.append(serial);
    lock.unlock();

    emit changed();
    return serial;
}

void ShutdownLifecycle::finishTask(const QString& id, quint64 serial)
{
    Lock lock(m_mutex);
    m_tasks.remove(id);
    m_order.removeOne(serial);
    const bool nothingLeft = isReady();
    const quint64 readyCount = m_readyCount;
    lock.unlock();

    emit changed();
    // A listener may have aborted the shutdown or begun new work just now, or have
    // made the coordinator ready anew, which has been told then.
    lock.lock();
    const bool ready = nothingLeft && isReady() && m_readyCount == readyCount;
    if (ready)
        ++m_readyCount;
    lock.unlock();
    if (ready)
        emit shutdownReady();
}

void ShutdownLifecycle::requestShutdown()
{
    Lock lock(m_mutex);
    if (std::exchange(m_requested, true))
        return;
    const qint64 now = nowMs();
    for (Record& record : m_tasks)
        record.task.startMs = now;
    const bool nothingToDo = m_tasks.isEmpty();
    if (nothingToDo)
        ++m_readyCount;
    lock.unlock();

    if (nothingToDo)
        emit shutdownReady();
    else
        runStartableTasks();
}

void ShutdownLifecycle::abortShutdown()
{
    Lock lock(m_mutex);
    if (!std::exchange(m_requested, false))
        return;
    for (Record& record : m_tasks) {
        record.task.startMs = -1;
        record.task.started = false;
    }
    lock.unlock();
    emit shutdownAborted();
}

bool ShutdownLifecycle::waitForTasks(milliseconds limit)
{
    Q_ASSERT(QCoreApplication::instance() &&
             QThread::currentThread() == QCoreApplication::instance()->thread());
    const qint64 limitMs = nowMs() + limit.count();
    QEventLoop loop;
    QTimer deadline;
    deadline.setTimerType(Qt::PreciseTimer);
    // Wakes the loop from whichever thread finishes a task.
    connect(
        this, &ShutdownLifecycle::changed, &loop, [] {}, Qt::QueuedConnection);

    requestShutdown();
    while (isShutdownRequested()) {
        runStartableTasks();
        const Outstanding left = outstanding();
        if (!left.awaited)
            continue;
        if (left.ids.isEmpty())
            return true;
        const qint64 now = nowMs();
        const qint64 end = std::min(limitMs, left.lastDeadlineMs);
        if (now >= end) {
            qWarning() << "ShutdownLifecycle: not waiting any longer for" << left.ids;
            return false;
        }
        deadline.start(milliseconds(end - now));
        loop.processEvents(QEventLoop::ExcludeUserInputEvents | QEventLoop::WaitForMoreEvents);
    }
    return false;
}

bool ShutdownLifecycle::isShutdownRequested() const
{
    const Lock lock(m_mutex);
    return m_requested;
}

QList<ShutdownTask> ShutdownLifecycle::tasks() const
{
    QList<ShutdownTask> found;
    for (const Record& record : recordsInOrder())
        found.append(record.task);
    return found;
}

QStringList ShutdownLifecycle::taskIds() const
{
    QStringList ids;
    for (const Record& record : recordsInOrder())
        ids.append(record.task.id);
    return ids;
}

QList<quint64> ShutdownLifecycle::registrationOrder() const
{
    const Lock lock(m_mutex);
    return m_order;
}

qint64 ShutdownLifecycle::nowMs() const
{
    return m_clock();
}

QList<ShutdownLifecycle::Record> ShutdownLifecycle::recordsInOrder() const
{
    const Lock lock(m_mutex);
    QList<Record> records = m_tasks.values();
    std::sort(records.begin(), records.end(),
              [](const Record& a, const Record& b) { return a.serial < b.serial; });
    return records;
}

bool ShutdownLifecycle::isReady() const
{
    const Lock lock(m_mutex);
    return m_requested && m_tasks.isEmpty();
}

void ShutdownLifecycle::runStartableTasks()
{
    // Tasks are the business of objects that live on this thread.
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(this, "runStartableTasks", Qt::QueuedConnection);
        return;
    }
    // One at a time: any of them may finish, replace or register others.
    while (const std::function<void()> run = takeNextRun())
        run();
}

std::function<void()> ShutdownLifecycle::takeNextRun()
{
    const Lock lock(m_mutex);
    if (!m_requested)
        return {};
    for (const Record& candidate : recordsInOrder()) {
        if (candidate.task.run && !candidate.task.started) {
            m_tasks[candidate.task.id].task.started = true;
            return candidate.task.run;
        }
    }
    return {};
}

ShutdownLifecycle::Outstanding ShutdownLifecycle::outstanding() const
{
    // At one moment: another thread may finish, register or abort at any time.
    const Lock lock(m_mutex);
    Outstanding found;
    found.awaited = m_requested;
    for (const Record& record : recordsInOrder()) {
        const ShutdownTask& task = record.task;
        const qint64 end =
            task.deadlineMs >= 0 ? task.deadlineMs : task.startMs + kDefaultGrace.count();
        found.lastDeadlineMs = std::max(found.lastDeadlineMs, end);
        found.ids.append(task.id);
    }
    return found;
}

void ShutdownLifecycle::dropIcons()
{
    const Lock lock(m_mutex);
    for (Record& record : m_tasks)
        record.task.icon = {};
}
