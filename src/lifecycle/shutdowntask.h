#pragma once

#include <QIcon>
#include <QString>

#include <functional>

/// Work that must finish before the application quits. All times are
/// milliseconds on the coordinator's own clock (ShutdownLifecycle::nowMs), -1
/// while unset.
struct ShutdownTask {
    QIcon icon;
    QString id; ///< unique among the outstanding tasks
    QString title;
    QString description;
    QString detail;

    /// When the end began to wait for the task; set by the coordinator.
    qint64 startMs = -1;

    /// From this moment on the end is not held up by the task any more. Unset:
    /// ShutdownLifecycle::kDefaultGrace after `startMs`.
    qint64 deadlineMs = -1;

    /// True once the coordinator has called `run`; set by the coordinator.
    bool started = false;

    /// Hurries the work up. Called at most once per requested shutdown, on the
    /// coordinator's thread whoever requests it, with no lock held. It may do its
    /// work there and then where that is as short as writing a small file, but
    /// wait for nothing that may not come, as no deadline can end it. It may
    /// finish its task at once, later from any thread, or leave it to its deadline.
    std::function<void()> run;
};
