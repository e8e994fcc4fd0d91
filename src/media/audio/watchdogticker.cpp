#include "media/audio/watchdogticker.h"

#include <QDebug>
#include <QThread>

#include <algorithm>
#include <optional>
#include <utility>

namespace media::audio {

WatchdogTicker::WatchdogTicker(const QString& name, Ms period, Callbacks callbacks)
    : WatchdogTicker(
          name, period, std::move(callbacks),
          {[] { return Clock::now(); }, [this](Ms duration) { sleepInRealTime(duration); }})
{
}

WatchdogTicker::WatchdogTicker(QString name, Ms period, Callbacks callbacks, TimeSource time)
    : m_name(std::move(name))
    , m_period(period)
    , m_latenessThreshold(std::max(kPeriodsPerLateTick * period, kLeastLatenessThreshold))
    , m_callbacks(std::move(callbacks))
    , m_time(std::move(time))
{
}

WatchdogTicker::~WatchdogTicker()
{
    stop();
}

void WatchdogTicker::setLatenessThreshold(Ms threshold)
{
    m_latenessThreshold = threshold;
}

void WatchdogTicker::start()
{
    if (m_thread)
        return;
    m_running = true;
    m_thread.reset(QThread::create([this] { run(); }));
    m_thread->setObjectName(m_name);
    m_thread->start();
}

void WatchdogTicker::stop()
{
    {
        const std::lock_guard lock(m_sleepLock);
        m_running = false;
    }
    m_stopped.notify_all();
    if (!m_thread)
        return;
    if (QThread::currentThread() == m_thread.get()) {
        qWarning() << "WatchdogTicker:" << m_name << "cannot be joined from its own thread";
        return;
    }
    m_thread->wait();
    m_thread.reset();
}

void WatchdogTicker::run()
{
    std::optional<Clock::time_point> previousStart;
    while (m_running) {
        const Clock::time_point cycleStart = m_time.now();
        if (previousStart)
            noteLateness(std::chrono::floor<Ms>(cycleStart - *previousStart));
        previousStart = cycleStart;
        m_callbacks.tick();
        ++m_ticks;
        sleepUntil(later(m_time.now(), m_period));
    }
}

void WatchdogTicker::noteLateness(Ms sincePreviousStart)
{
    const Ms lateness = std::max(sincePreviousStart - m_period, Ms{0});
    m_lastLatenessMs = lateness.count();
    m_largestLatenessMs = std::max(m_largestLatenessMs.load(), lateness.count());
    if (lateness < m_latenessThreshold)
        return;
    ++m_lateTicks;
    if (m_callbacks.late)
        m_callbacks.late(lateness);
}

void WatchdogTicker::sleepUntil(Clock::time_point deadline)
{
    while (m_running) {
        const Ms duration = nextSleep(m_time.now(), deadline);
        if (duration == Ms{0})
            return;
        m_time.sleep(duration);
    }
}

void WatchdogTicker::sleepInRealTime(Ms duration)
{
    std::unique_lock lock(m_sleepLock);
    m_stopped.wait_for(lock, duration, [this] { return !m_running; });
}

WatchdogTicker::Clock::time_point WatchdogTicker::later(Clock::time_point time, Ms period)
{
    const auto left = std::chrono::floor<Ms>(Clock::time_point::max() - time);
    return period < left ? time + period : Clock::time_point::max();
}

WatchdogTicker::Ms WatchdogTicker::nextSleep(Clock::time_point now, Clock::time_point deadline)
{
    if (now >= deadline)
        return Ms{0};
    return std::min(std::chrono::ceil<Ms>(deadline - now), kLongestSleep);
}

} // namespace media::audio
