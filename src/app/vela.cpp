#include "app/vela.h"

#include "app/activitystrip.h"
#include "app/filework.h"
#include "app/iconbutton.h"
#include "app/refusals.h"
#include "app/trackstack.h"
#include "app/transportkeys.h"
#include "engine/transport.h"
#include "engine/velaengine.h"
#include "lifecycle/pointercheck.h"
#include "media/devices/devicemanager.h"
#include "project/timetext.h"
#include "shortcuts/shortcutcatalogue.h"
#include "shortcuts/shortcuthelpwidget.h"
#include "widgets/stereoseparationwidget.h"
#include "widgets/trackwidget.h"
#include "widgets/unifiedaudioscope.h"
#include "widgets/waveformview.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QScreen>
#include <QShortcut>
#include <QTimer>

#include <algorithm>

using media::devices::DeviceManager;

namespace {

constexpr int kRefreshIntervalMs = 33;
constexpr int kNewTrackChannels = 2;
constexpr QSize kInitialSize(1280, 760);
/// When the take runs out of view, the new view shows this much of its end.
constexpr double kFollowFraction = 0.1;
/// Least span of such a view, in seconds.
constexpr int kFollowSpanSeconds = 10;

} // namespace

Vela::Vela(QWidget* parent)
    : QWidget(parent)
    , m_project(VelaProject::create(VelaProject::kDefaultSampleRate))
{
    checkPointers(this, parent ? static_cast<const void*>(parent) : this);
    m_ui.build(this);
    resize(kInitialSize.boundedTo(screen()->availableSize()));
    m_work = new FileWork(m_ui.activity, {m_ui.load, m_ui.save, m_ui.clear}, this);
    m_engine = QSharedPointer<VelaEngine>::create();
    m_engine->setProject(m_project);
    m_refreshTimer = new QTimer(this);
    m_refreshTimer->setInterval(kRefreshIntervalMs);
    connect(m_refreshTimer, &QTimer::timeout, this, &Vela::refreshTick);
    fillShortcutRegistry(m_shortcuts);
    connectButtons();
    connectEngine();
    makeShortcuts();
    const auto* keys = new TransportKeys(this, m_ui.scope);
    connect(keys, &TransportKeys::playToggled, m_ui.playStop, &IconButton::toggle);
    updateTrackViews();
    updatePositionDisplay();
}

Vela::~Vela()
{
    m_engine.reset();
    m_ui.tracks->rebuild({});
}

void Vela::connectButtons()
{
    connect(m_ui.load, &IconButton::clicked, this, [this] { load({}); });
    connect(m_ui.save, &IconButton::clicked, this, [this] { save({}); });
    connect(m_ui.clear, &IconButton::clicked, this, &Vela::clear);
    connect(m_ui.goStart, &IconButton::clicked, this, &Vela::goToStart);
    connect(m_ui.goEnd, &IconButton::clicked, this, &Vela::goToEnd);
    connect(m_ui.playStop, &IconButton::toggled, this, &Vela::togglePlayStop);
    connect(m_ui.record, &IconButton::toggled, this, &Vela::toggleRecord);
    connect(m_ui.stop, &IconButton::clicked, this, &Vela::stopPlaying);
    connect(m_ui.help, &IconButton::clicked, this, &Vela::triggerKeyboardHelp);
    connect(m_work, &FileWork::started, this, &Vela::updateRecordButton);
    connect(m_work, &FileWork::finished, this, &Vela::updateRecordButton);
    connect(m_ui.tracks, &TrackStack::positionEdited, this, &Vela::updatePositionDisplay);
    connect(m_ui.tracks, &TrackStack::removeRequested, this, &Vela::removeTrack);
}

void Vela::connectEngine()
{
    const VelaEngine* engine = m_engine.data();
    connect(engine, &VelaEngine::positionChanged, this, &Vela::refreshViews);
    connect(engine, &VelaEngine::playbackStopped, this,
            [this] { m_ui.playStop->setChecked(false); });
    connect(engine, &VelaEngine::structureChanged, this, &Vela::updateTrackViews);
    connect(engine, &VelaEngine::deviceLost, this, &Vela::onDeviceLost);
    connect(engine, &VelaEngine::recordingCutShort, this, &Vela::onRecordingCutShort);
    connect(engine, &VelaEngine::monitor, this, &Vela::showMonitor);
    connect(engine, &VelaEngine::outputFormatChanged, this, [this](const QAudioFormat& format) {
        m_ui.scope->setSampleRate(format.sampleRate());
        m_ui.scope->setChannelCount(format.channelCount());
    });
}

void Vela::makeShortcuts()
{
    const auto bind = [this](const QKeySequence& keys, auto command) {
        auto* shortcut = new QShortcut(keys, this);
        shortcut->setContext(Qt::WindowShortcut);
        shortcut->setAutoRepeat(false);
        connect(shortcut, &QShortcut::activated, this, command);
    };
    bind(Qt::Key_Space, [this] { m_ui.playStop->toggle(); });
    bind(Qt::Key_Home, [this] { goToStart(); });
    bind(Qt::Key_End, [this] { goToEnd(); });
    bind(Qt::Key_F1, [this] { triggerKeyboardHelp(); });
    bind(Qt::Key_F11, [this] { toggleFullscreen(!isFullScreen()); });
    bind(Qt::CTRL | Qt::Key_S, [this] { save({}); });
    bind(Qt::CTRL | Qt::Key_O, [this] { load({}); });
    bind(Qt::CTRL | Qt::Key_N, [this] { clear(); });
    bind(Qt::CTRL | Qt::Key_T, [this] { addTrack(); });
    bind(Qt::CTRL | Qt::Key_0, [this] { zoomToFit(); });
}

void Vela::setSettings(const QSharedPointer<Settings>& settings)
{
    m_settings = settings.toWeakRef();
}

void Vela::setProject(const ProjectHandle& project)
{
    m_project = project;
    m_agreement.withdraw();
    if (m_engine) {
        stopTransport();
        m_engine->setProject(project);
    }
    updateTrackViews();
    updatePositionDisplay();
}

void Vela::stopTransport()
{
    m_engine->stopAll();
    m_ui.playStop->setChecked(false);
    m_ui.record->setChecked(false);
    applyTimerRule();
}

void Vela::togglePlayStop(bool play)
{
    if (!m_project)
        return;
    if (play) {
        const bool loop = QApplication::keyboardModifiers().testFlag(Qt::ShiftModifier);
        transport::prepareToPlay(*m_project, loop);
    }
    if (m_engine->isPlaying() != play) {
        if (play)
            m_engine->startPlayback();
        else
            m_engine->stopPlayback();
    }
    m_ui.playStop->setIcon(m_engine->isPlaying() ? m_pauseIcon : m_playIcon);
    applyTimerRule();
    updatePositionDisplay();
    if (play && !m_engine->isPlaying()) {
        m_ui.playStop->setChecked(false);
        refreshViews();
        auto& devices = DeviceManager::instance();
        m_ui.activity->showMessage(
            refusals::ofPlaying(!devices.audioOutputs().isEmpty(), m_project->sampleRate));
    }
}

void Vela::stopPlaying()
{
    if (m_project) {
        if (m_engine->isPlaying())
            m_engine->stopPlayback();
        m_ui.playStop->setIcon(m_playIcon);
        applyTimerRule();
        updatePositionDisplay();
    }
    m_ui.playStop->setChecked(false);
}

void Vela::toggleRecord(bool record)
{
    if (!m_project)
        return;
    if (record)
        m_cursorBeforeRecording = m_project->cursor.position;
    if (m_engine->isRecording() != record) {
        if (record) {
            m_engine->startRecording();
        } else {
            m_engine->stopRecording();
            m_project->cursor.position = m_cursorBeforeRecording;
            refreshViews();
        }
    }
    applyTimerRule();
    updateRecordButton();
    if (record && !m_engine->isRecording()) {
        m_ui.record->setChecked(false);
        auto& devices = DeviceManager::instance();
        m_ui.activity->showMessage(refusals::ofRecording(!devices.audioInputs().isEmpty(),
                                                         !devices.audioOutputs().isEmpty(),
                                                         m_project->sampleRate));
    }
}

/// A take may be ended at any time, but not begun while files are worked on.
void Vela::updateRecordButton()
{
    m_ui.record->setEnabled(m_ui.record->isChecked() || !m_work->isRunning());
}

void Vela::applyTimerRule()
{
    const bool busy = m_engine->isPlaying() || m_engine->isRecording();
    if (busy) {
        if (!m_refreshTimer->isActive())
            m_refreshTimer->start();
    } else if (m_refreshTimer->isActive()) {
        m_refreshTimer->stop();
        refreshViews();
    }
}

void Vela::refreshTick()
{
    followRecording();
    refreshViews();
}

void Vela::followRecording()
{
    const TrackHandle take = m_engine->recordTrack();
    if (!m_engine->isRecording() || !take || m_ui.tracks->strips().isEmpty())
        return;
    const qint64 end = take->length();
    m_project->cursor.position = end;
    if (end >= m_project->viewStart && end <= m_project->viewEnd)
        return;
    qint64 span = m_project->viewEnd - m_project->viewStart;
    if (span < m_project->sampleRate)
        span = qint64{kFollowSpanSeconds} * m_project->sampleRate;
    const auto shown = static_cast<qint64>(kFollowFraction * static_cast<double>(span));
    const qint64 start = std::max<qint64>(end - shown, 0);
    m_ui.tracks->strips().constFirst()->waveform()->setViewRange(start, start + span);
}

void Vela::refreshViews()
{
    updatePositionDisplay();
    m_ui.tracks->refreshWaveforms();
}

void Vela::updatePositionDisplay()
{
    if (!m_project) {
        m_ui.position->setText(timeText(0, VelaProject::kDefaultSampleRate));
        return;
    }
    const Marker& shown = m_project->playing ? m_project->play : m_project->cursor;
    m_ui.position->setText(timeText(shown.position, m_project->sampleRate));
}

void Vela::onDeviceLost(const QString& what)
{
    const bool input = what == QLatin1String("input");
    if (input)
        leaveTake();
    else
        m_ui.playStop->setChecked(false);
    applyTimerRule();
    m_ui.activity->showMessage(
        input ? tr("The audio input was lost. What it gave until then is in the take. Connect a "
                   "microphone, then press Record again.")
              : tr("The audio output was lost. Connect or switch one on, then press Play again."));
}

void Vela::onRecordingCutShort()
{
    leaveTake();
    applyTimerRule();
    m_ui.activity->showMessage(tr("There is no memory left to record into. What was captured "
                                  "until then is in the take. Save the project."));
}

/// The engine has stopped already, so the button has nothing left to stop. The cursor
/// goes back here, too: however a take ended, the user finds it where it was before.
void Vela::leaveTake()
{
    if (m_project && m_ui.record->isChecked())
        m_project->cursor.position = m_cursorBeforeRecording;
    m_ui.record->setChecked(false);
}

void Vela::showMonitor(const QList<float>& left, const QList<float>& right)
{
    m_ui.scope->push(0, left.constData(), static_cast<int>(left.size()));
    m_ui.scope->push(1, right.constData(), static_cast<int>(right.size()));
    m_ui.stereo->pushFrames(left, right);
}

void Vela::goToStart()
{
    if (!m_project)
        return;
    m_project->cursor.position = 0;
    refreshViews();
    m_ui.tracks->announceCursor();
}

void Vela::goToEnd()
{
    if (!m_project)
        return;
    m_project->cursor.position = m_project->length();
    refreshViews();
    m_ui.tracks->announceCursor();
}

void Vela::addTrack()
{
    if (!m_project || m_work->needsProjectUnchanged())
        return;
    m_project->addTrack({}, kNewTrackChannels);
    updateTrackViews();
}

void Vela::removeTrack(int index)
{
    if (!m_project || m_work->needsProjectUnchanged())
        return;
    const TrackHandle take = m_engine->recordTrack();
    const qsizetype removed = index < 0 ? m_project->tracks.size() - 1 : index;
    // Or it would go on in a track that nobody can see or save.
    if (take && take == m_project->tracks.value(removed))
        m_ui.record->setChecked(false);
    m_project->removeTrack(index);
    updateTrackViews();
}

void Vela::zoomToFit()
{
    if (!m_project || m_ui.tracks->strips().isEmpty())
        return;
    const qint64 end = std::max<qint64>(1, m_project->length());
    m_ui.tracks->strips().constFirst()->waveform()->setViewRange(0, end);
}

void Vela::updateTrackViews()
{
    m_ui.tracks->rebuild(m_project);
    if (m_project && m_project->viewEnd > m_project->viewStart)
        m_ui.tracks->refreshWaveforms();
    else
        zoomToFit();
}

void Vela::triggerKeyboardHelp()
{
    if (!m_help)
        m_help = QSharedPointer<ShortcutHelpWidget>::create(m_shortcuts);
    m_help->setWindowTitle(tr("Keyboard Shortcuts"));
    m_help->showHelp();
}

void Vela::keyPressEvent(QKeyEvent* event)
{
    if (TransportKeys::isLoopKey(*event)) {
        if (!event->isAutoRepeat())
            m_ui.playStop->toggle();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

void Vela::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
}
