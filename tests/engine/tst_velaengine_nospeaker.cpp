#include "engine/velaengine.h"
#include "media/audio/audioformats.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QGuiApplication>
#include <QTest>

using media::devices::DeviceManager;

/// The engine on a machine with a microphone and no loudspeaker.
class TestVelaEngineNoSpeaker : public QObject {
    Q_OBJECT

    static constexpr int kPatienceMs = 20000;

    SoundServer m_server{
        {.withSpeaker = false, .withMicrophone = false, .silentSources = {QStringLiteral("mic")}}};

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        DeviceManager& manager = DeviceManager::instance();
        QTRY_COMPARE_WITH_TIMEOUT(manager.audioInputs().size(), 1, kPatienceMs);
        QCOMPARE(manager.audioOutputs().size(), 0);
    }

    void recordWarnsAndAddsNoTrack()
    {
        LogCatcher log;
        VelaEngine engine;
        const auto project = VelaProject::create();
        engine.setProject(project);
        engine.startRecording();
        QVERIFY(!engine.isRecording());
        QVERIFY(!project->recording);
        QVERIFY(project->tracks.isEmpty());
        QVERIFY(!project->tainted);
        QCOMPARE(
            log.take(QtWarningMsg, QStringLiteral("VelaEngine: cannot record — no input device")),
            1);
        QCOMPARE(
            log.take(QtWarningMsg, QStringLiteral("VelaEngine: no audio output device supports ") +
                                       printed(stereo())),
            1);
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QGuiApplication application(argc, argv);
    TestVelaEngineNoSpeaker test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_velaengine_nospeaker.moc"
