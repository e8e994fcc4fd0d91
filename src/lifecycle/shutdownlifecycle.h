#pragma once

#include "lifecycle/shutdowntask.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QStringList>

#include <chrono>
#include <functional>
#include <mutex>

/// Keeps account of the work that must be done before the application quits.
/// Parts of the program register a task when such work begins and finish it when
/// it is done. When the program is about to end it requests the shutdown, which
/// hurries every task up, and waits for them no longer than their deadlines.
///
/// Any thread may call any method but waitForTasks(); none blocks longer than
/// the others hold the mutex. Signals are emitted on the calling thread with the
/// mutex released, so a listener may call back in.
class ShutdownLifecycle : public QObject {
    Q_OBJECT

public:
    /// Milliseconds that never run backwards.
    using Clock = std::function<qint64()>;

    /// How long the end waits for a task that names no deadline of its own.
    static constexpr std::chrono::milliseconds kDefaultGrace{3000};

    /// How long waitForTasks() waits in all, whatever deadlines the tasks name.
    static constexpr std::chrono::milliseconds kWaitLimit{4000};

    /// The process's coordinator, created on first use and destroyed when the
    /// process exits, after the application object.
    static ShutdownLifecycle& instance();

    /// A coordinator of one's own, for tests. An empty clock means the steady
    /// clock of the system.
    explicit ShutdownLifecycle(Clock clock = {}, QObject* parent = nullptr);

    /// Warns about the tasks that are still outstanding.
    ~ShutdownLifecycle() override;
    Q_DISABLE_COPY_MOVE(ShutdownLifecycle)

    /// Adds the task, or replaces the outstanding one of the same id, and returns
    /// the serial that finishes it. The serial of a replaced task stays in the
    /// registration order until it is finished too.
    [[nodiscard]] quint64 registerTask(ShutdownTask task);

    /// Removes the task of that id, whichever serial it has, and `serial` from
    /// the registration order. Unknown ones are passed over; `changed` is
    /// emitted in any case, `shutdownReady` after it when nothing is left, unless
    /// a listener's own calls have brought that about meanwhile.
    void finishTask(const QString& id, quint64 serial);

    /// Running → ending. Calls `run` of every task that has one, oldest first,
    /// those included that are registered meanwhile: before it returns when asked
    /// on the coordinator's thread, and else there, by an event. Emits
    /// `shutdownReady`, at once when nothing is outstanding. Does nothing when
    /// already ending.
    void requestShutdown();

    /// Ending → running. Every task may be run again by the next request. Does
    /// nothing when no shutdown is requested.
    void abortShutdown();

    /// Requests the shutdown unless that has been done, then runs events (no user
    /// input) until nothing is outstanding, or every task left has passed its
    /// deadline, or `limit` is over. The callables of tasks registered since the
    /// request are called too. Returns whether nothing is left; otherwise logs
    /// which tasks are not waited for any longer, and those stay outstanding.
    /// An abort ends the wait too, with false. Only on the application's thread.
    [[nodiscard]] bool waitForTasks(std::chrono::milliseconds limit = kWaitLimit);

    [[nodiscard]] bool isShutdownRequested() const;

    /// Copies of the outstanding tasks, oldest registration first.
    [[nodiscard]] QList<ShutdownTask> tasks() const;

    /// The ids of tasks(), in the same order.
    [[nodiscard]] QStringList taskIds() const;

    /// Serials not yet finished, oldest first.
    [[nodiscard]] QList<quint64> registrationOrder() const;

    /// The present on the clock that deadlines are measured on.
    [[nodiscard]] qint64 nowMs() const;

signals:
    void changed();
    void shutdownReady();
    void shutdownAborted();

private:
    struct Record {
        ShutdownTask task;
        quint64 serial = 0;
    };

    /// What a wait is for: the tasks left, and when the last of them is given up.
    struct Outstanding {
        bool awaited = false; ///< a shutdown is requested
        QStringList ids;
        qint64 lastDeadlineMs = 0;
    };

    [[nodiscard]] QList<Record> recordsInOrder() const;
    [[nodiscard]] bool isReady() const;
    Q_INVOKABLE void runStartableTasks();
    [[nodiscard]] std::function<void()> takeNextRun();
    [[nodiscard]] Outstanding outstanding() const;
    void dropIcons();

    const Clock m_clock;
    mutable std::recursive_mutex m_mutex; // guards all below
    QHash<QString, Record> m_tasks;
    QList<quint64> m_order;
    quint64 m_nextSerial = 0;
    quint64 m_readyCount = 0; // how often `shutdownReady` was emitted
    bool m_requested = false;
};
