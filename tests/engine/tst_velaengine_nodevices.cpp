#include "engine/velaengine.h"
#include "media/audio/audioformats.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTest>

/// The engine on a machine without any audio device.
class TestVelaEngineNoDevices : public QObject {
    Q_OBJECT

private:
    SoundServer m_server{{.withSpeaker = false, .withMicrophone = false}};

private slots:

    void initTestCase() { QVERIFY(m_server.start()); }

    void playWarnsAndDoesNotStart()
    {
        LogCatcher log;
        VelaEngine engine;
        const auto project = VelaProject::create();
        project->addTrack({}, 1)->samples[0].resize(5000);
        engine.setProject(project);
        QSignalSpy stopped(&engine, &VelaEngine::playbackStopped);
        engine.startPlayback();
        QVERIFY(!engine.isPlaying());
        QVERIFY(!project->playing);
        QCOMPARE(
            log.take(QtWarningMsg, QStringLiteral("VelaEngine: no audio output device supports ") +
                                       printed(stereo())),
            1);
        QVERIFY(log.texts(QtDebugMsg)
                    .contains(QStringLiteral("AudioSystem initialized with 0 outputs, 0 inputs")));
    }

    void recordWarnsAndAddsNoTrack()
    {
        LogCatcher log;
        VelaEngine engine;
        const auto project = VelaProject::create();
        engine.setProject(project);
        QSignalSpy structure(&engine, &VelaEngine::structureChanged);
        engine.startRecording();
        QVERIFY(!engine.isRecording());
        QVERIFY(project->tracks.isEmpty());
        QVERIFY(!project->tainted);
        QCOMPARE(structure.count(), 0);
        QCOMPARE(
            log.take(QtWarningMsg, QStringLiteral("VelaEngine: cannot record — no input device")),
            1);
        log.takeContaining(QtWarningMsg, QStringLiteral("no audio output device supports"));
    }

    void whyThereIsNoMicrophoneIsToldWhenItsCategoryIsOn_data()
    {
        QTest::addColumn<QString>("rules");
        QTest::addColumn<int>("lines");
        QTest::newRow("on") << QStringLiteral("vela.engine.devices.debug=true") << 1;
        QTest::newRow("off, as it is by itself") << QString() << 0;
    }

    void whyThereIsNoMicrophoneIsToldWhenItsCategoryIsOn()
    {
        QFETCH(QString, rules);
        QFETCH(int, lines);
        QLoggingCategory::setFilterRules(rules);
        LogCatcher log;
        VelaEngine engine;
        QLoggingCategory::setFilterRules({});
        QVERIFY(!engine.ensureAudio());
        QCOMPARE(log.take(QtDebugMsg, QStringLiteral("VelaEngine: no audio input device available "
                                                     "for recording")),
                 lines);
        log.takeContaining(QtWarningMsg, QStringLiteral("no audio output device supports"));
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestVelaEngineNoDevices test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_velaengine_nodevices.moc"
