#include "app/activitystrip.h"
#include "app/filework.h"
#include "media/devices/mediaplatform.h"
#include "project/stalling.h"
#include "support/files.h"
#include "support/hangingserver.h"
#include "support/logcatcher.h"
#include "support/mediafiles.h"
#include "support/signalmakers.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>

#include <functional>
#include <memory>

namespace {

constexpr int kRateHz = 44100;

} // namespace

class TestFileWork : public QObject {
    Q_OBJECT

private:
    [[nodiscard]] QString in(const QString& name) const { return m_folder->filePath(name); }

    [[nodiscard]] QString shown() const { return m_strip->findChild<QLabel*>()->text(); }

    [[nodiscard]] QPushButton* cancelButton() const { return m_strip->findChild<QPushButton*>(); }

    [[nodiscard]] QString wavFile(qsizetype frames) const
    {
        const QByteArray data = media_files::int16Data({signal_makers::ramp(frames, -0.5F, 0.5F)});
        const QString path = in(QStringLiteral("voice.wav"));
        writeFile(path, media_files::wav(media_files::WavFormat::Int16, 1, kRateHz, data));
        return path;
    }

    /// Runs `action` in the local event loop that the next operation waits in.
    void meanwhile(std::function<void()> action) { QTimer::singleShot(0, this, std::move(action)); }

    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<QWidget> m_window;
    QPushButton* m_control = nullptr;
    ActivityStrip* m_strip = nullptr;
    FileWork* m_work = nullptr;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_folder = std::make_unique<QTemporaryDir>();
        m_window = std::make_unique<QWidget>();
        auto* layout = new QVBoxLayout(m_window.get());
        m_control = new QPushButton(m_window.get());
        layout->addWidget(m_control);
        m_strip = new ActivityStrip(layout, 1, m_window.get());
        m_work = new FileWork(m_strip, {m_control}, m_window.get());
        m_window->show();
    }

    void cleanup()
    {
        m_window.reset();
        m_folder.reset();
        m_log.reset();
    }

    void importShowsItsWorkAndKeepsTheControlsDisabledMeanwhile()
    {
        QString text;
        bool running = false;
        bool enabled = true;
        bool cancellable = false;
        meanwhile([&] {
            text = shown();
            running = m_work->isRunning();
            enabled = m_control->isEnabled();
            cancellable = cancelButton()->isVisible();
        });
        const QSignalSpy finished(m_work, &FileWork::finished);
        const TrackHandle track = m_work->importAudio(wavFile(kRateHz));
        QVERIFY(track);
        QCOMPARE(track->length(), qint64{kRateHz});
        QCOMPARE(track->name, "voice");
        QCOMPARE(text, "Opening voice.wav…");
        QVERIFY(running && !enabled && cancellable);
        QVERIFY(!m_work->isRunning() && m_control->isEnabled() && !m_strip->isVisible());
        QCOMPARE(finished.count(), 1);
    }

    void anExclusiveControlHasTheKeyboardAgainAfterTheWork()
    {
        auto* next = new QPushButton(m_window.get());
        next->show();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_control->setFocus();
        QWidget* focusMeanwhile = nullptr;
        meanwhile([&] { focusMeanwhile = m_window->focusWidget(); });
        QVERIFY(m_work->importAudio(wavFile(kRateHz)));
        QCOMPARE(focusMeanwhile, next);
        QCOMPARE(m_window->focusWidget(), m_control);
    }

    void aControlThatTheStartOfTheWorkDisabledHasTheKeyboardAgain()
    {
        auto* record = new QPushButton(m_window.get());
        auto* next = new QPushButton(m_window.get());
        record->show();
        next->show();
        connect(m_work, &FileWork::started, record, [record] { record->setEnabled(false); });
        connect(m_work, &FileWork::finished, record, [record] { record->setEnabled(true); });
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        record->setFocus();
        QWidget* focusMeanwhile = nullptr;
        meanwhile([&] { focusMeanwhile = m_window->focusWidget(); });
        QVERIFY(m_work->importAudio(wavFile(kRateHz)));
        QCOMPARE(focusMeanwhile, next);
        QCOMPARE(m_window->focusWidget(), record);
    }

    void theKeyboardStaysWhereTheUserHasMovedItMeanwhile()
    {
        auto* next = new QPushButton(m_window.get());
        auto* elsewhere = new QPushButton(m_window.get());
        next->show();
        elsewhere->show();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        m_control->setFocus();
        meanwhile([&] { elsewhere->setFocus(); });
        QVERIFY(m_work->importAudio(wavFile(kRateHz)));
        QCOMPARE(m_window->focusWidget(), elsewhere);
    }

    void aFailedImportIsShown()
    {
        const QSignalSpy finished(m_work, &FileWork::finished);
        QVERIFY(!m_work->importAudio(in(QStringLiteral("none.wav"))));
        QVERIFY(m_strip->isVisible());
        QCOMPARE(shown(), "File does not exist: " + in(QStringLiteral("none.wav")));
        QVERIFY(m_control->isEnabled() && !m_work->isRunning());
        QCOMPARE(finished.count(), 1);
    }

    void theStripsButtonDropsAnImport()
    {
        meanwhile([this] { cancelButton()->click(); });
        QVERIFY(!m_work->importAudio(wavFile(qsizetype{60} * kRateHz)));
        QVERIFY(!m_strip->isVisible());
        QVERIFY(m_control->isEnabled() && !m_work->isRunning());
    }

    void requestEndDropsAnImport()
    {
        meanwhile([this] { m_work->requestEnd(); });
        QVERIFY(!m_work->importAudio(wavFile(qsizetype{60} * kRateHz)));
        QVERIFY(!m_strip->isVisible());
    }

    void aSavedProjectIsLoadedAgain()
    {
        const ProjectHandle project = VelaProject::create(48000);
        project->addTrack(QStringLiteral("Song"), 1)->samples[0] =
            signal_makers::ramp(3000, -1.0F, 1.0F);
        m_work->save(in(QStringLiteral("song.vela")), project);
        QVERIFY(!project->tainted);
        QVERIFY(!m_strip->isVisible());

        const ProjectHandle loaded = VelaProject::create();
        m_work->load(in(QStringLiteral("song.vela")), loaded);
        QVERIFY(!m_strip->isVisible());
        QCOMPARE(loaded->sampleRate, 48000);
        QCOMPARE(loaded->tracks.size(), 1);
        QCOMPARE(loaded->tracks[0]->samples, project->tracks[0]->samples);
    }

    void aSaveIsFinishedWhenTheEndIsRequested()
    {
        const ProjectHandle project = VelaProject::create();
        project->addTrack({}, 1)->samples[0] = signal_makers::noise(5000000, 1, 1.0F);
        QString text;
        QString cancelToolTip;
        bool cancellable = false;
        meanwhile([&] {
            text = shown();
            cancellable = cancelButton()->isVisible();
            cancelToolTip = cancelButton()->toolTip();
            m_work->requestEnd();
        });
        m_work->save(in(QStringLiteral("song.vela")), project);
        QCOMPARE(text, "Saving song.vela…");
        QVERIFY(cancellable);
        QCOMPARE(cancelToolTip, "Stop saving");
        QVERIFY(!project->tainted);
        QVERIFY(QFile::exists(in(QStringLiteral("song.vela"))));
    }

    void theStripsButtonStopsASaveThatStalls()
    {
        const ProjectHandle project = VelaProject::create();
        project->addTrack({}, 1);
        QTimer poll;
        connect(&poll, &QTimer::timeout, this, [&] {
            if (stalling::waiting() == 0)
                return;
            poll.stop();
            cancelButton()->click();
        });
        poll.start(1);
        writeFile(in("dead.vela"), "old");
        stalling::begin(stalling::Call::Sync, in(".dead.vela"), std::chrono::seconds(20));
        m_work->save(in("dead.vela"), project);
        QVERIFY(m_work->isDiskSilent() && !m_work->isRunning() && m_control->isEnabled());
        QCOMPARE(shown(), "dead.vela was not saved: the disk does not answer. "
                          "Save the project somewhere else.");
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "the disk does not answer"), 1);
        QVERIFY(project->tainted);
        m_work->save(in("song.vela"), project);
        QVERIFY(!m_work->isDiskSilent() && !project->tainted);
        stalling::release();
        QTRY_COMPARE(stalling::threadsNamed("project-file"), 0);
        QCOMPARE(readFile(in("dead.vela")), "old");
    }

    void aFailedSaveIsShownAndTheProjectStaysTainted()
    {
        const ProjectHandle project = VelaProject::create();
        project->addTrack({}, 1);
        m_work->save(in(QStringLiteral("nowhere/song.vela")), project);
        QVERIFY(m_strip->isVisible());
        QVERIFY(shown().startsWith(QStringLiteral("Could not save song.vela: ")));
        QVERIFY(project->tainted);
        QVERIFY(m_log->takeContaining(QtWarningMsg, QStringLiteral("skipping...")) > 0);
    }

    void aFailedLoadIsShown()
    {
        writeFile(in(QStringLiteral("text.vela")), "no project at all");
        QString text;
        meanwhile([&] { text = shown(); });
        m_work->load(in(QStringLiteral("text.vela")), VelaProject::create());
        QCOMPARE(text, "Loading text.vela…");
        QVERIFY(m_strip->isVisible());
        QCOMPARE(shown(), "Could not load text.vela: this is not a Vela project.");
        QCOMPARE(
            m_log->take(QtWarningMsg,
                        QStringLiteral("Wrong MAGIC found in file while loading, skipping...")),
            1);
    }
};

int main(int argc, char** argv)
{
    // Files are decoded without ever asking for a sound device.
    const HangingServer server;
    prepareMediaPlatform();
    const QApplication application(argc, argv);
    TestFileWork suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_filework.moc"
