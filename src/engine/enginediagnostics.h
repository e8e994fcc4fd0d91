#pragma once

#include <QElapsedTimer>
#include <QString>

/// What the owner puts into a diagnostic line; EngineDiagnostics adds what it measures.
struct DiagnosticFigures {
    bool playing = false;
    bool recording = false;
    quint64 underruns = 0;
    quint64 outputDropped = 0;
    quint64 headroomSamples = 0;
    quint64 inputDropped = 0;
    quint64 backlogSamples = 0;
};

/// Measures how evenly the pumps run and words the once-a-second diagnostic
/// line. GUI thread. Blocks are counted always; the owner notes ticks and reports
/// only while diagnostics are switched on.
class EngineDiagnostics {
public:
    /// Starts a fresh measurement: no gap, no blocks, clock stopped.
    void reset();

    /// Called at the start of every pump tick; keeps the longest gap between two.
    void noteTick();

    void countBlock() { ++m_blocks; }

    /// Logs one warning-level line and zeroes gap and blocks for the next second.
    void report(const DiagnosticFigures& figures);

private:
    QElapsedTimer m_loopGapClock;
    double m_maxLoopGapMs = 0.0;
    qint64 m_blocks = 0;
};
