#include "loopwatch.h"

#include <QEvent>
#include <QWidget>

#include <algorithm>
#include <chrono>
#include <ctime>

namespace {

constexpr std::chrono::milliseconds kTurn{1};
constexpr std::size_t kPaintsToExpect = 1 << 14;

double clockMs(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

bool isWindow(const QObject* object)
{
    return object->isWidgetType() && static_cast<const QWidget*>(object)->isWindow();
}

} // namespace

double threadWorkMs()
{
    return clockMs(CLOCK_THREAD_CPUTIME_ID);
}

double processWorkMs()
{
    return clockMs(CLOCK_PROCESS_CPUTIME_ID);
}

LoopWatch::LoopWatch()
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setInterval(kTurn);
    connect(&m_timer, &QTimer::timeout, this, &LoopWatch::tick);
}

void LoopWatch::begin()
{
    m_longestGapMs = 0;
    m_longestWorkMs = 0;
    m_workAtTickMs = threadWorkMs();
    m_clock.start();
    m_timer.start();
}

void LoopWatch::end()
{
    tick();
    m_timer.stop();
}

void LoopWatch::tick()
{
    const double gapMs = static_cast<double>(m_clock.nsecsElapsed()) / 1e6;
    const double workMs = threadWorkMs();
    m_clock.start();
    m_longestGapMs = std::max(m_longestGapMs, gapMs);
    m_longestWorkMs = std::max(m_longestWorkMs, workMs - m_workAtTickMs);
    m_workAtTickMs = workMs;
}

PaintWatch::PaintWatch(int& argc, char** argv)
    : QApplication(argc, argv)
{
    m_paintsMs.reserve(kPaintsToExpect);
}

bool PaintWatch::notify(QObject* receiver, QEvent* event)
{
    // Other threads' events come this way too, but never one of this type.
    if (event->type() != QEvent::UpdateRequest || !isWindow(receiver))
        return QApplication::notify(receiver, event);
    QElapsedTimer clock;
    clock.start();
    const bool taken = QApplication::notify(receiver, event);
    m_paintsMs.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
    return taken;
}
