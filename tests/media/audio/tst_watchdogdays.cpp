#include "media/audio/nodewatchdog.h"
#include "support/logcatcher.h"

#include <QTest>

#include <memory>

using media::audio::NodeWatchdog;
using media::audio::WatchdogTick;
using Health = WatchdogTick::Health;

namespace {

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

/// Hours and days of a device's life, in simulated time.
class TestWatchdogDays : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

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

QTEST_APPLESS_MAIN(TestWatchdogDays)
#include "tst_watchdogdays.moc"
