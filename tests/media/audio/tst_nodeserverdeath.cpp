#include "audioformats.h"
#include "media/audio/audioinputnode.h"
#include "media/audio/audiooutputnode.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "media/devices/serverloop.h"
#include "support/soundserver.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTest>

using media::audio::AudioInputNode;
using media::audio::AudioOutputNode;
using media::devices::DeviceManager;

namespace {

constexpr int kPatienceMs = 20000;
constexpr int kAnswerMs = 1000;

/// Longer than the toolkit takes to notice and to connect anew.
constexpr int kReconnectMs = 5000;

} // namespace

/// A server that hangs while devices are being opened, and then dies: their
/// threads never come back from the toolkit. The process must live on and end.
class TestNodeServerDeath : public QObject {
    Q_OBJECT

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        DeviceManager& manager = DeviceManager::instance();
        QTRY_VERIFY_WITH_TIMEOUT(!manager.defaultAudioOutput().isNull(), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!manager.audioInputs().isEmpty(), kPatienceMs);
    }

    void processOutlivesAServerThatDiesWhileDevicesAreOpened()
    {
        AudioOutputNode output;
        output.configure(DeviceManager::instance().defaultAudioOutput(), mono(), 8192);
        AudioInputNode input;
        input.configure(DeviceManager::instance().audioInputs().value(0), mono(), 8192);
        // The first touch is through before the server hangs.
        QVERIFY(output.start());
        output.stop();

        m_server.stopProcess();
        QVERIFY(!output.start());
        QVERIFY(!input.start());
        m_server.kill();
        QTRY_VERIFY_WITH_TIMEOUT(media::devices::droppedServerLoops() > 0, kPatienceMs);
        QTest::qWait(kReconnectMs);

        QVERIFY(m_server.start());
        QTest::qWait(kReconnectMs);
        QElapsedTimer clock;
        clock.start();
        output.start();
        output.stop();
        input.start();
        input.stop();
        QVERIFY(clock.elapsed() < 8 * kAnswerMs);
    }

private:
    SoundServer m_server;
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestNodeServerDeath test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_nodeserverdeath.moc"
