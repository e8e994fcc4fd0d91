#include "audioformats.h"
#include "media/audio/audioinputnode.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "nodeplayer.h"
#include "support/attempts.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"
#include "support/stopwatch.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <memory>

using media::audio::AudioInputNode;
using media::devices::DeviceManager;

namespace {

constexpr quint64 kRingFrames = 32768;
constexpr int kPatienceMs = 20000;
constexpr int kAnswerMs = 1000;

QAudioDevice microphone()
{
    const QList<QAudioDevice> inputs = DeviceManager::instance().audioInputs();
    for (const QAudioDevice& input : inputs) {
        if (input.id() == "mic")
            return input;
    }
    return {};
}

/// Empties the node's ring onto the end of a recording.
void drain(AudioInputNode& node, QList<float>& recording)
{
    const qsizetype before = recording.size();
    recording.resize(before + static_cast<qsizetype>(node.availableSamples()));
    const quint64 read =
        node.read(recording.data() + before, static_cast<quint64>(recording.size() - before));
    recording.resize(before + static_cast<qsizetype>(read));
}

/// Reads until the recording holds so many samples that are not silence.
bool record(AudioInputNode& node, QList<float>& recording, qsizetype audible)
{
    return QTest::qWaitFor(
        [&] {
            drain(node, recording);
            return recording.size() - recording.count(0.0F) >= audible;
        },
        kPatienceMs);
}

QList<float> withoutSilence(const QList<float>& recording)
{
    QList<float> sound = recording;
    sound.removeAll(0.0F);
    return sound;
}

} // namespace

/// A node on the microphone of a private sound server, into which the tests play.
class TestAudioInputNode : public QObject {
    Q_OBJECT

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        DeviceManager::instance().initializeAudio();
        QTRY_VERIFY_WITH_TIMEOUT(!microphone().isNull(), kPatienceMs);
    }

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void startWithoutConfigurationIsRefused()
    {
        AudioInputNode node;
        QVERIFY(!node.start());
        QCOMPARE(m_log->take(QtWarningMsg, "AudioInputNode::start: not configured"), 1);
        QCOMPARE(node.availableSamples(), 0U);
    }

    void implausibleFormatsAreTold()
    {
        AudioInputNode node;
        node.configure(microphone(), floatFormat(40), kRingFrames);
        QCOMPARE(m_log->take(QtWarningMsg,
                             QStringLiteral("AudioInputNode: implausible channelCount 40 from "
                                            "format %1 on device \"%2\" — clamping to 1. Likely "
                                            "uninitialised QAudioFormat; investigate the "
                                            "device-lookup path.")
                                 .arg(printed(floatFormat(40)), microphone().description())),
                 1);
        QAudioFormat int32 = mono();
        int32.setSampleFormat(QAudioFormat::Int32);
        node.configure(microphone(), int32, kRingFrames);
        QCOMPARE(m_log->takeContaining(
                     QtWarningMsg, "AudioInputNode: wire format must be Float or Int16, got QAud"),
                 1);
    }

    void implausibleSampleRateLeavesTheNodeUnconfigured()
    {
        AudioInputNode node;
        node.configure(microphone(), floatFormat(1, 384001), kRingFrames);
        QCOMPARE(m_log->take(QtWarningMsg,
                             QStringLiteral("AudioInputNode: implausible sampleRate 384001 from "
                                            "format %1 on device \"%2\" — bailing out without "
                                            "opening a source.")
                                 .arg(printed(floatFormat(1, 384001)), microphone().description())),
                 1);
        QVERIFY(!node.start());
        QCOMPARE(m_log->take(QtWarningMsg, "AudioInputNode::start: not configured"), 1);
    }

    void recordingHoldsExactlyWhatWasPlayed()
    {
        const QList<float> sound = signal_makers::counter(2 * kRateHz);
        const QList<float> recorded = bestOfThreeAttempts(sound, [&] {
            const QList<float> recording = recordingOf(sound);
            return recording.mid(std::max(qsizetype{0}, recording.indexOf(sound.first())),
                                 sound.size());
        });
        QCOMPARE(recorded, sound);
    }

    void nothingIsLeftOverForTheNextStart()
    {
        // Nobody reads the first run; what the second dropped would be missed.
        m_log->tolerate(QtWarningMsg, "AudioInputNode: capture ring OVERFLOW");
        AudioInputNode node;
        node.configure(microphone(), mono(), kRingFrames);
        QVERIFY(node.start());
        {
            const SoundServer::Feeder feeder(
                m_server, onBothChannels(signal_makers::constant(2 * kRateHz, 0.5F)));
            QTRY_VERIFY_WITH_TIMEOUT(node.availableSamples() > 20000, kPatienceMs);
        }
        node.stop();
        QTRY_COMPARE_WITH_TIMEOUT(m_server.playbackStreamCount(), 0, kPatienceMs);

        QVERIFY(node.start());
        QList<float> recording;
        const QList<float> sound = signal_makers::constant(8000, 0.25F);
        QTRY_VERIFY_WITH_TIMEOUT(node.availableSamples() > 0, kPatienceMs);
        const SoundServer::Feeder feeder(m_server, onBothChannels(sound));
        QVERIFY(record(node, recording, sound.size()));
        QCOMPARE(withoutSilence(recording), sound);
    }

    void whatNobodyReadsIsDroppedAndTold()
    {
        AudioInputNode node;
        node.configure(microphone(), mono(), 1024);
        node.setQuiet(true);
        QVERIFY(node.start());
        QTRY_VERIFY_WITH_TIMEOUT(node.droppedSamples() > 0, kPatienceMs);
        QVERIFY(m_log->texts(QtWarningMsg).isEmpty());
        node.setQuiet(false);
        QVERIFY(isLogged(QtWarningMsg, "ring capacity 2047 frames)"));
        m_log->tolerate(QtWarningMsg, "AudioInputNode: capture ring OVERFLOW");
        node.stop();
        node.resetCounters();
        QCOMPARE(node.droppedSamples(), 0U);
    }

    void rebuiltSourceGoesOnRecording()
    {
        AudioInputNode node;
        node.configure(microphone(), mono(), kRingFrames);
        QVERIFY(node.start());
        QSignalSpy rebuilds(&node, &AudioInputNode::deviceRebuilt);
        node.rebuildSource();
        QTRY_COMPARE_WITH_TIMEOUT(rebuilds.size(), 1, kPatienceMs);
        const quint64 captured = node.samplesCaptured();
        QTRY_VERIFY_WITH_TIMEOUT(node.samplesCaptured() > captured, kPatienceMs);
    }

    void recordingGoesOnWhenTheDeviceComesBack()
    {
        m_log->tolerate(QtWarningMsg, "Stream error");
        m_log->tolerate(QtWarningMsg, "pa_stream_peek() failed");
        m_log->tolerate(QtWarningMsg, "AudioInputNode: capture ring OVERFLOW");
        m_log->tolerate(QtWarningMsg, "AudioInputNode: st");
        const QAudioDevice device = microphone();
        AudioInputNode node;
        node.configure(microphone(), mono(), kRingFrames);
        QVERIFY(node.start());
        QTRY_VERIFY_WITH_TIMEOUT(node.samplesCaptured() > 0, kPatienceMs);
        // The server moves the stream to any source that is left, so none may be.
        QVERIFY(m_server.unloadSource("mic"));
        QVERIFY(m_server.unloadSink("micfeed"));
        QVERIFY(isLogged(QtWarningMsg, goneLine("AudioInputNode", device)));
        const quint64 captured = node.samplesCaptured();
        QVERIFY(m_server.loadSink("micfeed"));
        QVERIFY(m_server.loadSource("mic"));
        QVERIFY(isLogged(QtInfoMsg, backLine("AudioInputNode", device)));
        QTRY_VERIFY_WITH_TIMEOUT(node.samplesCaptured() > captured + kRateHz, kPatienceMs);
    }

    void frozenServerHoldsNobodyUp()
    {
        auto node = std::make_unique<AudioInputNode>();
        node->configure(microphone(), mono(), kRingFrames);
        m_server.stopProcess();
        Stopwatch watch;
        QVERIFY(!node->start());
        QVERIFY2(watch.elapsedMs() < 2 * kAnswerMs, "start");
        QCOMPARE(m_log->takeContaining(QtWarningMsg,
                                       "AudioInputNode::start: the device thread has not answered"),
                 1);
        watch.restart();
        node.reset();
        QVERIFY2(watch.elapsedMs() < 2 * kAnswerMs, "destruction");
        m_server.continueProcess();
    }

private:
    /// Waits for one such line and claims it.
    bool isLogged(QtMsgType type, const QString& fragment)
    {
        return QTest::qWaitFor([&] { return m_log->takeContaining(type, fragment) >= 1; },
                               kPatienceMs);
    }

    /// All that a node of its own records while the sound is played; nothing when it
    /// dropped some or counted wrongly.
    QList<float> recordingOf(const QList<float>& sound)
    {
        QList<float> recording;
        AudioInputNode node;
        node.configure(microphone(), mono(), kRingFrames);
        const bool started = node.start();
        if (started && QTest::qWaitFor([&] { return node.availableSamples() > 0; }, kPatienceMs)) {
            const SoundServer::Feeder feeder(m_server, onBothChannels(sound));
            (void)record(node, recording, sound.size());
        }
        node.stop();
        if (!started)
            m_log->takeContaining(QtWarningMsg, "AudioInputNode");
        const quint64 dropped = node.droppedSamples();
        if (dropped > 0)
            m_log->takeContaining(QtWarningMsg, "AudioInputNode: capture ring OVERFLOW");
        if (dropped > 0 || node.samplesCaptured() < static_cast<quint64>(recording.size()))
            return {};
        return recording;
    }

    SoundServer m_server{SoundServer::Options{.rateHz = kRateHz, .withSpeaker = false}};
    std::unique_ptr<LogCatcher> m_log;
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestAudioInputNode test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audioinputnode.moc"
