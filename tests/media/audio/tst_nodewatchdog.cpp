#include "media/audio/nodewatchdog.h"
#include "support/logcatcher.h"

#include <QTest>

#include <memory>

using media::audio::NodeWatchdog;
using media::audio::WatchdogTick;
using State = NodeWatchdog::State;
using Health = WatchdogTick::Health;

namespace {

QByteArray described(const State& state)
{
    return QStringLiteral("rebuilds %1, last rebuild %2, gave up %3 at %4, retry %5, counter %6 at "
                          "%7, awaiting %8, lockout %9, evaluated %10, jumped %11")
        .arg(state.rebuildCount)
        .arg(state.lastRebuildAt)
        .arg(state.gaveUp)
        .arg(state.gaveUpAt)
        .arg(state.lastRetryAt)
        .arg(state.lastCounter)
        .arg(state.lastProgressAt)
        .arg(state.awaitingActiveSince)
        .arg(state.lockoutUntil)
        .arg(state.lastEvalAt)
        .arg(state.clockJumped)
        .toUtf8();
}

/// One evaluation: the state before, what is seen, and the state after.
struct EvaluateRow {
    State before{};
    bool active = true;
    qint64 counter = 0;
    qint64 nowMs = 0;
    bool rebuild = false;
    State after{};
};

/// One error report, likewise.
struct ErrorRow {
    State before{};
    QAudio::Error error = QAudio::NoError;
    qint64 nowMs = 0;
    bool rebuild = false;
    State after{};
};

void addEvaluation(const char* name, const EvaluateRow& row)
{
    QTest::newRow(name) << row;
}

void addError(const char* name, const ErrorRow& row)
{
    QTest::newRow(name) << row;
}

/// Ticks a watchdog as its node would, every 250 ms, and lets a script decide
/// what the device does.
struct Simulation {
    static constexpr qint64 kTickMs = 250;

    NodeWatchdog watchdog;
    qint64 nowMs = 0;
    qint64 counter = 0;
    bool active = true;
    bool flowing = true;

    int rebuilds = 0;
    int gaveUpTicks = 0;
    int unhealthy = 0;
    int healthy = 0;
    QList<qint64> rebuildTimes;
    QList<WatchdogTick::Recovery> recoveries;

    void tick()
    {
        nowMs += kTickMs;
        if (active && flowing)
            counter += 22050;
        const WatchdogTick found = watchdog.tick(active, counter, nowMs);
        if (found.rebuild) {
            ++rebuilds;
            rebuildTimes.append(nowMs);
        }
        gaveUpTicks += found.gaveUp ? 1 : 0;
        unhealthy += found.health == Health::BecameUnhealthy ? 1 : 0;
        healthy += found.health == Health::BecameHealthy ? 1 : 0;
        if (found.recovery)
            recoveries.append(*found.recovery);
    }

    void runUntil(qint64 endMs)
    {
        while (nowMs < endMs)
            tick();
    }

    void sleepThrough(qint64 ms) { nowMs += ms; }
};

} // namespace

Q_DECLARE_METATYPE(EvaluateRow)
Q_DECLARE_METATYPE(ErrorRow)

class TestNodeWatchdog : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

    static void checkEvaluation()
    {
        QFETCH(EvaluateRow, row);
        NodeWatchdog watchdog(row.before);
        QCOMPARE(watchdog.evaluate(row.active, row.counter, row.nowMs), row.rebuild);
        QVERIFY2(watchdog.state() == row.after, described(watchdog.state()).constData());
    }

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

    void stopAfterAGiveUpMakesAFreshStart()
    {
        Simulation simulation;
        simulation.flowing = false;
        simulation.runUntil(400000);
        QCOMPARE(simulation.unhealthy, 1);
        QVERIFY(simulation.watchdog.state().gaveUp);
        simulation.watchdog.markStopped();

        const int before = simulation.gaveUpTicks;
        const int rebuildsBefore = simulation.rebuilds;
        simulation.watchdog.markStartIntent(simulation.nowMs);
        simulation.tick();
        QCOMPARE(simulation.gaveUpTicks, before);
        QCOMPARE(simulation.healthy, 1);
        // Noted at the first tick, frozen for the 3000 ms after it.
        simulation.runUntil(400000 + 3000);
        QCOMPARE(simulation.rebuilds, rebuildsBefore);
        simulation.tick();
        QCOMPARE(simulation.rebuilds, rebuildsBefore + 1);
        QCOMPARE(simulation.watchdog.state().rebuildCount, 1);
        QVERIFY(simulation.recoveries.isEmpty());
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

    void aGapBetweenEvaluationsIsASuspendAndStartsTheWaitingAnew_data()
    {
        QTest::addColumn<EvaluateRow>("row");
        const State waiting{.awaitingActiveSince = 900, .lastEvalAt = 1000};
        const State moving{.lastCounter = 5, .lastProgressAt = 1000, .lastEvalAt = 1000};
        addEvaluation("15 000 ms are no gap",
                      {.before = moving,
                       .counter = 6,
                       .nowMs = 16000,
                       .after = {.lastCounter = 6, .lastProgressAt = 16000, .lastEvalAt = 16000}});
        addEvaluation("15 001 ms are one: progress is forgotten, no rebuild",
                      {.before = moving,
                       .counter = 5,
                       .nowMs = 16001,
                       .after = {.lastEvalAt = 16001, .clockJumped = true}});
        addEvaluation(
            "a waiting start waits anew",
            {.before = waiting,
             .active = false,
             .nowMs = 16001,
             .after = {.awaitingActiveSince = 16001, .lastEvalAt = 16001, .clockJumped = true}});
        addEvaluation(
            "the first evaluation has no gap before it",
            {.before = {},
             .counter = 5,
             .nowMs = 100000,
             .after = {.lastCounter = 5, .lastProgressAt = 100000, .lastEvalAt = 100000}});
        addEvaluation(
            "a short stall time: 10 000 ms are no gap",
            {.before = {.stallMs = 1000, .lastEvalAt = 0},
             .counter = 5,
             .nowMs = 10000,
             .after = {
                 .stallMs = 1000, .lastCounter = 5, .lastProgressAt = 10000, .lastEvalAt = 10000}});
        addEvaluation("a short stall time: 10 001 ms are one",
                      {.before = {.stallMs = 1000, .lastEvalAt = 0},
                       .counter = 5,
                       .nowMs = 10001,
                       .after = {.stallMs = 1000, .lastEvalAt = 10001, .clockJumped = true}});
        addEvaluation("without a tick interval a gap means nothing",
                      {.before = {.tickIntervalMs = 0, .lastEvalAt = 0},
                       .counter = 5,
                       .nowMs = 50000,
                       .after = {.lastCounter = 5,
                                 .lastProgressAt = 50000,
                                 .tickIntervalMs = 0,
                                 .lastEvalAt = 50000}});
        addEvaluation("the next evaluation clears the mark",
                      {.before = {.lastEvalAt = 16001, .clockJumped = true},
                       .counter = 5,
                       .nowMs = 16251,
                       .after = {.lastCounter = 5, .lastProgressAt = 16251, .lastEvalAt = 16251}});
        addEvaluation(
            "a gap comes before a retry that is due",
            {.before = {.gaveUp = true, .lastRetryAt = 0, .gaveUpAt = 0, .lastEvalAt = 1000},
             .nowMs = 70000,
             .after = {.gaveUp = true,
                       .lastRetryAt = 0,
                       .gaveUpAt = 0,
                       .lastEvalAt = 70000,
                       .clockJumped = true}});
    }

    void aGapBetweenEvaluationsIsASuspendAndStartsTheWaitingAnew() { checkEvaluation(); }

    void givenUpARebuildIsTriedOnceAMinute_data()
    {
        QTest::addColumn<EvaluateRow>("row");
        const State given{.rebuildCount = 20,
                          .lastRebuildAt = 500,
                          .gaveUp = true,
                          .lastCounter = 5,
                          .lastProgressAt = 600,
                          .lastRetryAt = 1000,
                          .gaveUpAt = 1000,
                          .lastEvalAt = 60000};
        State early = given;
        early.lastEvalAt = 60999;
        addEvaluation("not after 59 999 ms, nor is progress looked at",
                      {.before = given, .counter = 9, .nowMs = 60999, .after = early});
        addEvaluation("after 60 000 ms", {.before = given,
                                          .counter = 9,
                                          .nowMs = 61000,
                                          .rebuild = true,
                                          .after = {.rebuildCount = 21,
                                                    .lastRebuildAt = 61000,
                                                    .gaveUp = true,
                                                    .awaitingActiveSince = 61000,
                                                    .lastRetryAt = 61000,
                                                    .gaveUpAt = 1000,
                                                    .lastEvalAt = 61000}});
        addEvaluation("not active makes no difference", {.before = given,
                                                         .active = false,
                                                         .counter = 9,
                                                         .nowMs = 61000,
                                                         .rebuild = true,
                                                         .after = {.rebuildCount = 21,
                                                                   .lastRebuildAt = 61000,
                                                                   .gaveUp = true,
                                                                   .awaitingActiveSince = 61000,
                                                                   .lastRetryAt = 61000,
                                                                   .gaveUpAt = 1000,
                                                                   .lastEvalAt = 61000}});
        State never = given;
        never.postGiveUpRetryMs = 0;
        State neverAfter = never;
        neverAfter.lastEvalAt = 61000;
        addEvaluation("never with a retry time of 0",
                      {.before = never, .nowMs = 61000, .after = neverAfter});
        State unknown = given;
        unknown.lastRetryAt = -1;
        State unknownAfter = unknown;
        unknownAfter.lastEvalAt = 61000;
        addEvaluation("never without the time of the last retry",
                      {.before = unknown, .nowMs = 61000, .after = unknownAfter});
    }

    void givenUpARebuildIsTriedOnceAMinute() { checkEvaluation(); }

    void lockedOutOnlyProgressIsNoted_data()
    {
        QTest::addColumn<EvaluateRow>("row");
        const State locked{.lastCounter = 5,
                           .lastProgressAt = 1000,
                           .awaitingActiveSince = 900,
                           .lockoutUntil = 30000,
                           .lastEvalAt = 29000};
        State grown = locked;
        grown.lastCounter = 6;
        grown.lastProgressAt = 29999;
        grown.lastEvalAt = 29999;
        addEvaluation("a grown counter is noted",
                      {.before = locked, .counter = 6, .nowMs = 29999, .after = grown});
        State same = locked;
        same.lastEvalAt = 29999;
        addEvaluation("a frozen counter is no stall",
                      {.before = locked, .counter = 5, .nowMs = 29999, .after = same});
        addEvaluation(
            "a device that is not active neither",
            {.before = locked, .active = false, .counter = 6, .nowMs = 29999, .after = same});
        State first{.lockoutUntil = 30000};
        addEvaluation("a first counter is noted", {.before = first,
                                                   .counter = 0,
                                                   .nowMs = 100,
                                                   .after = {.lastCounter = 0,
                                                             .lastProgressAt = 100,
                                                             .lockoutUntil = 30000,
                                                             .lastEvalAt = 100}});
        addEvaluation("at its end the lockout goes and the stall counts",
                      {.before = locked,
                       .counter = 5,
                       .nowMs = 30000,
                       .rebuild = true,
                       .after = {.rebuildCount = 1,
                                 .lastRebuildAt = 30000,
                                 .awaitingActiveSince = 30000,
                                 .lastEvalAt = 30000}});
    }

    void lockedOutOnlyProgressIsNoted() { checkEvaluation(); }

    void activeAFrozenCounterIsAStall_data()
    {
        QTest::addColumn<EvaluateRow>("row");
        const State moving{.lastCounter = 5, .lastProgressAt = 1000, .lastEvalAt = 3900};
        State unmoved = moving;
        unmoved.lastEvalAt = 3999;
        addEvaluation("the first counter is progress, and nothing is awaited any more",
                      {.before = {.awaitingActiveSince = 50},
                       .counter = 0,
                       .nowMs = 100,
                       .after = {.lastCounter = 0, .lastProgressAt = 100, .lastEvalAt = 100}});
        addEvaluation("a grown counter is progress",
                      {.before = moving,
                       .counter = 6,
                       .nowMs = 4500,
                       .after = {.lastCounter = 6, .lastProgressAt = 4500, .lastEvalAt = 4500}});
        addEvaluation("a counter that fell is none",
                      {.before = moving, .counter = 4, .nowMs = 3999, .after = unmoved});
        addEvaluation("2999 ms are no stall",
                      {.before = moving, .counter = 5, .nowMs = 3999, .after = unmoved});
        addEvaluation("3000 ms are one", {.before = moving,
                                          .counter = 5,
                                          .nowMs = 4000,
                                          .rebuild = true,
                                          .after = {.rebuildCount = 1,
                                                    .lastRebuildAt = 4000,
                                                    .awaitingActiveSince = 4000,
                                                    .lastEvalAt = 4000}});
        State rebuilt = moving;
        rebuilt.lastRebuildAt = 3501;
        rebuilt.rebuildCount = 7;
        State tooSoon = rebuilt;
        tooSoon.lastEvalAt = 4000;
        addEvaluation("499 ms after a rebuild is too soon",
                      {.before = rebuilt, .counter = 5, .nowMs = 4000, .after = tooSoon});
        addEvaluation("500 ms after it is not", {.before = rebuilt,
                                                 .counter = 5,
                                                 .nowMs = 4001,
                                                 .rebuild = true,
                                                 .after = {.rebuildCount = 8,
                                                           .lastRebuildAt = 4001,
                                                           .awaitingActiveSince = 4001,
                                                           .lastEvalAt = 4001}});
        State nineteen = moving;
        nineteen.rebuildCount = 19;
        addEvaluation("the 20th rebuild is the last", {.before = nineteen,
                                                       .counter = 5,
                                                       .nowMs = 4000,
                                                       .rebuild = true,
                                                       .after = {.rebuildCount = 20,
                                                                 .lastRebuildAt = 4000,
                                                                 .awaitingActiveSince = 4000,
                                                                 .lastEvalAt = 4000}});
        State twenty = moving;
        twenty.rebuildCount = 20;
        addEvaluation("the 21st gives up instead", {.before = twenty,
                                                    .counter = 5,
                                                    .nowMs = 4000,
                                                    .after = {.rebuildCount = 20,
                                                              .gaveUp = true,
                                                              .lastCounter = 5,
                                                              .lastProgressAt = 1000,
                                                              .lastRetryAt = 4000,
                                                              .gaveUpAt = 4000,
                                                              .lastEvalAt = 4000}});
    }

    void activeAFrozenCounterIsAStall() { checkEvaluation(); }

    void notActiveAStartThatWaitsTooLongIsAStall_data()
    {
        QTest::addColumn<EvaluateRow>("row");
        const State waiting{.lastCounter = 5,
                            .lastProgressAt = 800,
                            .awaitingActiveSince = 1000,
                            .lastEvalAt = 3900};
        addEvaluation("nothing is wrong when nothing was started, but progress is forgotten",
                      {.before = {.lastCounter = 5, .lastProgressAt = 1000},
                       .active = false,
                       .counter = 9,
                       .nowMs = 9000,
                       .after = {.lastEvalAt = 9000}});
        addEvaluation("2999 ms are no stall",
                      {.before = waiting,
                       .active = false,
                       .nowMs = 3999,
                       .after = {.awaitingActiveSince = 1000, .lastEvalAt = 3999}});
        addEvaluation("3000 ms are one", {.before = waiting,
                                          .active = false,
                                          .nowMs = 4000,
                                          .rebuild = true,
                                          .after = {.rebuildCount = 1,
                                                    .lastRebuildAt = 4000,
                                                    .awaitingActiveSince = 4000,
                                                    .lastEvalAt = 4000}});
        State rebuilt = waiting;
        rebuilt.lastRebuildAt = 3501;
        addEvaluation(
            "499 ms after a rebuild is too soon",
            {.before = rebuilt,
             .active = false,
             .nowMs = 4000,
             .after = {.lastRebuildAt = 3501, .awaitingActiveSince = 1000, .lastEvalAt = 4000}});
        addEvaluation("500 ms after it is not", {.before = rebuilt,
                                                 .active = false,
                                                 .nowMs = 4001,
                                                 .rebuild = true,
                                                 .after = {.rebuildCount = 1,
                                                           .lastRebuildAt = 4001,
                                                           .awaitingActiveSince = 4001,
                                                           .lastEvalAt = 4001}});
        State twenty = waiting;
        twenty.rebuildCount = 20;
        addEvaluation("the 21st gives up instead", {.before = twenty,
                                                    .active = false,
                                                    .nowMs = 4000,
                                                    .after = {.rebuildCount = 20,
                                                              .gaveUp = true,
                                                              .awaitingActiveSince = 1000,
                                                              .lastRetryAt = 4000,
                                                              .gaveUpAt = 4000,
                                                              .lastEvalAt = 4000}});
    }

    void notActiveAStartThatWaitsTooLongIsAStall() { checkEvaluation(); }

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

    void aQuietDayAsksForNothing()
    {
        Simulation day;
        day.watchdog.markStartIntent(0);
        day.runUntil(24 * 3600 * 1000LL);
        QCOMPARE(day.rebuilds, 0);
        QCOMPARE(day.gaveUpTicks, 0);
        QCOMPARE(day.unhealthy + day.healthy, 0);
        QCOMPARE(day.watchdog.state().rebuildCount, 0);
    }

    void aDayOfFaults()
    {
        constexpr qint64 kHourMs = 3600 * 1000;
        Simulation day;
        day.runUntil(kHourMs);

        // One silent stall: noticed 3 s after the last progress, cured by one rebuild.
        day.flowing = false;
        day.runUntil(kHourMs + 3000);
        QCOMPARE(day.rebuildTimes, (QList<qint64>{kHourMs + 3000}));
        day.flowing = true;
        day.runUntil(2 * kHourMs);
        QCOMPARE(day.rebuilds, 1);

        // The machine sleeps for five hours: not a stall.
        day.sleepThrough(5 * kHourMs);
        day.runUntil(8 * kHourMs);
        QCOMPARE(day.rebuilds, 1);
        QCOMPARE(day.gaveUpTicks, 0);

        // The device drops out and never comes back by itself: the remaining 19
        // rebuilds come 3 s apart, the first 3 s after the drop, then it gives up.
        day.active = false;
        day.watchdog.markStartIntent(day.nowMs);
        day.runUntil(8 * kHourMs + 19 * 3000);
        QCOMPARE(day.rebuilds, 20);
        QCOMPARE(day.rebuildTimes.at(1), 8 * kHourMs + 3000);
        QCOMPARE(day.rebuildTimes.at(19), 8 * kHourMs + 57000);
        QCOMPARE(day.gaveUpTicks, 0);
        const qint64 gaveUpAt = 8 * kHourMs + 60000;
        day.runUntil(gaveUpAt);
        QCOMPARE(day.rebuilds, 20);
        QCOMPARE(day.gaveUpTicks, 1);

        // An hour given up: 60 retries a minute apart, unhealthy once, 4 × 3600 ticks.
        day.runUntil(gaveUpAt + 299750);
        QCOMPARE(day.unhealthy, 0);
        day.runUntil(gaveUpAt + kHourMs);
        QCOMPARE(day.rebuilds, 80);
        QCOMPARE(day.rebuildTimes.at(20), gaveUpAt + 60000);
        QCOMPARE(day.rebuildTimes.at(79), gaveUpAt + kHourMs);
        QCOMPARE(day.unhealthy, 1);
        QCOMPARE(day.gaveUpTicks, 1 + 4 * 3600);

        // It plays again: reported once, healthy once, counted from nothing.
        day.active = true;
        day.tick();
        QCOMPARE(day.recoveries.size(), 1);
        QCOMPARE(day.healthy, 0);
        day.tick();
        QCOMPARE(day.healthy, 1);
        const qint64 recoveredAt = day.nowMs - Simulation::kTickMs;

        // Within the lockout a stall is let pass; at its end it is judged.
        day.flowing = false;
        day.runUntil(recoveredAt + 29750);
        QCOMPARE(day.rebuilds, 80);
        day.tick();
        QCOMPARE(day.rebuilds, 81);
        QCOMPARE(day.watchdog.state().rebuildCount, 1);

        day.flowing = true;
        day.runUntil(24 * kHourMs);
        QCOMPARE(day.rebuilds, 81);
        QCOMPARE(day.recoveries.size(), 1);
        QCOMPARE(day.unhealthy, 1);
        QCOMPARE(day.healthy, 1);
    }
};

QTEST_APPLESS_MAIN(TestNodeWatchdog)
#include "tst_nodewatchdog.moc"
