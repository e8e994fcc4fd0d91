#pragma once

#include <QString>
#include <QtGlobal>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class QThread;

namespace media::audio {

/// Calls a function again and again on a thread of its own, and says how late
/// it was. The period runs from the end of one call to the start of the next.
///
/// `start` and `stop` belong to the owner's thread; the counts may be read from
/// any thread. The callbacks run on the ticker's thread: whatever they touch
/// must outlive the ticker, or `stop` must have returned. Not copyable.
class WatchdogTicker {
public:
    using Clock = std::chrono::steady_clock;
    using Ms = std::chrono::milliseconds;

    /// A single sleep is never longer.
    static constexpr Ms kLongestSleep = std::chrono::hours{24};
    static constexpr int kPeriodsPerLateTick = 5;
    static constexpr Ms kLeastLatenessThreshold{200};

    struct Callbacks {
        std::function<void()> tick;
        std::function<void(Ms lateness)> late{}; ///< optional
    };

    /// The time a ticker lives in. `sleep` waits that long, or shorter when the
    /// ticker stops.
    struct TimeSource {
        std::function<Clock::time_point()> now;
        std::function<void(Ms)> sleep;
    };

    /// Real time.
    WatchdogTicker(const QString& name, Ms period, Callbacks callbacks);

    /// A time of the caller's; both functions are called on the ticker's thread.
    WatchdogTicker(QString name, Ms period, Callbacks callbacks, TimeSource time);

    /// Stops.
    ~WatchdogTicker();
    Q_DISABLE_COPY_MOVE(WatchdogTicker)

    /// A cycle that starts this late or later counts as late. Before `start`.
    void setLatenessThreshold(Ms threshold);

    [[nodiscard]] Ms latenessThreshold() const { return m_latenessThreshold; }

    /// Starts the thread, whose first call comes at once; nothing if it runs.
    void start();

    /// Wakes the thread out of its sleep and waits for it: as long as a running
    /// callback needs and no longer. From the ticker's own thread that wait
    /// would never end: there it warns and only lets the loop run out.
    void stop();

    [[nodiscard]] bool isRunning() const { return m_running.load(); }

    [[nodiscard]] quint64 tickCount() const { return m_ticks.load(); }

    [[nodiscard]] quint64 lateTickCount() const { return m_lateTicks.load(); }

    [[nodiscard]] Ms lastLateness() const { return Ms{m_lastLatenessMs.load()}; }

    [[nodiscard]] Ms largestLateness() const { return Ms{m_largestLatenessMs.load()}; }

    /// `period` after `time`, or the end of time where that is beyond it.
    static Clock::time_point later(Clock::time_point time, Ms period);

    /// The next sleep on the way to `deadline`: whole ms, rounded up, at most
    /// kLongestSleep, and 0 when it has come.
    static Ms nextSleep(Clock::time_point now, Clock::time_point deadline);

private:
    void run();
    void noteLateness(Ms sincePreviousStart);
    void sleepUntil(Clock::time_point deadline);
    void sleepInRealTime(Ms duration);

    const QString m_name;
    const Ms m_period;
    Ms m_latenessThreshold;
    const Callbacks m_callbacks;
    const TimeSource m_time;

    std::unique_ptr<QThread> m_thread;
    // The lock orders the flag's clearing with the sleeper's last look at it.
    std::mutex m_sleepLock;
    std::condition_variable m_stopped;
    std::atomic<bool> m_running = false;

    std::atomic<quint64> m_ticks = 0;
    std::atomic<quint64> m_lateTicks = 0;
    std::atomic<Ms::rep> m_lastLatenessMs = 0;
    std::atomic<Ms::rep> m_largestLatenessMs = 0;
};

} // namespace media::audio
