#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using media::devices::DeviceManager;

namespace {

constexpr auto kLeaveWhileAsking = "--leave-while-asking";
constexpr int kStatusOfTheLeaver = 7;
/// The bound itself and plenty for a busy machine; far from "for ever".
constexpr int kDeadlineMs = 15000;

/// The program that is closed while its first question hangs.
int leaveWhileAsking(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    DeviceManager::instance().initializeAudio();
    return DeviceManager::instance().isAudioReady() ? 0 : kStatusOfTheLeaver;
}

} // namespace

/// A program that is started while the sound server hangs.
class TestDeviceManagerFrozen : public QObject {
    Q_OBJECT

    SoundServer m_server;
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        m_server.stopProcess();
    }

    void cleanupTestCase() { m_server.continueProcess(); }

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void theProgramCanBeLeftWithItsOwnStatus()
    {
        QProcess program;
        program.start(QCoreApplication::applicationFilePath(), {kLeaveWhileAsking});
        QVERIFY(program.waitForFinished(kDeadlineMs));
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), kStatusOfTheLeaver);
    }

    void theFirstUseWaitsUpToItsBoundAndGoesOnWithoutDevices()
    {
        DeviceManager& manager = DeviceManager::instance();
        QElapsedTimer elapsed;
        elapsed.start();
        manager.initializeAudio();
        QVERIFY(elapsed.elapsed() < kDeadlineMs);
        QCOMPARE(m_log->take(QtWarningMsg,
                             "PlatformConnection: the sound server does not answer; going on "
                             "without devices until it does"),
                 1);
        QVERIFY(!manager.isAudioReady());
    }

    void laterUsesDoNotWaitAgain()
    {
        DeviceManager& manager = DeviceManager::instance();
        QElapsedTimer elapsed;
        elapsed.start();
        for (int i = 0; i < 100; ++i) {
            QVERIFY(manager.audioOutputs().isEmpty());
            QVERIFY(manager.findAudioInput("mic").isNull());
            QVERIFY(manager.defaultAudioOutput().isNull());
            QVERIFY(!manager.isOutputPresent("speaker"));
            manager.onAudioOutputsChanged();
            manager.onVideoInputsChanged();
        }
        QVERIFY(elapsed.elapsed() < kDeadlineMs);
    }

    void onceTheServerAnswersTheCacheFillsItself()
    {
        DeviceManager& manager = DeviceManager::instance();
        QSignalSpy outputs(&manager, &DeviceManager::audioOutputsChanged);
        QSignalSpy inputs(&manager, &DeviceManager::audioInputsChanged);
        QSignalSpy cameras(&manager, &DeviceManager::videoInputsChanged);
        manager.onVideoInputsChanged();
        QCOMPARE(cameras.size(), 0);
        m_server.continueProcess();
        QTRY_VERIFY_WITH_TIMEOUT(manager.isAudioReady(), kDeadlineMs);
        QCOMPARE(outputs.size(), 1);
        QCOMPARE(inputs.size(), 1);
        QCOMPARE(cameras.size(), 1);
        QCOMPARE(manager.audioOutputs().constFirst().id(), "speaker");
        QVERIFY(m_server.loadSink("late"));
        QTRY_COMPARE_WITH_TIMEOUT(outputs.size(), 2, kDeadlineMs);
        QVERIFY(manager.isOutputPresent("late"));
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    if (argc == 2 && qstrcmp(argv[1], kLeaveWhileAsking) == 0)
        return leaveWhileAsking(argc, argv);
    QCoreApplication application(argc, argv);
    TestDeviceManagerFrozen test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_devicemanagerfrozen.moc"
