#include "audioformats.h"
#include "fakenode.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"
#include "support/stopwatch.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using media::audio::AudioNode;
using media::audio::WaitBudget;

namespace {

constexpr auto kHangs = "the device thread has not answered for 900 ms";

/// Between one bound of a call's and two.
constexpr int kOneBoundMs = 1500;

} // namespace

/// What is the same in every node, on a device that hangs and fails as told.
/// The server only lends a device to name.
class TestAudioNode : public QObject {
    Q_OBJECT

private slots:

    void initTestCase()
    {
        QVERIFY(m_server.start());
        QTRY_VERIFY_WITH_TIMEOUT(!device().isNull(), kPatienceMs);
    }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_log->tolerate(QtWarningMsg, "FakeNode: stream stalled silently");
        m_device = std::make_shared<FakeDevice>();
    }

    void cleanup()
    {
        m_device->creating.open();
        m_device->starting.open();
        m_device->stopping.open();
        m_log.reset();
    }

    void stopAfterAGiveUpMakesAFreshStart()
    {
        m_device->limits.stallMs = kPatienceMs; // it gives up when it is told to
        m_device->limits.maxRebuilds = 0;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QSignalSpy gaveUp(&node, &AudioNode::watchdogGaveUp);
        node.failDevice();
        QTRY_VERIFY_WITH_TIMEOUT(gaveUp.size() > 3, kPatienceMs);
        node.stop();
        gaveUp.clear();
        QVERIFY(node.start());
        QVERIFY(someTicksPass());
        QCOMPARE(gaveUp.size(), 0);
        node.failDevice();
        QTRY_VERIFY_WITH_TIMEOUT(!gaveUp.isEmpty(), kPatienceMs);
    }

    void giveUpOfAnEarlierRunIsNotHeardInTheNext()
    {
        m_device->limits.stallMs = kPatienceMs; // it gives up when it is told to
        m_device->limits.maxRebuilds = 0;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QSignalSpy gaveUp(&node, &AudioNode::watchdogGaveUp);
        node.failDevice();
        node.stop();
        QVERIFY(node.start());
        QVERIFY(someTicksPass());
        QCOMPARE(gaveUp.size(), 0);
    }

    void nothingIsHeardOfAThreadThatWasLeftBehind()
    {
        m_device->limits.maxRebuilds = 0;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QCoreApplication::processEvents();
        QSignalSpy gaveUp(&node, &AudioNode::watchdogGaveUp);
        QSignalSpy states(&node, &AudioNode::deviceStateChanged);
        QSignalSpy healthy(&node, &AudioNode::audioHealthy);
        node.failDevice();
        m_device->stopping.close();
        node.stop();
        QCOMPARE(m_log->takeContaining(QtWarningMsg, kHangs), 1);
        m_device->stopping.open();
        node.waitForDeviceThread();
        QCoreApplication::processEvents();
        QCOMPARE(gaveUp.size(), 0);
        QCOMPARE(states.size(), 0);
        QCOMPARE(healthy.size(), 0);
    }

    void unhealthyThreadThatIsLeftBehindMakesTheNodeHealthyOnce()
    {
        m_device->limits.stallMs = kPatienceMs; // it gives up when it is told to
        m_device->limits.maxRebuilds = 0;
        m_device->limits.unhealthyAfterMs = 300;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QSignalSpy unhealthy(&node, &AudioNode::audioUnhealthy);
        QSignalSpy healthy(&node, &AudioNode::audioHealthy);
        node.failDevice();
        QTRY_COMPARE_WITH_TIMEOUT(unhealthy.size(), 1, kPatienceMs);
        m_device->stopping.close();
        node.stop();
        QCOMPARE(m_log->takeContaining(QtWarningMsg, kHangs), 1);
        QCOMPARE(healthy.size(), 0);
        m_device->stopping.open();
        QVERIFY(node.start());
        QTRY_COMPARE_WITH_TIMEOUT(healthy.size(), 1, kPatienceMs);
        QVERIFY(someTicksPass());
        QCOMPARE(healthy.size(), 1);
        QCOMPARE(unhealthy.size(), 1);
    }

    void startThatHungIsMadeUpForByTheWatchdog()
    {
        m_device->limits.stallMs = 300;
        FakeNode node(m_device);
        configure(node);
        m_device->starting.close();
        QVERIFY(!node.start());
        QCOMPARE(m_log->takeContaining(QtWarningMsg, kHangs), 1);
        const QList<double> block(10, 0.5);
        node.process({10, 1, block.constData()});
        QSignalSpy rebuilds(&node, &AudioNode::deviceRebuilt);
        m_device->starting.open();
        QTRY_VERIFY_WITH_TIMEOUT(!rebuilds.isEmpty(), kPatienceMs);
        QVERIFY(m_device->starts > 0);
        QCOMPARE(node.stream().ring.available(), 10U);
        node.stop();
    }

    void startThatKeepsHangingIsGivenUp()
    {
        m_device->limits.stallMs = 300;
        m_device->limits.maxRebuilds = 2;
        FakeNode node(m_device);
        configure(node);
        m_device->starting.close();
        QSignalSpy gaveUp(&node, &AudioNode::watchdogGaveUp);
        QVERIFY(!node.start());
        QTRY_VERIFY_WITH_TIMEOUT(!gaveUp.isEmpty(), kPatienceMs);
        node.stop();
        QCOMPARE(m_log->takeContaining(QtWarningMsg, kHangs), 2);
        gaveUp.clear();
        QVERIFY(!node.start());
        QCOMPARE(m_log->takeContaining(QtWarningMsg, kHangs), 1);
        m_device->starting.open();
        node.stop();
        QVERIFY(node.start());
    }

    void rebuildsDoNotPileUpBehindAHangingThread()
    {
        m_device->limits.stallMs = 300;
        // None more while the test looks, however long the machine makes it take.
        m_device->limits.maxRebuilds = 5;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        m_device->starting.close();
        QTRY_VERIFY_WITH_TIMEOUT(!m_log->texts(QtWarningMsg).filter("(rebuild #5)").isEmpty(),
                                 kPatienceMs);
        m_device->starting.open();
        // The one that hung, and one for all that were asked for meanwhile.
        node.waitForDeviceThread();
        QCOMPARE(m_device->rebuilds.load(), 2);
        node.stop();
    }

    void configureThatHangsTakesOneBoundOnly()
    {
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        m_device->stopping.close();
        m_device->creating.close();
        const Stopwatch watch;
        node.configure(device(), mono(), 2 * kRingFrames);
        QVERIFY(watch.elapsedMs() < kOneBoundMs);
        QCOMPARE(m_log->takeContaining(QtWarningMsg, kHangs), 1);
        // 200 samples and an empty slot make 256.
        QCOMPARE(node.stream().ring.freeSamples(), 255U);
        m_device->creating.open();
        m_device->stopping.open();
        QVERIFY(node.start());
    }

    void refusedFormatIsToldOnceAlsoWhenTheOldDeviceHangs()
    {
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        m_device->stopping.close();
        QAudioFormat noRate = mono();
        noRate.setSampleRate(0);
        node.configure(device(), noRate, kRingFrames);
        QCOMPARE(m_log->takeContaining(QtWarningMsg, kHangs), 1);
        m_device->stopping.open();
        QVERIFY(!node.start());
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "FakeNode: implausible sampleRate 0"), 1);
        QCOMPARE(m_log->take(QtWarningMsg, "FakeNode::start: not configured"), 1);
    }

    void formatsUpToTheirLimitsAreTaken_data()
    {
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("rateHz");
        QTest::newRow("the most channels") << 32 << kRateHz;
        QTest::newRow("the lowest rate") << 1 << 1;
        QTest::newRow("the highest rate") << 1 << 384000;
    }

    void formatsUpToTheirLimitsAreTaken()
    {
        QFETCH(int, channels);
        QFETCH(int, rateHz);
        FakeNode node(m_device);
        node.configure(device(), floatFormat(channels, rateHz), kRingFrames);
        QCOMPARE(node.stream().channels(), static_cast<quint64>(channels));
        QVERIFY(node.start());
    }

    void oneChannelTooManyIsToldAndLeftOut()
    {
        FakeNode node(m_device);
        node.configure(device(), floatFormat(33), kRingFrames);
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "FakeNode: implausible channelCount 33 "), 1);
        QCOMPARE(node.stream().channels(), 32U);
    }

    void severalNodesStopWithinOneBound()
    {
        FakeNode hanging(m_device);
        const auto sound = std::make_shared<FakeDevice>();
        FakeNode other(sound);
        configure(hanging);
        configure(other);
        QVERIFY(hanging.start());
        QVERIFY(other.start());
        m_device->stopping.close();
        QSignalSpy states(&other, &AudioNode::deviceStateChanged);
        hanging.requestStop();
        other.requestStop();
        const QDeadlineTimer deadline(AudioNode::kCallBound);
        QVERIFY(!hanging.waitUntilIdle(deadline));
        QVERIFY(deadline.hasExpired());
        QVERIFY(other.waitUntilIdle(deadline));
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "the device thread has not answered for"), 1);
        QTRY_COMPARE_WITH_TIMEOUT(states.value(states.size() - 1).value(0).value<QAudio::State>(),
                                  QAudio::StoppedState, kPatienceMs);
        m_device->stopping.open();
        QVERIFY(hanging.waitUntilIdle(deadline));
        QVERIFY(hanging.start());
    }

    void nodesThatShareTheirWaitsHoldUpTheCallerOnce()
    {
        const auto waits = std::make_shared<WaitBudget>(AudioNode::kCallBound);
        const auto sound = std::make_shared<FakeDevice>();
        FakeNode first(m_device);
        FakeNode second(sound);
        for (FakeNode* node : {&first, &second}) {
            node->shareWaits(waits);
            configure(*node);
            QVERIFY(node->start());
        }
        m_device->stopping.close();
        sound->stopping.close();
        first.stop();
        second.stop();
        const QStringList warnings = m_log->texts(QtWarningMsg);
        const QRegularExpression wait("has not answered for (\\d+) ms");
        int waitedMs = 0;
        for (const QString& warning : warnings)
            waitedMs += wait.match(warning).captured(1).toInt();
        QCOMPARE(m_log->takeContaining(QtWarningMsg, "has not answered for"), 2);
        // What the two starts took is not waited again.
        QVERIFY2(waitedMs <= (AudioNode::kCallBound + WaitBudget::kLeast).count(),
                 qPrintable(QString::number(waitedMs)));
        m_device->stopping.open();
        sound->stopping.open();
    }

    void shorterWaitIsToldAsItWas()
    {
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        m_device->stopping.close();
        node.requestStop();
        QVERIFY(!node.waitUntilIdle(QDeadlineTimer(0)));
        QCOMPARE(m_log->takeContaining(QtWarningMsg,
                                       "FakeNode::stop: the device thread has not answered for 0 "
                                       "ms — leaving it behind"),
                 1);
        m_device->stopping.open();
    }

    void countsOutliveTheThreadThatHung()
    {
        FakeNode node(m_device);
        configure(node);
        node.stream().samplesMoved = 7;
        node.stream().dropped = 5;
        node.stream().underruns = 3;
        m_device->starting.close();
        QVERIFY(!node.start());
        QCOMPARE(m_log->takeContaining(QtWarningMsg, kHangs), 1);
        QCOMPARE(node.stream().samplesMoved.load(), 7U);
        QCOMPARE(node.stream().dropped.load(), 5U);
        QCOMPARE(node.stream().underruns.load(), 3U);
        // 100 samples and an empty slot make 128.
        QCOMPARE(node.stream().ring.freeSamples(), 127U);
    }

    void resetCountersMakesTheNextOverflowAFirstOne()
    {
        FakeNode node(m_device);
        node.stream().dropped = 5;
        node.stream().underruns = 3;
        node.stream().overflowReportedAt = 1000;
        node.resetCounters();
        QCOMPARE(node.stream().dropped.load(), 0U);
        QCOMPARE(node.stream().underruns.load(), 0U);
        QCOMPARE(node.stream().overflowReportedAt.load(), -1);
    }

    void nodeIsStoppingFromTheCallUntilTheNextStart()
    {
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QVERIFY(!node.stream().stopping);
        node.requestStop();
        QVERIFY(node.stream().stopping);
        QVERIFY(node.waitUntilIdle(QDeadlineTimer(AudioNode::kCallBound)));
        QVERIFY(node.start());
        QVERIFY(!node.stream().stopping);
        node.stop();
        QVERIFY(node.stream().stopping);
    }

    void statesAreTracedWhenTheCategoryIsOn()
    {
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QVERIFY(m_log->texts(QtDebugMsg).isEmpty());
        QLoggingCategory::setFilterRules("media.audio.fake.debug=true");
        node.stop();
        QLoggingCategory::setFilterRules({});
        QCOMPARE(m_log->texts(QtDebugMsg),
                 QStringList{"FakeNode in StoppedState with NoError in run 2"});
    }

private:
    /// More than one tick of the watchdog's, with what it signalled delivered.
    bool someTicksPass()
    {
        const int before = m_device->ticks;
        return QTest::qWaitFor([&] { return m_device->ticks >= before + 3; }, kPatienceMs);
    }

    SoundServer m_server;
    std::unique_ptr<LogCatcher> m_log;
    std::shared_ptr<FakeDevice> m_device;
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestAudioNode test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_audionode.moc"
