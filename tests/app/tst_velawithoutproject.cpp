#include "app/dialoganswers.h"
#include "app/iconbutton.h"
#include "app/vela.h"
#include "engine/velaengine.h"
#include "support/foldersuite.h"
#include "widgets/trackwidget.h"

#include <QCoreApplication>
#include <QLabel>
#include <QTest>

#include <functional>
#include <memory>
#include <registerresources.h>

using dialog_answers::chooseInNextFileDialog;

using Command = std::function<void(Vela&)>;
Q_DECLARE_METATYPE(Command)

/// The window that has been given no project: its commands find nothing to work on.
class TestVelaWithoutProject : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] IconButton* button(const char* name) const
    {
        return m_window->findChild<IconButton*>(QString::fromLatin1(name));
    }

    std::unique_ptr<Vela> m_window;

private slots:

    void initTestCase()
    {
        registerResources();
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    }

    void init()
    {
        FolderSuite::init();
        m_window = std::make_unique<Vela>();
        m_window->setProject({});
    }

    void cleanup()
    {
        m_window.reset();
        FolderSuite::cleanup();
    }

    void commandsLeaveEverythingAsItIs_data()
    {
        QTest::addColumn<Command>("command");
        const auto row = [](const char* name, const Command& command) {
            QTest::newRow(name) << command;
        };
        row("play", [](Vela& window) { window.togglePlayStop(true); });
        row("stop", [](Vela& window) { window.togglePlayStop(false); });
        row("record", [](Vela& window) { window.toggleRecord(true); });
        row("end the take", [](Vela& window) { window.toggleRecord(false); });
        row("go to the start", [](Vela& window) { window.goToStart(); });
        row("go to the end", [](Vela& window) { window.goToEnd(); });
        row("add a track", [](Vela& window) { window.addTrack(); });
        row("remove a track", [](Vela& window) { window.removeTrack(0); });
        row("show all", [](Vela& window) { window.zoomToFit(); });
        row("fill the screen", [](Vela& window) { window.toggleFullscreen(true); });
        row("list the keys", [](Vela& window) { window.triggerKeyboardHelp(); });
        row("show the position", [](Vela& window) { window.updatePositionDisplay(); });
        row("show the tracks", [](Vela& window) { window.updateTrackViews(); });
    }

    void commandsLeaveEverythingAsItIs()
    {
        QFETCH(Command, command);
        command(*m_window);
        QVERIFY(!m_window->project());
        QVERIFY(!m_window->engine()->isPlaying());
        QVERIFY(!m_window->engine()->isRecording());
        QVERIFY(m_window->findChildren<TrackWidget*>().isEmpty());
        QCOMPARE(m_window->findChild<QLabel*>(QStringLiteral("labelPosition"))->text(),
                 "00:00:00.000");
    }

    void stopBringsPlayUp()
    {
        IconButton* play = button("pushButtonPlayStop");
        play->setChecked(true);
        button("pushButtonStop")->click();
        QVERIFY(!play->isChecked());
        QVERIFY(!m_window->project());
    }

    void whatTheEngineEndsBringsRecordUp()
    {
        IconButton* record = button("pushButtonRecord");
        record->setChecked(true);
        emit m_window->engine()->deviceLost(QStringLiteral("input"));
        QVERIFY(!record->isChecked());
        record->setChecked(true);
        emit m_window->engine()->recordingCutShort();
        QVERIFY(!record->isChecked());
        QVERIFY(!m_window->project());
    }

    void aFileDialogThatIsCancelledChangesNothing()
    {
        chooseInNextFileDialog({});
        m_window->load({});
        chooseInNextFileDialog({});
        m_window->save({});
        QVERIFY(!m_window->project());
    }

    void aSaveWritesNothing()
    {
        chooseInNextFileDialog(in(QStringLiteral("take.vela")));
        m_window->save({});
        QCOMPARE(log().take(QtWarningMsg, QStringLiteral("No project to save, skipping...")), 1);
        QCOMPARE(entries(), QStringList());
        QVERIFY(!m_window->project());
    }

    void aNewProjectIsMadeUnasked()
    {
        QVERIFY(m_window->clear());
        QVERIFY(m_window->project());
        QCOMPARE(m_window->project()->sampleRate, 44100);
    }

    void theWindowClosesUnasked()
    {
        m_window->show();
        QVERIFY(m_window->close());
    }
};

QTEST_MAIN(TestVelaWithoutProject)
#include "tst_velawithoutproject.moc"
