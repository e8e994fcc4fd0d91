#pragma once

#include "project/track.h"
#include "project/velaproject.h"

#include <QList>
#include <QObject>

class ActivityStrip;
class ProjectFileJob;
class QWidget;

/// Runs one long file command at a time, shows it in the activity strip and
/// keeps out what must not happen meanwhile. GUI thread; each operation waits
/// in a local event loop and returns when the work is done.
class FileWork : public QObject {
    Q_OBJECT

public:
    /// `exclusive` are the controls to be disabled while work is running. The keyboard
    /// comes back to what is disabled then, unless the user has moved it meanwhile. Both
    /// arguments are borrowed and must outlive this object.
    FileWork(ActivityStrip* strip, QList<QWidget*> exclusive, QObject* parent);

    /// True from the start of an operation to its end.
    [[nodiscard]] bool isRunning() const { return m_operation != Operation::None; }

    /// True while a project is being read or written: it must not change then.
    [[nodiscard]] bool needsProjectUnchanged() const
    {
        return m_operation == Operation::Load || isSaving();
    }

    [[nodiscard]] bool isSaving() const { return m_operation == Operation::Save; }

    /// The decoded file as a new track, or null after a failure (which the strip
    /// then shows) or a cancel.
    [[nodiscard]] TrackHandle importAudio(const QString& path);

    /// Reads a project file into `project`, an empty one. A failure is shown.
    void load(const QString& path, const ProjectHandle& project);

    /// Writes the project; a failure is shown and leaves the old file whole. The
    /// strip's button stops it, and then it has failed.
    void save(const QString& path, const ProjectHandle& project);

    /// Ends running work as soon as that is safe: an import or a load is
    /// dropped, a save is finished, unless the user stops it.
    void requestEnd();

    /// True if the last work was dropped while its disk did not answer.
    [[nodiscard]] bool isDiskSilent() const { return m_isDiskSilent; }

signals:
    void started();
    /// An operation has ended and its caller is about to go on.
    void finished();

    /// Running work that can be dropped shall be dropped.
    void endRequested();

private:
    enum class Operation { None, Import, Load, Save };
    class Exclusive;
    using JobOperation = bool (ProjectFileJob::*)(const QString&, const ProjectHandle&);
    void runJob(ProjectFileJob& job, JobOperation operation, const QString& path,
                const ProjectHandle& project);
    void endWork(const QString& failure);

    ActivityStrip* m_strip;
    QList<QWidget*> m_exclusive;
    Operation m_operation = Operation::None;
    bool m_isDiskSilent = false;
};
