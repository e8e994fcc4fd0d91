#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"
#include "support/stopwatch.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

using media::devices::DeviceManager;

/// A sound server that is started after the program.
class TestDeviceManagerLate : public QObject {
    Q_OBJECT

    static constexpr int kBlockBoundMs = 1000;
    static constexpr int kNoticeMs = 10000;

    SoundServer m_server;

private slots:

    void devicesAppearOnceTheServerIsThere()
    {
        LogCatcher log;
        DeviceManager& manager = DeviceManager::instance();
        Stopwatch watch;
        QVERIFY(manager.audioOutputs().isEmpty());
        QVERIFY(watch.elapsedMs() < kBlockBoundMs);
        QCOMPARE(
            log.takeContaining(QtWarningMsg, QStringLiteral("the sound server does not answer")),
            1);
        QVERIFY(!manager.isAudioReady());
        // A second wait would be told of like the first.
        watch.restart();
        QVERIFY(manager.audioInputs().isEmpty());
        QVERIFY(watch.elapsedMs() < kBlockBoundMs / 2);
        QVERIFY(log.unexpected().isEmpty());

        QSignalSpy changed(&manager, &DeviceManager::audioOutputsChanged);
        QTest::qWait(1500);
        QCOMPARE(changed.count(), 0);
        QVERIFY(m_server.start());
        QTRY_VERIFY_WITH_TIMEOUT(manager.isAudioReady(), kNoticeMs);
        QVERIFY(changed.count() >= 1);
        QCOMPARE(manager.defaultAudioOutput().id(), "speaker");
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestDeviceManagerLate test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_devicemanagerlate.moc"
