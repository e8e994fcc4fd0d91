#pragma once

#include <QAudio>
#include <QtGlobal>

#include <optional>

namespace media::audio {

/// What one watchdog tick found. The node carries it out in the order of the
/// members, after it has let go of the watchdog mutex.
struct WatchdogTick {
    enum class Health { Unchanged, BecameUnhealthy, BecameHealthy };

    /// The stream moved again by itself after the watchdog had given up; the
    /// counter (samples) as noted then and as it is now.
    struct Recovery {
        qint64 counterAtGiveUp = -1;
        qint64 counterNow = -1;
    };

    Health health = Health::Unchanged; ///< audioUnhealthy / audioHealthy
    bool gaveUp = false;               ///< watchdogGaveUp, and a rebuild is a retry
    std::optional<Recovery> recovery;  ///< log it, then deviceRebuilt(0)
    bool rebuild = false;              ///< log it, then ask for a rebuild, queued
    int rebuildCount = 0;              ///< for the log line of the rebuild
    int stallMs = 0;                   ///< for the log line of the rebuild
};

/// The judgement of a device node's watchdog: is the stream alive, and is a
/// rebuild due? Pure bookkeeping on times that are passed in (ms of the node's
/// monotonic clock, never decreasing) and on a counter of samples that have
/// passed through the device.
///
/// Watching → (20 rebuilds were not enough) GaveUp → (the counter moves while
/// active) Locked out for 30 s → Watching. While given up a rebuild is tried
/// once a minute, and after five minutes the stream is called unhealthy. A stop
/// leads from each of these back to Watching.
///
/// Not thread-safe: the node guards every call with its watchdog mutex. Never
/// blocks, never allocates, never logs, emits nothing.
class NodeWatchdog {
public:
    static constexpr qint64 kUnset = -1;
    static constexpr qint64 kPostRecoveryLockoutMs = 30000;
    static constexpr int kStallsPerSuspendGap = 5;
    static constexpr qint64 kLeastSuspendGapMs = 10000;

    /// All times in ms of the node's clock.
    struct State {
        qint32 minRebuildIntervalMs = 500;
        qint32 maxRebuilds = 20;
        qint32 rebuildCount = 0;
        qint64 lastRebuildAt = kUnset;
        bool gaveUp = false;
        qint32 stallMs = 3000; ///< counter frozen this long while active = stall
        qint64 lastCounter = kUnset;
        qint64 lastProgressAt = kUnset;
        qint64 awaitingActiveSince = kUnset; ///< should be active, but is not
        qint64 lockoutUntil = kUnset;
        qint32 postGiveUpRetryMs = 60000; ///< below 1: never retried
        qint64 lastRetryAt = kUnset;
        qint64 gaveUpAt = kUnset;
        qint32 unhealthyAfterMs = 300000;
        qint32 tickIntervalMs = 250; ///< below 1: a gap is never taken for a suspend
        qint64 lastEvalAt = kUnset;
        bool clockJumped = false; ///< the last evaluation came after a gap

        friend bool operator==(const State&, const State&) = default;
    };

    NodeWatchdog() = default;

    /// Starts from another state than the default one.
    explicit NodeWatchdog(const State& state);

    [[nodiscard]] const State& state() const { return m_state; }

    /// The device ought to become active; an earlier intent keeps its time.
    void markStartIntent(qint64 nowMs);

    /// Any → Watching: the device was stopped on purpose. What became of this
    /// stream says nothing about the next one, so all of it is forgotten, but for
    /// its having been called unhealthy: the next tick takes that back.
    void markStopped();

    /// Judges the stream; true asks for a rebuild. `active`: the device is in
    /// ActiveState. `counter`: samples passed so far.
    [[nodiscard]] bool evaluate(bool active, qint64 counter, qint64 nowMs);

    /// Judges an error that the device reported; true asks for a rebuild.
    [[nodiscard]] bool onError(QAudio::Error error, qint64 nowMs);

    /// One periodic look: `evaluate` and everything that follows from it.
    [[nodiscard]] WatchdogTick tick(bool active, qint64 counter, qint64 nowMs);

    /// Ticks in a row at which the counter had not grown.
    [[nodiscard]] qint32 frozenTicks() const { return m_frozenTicks; }

private:
    bool evaluateGivenUp(qint64 nowMs);
    bool evaluateActive(qint64 counter, qint64 nowMs);
    bool evaluateInactive(qint64 nowMs);
    [[nodiscard]] bool isSuspendGap(qint64 nowMs) const;
    void restartAfterSuspend(qint64 nowMs);
    [[nodiscard]] bool isRetryDue(qint64 nowMs) const;
    bool isLockedOut(qint64 nowMs);
    [[nodiscard]] bool isTooSoonToRebuild(qint64 nowMs) const;
    bool noteProgress(qint64 counter, qint64 nowMs);
    void forgetProgress();
    void giveUp(qint64 nowMs);
    bool countRebuild(qint64 nowMs);
    WatchdogTick::Health judgeHealth(qint64 nowMs);
    void resetAfterRecovery(qint64 nowMs);
    void forgetFaults();

    State m_state;
    qint32 m_frozenTicks = 0;
    qint64 m_counterAtGiveUp = kUnset;
    bool m_unhealthySignalled = false;
};

} // namespace media::audio
