#pragma once

#include "app/sessionend.h"
#include "app/velalayout.h"
#include "project/velaproject.h"
#include "shortcuts/shortcutregistry.h"

#include <QIcon>
#include <QSharedPointer>
#include <QWeakPointer>
#include <QWidget>

class FileWork;
class QAudioFormat;
class QSessionManager;
class QTimer;
class Settings;
class ShortcutHelpWidget;
class VelaEngine;

/// The main window: owns the current project, the engine and the track strips,
/// and carries out the transport and file commands. GUI thread only.
///
/// Commands that take long wait in a local event loop: the window keeps
/// painting and playing meanwhile, and commands that would replace the project
/// or start another such work are refused until it is done; while a project is
/// read or written, so are those that would change it.
class Vela : public QWidget {
    Q_OBJECT

public:
    explicit Vela(QWidget* parent = nullptr);
    ~Vela() override;
    Q_DISABLE_COPY_MOVE(Vela)

    /// Keeps a weak reference; without a live store the window uses defaults.
    void setSettings(const QSharedPointer<Settings>& settings);

    /// Replaces the project everywhere; ends playback and recording.
    void setProject(const ProjectHandle& project);

    [[nodiscard]] ProjectHandle project() const { return m_project; }

    [[nodiscard]] VelaEngine* engine() const { return m_engine.data(); }

    /// For a desktop that wants to end the session: asks the user before unsaved changes
    /// are lost, and keeps the session if they are not to be.
    void answerSessionEnd(QSessionManager& manager);

public slots:
    /// Replaces the project with a fresh one, after asking if that would lose
    /// unsaved changes. False if the user keeps the old one, or file work runs.
    bool clear();
    void load(const QString& suggestedName);
    void save(const QString& suggestedName);
    void togglePlayStop(bool play);
    void toggleRecord(bool record);
    void goToStart();
    void goToEnd();
    void addTrack();
    void removeTrack(int index);
    void zoomToFit();
    void toggleFullscreen(bool checked);
    void triggerKeyboardHelp();
    void updatePositionDisplay();
    void updateTrackViews();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void connectButtons();
    void connectEngine();
    void makeShortcuts();
    void stopPlaying();
    void stopTransport();
    void updateRecordButton();
    void applyTimerRule();
    void refreshTick();
    void followRecording();
    void refreshViews();
    void onDeviceLost(const QString& what);
    void onRecordingCutShort();
    void leaveTake();
    void showMonitor(const QList<float>& left, const QList<float>& right);
    void openProject(const QString& path);
    void importAudio(const QString& path);
    [[nodiscard]] bool confirmDiscard();
    [[nodiscard]] session_end::Risk riskOfEnding() const;
    [[nodiscard]] bool mayLose() const;
    [[nodiscard]] QString dialogStart(const QString& suggestedName) const;
    void rememberFile(const QString& path);

    ProjectHandle m_project;
    // Made once: what each new icon draws stays in the toolkit's cache.
    const QIcon m_playIcon{QStringLiteral(":/icons/media/play.svg")};
    const QIcon m_pauseIcon{QStringLiteral(":/icons/media/pause.svg")};
    VelaLayout m_ui;
    QSharedPointer<VelaEngine> m_engine;
    QTimer* m_refreshTimer = nullptr;
    qint64 m_cursorBeforeRecording = 0; ///< frames
    session_end::Agreement m_agreement;
    QWeakPointer<Settings> m_settings;
    ShortcutRegistry m_shortcuts;
    QSharedPointer<ShortcutHelpWidget> m_help;
    FileWork* m_work = nullptr;
};
