#include "audioformats.h"
#include "media/audio/audiooutputnode.h"
#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"
#include "support/allocationcounter.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QAudioDevice>
#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using media::audio::AudioOutputNode;
using media::devices::DeviceManager;

namespace {

constexpr quint64 kRingFrames = 8192;
constexpr int kPatienceMs = 20000;

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

/// What a node makes of a format and of the blocks it is given, before anything is heard.
class TestOutputConfiguration : public QObject {
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

private:
    static QAudioDevice speaker() { return DeviceManager::instance().defaultAudioOutput(); }

    SoundServer m_server{SoundServer::Options{.rateHz = kRateHz, .withMicrophone = false}};
    std::unique_ptr<LogCatcher> m_log;
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestOutputConfiguration test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_outputconfiguration.moc"
