#include "audioformats.h"
#include "media/audio/audiooutputnode.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "nodeplayer.h"
#include "support/allocationcounter.h"
#include "support/attempts.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"
#include "support/stopwatch.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <memory>

using media::audio::AudioOutputNode;
using media::devices::DeviceManager;

namespace {

constexpr quint64 kRingFrames = 8192;
constexpr int kPatienceMs = 20000;

/// No call of the engine's may hold the window up for longer.
constexpr int kAnswerMs = 1000;

QAudioDevice speaker()
{
    const QList<QAudioDevice> outputs = DeviceManager::instance().audioOutputs();
    for (const QAudioDevice& output : outputs) {
        if (output.id() == "speaker")
            return output;
    }
    return {};
}

/// A node whose ring can be read back.
class ReadableNode : public AudioOutputNode {
public:
    QList<float> queued()
    {
        QList<float> samples(static_cast<qsizetype>(queuedSamples()));
        stream().ring.read(samples.data(), queuedSamples());
        return samples;
    }

    [[nodiscard]] bool hasEnded() { return stream().ended; }
};

} // namespace

/// A node on the speaker of a private sound server, judged by what the server
/// heard. The microphone is left out: its sink would take over the streams of a
/// speaker that goes.
class TestAudioOutputNode : public QObject {
    Q_OBJECT

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        DeviceManager::instance().initializeAudio();
        QTRY_VERIFY_WITH_TIMEOUT(!speaker().isNull(), kPatienceMs);
    }

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void startWithoutConfigurationIsRefused()
    {
        AudioOutputNode node;
        QVERIFY(!node.start());
        QCOMPARE(m_log->take(QtWarningMsg, "AudioOutputNode::start: not configured"), 1);
        QCOMPARE(node.sinkBufferBytes(), 0);
    }

    void processAllocatesNothingAfterTheFirstBlock()
    {
        constexpr quint64 kBlockFrames = 1024;
        AudioOutputNode node;
        node.configure(speaker(), stereo(), kRingFrames);
        const QList<double> planar(2 * kBlockFrames, 0.5);
        const AudioContext block(kBlockFrames, 2, planar.constData());
        node.process(block);
        const AllocationCounter counter;
        // The ring fills up on the way, so that some are dropped.
        for (int i = 0; i < 10; ++i)
            node.process(block);
        QCOMPARE(counter.count(), 0);
        QVERIFY(node.queuedSamples() >= 2 * kRingFrames);
        QCOMPARE(node.queuedSamples() + node.droppedSamples(), 11 * 2 * kBlockFrames);
    }

    void implausibleChannelCountIsClamped_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<qsizetype>("expectedBytes");
        QTest::newRow("none becomes one") << 0 << qsizetype{2048 * 4};
        QTest::newRow("too many become the most, whatever the text says")
            << 40 << qsizetype{2048 * 4 * 32};
    }

    void implausibleChannelCountIsClamped()
    {
        QFETCH(int, count);
        QFETCH(qsizetype, expectedBytes);
        AudioOutputNode node;
        node.configure(speaker(), floatFormat(count), kRingFrames);
        const QString line =
            QStringLiteral("AudioOutputNode: implausible channelCount %1 from format %2 on device "
                           "\"%3\" — clamping to 1. Likely uninitialised QAudioFormat; investigate "
                           "the device-lookup path.");
        QCOMPARE(
            m_log->take(QtWarningMsg, line.arg(QString::number(count), printed(floatFormat(count)),
                                               speaker().description())),
            1);
        QCOMPARE(node.sinkBufferBytes(), expectedBytes);
    }

    void implausibleSampleRateLeavesTheNodeUnconfigured_data()
    {
        QTest::addColumn<int>("rateHz");
        QTest::newRow("none") << 0;
        QTest::newRow("just too high") << 384001;
    }

    void implausibleSampleRateLeavesTheNodeUnconfigured()
    {
        QFETCH(int, rateHz);
        AudioOutputNode node;
        node.configure(speaker(), floatFormat(2, rateHz), kRingFrames);
        const QString line =
            QStringLiteral("AudioOutputNode: implausible sampleRate %1 from format %2 on device "
                           "\"%3\" — bailing out without opening a sink.");
        QCOMPARE(m_log->take(QtWarningMsg,
                             line.arg(QString::number(rateHz), printed(floatFormat(2, rateHz)),
                                      speaker().description())),
                 1);
        QVERIFY(!node.start());
        QCOMPARE(m_log->take(QtWarningMsg, "AudioOutputNode::start: not configured"), 1);
    }

    void highestSampleRateIsAccepted()
    {
        AudioOutputNode node;
        node.configure(speaker(), floatFormat(2, 384000), kRingFrames);
        QCOMPARE(node.sinkBufferBytes(), 16384);
    }

    void otherSampleFormatIsToldAndTakenAsFloat()
    {
        AudioOutputNode node;
        QAudioFormat format = stereo();
        format.setSampleFormat(QAudioFormat::Int32);
        node.configure(speaker(), format, kRingFrames);
        QCOMPARE(m_log->takeContaining(
                     QtWarningMsg, "AudioOutputNode: wire format must be Float or Int16, got QAud"),
                 1);
        QCOMPARE(node.sinkBufferBytes(), 16384);
    }

    void sinkBufferHasAFloorAtConfigureOnly_data()
    {
        QTest::addColumn<quint64>("ringFrames");
        QTest::addColumn<qsizetype>("configured");
        QTest::addColumn<qsizetype>("rebuilt");
        QTest::newRow("8192 frames") << quint64{8192} << qsizetype{16384} << qsizetype{16384};
        QTest::newRow("2048 frames") << quint64{2048} << qsizetype{8192} << qsizetype{4096};
    }

    void sinkBufferHasAFloorAtConfigureOnly()
    {
        QFETCH(quint64, ringFrames);
        QFETCH(qsizetype, configured);
        QFETCH(qsizetype, rebuilt);
        AudioOutputNode node;
        node.configure(speaker(), stereo(), ringFrames);
        QCOMPARE(node.sinkBufferBytes(), configured);
        QSignalSpy rebuilds(&node, &AudioOutputNode::deviceRebuilt);
        node.rebuildSink();
        QTRY_COMPARE_WITH_TIMEOUT(rebuilds.size(), 1, kPatienceMs);
        QCOMPARE(node.sinkBufferBytes(), rebuilt);
    }

    void processSpreadsTheBlockOverTheDevicesChannels()
    {
        AudioOutputNode node;
        node.configure(speaker(), stereo(), 4);
        const double planar[] = {0.1, 0.2, 0.3, 0.4};
        node.process({2, 2, planar});
        QCOMPARE(node.queuedSamples(), 4U);
        node.process({0, 2, planar});
        node.process({2, 0, planar});
        node.process({2, 2, nullptr});
        QCOMPARE(node.queuedSamples(), 4U);
        // Eight samples were asked for, which makes sixteen slots less one.
        QCOMPARE(node.freeSamples(), 11U);
        const QList<double> long16(16, 0.5);
        node.process({8, 2, long16.constData()});
        QCOMPARE(node.queuedSamples(), 15U);
        QCOMPARE(node.droppedSamples(), 5U);
        node.resetCounters();
        QCOMPARE(node.droppedSamples(), 0U);
    }

    void soundAfterTheEndTakesTheEndBack()
    {
        ReadableNode node;
        QVERIFY(!node.hasEnded());
        node.markEnd();
        node.process({0, 1, nullptr});
        QVERIFY(node.hasEnded());
        const double sample = 0.5;
        node.process({1, 1, &sample});
        QVERIFY(!node.hasEnded());
    }

    void processGivesEachDeviceChannelItsSource()
    {
        const double planar[] = {0.125, 0.25, 0.5, 0.75}; // two channels of two frames
        QAudioFormat format = stereo();
        ReadableNode node;
        format.setChannelCount(4);
        node.configure(speaker(), format, 16);
        node.process({2, 2, planar});
        QCOMPARE(node.queued(), (QList<float>{0.125F, 0.5F, 0, 0, 0.25F, 0.75F, 0, 0}));
        node.process({2, 1, planar});
        QCOMPARE(node.queued(),
                 (QList<float>{0.125F, 0.125F, 0.125F, 0.125F, 0.25F, 0.25F, 0.25F, 0.25F}));
        format.setChannelCount(1);
        node.configure(speaker(), format, 16);
        node.process({2, 2, planar});
        QCOMPARE(node.queued(), (QList<float>{0.125F, 0.25F}));
    }

    void longSoundIsHeardBitForBitWithoutAGap()
    {
        const QList<float> sound = signal_makers::counter(3 * kRateHz);
        const QList<float> expected = onBothChannels(sound);
        quint64 dropped = 0;
        const QList<float> heard = bestOfThreeAttempts(expected, [&] {
            const SoundServer::Capture capture(m_server);
            AudioOutputNode node;
            node.configure(speaker(), stereo(), kRingFrames);
            play(node, sound);
            dropped += node.droppedSamples();
            return soundOf(capture, expected.size());
        });
        QCOMPARE(heard, expected);
        QCOMPARE(dropped, 0U);
    }

    void shortSoundIsHeardWhole()
    {
        const QList<float> sound = signal_makers::counter(kRateHz / 10);
        const QList<float> expected = onBothChannels(sound);
        const QList<float> heard = bestOfThreeAttempts(expected, [&] {
            const SoundServer::Capture capture(m_server);
            AudioOutputNode node;
            node.configure(speaker(), stereo(), kRingFrames);
            play(node, sound);
            return soundOf(capture, expected.size());
        });
        QCOMPARE(heard, expected);
    }

    void nothingIsLeftOverForTheNextStart()
    {
        const QList<float> second = signal_makers::constant(4410, -0.25F);
        const QList<float> expected = onBothChannels(second);
        const QList<float> fromTheSecondOn = bestOfThreeAttempts(expected, [&] {
            const SoundServer::Capture capture(m_server);
            AudioOutputNode node;
            node.configure(speaker(), stereo(), kRingFrames);
            playTheBeginning(node, signal_makers::counter(8000));
            play(node, second);
            const auto isSecondThere = [&] {
                return capture.sound().count(second.constFirst()) >= expected.size();
            };
            (void)QTest::qWaitFor(isSecondThere, kPatienceMs);
            const QList<float> heard = capture.sound();
            return heard.mid(std::max(qsizetype{0}, heard.indexOf(second.constFirst())));
        });
        QCOMPARE(fromTheSecondOn, expected);
    }

    void startWhileRunningChangesNothing()
    {
        // Fits into the ring, so that all of it is there when it starts once more.
        const QList<float> sound = signal_makers::counter(4000);
        const QList<float> expected = onBothChannels(sound);
        const QList<float> heard = bestOfThreeAttempts(expected, [&] {
            const SoundServer::Capture capture(m_server);
            AudioOutputNode node;
            node.configure(speaker(), stereo(), kRingFrames);
            const bool started = start(node);
            write(node, sound);
            const bool startedAgain = start(node);
            const QList<float> all = soundOf(capture, expected.size());
            node.stop();
            return started && startedAgain ? all : QList<float>();
        });
        QCOMPARE(heard, expected);
    }

    void volumeAppliesToTheRunningAndTheNextSink()
    {
        const QList<float> sound = signal_makers::counter(4410);
        const QList<float> expected = onBothChannels(sound);
        // What is heard of the first sound stands in front of the second.
        const QList<float> heard = bestOfThreeAttempts(expected, [&] {
            const SoundServer::Capture capture(m_server);
            AudioOutputNode node;
            node.setVolume(0.0F);
            node.configure(speaker(), stereo(), kRingFrames);
            play(node, signal_makers::constant(4410, 0.5F));
            node.setVolume(1.0F);
            play(node, sound);
            return soundOf(capture, expected.size());
        });
        QCOMPARE(heard, expected);
    }

    void pullModePlaysTheCallback()
    {
        const QList<float> expected = signal_makers::constant(kRateHz / 2, 0.125F);
        const QList<float> heard = bestOfThreeAttempts(expected, [&] {
            const SoundServer::Capture capture(m_server);
            AudioOutputNode node;
            node.configure(speaker(), stereo(), kRingFrames);
            node.setPullCallback([](float* samples, qint64 frames) {
                std::fill_n(samples, frames, 0.125F);
                return frames;
            });
            node.setPullMode(true);
            const QList<float> sound =
                start(node) ? soundOf(capture, expected.size()) : QList<float>();
            node.stop();
            return sound.mid(0, expected.size());
        });
        QCOMPARE(heard, expected);
    }

    void underrunsAreCountedAndReported()
    {
        AudioOutputNode node;
        node.configure(speaker(), stereo(), kRingFrames);
        QVERIFY(node.start());
        QTRY_VERIFY_WITH_TIMEOUT(!m_log->texts(QtInfoMsg).isEmpty(), kPatienceMs);
        static const QRegularExpression kReport(
            "^AudioOutputNode: \\d+ underrun\\(s\\) in last \\d+ ms \\(total \\d+ since start\\) — "
            "producer pipeline failed to keep up with QAudioSink demand; audible as buffer "
            "micro-gaps\\. Consider load reduction or larger `ringFrames`\\.$");
        QVERIFY(kReport.match(m_log->texts(QtInfoMsg)[0]).hasMatch());
        QVERIFY(node.underrunCount() > 0);
        node.stop();
        node.resetCounters();
        QCOMPARE(node.underrunCount(), 0U);
    }

    void soundReturnsWhenTheDeviceComesBack()
    {
        m_log->tolerate(QtWarningMsg, "PulseAudioService: Stream error");
        m_log->tolerate(QtWarningMsg, "Stream error: Entity killed");
        const QAudioDevice device = speaker();
        AudioOutputNode node;
        node.configure(speaker(), stereo(), kRingFrames);
        QVERIFY(node.start());
        NodePlayer player(node);
        QTRY_VERIFY_WITH_TIMEOUT(node.samplesDelivered() > kRateHz, kPatienceMs);

        QVERIFY(m_server.unloadSink("speaker"));
        QVERIFY(isLogged(QtWarningMsg, goneLine("AudioOutputNode", device)));
        QCOMPARE(m_log->takeContaining(QtWarningMsg,
                                       "AudioOutputNode: stream stalled silently (no Qt error, "
                                       "sample counter frozen ≥ 3000ms) — rebuilding QAudioSink "
                                       "(rebuild #1)"),
                 1);
        m_log->tolerate(QtWarningMsg, "AudioOutputNode: stream stalled silently");

        const quint64 delivered = node.samplesDelivered();
        QVERIFY(m_server.loadSink("speaker"));
        QTRY_VERIFY_WITH_TIMEOUT(node.samplesDelivered() > delivered + kRateHz, kPatienceMs);
        SoundServer::Capture capture(m_server);
        QTRY_VERIFY_WITH_TIMEOUT(!capture.sound().isEmpty(), kPatienceMs);
        node.stop();
    }

    void startWithoutTheDeviceIsRefusedAndItPlaysWhenTheDeviceIsThere()
    {
        const QAudioDevice device = speaker();
        AudioOutputNode node;
        node.configure(device, stereo(), kRingFrames);
        QVERIFY(m_server.unloadSink("speaker"));
        QTRY_VERIFY_WITH_TIMEOUT(speaker().isNull(), kPatienceMs);
        QVERIFY(!node.start());
        QCOMPARE(m_log->take(QtWarningMsg, goneLine("AudioOutputNode", device)), 1);
        // Where the sink takes its time to come back.
        m_log->tolerate(QtWarningMsg, "AudioOutputNode: stream stalled silently");
        QVERIFY(m_server.loadSink("speaker"));
        QTRY_VERIFY_WITH_TIMEOUT(node.samplesDelivered() > 0, kPatienceMs);
        QCOMPARE(m_log->take(QtInfoMsg, backLine("AudioOutputNode", device)), 1);
        node.stop();
    }

    void frozenServerHoldsNobodyUp()
    {
        m_log->tolerate(QtWarningMsg, "the device thread");
        auto node = std::make_unique<AudioOutputNode>();
        node->configure(speaker(), stereo(), kRingFrames);
        m_server.stopProcess();
        Stopwatch watch;
        QVERIFY(!node->start());
        QVERIFY2(watch.elapsedMs() < 2 * kAnswerMs, "start");
        QCOMPARE(m_log->takeContaining(
                     QtWarningMsg, "AudioOutputNode::start: the device thread has not answered"),
                 1);
        watch.restart();
        node->stop();
        QVERIFY2(watch.elapsedMs() < 2 * kAnswerMs, "stop");
        watch.restart();
        node.reset();
        QVERIFY2(watch.elapsedMs() < 2 * kAnswerMs, "destruction");
        m_server.continueProcess();
    }

    void soundReturnsAfterAFreeze()
    {
        m_log->tolerate(QtWarningMsg, "AudioOutputNode");
        const QList<float> sound = signal_makers::counter(4410);
        const QList<float> expected = onBothChannels(sound);
        const QList<float> heard = bestOfThreeAttempts(expected, [&] {
            AudioOutputNode node;
            node.configure(speaker(), stereo(), kRingFrames);
            const bool hung = hangsInStart(node);
            m_server.continueProcess();
            const SoundServer::Capture capture(m_server);
            play(node, sound);
            return hung ? soundOf(capture, expected.size()) : QList<float>();
        });
        QCOMPARE(heard, expected);
    }

    void startThatHungPlaysByItselfWhenTheServerGoesOn()
    {
        m_log->tolerate(QtWarningMsg, "AudioOutputNode");
        const QList<float> sound = signal_makers::counter(4000);
        const QList<float> expected = onBothChannels(sound);
        const QList<float> heard = bestOfThreeAttempts(expected, [&] {
            AudioOutputNode node;
            node.configure(speaker(), stereo(), kRingFrames);
            // While the server freezes no recorder can begin, and later it is too late.
            const SoundServer::Capture capture(m_server);
            const bool hung = hangsInStart(node);
            write(node, sound);
            m_server.continueProcess();
            return hung ? soundOf(capture, expected.size()) : QList<float>();
        });
        QCOMPARE(heard, expected);
    }

    void soundReturnsWhenTheServerIsStartedAgain()
    {
        m_log->tolerate(QtWarningMsg, "Stream error");
        m_log->tolerate(QtWarningMsg, "PulseAudio");
        AudioOutputNode node;
        node.configure(speaker(), stereo(), kRingFrames);
        QVERIFY(node.start());
        NodePlayer player(node);
        QTRY_VERIFY_WITH_TIMEOUT(node.samplesDelivered() > kRateHz / 2, kPatienceMs);
        QVERIFY(m_server.restart());
        QVERIFY(isLogged(QtWarningMsg,
                         "AudioOutputNode: state dropped from ActiveState to 2 (Qt err=4) "
                         "without stop() — assuming device failure; re-marking start "
                         "intent + queuing rebuildSink probe."));
        m_log->tolerate(QtWarningMsg, "AudioOutputNode: s");
        const quint64 delivered = node.samplesDelivered();
        QTRY_VERIFY_WITH_TIMEOUT(node.samplesDelivered() > delivered + 2 * kRateHz, kPatienceMs);
        SoundServer::Capture capture(m_server);
        QTRY_VERIFY_WITH_TIMEOUT(!capture.sound().isEmpty(), kPatienceMs);
        node.stop();
    }

private:
    /// Waits for one such line and claims it.
    bool isLogged(QtMsgType type, const QString& fragment)
    {
        return QTest::qWaitFor([&] { return m_log->takeContaining(type, fragment) == 1; },
                               kPatienceMs);
    }

    /// What was recorded, once there is so much of it, or as it is if that never comes.
    static QList<float> soundOf(const SoundServer::Capture& capture, qsizetype samples)
    {
        (void)QTest::qWaitFor([&] { return capture.sound().size() >= samples; }, kPatienceMs);
        return capture.sound();
    }

    // What follows is for attempts, and asserts nothing: a sound that is not whole
    // tells of whatever went wrong.

    /// What a failed start says is the attempt's own business.
    bool start(AudioOutputNode& node)
    {
        const bool started = node.start();
        if (!started)
            m_log->takeContaining(QtWarningMsg, "AudioOutputNode");
        return started;
    }

    /// Freezes the server; false when the node starts all the same.
    bool hangsInStart(AudioOutputNode& node)
    {
        m_server.stopProcess();
        return !node.start();
    }

    /// Starts the node on a sound and cuts it short.
    void playTheBeginning(AudioOutputNode& node, const QList<float>& sound)
    {
        start(node);
        write(node, sound);
        const quint64 before = node.samplesDelivered();
        (void)QTest::qWaitFor([&] { return node.samplesDelivered() > before; }, kPatienceMs);
        node.stop();
        // The cut may leave some of it on its way to a recorder.
        (void)QTest::qWaitFor([this] { return m_server.playbackStreamCount() == 0; }, kPatienceMs);
    }

    /// Plays the sound to its end as the engine does.
    void play(AudioOutputNode& node, const QList<float>& sound)
    {
        if (!start(node))
            return;
        write(node, sound);
        (void)QTest::qWaitFor([&] { return node.hasPlayedOut(); }, kPatienceMs);
        node.stop();
    }

    static void write(AudioOutputNode& node, const QList<float>& sound)
    {
        NodePlayer player(node, sound);
        (void)QTest::qWaitFor([&] { return player.isDone(); }, kPatienceMs);
    }

    SoundServer m_server{SoundServer::Options{.rateHz = kRateHz, .withMicrophone = false}};
    std::unique_ptr<LogCatcher> m_log;
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestAudioOutputNode test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audiooutputnode.moc"
