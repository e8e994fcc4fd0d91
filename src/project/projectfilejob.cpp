#include "project/projectfilejob.h"

#include <QDebug>
#include <QFileInfo>

#include <optional>
#include <utility>
#include <vector>

namespace {

constexpr char kThreadName[] = "project-file";

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
    m_work.stop();
}

bool ProjectFileJob::begin()
{
    if (m_running) {
        qWarning("ProjectFileJob: another file is being saved or loaded, skipping...");
        return false;
    }
    m_running = true;
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
    // The snapshot ends with the work, on its thread: giving back the last copy of a
    // long track takes its time.
    const auto result = m_work.run(
        kThreadName, SideWork::AtQuit::GoOn,
        [snapshot = ProjectFile::snapshot(*project), path](const std::atomic_bool& isStopped) {
            return ProjectFile::save(snapshot, path, ProjectFile::kMaxBodyBytes, &isStopped);
        });
    m_running = false;
    const bool saved = finishSave(path, result.value_or(ProjectFile::SaveResult{
                                            ProjectFile::SaveResult::Outcome::Abandoned, {}}));
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
    if (result.outcome == Outcome::Abandoned) {
        reportStopped(path);
        return false;
    }
    if (result.outcome == Outcome::CouldNotOpen)
        qWarning("Could not open file for saving, skipping...");
    qWarning("ProjectFile: not saved: %s, skipping...", qUtf8Printable(result.reason));
    emit errorOccurred(tr("Could not save %1: %2.").arg(fileName(path), result.reason));
    return false;
}

void ProjectFileJob::reportStopped(const QString& path)
{
    if (!wasLeftBehind()) {
        qWarning("ProjectFile: not saved: stopped, skipping...");
        emit errorOccurred(tr("%1 was not saved.").arg(fileName(path)));
        return;
    }
    qWarning("ProjectFile: not saved: the disk does not answer, skipping...");
    emit errorOccurred(
        tr("%1 was not saved: the disk does not answer. Save the project somewhere else.")
            .arg(fileName(path)));
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
    const auto result =
        m_work.run(kThreadName, SideWork::AtQuit::Stop, [path](const std::atomic_bool& isStopped) {
            return ProjectFile::load(path, &isStopped);
        });
    m_running = false;
    const ProjectFile::LoadResult abandoned{ProjectFile::LoadResult::Outcome::Abandoned, {}, {}};
    return finishLoad(path, result.value_or(abandoned), project);
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
