// The file commands of the main window.

#include "app/activitystrip.h"
#include "app/filedialogs.h"
#include "app/filework.h"
#include "app/refusals.h"
#include "app/trackstack.h"
#include "app/vela.h"
#include "engine/velaengine.h"
#include "lifecycle/shutdownlifecycle.h"
#include "settings/settings.h"
#include "shortcuts/shortcuthelpwidget.h"

#include <QCloseEvent>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QSessionManager>

namespace {

constexpr QLatin1String kLastFileKey("vela/lastFileDir");
constexpr QLatin1String kFullScreenKey("vela/fullScreen");

} // namespace

bool Vela::confirmDiscard()
{
    if (!m_project || !m_project->tainted)
        return true;
    QMessageBox box(this);
    box.setWindowTitle(tr("Unsaved Changes"));
    box.setText(tr("The project has unsaved changes. Discard them?"));
    const QPushButton* discard = box.addButton(tr("&Discard"), QMessageBox::DestructiveRole);
    QPushButton* cancel = box.addButton(tr("&Cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(cancel);
    box.setEscapeButton(cancel);
    box.exec();
    return box.clickedButton() == discard;
}

void Vela::answerSessionEnd(QSessionManager& manager)
{
    const auto look = [this] { return riskOfEnding(); };
    const auto agreed = session_end::answer(manager, look, [this] { return confirmDiscard(); });
    if (agreed)
        m_agreement.withdraw();
    if (agreed == true)
        m_agreement.give(m_project->taints, QDeadlineTimer::current().deadline());
    if (m_work->isSaving())
        m_ui.activity->showMessage(tr("The session was to end while a file was being saved. "
                                      "It goes on; end it again."));
}

session_end::Risk Vela::riskOfEnding() const
{
    if (!isVisible())
        return session_end::Risk::Nothing;
    if (m_work->isSaving())
        return session_end::Risk::RunningSave;
    return mayLose() ? session_end::Risk::Nothing : session_end::Risk::UnsavedChanges;
}

/// Whether nothing is unsaved, or the user has agreed to lose it with the session.
bool Vela::mayLose() const
{
    return !m_project || !m_project->tainted ||
           m_agreement.holds(m_project->taints, QDeadlineTimer::current().deadline());
}

bool Vela::clear()
{
    if (m_work->isRunning() || !confirmDiscard())
        return false;
    setProject(VelaProject::create(VelaProject::kDefaultSampleRate));
    return true;
}

void Vela::load(const QString& suggestedName)
{
    if (m_work->isRunning())
        return;
    const QString path = file_dialogs::askOpen(this, dialogStart(suggestedName));
    if (path.isEmpty())
        return;
    rememberFile(path);
    if (file_dialogs::isProjectFile(path))
        openProject(path);
    else
        importAudio(path);
}

void Vela::openProject(const QString& path)
{
    if (!clear())
        return;
    m_work->load(path, m_project);
    setProject(m_project);
}

void Vela::importAudio(const QString& path)
{
    const TrackHandle track = m_work->importAudio(path);
    if (!track)
        return;
    if (!m_project)
        setProject(VelaProject::create(track->sampleRate));
    m_project->sampleRate = track->sampleRate;
    m_project->insertTrack(track);
    updateTrackViews();
    zoomToFit();
    updatePositionDisplay();
    const QString refusal = refusals::ofSaving(QFileInfo(path).fileName(), track->length());
    if (!refusal.isEmpty())
        m_ui.activity->showMessage(refusal);
}

void Vela::save(const QString& suggestedName)
{
    if (m_work->isRunning())
        return;
    const QString path = file_dialogs::askSave(this, dialogStart(suggestedName));
    if (path.isEmpty())
        return;
    m_work->save(path, m_project);
    rememberFile(path);
}

QString Vela::dialogStart(const QString& suggestedName) const
{
    QString lastFile;
    if (const QSharedPointer<Settings> settings = m_settings.toStrongRef())
        lastFile = settings->value(settings->keyPrefix() + kLastFileKey).toString();
    // The dialog would look into its folder, and wait there with the whole window.
    if (m_work->isDiskSilent())
        return file_dialogs::startPath({}, suggestedName.isEmpty() ? QFileInfo(lastFile).fileName()
                                                                   : suggestedName);
    return file_dialogs::startPath(lastFile, suggestedName);
}

void Vela::rememberFile(const QString& path)
{
    if (const QSharedPointer<Settings> settings = m_settings.toStrongRef())
        settings->setCustomValue(settings->keyPrefix() + kLastFileKey, path);
}

void Vela::toggleFullscreen(bool checked)
{
    if (checked)
        showFullScreen();
    else
        showNormal();
    if (const QSharedPointer<Settings> settings = m_settings.toStrongRef())
        settings->setCustomValue(settings->keyPrefix() + kFullScreenKey, checked);
}

/// The window stays until running work has ended and the user has agreed to
/// lose what is not saved; then every part of the program gets a bounded time to
/// finish what it has announced.
void Vela::closeEvent(QCloseEvent* event)
{
    if (m_work->isRunning()) {
        connect(m_work, &FileWork::finished, this, &Vela::close,
                static_cast<Qt::ConnectionType>(Qt::QueuedConnection | Qt::UniqueConnection));
        m_work->requestEnd();
        event->ignore();
        return;
    }
    disconnect(m_work, &FileWork::finished, this, &Vela::close);
    if (!mayLose() && !confirmDiscard()) {
        event->ignore();
        return;
    }
    stopTransport();
    static_cast<void>(ShutdownLifecycle::instance().waitForTasks());
    if (m_help)
        m_help->close();
    event->accept();
}
