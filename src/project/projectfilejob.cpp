#include "project/projectfilejob.h"

#include <QDebug>
#include <QEventLoop>
#include <QFileInfo>
#include <QThread>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace {

// Returns when `work` has run on a thread of its own. If the program is told to
// quit meanwhile the local loop ends at once; then `hurry` is called, and the
// thread waited for.
void runBeside(const std::function<void()>& work, const std::function<void()>& hurry)
{
    const std::unique_ptr<QThread> thread(QThread::create(work));
    thread->setObjectName(QStringLiteral("project-file"));
    QEventLoop loop;
    QObject::connect(thread.get(), &QThread::finished, &loop, &QEventLoop::quit,
                     Qt::QueuedConnection);
    thread->start();
    loop.exec();
    if (!thread->isFinished())
        hurry();
    thread->wait();
}

// What a capture changes: which tracks there are and how long they are.
struct Extent {
    explicit Extent(const VelaProject& project)
        : tracks(project.tracks)
    {
        for (const TrackHandle& track : tracks)
            for (const auto& channel : std::as_const(track->samples))
                lengths.push_back(channel.size());
    }

    bool operator==(const Extent& other) const = default;

    QList<TrackHandle> tracks;
    std::vector<qsizetype> lengths;
};

QString fileName(const QString& path)
{
    return QFileInfo(path).fileName();
}

} // namespace

ProjectFileJob::ProjectFileJob(QObject* parent)
    : QObject(parent)
{
}

bool ProjectFileJob::isRunning() const
{
    return m_running;
}

void ProjectFileJob::cancel()
{
    m_abandon = true;
}

bool ProjectFileJob::begin()
{
    if (m_running) {
        qWarning("ProjectFileJob: another file is being saved or loaded, skipping...");
        return false;
    }
    m_running = true;
    m_abandon = false;
    return true;
}

bool ProjectFileJob::save(const QString& path, const ProjectHandle& project)
{
    qDebug() << "Saving" << path;
    if (!project) {
        qWarning("No project to save, skipping...");
        return false;
    }
    if (!begin())
        return false;
    const Extent before(*project);
    ProjectHandle snapshot = ProjectFile::snapshot(*project);
    ProjectFile::SaveResult result;
    const auto write = [&] {
        result = ProjectFile::save(snapshot, path);
        // So that the next change need not copy the samples. Here, because giving
        // back the last copy of a long track takes its time.
        snapshot.reset();
    };
    runBeside(write, [] {}); // a save goes on to its end
    m_running = false;
    const bool saved = finishSave(path, result);
    if (saved && before == Extent(*project))
        project->untaint(QStringLiteral("saveVelaProject"));
    return saved;
}

bool ProjectFileJob::finishSave(const QString& path, const ProjectFile::SaveResult& result)
{
    using Outcome = ProjectFile::SaveResult::Outcome;
    if (result.outcome == Outcome::Saved)
        return true;
    if (result.outcome == Outcome::SavedInsecurely) {
        qWarning("ProjectFile: saved, but perhaps not on disk yet: %s",
                 qUtf8Printable(result.reason));
        emit errorOccurred(tr("%1 is saved, but might not survive a power cut: %2.")
                               .arg(fileName(path), result.reason));
        return true;
    }
    if (result.outcome == Outcome::CouldNotOpen)
        qWarning("Could not open file for saving, skipping...");
    qWarning("ProjectFile: not saved: %s, skipping...", qUtf8Printable(result.reason));
    emit errorOccurred(tr("Could not save %1: %2.").arg(fileName(path), result.reason));
    return false;
}

bool ProjectFileJob::load(const QString& path, const ProjectHandle& project)
{
    qDebug() << "Loading" << path;
    if (!project) {
        qWarning("No project to load, skipping...");
        return false;
    }
    if (!begin())
        return false;
    ProjectFile::LoadResult result;
    runBeside([&] { result = ProjectFile::load(path, &m_abandon); }, [this] { cancel(); });
    m_running = false;
    return finishLoad(path, result, project);
}

bool ProjectFileJob::finishLoad(const QString& path, const ProjectFile::LoadResult& result,
                                const ProjectHandle& project)
{
    using Outcome = ProjectFile::LoadResult::Outcome;
    switch (result.outcome) {
    case Outcome::Loaded:
        ProjectFile::adopt(project, *result.loaded);
        project->untaint(QStringLiteral("loadVelaProject"));
        if (!result.reason.isEmpty())
            qWarning("ProjectFile: loaded with losses: %s", qUtf8Printable(result.reason));
        break;
    case Outcome::CouldNotOpen:
        qWarning("Could not open file for loading, skipping...");
        break;
    case Outcome::WrongMagic:
        qWarning("Wrong MAGIC found in file while loading, skipping...");
        break;
    case Outcome::WrongVersion:
        qWarning("Wrong VERSION found in file while loading, skipping...");
        break;
    case Outcome::TooLarge:
        qWarning("ProjectFile: not loaded: %s, skipping...", qUtf8Printable(result.reason));
        break;
    case Outcome::Abandoned:
        qInfo("ProjectFile: loading abandoned");
        break;
    }
    const bool isLoaded = result.outcome == Outcome::Loaded;
    if (!result.reason.isEmpty()) {
        const QString sentence =
            isLoaded ? tr("%1 is loaded, but with losses: %2.") : tr("Could not load %1: %2.");
        emit errorOccurred(sentence.arg(fileName(path), result.reason));
    }
    return isLoaded;
}
