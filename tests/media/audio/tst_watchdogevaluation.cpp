#include "media/audio/nodewatchdog.h"
#include "media/audio/watchdogdescription.h"
#include "support/logcatcher.h"

#include <QTest>

#include <memory>

using media::audio::NodeWatchdog;
using State = NodeWatchdog::State;

namespace {

/// One evaluation: the state before, what is seen, and the state after.
struct EvaluateRow {
    State before{};
    bool active = true;
    qint64 counter = 0;
    qint64 nowMs = 0;
    bool rebuild = false;
    State after{};
};

void addEvaluation(const char* name, const EvaluateRow& row)
{
    QTest::newRow(name) << row;
}

} // namespace

Q_DECLARE_METATYPE(EvaluateRow)

/// What one evaluation makes of a device's activity and its counter.
class TestWatchdogEvaluation : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

    static void checkEvaluation()
    {
        QFETCH(EvaluateRow, row);
        NodeWatchdog watchdog(row.before);
        QCOMPARE(watchdog.evaluate(row.active, row.counter, row.nowMs), row.rebuild);
        QVERIFY2(watchdog.state() == row.after, described(watchdog.state()).constData());
    }

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

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
                       .after = {.rebuildCount = 1, .lastRebuildAt = 30000, .lastEvalAt = 30000}});
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
        addEvaluation("3000 ms are one",
                      {.before = moving,
                       .counter = 5,
                       .nowMs = 4000,
                       .rebuild = true,
                       .after = {.rebuildCount = 1, .lastRebuildAt = 4000, .lastEvalAt = 4000}});
        State rebuilt = moving;
        rebuilt.lastRebuildAt = 3501;
        rebuilt.rebuildCount = 7;
        State tooSoon = rebuilt;
        tooSoon.lastEvalAt = 4000;
        addEvaluation("499 ms after a rebuild is too soon",
                      {.before = rebuilt, .counter = 5, .nowMs = 4000, .after = tooSoon});
        addEvaluation("500 ms after it is not",
                      {.before = rebuilt,
                       .counter = 5,
                       .nowMs = 4001,
                       .rebuild = true,
                       .after = {.rebuildCount = 8, .lastRebuildAt = 4001, .lastEvalAt = 4001}});
        State nineteen = moving;
        nineteen.rebuildCount = 19;
        addEvaluation("the 20th rebuild is the last",
                      {.before = nineteen,
                       .counter = 5,
                       .nowMs = 4000,
                       .rebuild = true,
                       .after = {.rebuildCount = 20, .lastRebuildAt = 4000, .lastEvalAt = 4000}});
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
};

QTEST_APPLESS_MAIN(TestWatchdogEvaluation)
#include "tst_watchdogevaluation.moc"
