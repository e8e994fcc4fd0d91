#include "app/filework.h"

#include "app/activitystrip.h"
#include "project/audioimporter.h"
#include "project/projectfilejob.h"

#include <QFileInfo>
#include <QPointer>
#include <QWidget>

/// Marks work as running and keeps the exclusive controls disabled meanwhile.
class FileWork::Exclusive {
public:
    Exclusive(FileWork* work, Operation operation)
        : m_work(work)
        , m_focusBefore(focus())
    {
        m_work->m_operation = operation;
        setControlsEnabled(false);
        emit m_work->started();
        m_focusMeanwhile = focus();
    }

    ~Exclusive()
    {
        setControlsEnabled(true);
        m_work->m_operation = Operation::None;
        emit m_work->finished();
        if (m_focusBefore && focus() == m_focusMeanwhile)
            m_focusBefore->setFocus();
    }

    Q_DISABLE_COPY_MOVE(Exclusive)

private:
    [[nodiscard]] QWidget* focus() const { return m_work->m_strip->window()->focusWidget(); }

    void setControlsEnabled(bool enabled)
    {
        for (QWidget* control : std::as_const(m_work->m_exclusive))
            control->setEnabled(enabled);
    }

    FileWork* m_work;
    QPointer<QWidget> m_focusBefore;
    QPointer<QWidget> m_focusMeanwhile; ///< where the toolkit moves it from what is disabled
};

FileWork::FileWork(ActivityStrip* strip, QList<QWidget*> exclusive, QObject* parent)
    : QObject(parent)
    , m_strip(strip)
    , m_exclusive(std::move(exclusive))
{
    connect(m_strip, &ActivityStrip::cancelRequested, this, &FileWork::endRequested);
}

TrackHandle FileWork::importAudio(const QString& path)
{
    const Exclusive running(this, Operation::Import);
    AudioImporter importer;
    QString failure;
    connect(&importer, &AudioImporter::progressChanged, m_strip, &ActivityStrip::showProgress);
    connect(&importer, &AudioImporter::errorOccurred, this,
            [&failure](const QString& message) { failure = message; });
    connect(this, &FileWork::endRequested, &importer, &AudioImporter::cancel);
    m_strip->showWork(tr("Opening %1…").arg(QFileInfo(path).fileName()),
                      tr("Stop and leave everything as it was"));
    TrackHandle track = importer.importFile(path);
    m_isDiskSilent = importer.wasLeftBehind();
    endWork(failure);
    return track;
}

void FileWork::load(const QString& path, const ProjectHandle& project)
{
    const Exclusive running(this, Operation::Load);
    ProjectFileJob job;
    connect(this, &FileWork::endRequested, &job, &ProjectFileJob::cancel);
    m_strip->showWork(tr("Loading %1…").arg(QFileInfo(path).fileName()), tr("Stop loading"));
    runJob(job, &ProjectFileJob::load, path, project);
}

void FileWork::save(const QString& path, const ProjectHandle& project)
{
    const Exclusive running(this, Operation::Save);
    ProjectFileJob job;
    // Not the end of the window: it waits for the save.
    connect(m_strip, &ActivityStrip::cancelRequested, &job, &ProjectFileJob::cancel);
    m_strip->showWork(tr("Saving %1…").arg(QFileInfo(path).fileName()), tr("Stop saving"));
    runJob(job, &ProjectFileJob::save, path, project);
}

void FileWork::runJob(ProjectFileJob& job, JobOperation operation, const QString& path,
                      const ProjectHandle& project)
{
    QString failure;
    connect(&job, &ProjectFileJob::errorOccurred, this,
            [&failure](const QString& message) { failure = message; });
    (job.*operation)(path, project);
    m_isDiskSilent = job.wasLeftBehind();
    endWork(failure);
}

void FileWork::endWork(const QString& failure)
{
    if (!failure.isEmpty())
        m_strip->showMessage(failure);
    m_strip->endWork();
}

void FileWork::requestEnd()
{
    emit endRequested();
}
