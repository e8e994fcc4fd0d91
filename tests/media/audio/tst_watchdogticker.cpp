#include "media/audio/watchdogticker.h"
#include "support/logcatcher.h"

#include <QElapsedTimer>
#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

using media::audio::WatchdogTicker;
using Clock = WatchdogTicker::Clock;
using Ms = WatchdogTicker::Ms;
using namespace std::chrono_literals;

namespace {

constexpr int kDeadlineMs = 10000;

/// Time that passes only in sleeps and where a test says so. The last of so many
/// sleeps lasts until the ticker is told to stop.
class ManualTime {
public:
    explicit ManualTime(int sleeps)
        : m_sleepsLeft(sleeps)
    {
    }

    WatchdogTicker::TimeSource source()
    {
        return {[this] { return m_now; }, [this](Ms duration) { sleep(duration); }};
    }

    void pass(Clock::duration duration) { m_now += duration; }

    /// Lets the ticker run for all its sleeps. How long millions of them take is the
    /// machine's affair: the only deadline is the suite's.
    void run(WatchdogTicker& ticker)
    {
        m_ticker = &ticker;
        ticker.start();
        m_ended.acquire();
        ticker.stop();
    }

    [[nodiscard]] const std::vector<Ms>& slept() const { return m_slept; }

private:
    void sleep(Ms duration)
    {
        m_slept.push_back(duration);
        m_now += duration;
        if (--m_sleepsLeft > 0)
            return;
        m_ended.release();
        while (m_ticker->isRunning())
            QThread::yieldCurrentThread();
    }

    const WatchdogTicker* m_ticker = nullptr;
    Clock::time_point m_now{1h};
    int m_sleepsLeft;
    std::vector<Ms> m_slept;
    QSemaphore m_ended;
};

} // namespace

class TestWatchdogTicker : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void latenessThresholdIsFivePeriodsButAtLeast200Ms_data()
    {
        QTest::addColumn<int>("periodMs");
        QTest::addColumn<int>("thresholdMs");
        QTest::newRow("the nodes' period") << 250 << 1250;
        QTest::newRow("just above the least") << 41 << 205;
        QTest::newRow("at the least") << 40 << 200;
        QTest::newRow("below the least") << 10 << 200;
    }

    void latenessThresholdIsFivePeriodsButAtLeast200Ms()
    {
        QFETCH(int, periodMs);
        QFETCH(int, thresholdMs);
        const WatchdogTicker ticker("test", Ms(periodMs), {.tick = [] {}});
        QCOMPARE(ticker.latenessThreshold().count(), thresholdMs);
    }

    void laterSaturatesAtTheEndOfTime()
    {
        const Clock::time_point end = Clock::time_point::max();
        QVERIFY(WatchdogTicker::later(Clock::time_point(5s), 250ms) == Clock::time_point(5250ms));
        QVERIFY(WatchdogTicker::later(Clock::time_point(5s), Ms::max()) == end);
        QVERIFY(WatchdogTicker::later(end, 250ms) == end);
        QVERIFY(WatchdogTicker::later(end - 100ms, 250ms) == end);
    }

    void nextSleepIsRoundedUpToWholeMsAndAtMostADay_data()
    {
        QTest::addColumn<qint64>("aheadNs");
        QTest::addColumn<qint64>("sleepMs");
        QTest::newRow("reached") << qint64{0} << qint64{0};
        QTest::newRow("passed") << qint64{-1} << qint64{0};
        QTest::newRow("a nanosecond ahead") << qint64{1} << qint64{1};
        QTest::newRow("a whole number of ms") << qint64{250'000'000} << qint64{250};
        QTest::newRow("a nanosecond more") << qint64{250'000'001} << qint64{251};
        QTest::newRow("a day") << qint64{86'400'000'000'000} << qint64{86'400'000};
        QTest::newRow("beyond a day") << qint64{86'400'000'000'001} << qint64{86'400'000};
        QTest::newRow("a year") << qint64{365} * 86'400'000'000'000 << qint64{86'400'000};
    }

    void nextSleepIsRoundedUpToWholeMsAndAtMostADay()
    {
        QFETCH(qint64, aheadNs);
        QFETCH(qint64, sleepMs);
        const Clock::time_point now(1h);
        QCOMPARE(WatchdogTicker::nextSleep(now, now + std::chrono::nanoseconds(aheadNs)).count(),
                 sleepMs);
    }

    void thePeriodRunsFromTheEndOfTheCallback()
    {
        ManualTime time(3);
        std::vector<Clock::time_point> starts;
        WatchdogTicker ticker("test", 250ms,
                              {.tick =
                                   [&] {
                                       starts.push_back(time.source().now());
                                       time.pass(100ms);
                                   }},
                              time.source());
        time.run(ticker);
        QCOMPARE(starts.size(), std::size_t{3});
        QVERIFY(starts[0] == Clock::time_point(1h));
        QVERIFY(starts[1] == starts[0] + 350ms);
        QVERIFY(starts[2] == starts[1] + 350ms);
        QCOMPARE(ticker.lastLateness().count(), 100);
        QCOMPARE(ticker.lateTickCount(), quint64{0});
        QCOMPARE(ticker.tickCount(), quint64{3});
    }

    void aLateCycleIsCountedAndReportedFromTheThresholdOn()
    {
        // Lateness of the second to fifth cycle; the callback takes that long.
        const std::vector<Ms> busy = {1249ms, 1250ms, 0ms, 4000ms};
        ManualTime time(5);
        std::size_t calls = 0;
        std::vector<Ms> reported;
        std::vector<Ms> last;
        WatchdogTicker* running = nullptr;
        WatchdogTicker ticker("test", 250ms,
                              {.tick =
                                   [&] {
                                       last.push_back(running->lastLateness());
                                       if (calls < busy.size())
                                           time.pass(busy[calls]);
                                       ++calls;
                                   },
                               .late = [&](Ms lateness) { reported.push_back(lateness); }},
                              time.source());
        running = &ticker;
        time.run(ticker);
        QVERIFY((last == std::vector<Ms>{0ms, 1249ms, 1250ms, 0ms, 4000ms}));
        QVERIFY((reported == std::vector<Ms>{1250ms, 4000ms}));
        QCOMPARE(ticker.lateTickCount(), quint64{2});
        QCOMPARE(ticker.largestLateness().count(), 4000);
    }

    void aThresholdOfOnesOwnCountsToo()
    {
        ManualTime time(2);
        WatchdogTicker ticker("test", 250ms, {.tick = [&] { time.pass(30ms); }}, time.source());
        ticker.setLatenessThreshold(30ms);
        time.run(ticker);
        QCOMPARE(ticker.lateTickCount(), quint64{1});
    }

    void aPeriodOfDaysIsSleptADayAtATime()
    {
        ManualTime time(3);
        WatchdogTicker ticker("test", 50h, {.tick = [] {}}, time.source());
        time.run(ticker);
        QVERIFY((time.slept() == std::vector<Ms>{24h, 24h, 2h}));
    }

    void aWeekOfTicksIsAsLongAsItsPeriods()
    {
        constexpr int kTicks = 7 * 24 * 3600 * 4;
        ManualTime time(kTicks);
        Clock::time_point last;
        WatchdogTicker ticker("test", 250ms, {.tick = [&] { last = time.source().now(); }},
                              time.source());
        time.run(ticker);
        QCOMPARE(ticker.tickCount(), quint64{kTicks});
        QVERIFY(last == Clock::time_point(1h) + (kTicks - 1) * 250ms);
        QCOMPARE(ticker.lateTickCount(), quint64{0});
        QCOMPARE(ticker.largestLateness().count(), 0);
    }

    void startCallsAtOnceOnAThreadOfTheGivenName()
    {
        QSemaphore called;
        QString name;
        const QThread* thread = nullptr;
        WatchdogTicker ticker("audio-livewd-out", 24h, {.tick = [&] {
                                  thread = QThread::currentThread();
                                  name = thread->objectName();
                                  called.release();
                              }});
        QVERIFY(!ticker.isRunning());
        ticker.start();
        QVERIFY(ticker.isRunning());
        QVERIFY(called.tryAcquire(1, kDeadlineMs));
        ticker.stop();
        QVERIFY(!ticker.isRunning());
        QVERIFY(thread != QThread::currentThread());
        QCOMPARE(name, "audio-livewd-out");
    }

    void aSecondStartStartsNoSecondThread()
    {
        QSemaphore called;
        WatchdogTicker ticker("test", 24h, {.tick = [&] { called.release(); }});
        ticker.start();
        ticker.start();
        QVERIFY(called.tryAcquire(1, kDeadlineMs));
        ticker.stop();
        QCOMPARE(ticker.tickCount(), quint64{1});
    }

    void stopEndsASleepOfADay()
    {
        QSemaphore called;
        QElapsedTimer elapsed;
        WatchdogTicker ticker("test", 24h, {.tick = [&] { called.release(); }});
        ticker.start();
        QVERIFY(called.tryAcquire(1, kDeadlineMs));
        elapsed.start();
        ticker.stop();
        QVERIFY(elapsed.elapsed() < kDeadlineMs);
        ticker.stop();
    }

    void stopWaitsForARunningCallback()
    {
        QSemaphore entered;
        QSemaphore leave;
        std::atomic<bool> finished = false;
        WatchdogTicker ticker("test", 24h, {.tick = [&] {
                                  entered.release();
                                  leave.acquire();
                                  finished = true;
                              }});
        ticker.start();
        QVERIFY(entered.tryAcquire(1, kDeadlineMs));
        const std::unique_ptr<QThread> helper(QThread::create([&] {
            while (ticker.isRunning())
                QThread::yieldCurrentThread();
            leave.release();
        }));
        helper->start();
        ticker.stop();
        QVERIFY(finished);
        helper->wait();
    }

    void stopFromItsOwnThreadWarnsAndLetsTheLoopRunOut()
    {
        QSemaphore called;
        WatchdogTicker* running = nullptr;
        WatchdogTicker ticker("test", 1ms, {.tick = [&] {
                                  running->stop();
                                  called.release();
                              }});
        running = &ticker;
        ticker.start();
        QVERIFY(called.tryAcquire(1, kDeadlineMs));
        ticker.stop();
        QCOMPARE(ticker.tickCount(), quint64{1});
        QCOMPARE(m_log->take(QtWarningMsg,
                             "WatchdogTicker: \"test\" cannot be joined from its own thread"),
                 1);
    }

    void realTimeTicksAgainAfterThePeriod()
    {
        QSemaphore called;
        QElapsedTimer elapsed;
        elapsed.start();
        WatchdogTicker ticker("test", 20ms, {.tick = [&] { called.release(); }});
        ticker.start();
        QVERIFY(called.tryAcquire(4, kDeadlineMs));
        ticker.stop();
        QVERIFY(elapsed.elapsed() >= 60);
    }
};

QTEST_APPLESS_MAIN(TestWatchdogTicker)
#include "tst_watchdogticker.moc"
