// A week of a device that fails at random, and what must hold at every tick of it.

#include "media/audio/nodewatchdog.h"
#include "support/logcatcher.h"

#include <QTest>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <vector>

using media::audio::NodeWatchdog;
using media::audio::WatchdogTick;
using Health = WatchdogTick::Health;

namespace {

constexpr qint64 kSecondMs = 1000;
constexpr qint64 kMinuteMs = 60 * kSecondMs;
constexpr qint64 kHourMs = 60 * kMinuteMs;
constexpr qint64 kWeekMs = qint64{7} * 24 * kHourMs;

constexpr qint64 kTickMs = 250;
constexpr qint64 kMostJitterMs = 40;
constexpr qint64 kLongestTickMs = kTickMs + kMostJitterMs;
constexpr qint64 kSamplesPerTick = 22050;

// The rules as the node's user knows them, not as the code has them.
constexpr qint64 kStallMs = 3 * kSecondMs;
constexpr qint64 kSuspendGapMs = 15 * kSecondMs;
constexpr qint64 kBetweenRebuildsMs = 500;
constexpr int kMostRebuilds = 20;
constexpr qint64 kRetryMs = kMinuteMs;
constexpr qint64 kUnhealthyMs = 5 * kMinuteMs;
constexpr qint64 kLockoutMs = 30 * kSecondMs;

/// Chance and the draws of it that the week needs; the same seed, the same week.
class Chance {
public:
    explicit Chance(quint32 seed)
        : m_engine(seed)
    {
    }

    bool oneIn(quint32 n) { return m_engine() % n == 0; }

    qint64 between(qint64 low, qint64 high)
    {
        return low + static_cast<qint64>(m_engine() % static_cast<quint64>(high - low + 1));
    }

private:
    std::mt19937_64 m_engine;
};

/// A loudspeaker with a life of its own.
struct Device {
    bool active = true;
    bool flowing = true;
    bool running = true; ///< started, and not stopped on purpose since
    qint64 samples = 0;
    qint64 troubleUntilMs = 0;
    bool curable = true; ///< by a rebuild

    void trouble(Chance& chance, qint64 nowMs)
    {
        active = chance.oneIn(2);
        flowing = false;
        curable = chance.oneIn(2);
        troubleUntilMs = nowMs + (chance.oneIn(3) ? chance.between(kMinuteMs, 20 * kMinuteMs)
                                                  : chance.between(0, 10 * kSecondMs));
    }

    void recover()
    {
        active = running;
        flowing = running;
    }

    void live(Chance& chance, qint64 nowMs)
    {
        if (flowing && chance.oneIn(800))
            trouble(chance, nowMs);
        else if (!flowing && nowMs >= troubleUntilMs)
            recover();
        else if (!flowing && chance.oneIn(200))
            active = running && !active;
        if (active && flowing)
            samples += kSamplesPerTick;
    }
};

/// What happened, with times from the beginning of the week.
struct Event {
    enum class What { Rebuild, ErrorRebuild, GaveUp, Recovered, Unhealthy, Healthy, Gap, Stop };

    What what = What::Rebuild;
    qint64 atMs = 0;

    friend bool operator==(const Event&, const Event&) = default;
};

/// Judges each tick by what could be seen from outside, and keeps the first fault.
class Referee {
public:
    explicit Referee(qint64 startMs)
        : m_startMs(startMs)
        , m_steadySinceMs(startMs)
        , m_lastTickMs(startMs)
    {
    }

    void started(qint64 nowMs) { m_steadySinceMs = nowMs; }

    void stopped(qint64 nowMs)
    {
        note(Event::What::Stop, nowMs);
        m_steadySinceMs = nowMs;
        m_lockoutEndsMs.reset();
        m_lastRebuildMs.reset();
        m_lastRetryMs.reset();
        m_gaveUpMs.reset();
        m_rebuilds = 0;
    }

    void errorAsked(qint64 nowMs)
    {
        note(Event::What::ErrorRebuild, nowMs);
        countRebuild(nowMs);
    }

    void errorGaveUp(qint64 nowMs) { giveUp(nowMs); }

    void ticked(const Device& device, const WatchdogTick& tick, qint64 nowMs)
    {
        const bool gap = nowMs - m_lastTickMs > kSuspendGapMs;
        m_lastTickMs = nowMs;
        const bool grew = device.samples > m_lastSamples;
        // A device that drops at once keeps waiting from the rebuild on.
        const bool changed = device.active != m_wasActive && !m_hasJustRebuilt;
        m_hasJustRebuilt = tick.rebuild;
        m_lastSamples = device.samples;
        m_wasActive = device.active;
        if (gap)
            note(Event::What::Gap, nowMs);
        if (tick.gaveUp && !m_gaveUpMs)
            giveUp(nowMs);
        require(tick.gaveUp == m_gaveUpMs.has_value(), "given up is not left by itself", nowMs);

        if (tick.rebuild)
            judgeRebuild(gap, tick, nowMs);
        if (gap || grew || changed)
            m_steadySinceMs = nowMs;
        if (m_gaveUpMs)
            judgeGivenUp(device, tick, gap, grew, nowMs);
        else
            judgeWatching(device, nowMs);
        judgeHealth(tick, nowMs);
        if (tick.recovery)
            judgeRecovery(device, grew, nowMs);
    }

    [[nodiscard]] const QString& fault() const { return m_fault; }

    [[nodiscard]] const std::vector<Event>& events() const { return m_events; }

private:
    void require(bool condition, const char* rule, qint64 nowMs)
    {
        if (!condition && m_fault.isEmpty())
            m_fault = QStringLiteral("%1, at %2 ms").arg(rule).arg(nowMs - m_startMs);
    }

    void note(Event::What what, qint64 nowMs) { m_events.push_back({what, nowMs - m_startMs}); }

    void countRebuild(qint64 nowMs)
    {
        require(!m_lastRebuildMs || nowMs - *m_lastRebuildMs >= kBetweenRebuildsMs,
                "rebuilds are half a second apart", nowMs);
        require(!m_lockoutEndsMs || nowMs >= *m_lockoutEndsMs, "no rebuild in the lockout", nowMs);
        m_lastRebuildMs = nowMs;
        ++m_rebuilds;
        if (m_gaveUpMs) {
            require(nowMs - *m_lastRetryMs >= kRetryMs, "retries are a minute apart", nowMs);
            m_lastRetryMs = nowMs;
        } else {
            require(m_rebuilds <= kMostRebuilds, "twenty rebuilds are the most", nowMs);
        }
    }

    void giveUp(qint64 nowMs)
    {
        require(m_rebuilds == kMostRebuilds, "given up after the twentieth rebuild", nowMs);
        note(Event::What::GaveUp, nowMs);
        m_gaveUpMs = nowMs;
        m_lastRetryMs = nowMs;
        m_growingTicks = 0;
        m_overdueTicks = 0;
    }

    void judgeRebuild(bool gap, const WatchdogTick& tick, qint64 nowMs)
    {
        note(Event::What::Rebuild, nowMs);
        require(!gap, "no rebuild on waking up", nowMs);
        // An intent to start that dates from the lockout may be due at its end.
        const bool isLockoutJustOver = m_lockoutEndsMs && nowMs - *m_lockoutEndsMs < kStallMs;
        require(m_gaveUpMs || isLockoutJustOver || nowMs - m_steadySinceMs >= kStallMs,
                "no rebuild before three seconds of standstill", nowMs);
        countRebuild(nowMs);
        require(tick.rebuildCount == m_rebuilds, "the count of rebuilds is true", nowMs);
        m_steadySinceMs = nowMs;
    }

    void judgeWatching(const Device& device, qint64 nowMs)
    {
        qint64 dueMs = m_steadySinceMs + kStallMs;
        if (m_lockoutEndsMs)
            dueMs = std::max(dueMs, *m_lockoutEndsMs + kStallMs);
        if (m_lastRebuildMs)
            dueMs = std::max(dueMs, *m_lastRebuildMs + kBetweenRebuildsMs);
        require(!device.running || nowMs <= dueMs + 2 * kLongestTickMs, "a standstill is noticed",
                nowMs);
    }

    void judgeGivenUp(const Device& device, const WatchdogTick& tick, bool gap, bool grew,
                      qint64 nowMs)
    {
        m_growingTicks = device.active && grew && !gap ? m_growingTicks + 1 : 0;
        require(tick.recovery || m_growingTicks < 2, "a return is noticed", nowMs);
        m_overdueTicks = nowMs - *m_lastRetryMs >= kRetryMs ? m_overdueTicks + 1 : 0;
        require(m_overdueTicks <= 1, "a retry comes when it is due", nowMs);
    }

    void judgeHealth(const WatchdogTick& tick, qint64 nowMs)
    {
        const bool isDue = m_gaveUpMs && nowMs - *m_gaveUpMs >= kUnhealthyMs;
        const Health expected = isDue == m_unhealthy ? Health::Unchanged
                                : isDue              ? Health::BecameUnhealthy
                                                     : Health::BecameHealthy;
        require(tick.health == expected, "health is told once, when it changes", nowMs);
        if (tick.health == Health::Unchanged)
            return;
        m_unhealthy = tick.health == Health::BecameUnhealthy;
        note(m_unhealthy ? Event::What::Unhealthy : Event::What::Healthy, nowMs);
    }

    void judgeRecovery(const Device& device, bool grew, qint64 nowMs)
    {
        note(Event::What::Recovered, nowMs);
        require(m_gaveUpMs && device.active && grew, "only what moves has returned", nowMs);
        m_gaveUpMs.reset();
        m_lastRebuildMs.reset();
        m_rebuilds = 0;
        m_lockoutEndsMs = nowMs + kLockoutMs;
    }

    qint64 m_startMs;
    qint64 m_steadySinceMs; ///< nothing has moved or changed since
    qint64 m_lastTickMs;
    qint64 m_lastSamples = -1;
    bool m_wasActive = false;
    bool m_hasJustRebuilt = false;
    std::optional<qint64> m_lastRebuildMs;
    std::optional<qint64> m_lastRetryMs;
    std::optional<qint64> m_gaveUpMs;
    std::optional<qint64> m_lockoutEndsMs;
    int m_rebuilds = 0;
    int m_growingTicks = 0;
    int m_overdueTicks = 0;
    bool m_unhealthy = false;
    QString m_fault;
    std::vector<Event> m_events;
};

/// The node around the watchdog: it marks starts, stops and drops, hands errors on,
/// and has the device rebuilt.
class Week {
public:
    Week(quint32 seed, qint64 startMs, qint64 firstSample)
        : m_chance(seed)
        , m_endMs(startMs + kWeekMs)
        , m_nowMs(startMs)
        , m_referee(startMs)
    {
        m_device.samples = firstSample;
        m_watchdog.markStartIntent(m_nowMs);
    }

    const Referee& run()
    {
        while (m_nowMs < m_endMs && m_referee.fault().isEmpty()) {
            passTime();
            use();
            const bool wasActive = m_device.active;
            m_device.live(m_chance, m_nowMs);
            if (wasActive && !m_device.active)
                m_watchdog.markStartIntent(m_nowMs);
            if (m_device.running && !m_device.flowing && m_chance.oneIn(40))
                fail();
            const WatchdogTick tick = m_watchdog.tick(m_device.active, m_device.samples, m_nowMs);
            m_referee.ticked(m_device, tick, m_nowMs);
            if (tick.rebuild)
                rebuild();
        }
        return m_referee;
    }

private:
    void passTime()
    {
        m_nowMs += kTickMs + m_chance.between(0, kMostJitterMs);
        if (m_chance.oneIn(50000))
            m_nowMs += m_chance.between(kSuspendGapMs, 8 * kHourMs);
    }

    void use()
    {
        if (!m_chance.oneIn(m_device.running ? 40000 : 400))
            return;
        m_device.running = !m_device.running;
        if (m_device.running) {
            m_watchdog.markStartIntent(m_nowMs);
            m_referee.started(m_nowMs);
            m_device.recover();
            return;
        }
        m_device.active = m_device.flowing = false;
        m_device.troubleUntilMs = m_nowMs;
        m_watchdog.markStopped();
        m_referee.stopped(m_nowMs);
    }

    void fail()
    {
        const bool hadGivenUp = m_watchdog.state().gaveUp;
        if (m_watchdog.onError(m_chance.oneIn(2) ? QAudio::IOError : QAudio::FatalError, m_nowMs)) {
            m_referee.errorAsked(m_nowMs);
            rebuild();
        } else if (!hadGivenUp && m_watchdog.state().gaveUp) {
            m_referee.errorGaveUp(m_nowMs);
        }
    }

    void rebuild()
    {
        if (m_device.curable)
            m_device.recover();
    }

    Chance m_chance;
    qint64 m_endMs;
    qint64 m_nowMs;
    NodeWatchdog m_watchdog;
    Device m_device;
    Referee m_referee;
};

qsizetype count(const std::vector<Event>& events, Event::What what)
{
    return std::count_if(events.begin(), events.end(),
                         [what](const Event& event) { return event.what == what; });
}

} // namespace

class TestNodeWatchdogWeek : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void everyRuleHoldsAtEveryTick_data()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed = 1; seed <= 6; ++seed)
            QTest::addRow("week %u", seed) << seed;
    }

    void everyRuleHoldsAtEveryTick()
    {
        QFETCH(quint32, seed);
        Week week(seed, 0, 0);
        const Referee& referee = week.run();
        QVERIFY2(referee.fault().isEmpty(), qPrintable(referee.fault()));
        // A week in which little happens would prove little.
        using What = Event::What;
        const auto& events = referee.events();
        for (const auto what : {What::Rebuild, What::ErrorRebuild, What::GaveUp})
            QVERIFY(count(events, what) >= 10);
        for (const auto what :
             {What::Recovered, What::Unhealthy, What::Healthy, What::Gap, What::Stop})
            QVERIFY2(count(events, what) >= 3, qPrintable(QString::number(int(what))));
    }

    void aWeekIsTheSameWheneverItBegins_data()
    {
        QTest::addColumn<qint64>("startMs");
        QTest::addColumn<qint64>("firstSample");
        QTest::newRow("across 2^31 ms") << (qint64{1} << 31) - kWeekMs / 2 << qint64{0};
        QTest::newRow("across 2^32 ms") << (qint64{1} << 32) - kWeekMs / 2 << qint64{0};
        QTest::newRow("after three hundred years") << qint64{300} * 52 * kWeekMs << qint64{0};
        QTest::newRow("across 2^32 samples") << qint64{0} << (qint64{1} << 32) - 100'000'000;
        QTest::newRow("beyond 2^53 samples") << qint64{0} << (qint64{1} << 53);
    }

    void aWeekIsTheSameWheneverItBegins()
    {
        QFETCH(qint64, startMs);
        QFETCH(qint64, firstSample);
        Week first(1, 0, 0);
        Week later(1, startMs, firstSample);
        QVERIFY(first.run().events() == later.run().events());
    }
};

QTEST_APPLESS_MAIN(TestNodeWatchdogWeek)
#include "tst_nodewatchdogweek.moc"
