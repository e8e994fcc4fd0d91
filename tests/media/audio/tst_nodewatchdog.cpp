#include "media/audio/nodewatchdog.h"
#include "media/audio/watchdogdescription.h"
#include "support/logcatcher.h"

#include <QTest>

#include <memory>

using media::audio::NodeWatchdog;
using media::audio::WatchdogTick;
using State = NodeWatchdog::State;
using Health = WatchdogTick::Health;

namespace {

/// One error report, the state before and the state after.
struct ErrorRow {
    State before{};
    QAudio::Error error = QAudio::NoError;
    qint64 nowMs = 0;
    bool rebuild = false;
    State after{};
};

void addError(const char* name, const ErrorRow& row)
{
    QTest::newRow(name) << row;
}

} // namespace

Q_DECLARE_METATYPE(ErrorRow)

class TestNodeWatchdog : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

    static void checkError()
    {
        QFETCH(ErrorRow, row);
        NodeWatchdog watchdog(row.before);
        QCOMPARE(watchdog.onError(row.error, row.nowMs), row.rebuild);
        QVERIFY2(watchdog.state() == row.after, described(watchdog.state()).constData());
    }

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void theDefaultsAreThoseOfAFreshNode()
    {
        const State state = NodeWatchdog().state();
        QCOMPARE(state.minRebuildIntervalMs, 500);
        QCOMPARE(state.maxRebuilds, 20);
        QCOMPARE(state.rebuildCount, 0);
        QCOMPARE(state.stallMs, 3000);
        QCOMPARE(state.postGiveUpRetryMs, 60000);
        QCOMPARE(state.unhealthyAfterMs, 300000);
        QCOMPARE(state.tickIntervalMs, 250);
        QVERIFY(!state.gaveUp && !state.clockJumped);
        for (const qint64 unset : {state.lastRebuildAt, state.lastCounter, state.lastProgressAt,
                                   state.awaitingActiveSince, state.lockoutUntil, state.lastRetryAt,
                                   state.gaveUpAt, state.lastEvalAt})
            QCOMPARE(unset, -1);
    }

    void markStartIntentKeepsTheFirstTime()
    {
        NodeWatchdog watchdog;
        watchdog.markStartIntent(100);
        watchdog.markStartIntent(200);
        QCOMPARE(watchdog.state(), (State{.awaitingActiveSince = 100}));
    }

    void markStoppedForgetsAllFaultsAndKeepsTheSettings()
    {
        NodeWatchdog watchdog(State{.minRebuildIntervalMs = 1,
                                    .maxRebuilds = 2,
                                    .rebuildCount = 2,
                                    .lastRebuildAt = 50,
                                    .gaveUp = true,
                                    .stallMs = 3,
                                    .lastCounter = 7,
                                    .lastProgressAt = 60,
                                    .awaitingActiveSince = 70,
                                    .lockoutUntil = 80,
                                    .postGiveUpRetryMs = 4,
                                    .lastRetryAt = 90,
                                    .gaveUpAt = 100,
                                    .unhealthyAfterMs = 5,
                                    .tickIntervalMs = 6,
                                    .lastEvalAt = 110,
                                    .clockJumped = true});
        watchdog.markStopped();
        QCOMPARE(watchdog.state(), (State{.minRebuildIntervalMs = 1,
                                          .maxRebuilds = 2,
                                          .stallMs = 3,
                                          .postGiveUpRetryMs = 4,
                                          .unhealthyAfterMs = 5,
                                          .tickIntervalMs = 6}));
    }

    void counterAtAGiveUpBeforeTheStopIsNoMeasureForTheNextOne()
    {
        NodeWatchdog watchdog(State{.maxRebuilds = 0, .lastCounter = 10, .lastProgressAt = 0});
        QVERIFY(watchdog.tick(true, 10, 3000).gaveUp);
        watchdog.markStopped();
        QVERIFY(!watchdog.onError(QAudio::FatalError, 3100));
        const WatchdogTick found = watchdog.tick(true, 5000, 3250);
        QVERIFY(found.gaveUp);
        QVERIFY(!found.recovery.has_value());
    }

    void errorsAskForARebuildWhenTheyMeanADeadDevice_data()
    {
        QTest::addColumn<ErrorRow>("row");
        const State rebuilt{.rebuildCount = 1, .lastRebuildAt = 1000};
        addError("no error", {.error = QAudio::NoError, .nowMs = 1000});
        addError("an underrun", {.error = QAudio::UnderrunError, .nowMs = 1000});
        addError("an unknown one", {.error = static_cast<QAudio::Error>(7), .nowMs = 1000});
        addError("open",
                 {.error = QAudio::OpenError, .nowMs = 1000, .rebuild = true, .after = rebuilt});
        addError("input or output",
                 {.error = QAudio::IOError, .nowMs = 1000, .rebuild = true, .after = rebuilt});
        addError("fatal",
                 {.error = QAudio::FatalError, .nowMs = 1000, .rebuild = true, .after = rebuilt});
        addError("fatal, 499 ms after a rebuild",
                 {.before = rebuilt, .error = QAudio::FatalError, .nowMs = 1499, .after = rebuilt});
        addError("fatal, 500 ms after a rebuild",
                 {.before = rebuilt,
                  .error = QAudio::FatalError,
                  .nowMs = 1500,
                  .rebuild = true,
                  .after = {.rebuildCount = 2, .lastRebuildAt = 1500}});
        addError("fatal in the lockout's last millisecond", {.before = {.lockoutUntil = 30000},
                                                             .error = QAudio::FatalError,
                                                             .nowMs = 29999,
                                                             .after = {.lockoutUntil = 30000}});
        addError("fatal at the lockout's end",
                 {.before = {.lockoutUntil = 30000},
                  .error = QAudio::FatalError,
                  .nowMs = 30000,
                  .rebuild = true,
                  .after = {.rebuildCount = 1, .lastRebuildAt = 30000}});
        addError("no error at the lockout's end still unsets it",
                 {.before = {.lockoutUntil = 30000}, .error = QAudio::NoError, .nowMs = 30000});
        addError("the 20th rebuild", {.before = {.rebuildCount = 19},
                                      .error = QAudio::IOError,
                                      .nowMs = 1000,
                                      .rebuild = true,
                                      .after = {.rebuildCount = 20, .lastRebuildAt = 1000}});
        addError(
            "the 21st gives up instead",
            {.before = {.rebuildCount = 20},
             .error = QAudio::IOError,
             .nowMs = 1000,
             .after = {.rebuildCount = 20, .gaveUp = true, .lastRetryAt = 1000, .gaveUpAt = 1000}});
    }

    void errorsAskForARebuildWhenTheyMeanADeadDevice() { checkError(); }

    void errorsWhenGivenUpWaitForTheRetryTime_data()
    {
        QTest::addColumn<ErrorRow>("row");
        const State given{.rebuildCount = 20,
                          .lastRebuildAt = 500,
                          .gaveUp = true,
                          .lastCounter = 5,
                          .lastProgressAt = 600,
                          .lastRetryAt = 1000,
                          .gaveUpAt = 1000};
        addError("too early",
                 {.before = given, .error = QAudio::IOError, .nowMs = 60999, .after = given});
        State retried = given;
        retried.rebuildCount = 21;
        retried.lastRebuildAt = 61000;
        retried.lastRetryAt = 61000;
        addError("due", {.before = given,
                         .error = QAudio::IOError,
                         .nowMs = 61000,
                         .rebuild = true,
                         .after = retried});
        addError("due, but harmless",
                 {.before = given, .error = QAudio::UnderrunError, .nowMs = 61000, .after = given});
        State never = given;
        never.postGiveUpRetryMs = 0;
        addError("never with a retry time of 0",
                 {.before = never, .error = QAudio::IOError, .nowMs = 61000, .after = never});
        State unknown = given;
        unknown.lastRetryAt = -1;
        addError("never without the time of the last retry",
                 {.before = unknown, .error = QAudio::IOError, .nowMs = 61000, .after = unknown});
    }

    void errorsWhenGivenUpWaitForTheRetryTime() { checkError(); }

    void tickCountsTheTicksWithoutProgress()
    {
        NodeWatchdog watchdog;
        (void)watchdog.tick(true, 10, 0);
        QCOMPARE(watchdog.frozenTicks(), 0);
        (void)watchdog.tick(true, 10, 1);
        QCOMPARE(watchdog.frozenTicks(), 1);
        (void)watchdog.tick(true, 10, 250);
        QCOMPARE(watchdog.frozenTicks(), 2);
        (void)watchdog.tick(true, 11, 500);
        QCOMPARE(watchdog.frozenTicks(), 0);
        (void)watchdog.tick(true, 11, 750);
        (void)watchdog.tick(false, 11, 1000);
        QCOMPARE(watchdog.frozenTicks(), 0);
    }

    void tickReportsTheStallWithItsNumbers()
    {
        NodeWatchdog watchdog(State{.rebuildCount = 2, .lastCounter = 10, .lastProgressAt = 0});
        const WatchdogTick found = watchdog.tick(true, 10, 3000);
        QVERIFY(found.rebuild && !found.gaveUp && !found.recovery);
        QCOMPARE(found.rebuildCount, 3);
        QCOMPARE(found.stallMs, 3000);
        QCOMPARE(found.health, Health::Unchanged);
    }

    void tickCallsAGivenUpStreamUnhealthyOnceAfterFiveMinutes()
    {
        NodeWatchdog watchdog(State{.gaveUp = true, .lastRetryAt = 290000, .gaveUpAt = 1000});
        const WatchdogTick before = watchdog.tick(false, 0, 300999);
        QVERIFY(before.gaveUp);
        QCOMPARE(before.health, Health::Unchanged);
        QCOMPARE(watchdog.tick(false, 0, 301000).health, Health::BecameUnhealthy);
        const WatchdogTick after = watchdog.tick(false, 0, 301250);
        QVERIFY(after.gaveUp);
        QCOMPARE(after.health, Health::Unchanged);
    }

    void tickCallsAnUnhealthyStreamHealthyOnceAfterTheNextStop()
    {
        NodeWatchdog watchdog(State{.gaveUp = true, .lastRetryAt = 290000, .gaveUpAt = 1000});
        QCOMPARE(watchdog.tick(false, 0, 301000).health, Health::BecameUnhealthy);
        watchdog.markStopped();
        QCOMPARE(watchdog.tick(true, 0, 301250).health, Health::BecameHealthy);
        QCOMPARE(watchdog.tick(true, 0, 301500).health, Health::Unchanged);
    }

    void tickReportsASelfRecoveryAndThenLocksOutAndThenIsHealthy()
    {
        NodeWatchdog watchdog(State{.rebuildCount = 20,
                                    .lastRebuildAt = 900,
                                    .gaveUp = true,
                                    .lastRetryAt = 290000,
                                    .gaveUpAt = 1000});
        QVERIFY(!watchdog.tick(true, 500, 301000).recovery);
        QVERIFY(!watchdog.tick(true, 500, 301250).recovery);
        QVERIFY(!watchdog.tick(false, 501, 301500).recovery);

        const WatchdogTick recovered = watchdog.tick(true, 501, 301750);
        QVERIFY(recovered.gaveUp && recovered.recovery && !recovered.rebuild);
        QCOMPARE(recovered.recovery->counterAtGiveUp, 500);
        QCOMPARE(recovered.recovery->counterNow, 501);
        QCOMPARE(recovered.health, Health::Unchanged);
        QCOMPARE(watchdog.state(), (State{.lockoutUntil = 331750}));

        const WatchdogTick next = watchdog.tick(true, 502, 302000);
        QVERIFY(!next.gaveUp && !next.recovery);
        QCOMPARE(next.health, Health::BecameHealthy);
    }

    void tickNotesTheCounterAnewAfterASuspend()
    {
        NodeWatchdog watchdog(State{.gaveUp = true, .lastRetryAt = 0, .gaveUpAt = 0});
        QVERIFY(!watchdog.tick(true, 500, 1000).recovery);
        // Samples that passed around the suspend prove nothing yet.
        QVERIFY(!watchdog.tick(true, 600, 20000).recovery);
        const WatchdogTick moving = watchdog.tick(true, 700, 20250);
        QVERIFY(moving.recovery);
        QCOMPARE(moving.recovery->counterAtGiveUp, 600);
    }

    void tickMarksARetryAsGivenUpWithTheCumulativeCount()
    {
        NodeWatchdog watchdog(
            State{.rebuildCount = 20, .gaveUp = true, .lastRetryAt = 1000, .gaveUpAt = 1000});
        const WatchdogTick found = watchdog.tick(false, 0, 61000);
        QVERIFY(found.rebuild && found.gaveUp);
        QCOMPARE(found.rebuildCount, 21);
    }
};

QTEST_APPLESS_MAIN(TestNodeWatchdog)
#include "tst_nodewatchdog.moc"
