#pragma once

#include <QElapsedTimer>
#include <QtGlobal>

/// How long the calling thread works and waits, less the time in which it was ready
/// to go on while others had the processor. A bound on what the program makes somebody
/// wait for is held to this, so that a busy machine cannot spoil it.
///
/// Belongs to the thread that made it.
class Stopwatch {
public:
    Stopwatch();

    void restart();

    [[nodiscard]] qint64 elapsedMs() const;

private:
    QElapsedTimer m_clock;
    qint64 m_queuedNs = 0;
};
