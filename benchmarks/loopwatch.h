#pragma once

#include <QApplication>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <vector>

/// How evenly the event loop turns: the time from one run of a 1 ms timer to the
/// next, which is what everything that happened in between has taken, the wait
/// for a processor included. GUI thread only.
class LoopWatch : public QObject {
public:
    LoopWatch();

    /// Forgets what was seen and watches from now on.
    void begin();
    void end();

    /// Longest time between two turns, ms of the wall's clock.
    [[nodiscard]] double longestGapMs() const { return m_longestGapMs; }

    /// The most that this thread itself worked between two turns, ms of a core:
    /// what the gap would be on a machine with nothing else to do.
    [[nodiscard]] double longestWorkMs() const { return m_longestWorkMs; }

private:
    void tick();

    QTimer m_timer;
    QElapsedTimer m_clock;
    double m_workAtTickMs = 0;
    double m_longestGapMs = 0;
    double m_longestWorkMs = 0;
};

/// An application that notes how long each repaint of a window takes, from the
/// order to paint until every widget has painted and the picture is on its way.
class PaintWatch : public QApplication {
public:
    PaintWatch(int& argc, char** argv);

    bool notify(QObject* receiver, QEvent* event) override;

    void begin() { m_paintsMs.clear(); }

    /// Duration of each repaint since `begin`, ms of the wall's clock.
    [[nodiscard]] const std::vector<double>& paintsMs() const { return m_paintsMs; }

private:
    std::vector<double> m_paintsMs;
};

/// ms of a core that the calling thread has used since it began.
double threadWorkMs();

/// ms of a core that all threads of this process have used since it began.
double processWorkMs();
