#include "audioformats.h"
#include "fakenode.h"
#include "media/audio/audionode.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using media::audio::AudioNode;
using media::audio::NodeStream;
using media::audio::NodeWorker;

namespace {

constexpr int kShortMs = 300;
constexpr auto kNoAnswer = "FakeNode: the sound server does not answer; fake not started";
constexpr auto kStalled = "FakeNode: stream stalled silently (no Qt error, sample counter frozen "
                          "≥ 300ms) — rebuilding Fake (rebuild #1)";

QList<QAudio::State> statesIn(const QSignalSpy& changes)
{
    QList<QAudio::State> states;
    for (const QList<QVariant>& change : changes)
        states << change.at(0).value<QAudio::State>();
    return states;
}

} // namespace

/// How a node gets its device going again, on one that fails, goes and comes as told.
/// The server only lends a device to name.
class TestNodeRebuild : public QObject {
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
        m_device = std::make_shared<FakeDevice>();
        m_device->limits.stallMs = kShortMs;
    }

    void cleanup() { m_log.reset(); }

    void statesAreToldOfStartRebuildAndStop()
    {
        m_device->limits.stallMs = kPatienceMs;
        FakeNode node(m_device);
        QSignalSpy changes(&node, &AudioNode::deviceStateChanged);
        configure(node);
        QVERIFY(node.start());
        QVERIFY(node.start());
        node.requestRebuild();
        node.stop();
        QCoreApplication::processEvents();
        QCOMPARE(statesIn(changes),
                 (QList{QAudio::ActiveState, QAudio::ActiveState, QAudio::StoppedState}));
        for (const QList<QVariant>& change : std::as_const(changes))
            QCOMPARE(change.at(1).value<QAudio::Error>(), QAudio::NoError);
    }

    void stateIsToldWithTheDevicesError()
    {
        m_device->limits.stallMs = kPatienceMs;
        m_device->limits.maxRebuilds = 0; // nor does a rebuild tell of one
        FakeNode node(m_device);
        QSignalSpy changes(&node, &AudioNode::deviceStateChanged);
        configure(node);
        QVERIFY(node.start());
        node.failDevice();
        QCoreApplication::processEvents();
        QCOMPARE(statesIn(changes), (QList{QAudio::ActiveState, QAudio::ActiveState}));
        QCOMPARE(changes.at(0).at(1).value<QAudio::Error>(), QAudio::NoError);
        QCOMPARE(changes.at(1).at(1).value<QAudio::Error>(), QAudio::FatalError);
    }

    void startSaysSoWhenTheServerDoesNotAnswer()
    {
        m_device->limits.stallMs = kPatienceMs;
        FakeNode node(m_device);
        configure(node);
        m_device->serverAnswers = false;
        QVERIFY(!node.start());
        QCOMPARE(m_log->take(QtWarningMsg, kNoAnswer), 1);
    }

    void startThatTheServerDoesNotAnswerIsTriedAgain()
    {
        FakeNode node(m_device);
        configure(node);
        // A device that was never started passes for one that is active, and stalls.
        QVERIFY(node.start());
        node.stop();
        m_device->serverAnswers = false;
        QVERIFY(!node.start());
        const int before = m_device->starts;
        m_device->serverAnswers = true;
        QTRY_VERIFY_WITH_TIMEOUT(m_device->starts > before, kPatienceMs);
        node.stop();
        QVERIFY(m_log->take(QtWarningMsg, kNoAnswer) >= 1);
        m_log->tolerate(QtWarningMsg, "FakeNode: stream stalled silently");
    }

    void rebuildThatTheServerDoesNotAnswerIsTriedAgain()
    {
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        m_device->serverAnswers = false;
        node.requestRebuild();
        QTRY_VERIFY_WITH_TIMEOUT(m_device->rebuilds >= 2, kPatienceMs);
        m_device->serverAnswers = true;
        QTRY_VERIFY_WITH_TIMEOUT(m_device->starts >= 2, kPatienceMs);
        node.stop();
        QVERIFY(m_log->take(QtWarningMsg, kNoAnswer) >= 1);
        m_log->tolerate(QtWarningMsg, "FakeNode: stream stalled silently");
    }

    void rebuildWhoseDeviceStopsAtOnceIsTriedAgain()
    {
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        m_device->startsInto = QAudio::StoppedState;
        QTRY_VERIFY_WITH_TIMEOUT(m_device->rebuilds >= 2, kPatienceMs);
        node.stop();
        m_log->tolerate(QtWarningMsg, "FakeNode: stream stalled silently");
    }

    void nothingIsRebuiltForANodeThatKnowsNoDevice()
    {
        FakeNode node(m_device);
        node.configure(QAudioDevice(), mono(), kRingFrames);
        QSignalSpy rebuilds(&node, &AudioNode::deviceRebuilt);
        QSignalSpy states(&node, &AudioNode::deviceStateChanged);
        node.requestRebuild();
        node.waitForDeviceThread();
        QCoreApplication::processEvents();
        QCOMPARE(m_device->rebuilds.load(), 0);
        QCOMPARE(rebuilds.size() + states.size(), 0);
        QVERIFY(m_log->texts(QtInfoMsg).isEmpty());
    }

    void deviceThatFallsIdleIsGivenTheTimeOfAStall()
    {
        m_device->limits.stallMs = kPatienceMs;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        node.changeDevice(QAudio::IdleState);
        const int before = m_device->ticks;
        QTRY_VERIFY_WITH_TIMEOUT(m_device->ticks >= before + 3, kPatienceMs);
        node.waitForDeviceThread();
        QCOMPARE(m_device->rebuilds.load(), 0);
    }

    void deviceThatStaysIdleIsRebuilt()
    {
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        node.changeDevice(QAudio::IdleState);
        QTRY_VERIFY_WITH_TIMEOUT(m_device->rebuilds > 0, kPatienceMs);
        node.stop();
        QCOMPARE(m_log->take(QtWarningMsg, kStalled), 1);
        m_log->tolerate(QtWarningMsg, "FakeNode: stream stalled silently");
    }

    void deviceThatStopsByItselfIsRebuiltAtOnce()
    {
        m_device->limits.stallMs = kPatienceMs;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QSignalSpy rebuilds(&node, &AudioNode::deviceRebuilt);
        node.changeDevice(QAudio::StoppedState);
        QCOMPARE(m_log->take(QtWarningMsg,
                             "FakeNode: state dropped from ActiveState to 2 (Qt err=0) without "
                             "stop() — assuming device failure; re-marking start intent + queuing "
                             "rebuildFake probe."),
                 1);
        QTRY_COMPARE_WITH_TIMEOUT(rebuilds.size(), 1, kPatienceMs);
        QCOMPARE(rebuilds.constFirst(), QList<QVariant>{0});
    }

    void deviceThatIsGoneIsToldOfOnceAndTakenUpWhenItIsBack()
    {
        m_device->limits.stallMs = kPatienceMs;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QSignalSpy rebuilds(&node, &AudioNode::deviceRebuilt);
        m_device->present = false;
        node.failDevice(); // the first rebuild that is counted
        node.requestRebuild();
        node.requestRebuild();
        node.waitForDeviceThread();
        QCoreApplication::processEvents();
        QCOMPARE(m_log->take(QtWarningMsg, goneLine("FakeNode", device())), 1);
        QCOMPARE(rebuilds.size(), 1);
        QCOMPARE(rebuilds.constFirst(), QList<QVariant>{1});
        node.changeDeviceList();
        QCOMPARE(m_device->rebuilds.load(), 0);
        m_device->present = true;
        node.changeDeviceList();
        QTRY_COMPARE_WITH_TIMEOUT(rebuilds.size(), 2, kPatienceMs);
        QCOMPARE(rebuilds.constLast(), QList<QVariant>{1});
        QCOMPARE(m_device->rebuilds.load(), 1);
        QCOMPARE(m_device->starts.load(), 2);
        QCOMPARE(m_log->take(QtInfoMsg, backLine("FakeNode", device())), 1);
    }

    // A stream of a device that has gone may not answer.
    void deviceThatGoesInARunIsNotStopped()
    {
        m_device->limits.stallMs = kPatienceMs;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        m_device->present = false;
        node.requestRebuild();
        node.waitForDeviceThread();
        node.stop();
        QCOMPARE(m_log->take(QtWarningMsg, goneLine("FakeNode", device())), 1);
        QCOMPARE(m_device->stops.load(), 0);
    }

    void deviceThatIsGoneAtAStartIsNotStoppedAgain()
    {
        m_device->limits.stallMs = kPatienceMs;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        node.stop();
        m_device->present = false;
        QVERIFY(!node.start());
        node.stop();
        QCOMPARE(m_log->take(QtWarningMsg, goneLine("FakeNode", device())), 1);
        QCOMPARE(m_device->stops.load(), 1);
    }

    void workerThatWasLeftBehindLooksForNoDevice()
    {
        const auto stream = std::make_shared<NodeStream>();
        const auto worker = makeFakeWorker(stream, m_device);
        QVERIFY(worker->configure({device(), mono(), kRingFrames}));
        m_device->present = false;
        worker->rebuild();
        QCOMPARE(m_log->take(QtWarningMsg, goneLine("FakeNode", device())), 1);
        m_device->present = true;
        stream->detach();
        QSignalSpy asked(worker.get(), &NodeWorker::rebuildAsked);
        changeDeviceList(*worker);
        QCOMPARE(asked.size(), 0);
        QVERIFY(m_log->texts(QtInfoMsg).isEmpty());
        worker->tearDown();
    }

    void givenUpForLongTheStreamIsUnhealthyUntilItMovesAgain()
    {
        m_device->limits.stallMs = kPatienceMs;
        m_device->limits.maxRebuilds = 0;
        m_device->limits.unhealthyAfterMs = kShortMs;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QSignalSpy unhealthy(&node, &AudioNode::audioUnhealthy);
        QSignalSpy healthy(&node, &AudioNode::audioHealthy);
        QSignalSpy rebuilds(&node, &AudioNode::deviceRebuilt);
        QSignalSpy gaveUp(&node, &AudioNode::watchdogGaveUp);
        node.failDevice();
        QTRY_COMPARE_WITH_TIMEOUT(unhealthy.size(), 1, kPatienceMs);
        QCOMPARE(unhealthy.constFirst(), QList<QVariant>{"POST_GIVEUP_TIMEOUT"});
        QTRY_VERIFY_WITH_TIMEOUT(gaveUp.size() >= 5, kPatienceMs);
        QCOMPARE(rebuilds.size() + healthy.size(), 0);

        node.stream().samplesMoved = 512;
        QTRY_COMPARE_WITH_TIMEOUT(healthy.size(), 1, kPatienceMs);
        QCOMPARE(rebuilds.size(), 1);
        QCOMPARE(rebuilds.constFirst(), QList<QVariant>{0});
        QCOMPARE(m_log->take(QtInfoMsg, "FakeNode: stream recovered on its own after watchdog gave "
                                        "up (bytes 0 -> 512). Resetting watchdog with 30 s "
                                        "post-recovery lockout."),
                 1);
        gaveUp.clear();
        const int before = m_device->ticks;
        QTRY_VERIFY_WITH_TIMEOUT(m_device->ticks >= before + 3, kPatienceMs);
        QCOMPARE(gaveUp.size(), 0);
        QCOMPARE(unhealthy.size(), 1);
        QCOMPARE(healthy.size(), 1);
    }

    void unhealthyIsToldBeforeTheGiveUpOfTheSameTick()
    {
        m_device->limits.maxRebuilds = 0;
        m_device->limits.unhealthyAfterMs = 0;
        QStringList told;
        FakeNode node(m_device);
        connect(&node, &AudioNode::audioUnhealthy, &node, [&told] { told << "unhealthy"; });
        connect(&node, &AudioNode::watchdogGaveUp, &node, [&told] { told << "gave up"; });
        configure(node);
        QVERIFY(node.start());
        QTRY_VERIFY_WITH_TIMEOUT(told.size() >= 2, kPatienceMs);
        node.stop();
        QCOMPARE(told.first(2), (QStringList{"unhealthy", "gave up"}));
    }

    void givenUpARebuildIsStillTriedFromTimeToTime()
    {
        m_device->limits.stallMs = kPatienceMs;
        m_device->limits.maxRebuilds = 0;
        m_device->limits.postGiveUpRetryMs = kShortMs;
        FakeNode node(m_device);
        configure(node);
        QVERIFY(node.start());
        QSignalSpy rebuilds(&node, &AudioNode::deviceRebuilt);
        node.failDevice();
        QTRY_VERIFY_WITH_TIMEOUT(rebuilds.size() >= 2, kPatienceMs);
        node.stop();
        QCOMPARE(rebuilds.at(0), QList<QVariant>{1});
        QCOMPARE(rebuilds.at(1), QList<QVariant>{2});
        for (const int number : {1, 2})
            QCOMPARE(m_log->take(QtInfoMsg, QStringLiteral("FakeNode: post-give-up retry — "
                                                           "attempting Fake rebuild (cumulative "
                                                           "rebuild #%1)")
                                                .arg(number)),
                     1);
    }

private:
    SoundServer m_server;
    std::unique_ptr<LogCatcher> m_log;
    std::shared_ptr<FakeDevice> m_device;
};

int main(int argc, char* argv[])
{
    prepareMediaPlatform();
    QCoreApplication application(argc, argv);
    TestNodeRebuild test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_noderebuild.moc"
