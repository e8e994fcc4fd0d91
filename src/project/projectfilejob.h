#pragma once

#include "project/projectfile.h"
#include "project/sidework.h"

#include <QObject>

/// Saves and loads projects beside the GUI: the work runs on a thread of its
/// own while the caller waits in a local event loop, so that the window paints
/// and playback is fed. Made and used on the GUI thread.
///
/// The caller sees to it that nothing changes or replaces the project meanwhile
/// and that this object outlives its running call. One call at a time; another
/// made meanwhile is refused with a warning.
///
/// Where the file system does not answer, a call that is cancelled comes back all
/// the same and leaves its thread behind. That one writes no more if it ever goes on:
/// the file that was there stays, unless it was just being replaced, and what lies
/// beside it is removed. The project may be saved elsewhere meanwhile.
class ProjectFileJob : public QObject {
    Q_OBJECT

public:
    explicit ProjectFileJob(QObject* parent = nullptr);

    /// Writes `project` to `path`, which carries its extension. Tainted or clean
    /// → clean on success, unless the project changed while it was written. On
    /// failure: a warning in the log, `errorOccurred`, false, and the file that
    /// was there and the taint stay; so it is if `cancel()` was called. A file that is
    /// saved, but may not survive a power cut, is a success with a warning and
    /// `errorOccurred`. A program that quits waits for the save.
    bool save(const QString& path, const ProjectHandle& project);

    /// Reads `path` into `project`, which becomes clean. False, with a warning
    /// and `errorOccurred`, if it is no readable project file; false alone if
    /// `cancel()` was called or the program quits: `project` is as it was. A
    /// damaged body gives the empty project that such files stand for,
    /// `errorOccurred`, and true.
    bool load(const QString& path, const ProjectHandle& project);

    [[nodiscard]] bool isRunning() const;

    /// Abandons a running save or load.
    void cancel();

    /// True if the last call came back without its thread.
    [[nodiscard]] bool wasLeftBehind() const { return m_work.wasLeftBehind(); }

signals:
    /// Why a save or load failed or is less than it should be, as a sentence for the user.
    void errorOccurred(const QString& message);

private:
    bool begin();
    bool finishSave(const QString& path, const ProjectFile::SaveResult& result);
    void reportStopped(const QString& path);
    bool finishLoad(const QString& path, const ProjectFile::LoadResult& result,
                    const ProjectHandle& project);

    SideWork m_work;
    bool m_running = false;
};
