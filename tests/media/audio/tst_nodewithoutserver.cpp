#include "audioformats.h"
#include "media/audio/audioinputnode.h"
#include "media/audio/audiooutputnode.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"
#include "support/stopwatch.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QTest>

using media::audio::AudioInputNode;
using media::audio::AudioOutputNode;
using media::devices::DeviceManager;

namespace {

constexpr int kAnswerMs = 1000;

} // namespace

/// No sound server at all, as on a machine without sound.
class TestNodeWithoutServer : public QObject {
    Q_OBJECT

private slots:

    void nodesRefuseToStartAtOnce()
    {
        LogCatcher log;
        log.tolerate(QtWarningMsg, "PulseAudio");
        log.tolerate(QtWarningMsg, "No audio device detected");
        log.tolerate(QtWarningMsg, "PlatformConnection: the sound server does not answer");
        QVERIFY(DeviceManager::instance().audioOutputs().isEmpty());
        AudioOutputNode output;
        AudioInputNode input;
        output.configure(QAudioDevice(), mono(), 8192);
        input.configure(QAudioDevice(), mono(), 8192);
        const Stopwatch watch;
        QVERIFY(!output.start());
        QVERIFY(!input.start());
        QVERIFY(watch.elapsedMs() < 2 * kAnswerMs);
        QCOMPARE(output.samplesDelivered(), 0U);
        QCOMPARE(input.samplesCaptured(), 0U);
        output.stop();
        input.stop();
        QVERIFY(output.hasPlayedOut());
    }

private:
    // Only its address is used: nobody is there.
    SoundServer m_server;
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestNodeWithoutServer test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_nodewithoutserver.moc"
