#include "engine/enginediagnostics.h"

#include <QDebug>

#include <algorithm>

void EngineDiagnostics::reset()
{
    m_loopGapClock.invalidate();
    m_maxLoopGapMs = 0.0;
    m_blocks = 0;
}

void EngineDiagnostics::noteTick()
{
    if (!m_loopGapClock.isValid()) {
        m_loopGapClock.start();
        return;
    }
    const double gapMs = static_cast<double>(m_loopGapClock.nsecsElapsed()) / 1e6;
    m_loopGapClock.restart();
    m_maxLoopGapMs = std::max(m_maxLoopGapMs, gapMs);
}

void EngineDiagnostics::report(const DiagnosticFigures& figures)
{
    qWarning().nospace() << "[VELA-DIAG] play=" << figures.playing << " rec=" << figures.recording
                         << " | OUT underrun=" << figures.underruns
                         << " drop=" << figures.outputDropped
                         << " headroomSamp=" << figures.headroomSamples << " blocks/s=" << m_blocks
                         << " | IN drop=" << figures.inputDropped
                         << " backlogSamp=" << figures.backlogSamples
                         << " | maxLoopGapMs=" << QString::number(m_maxLoopGapMs, 'f', 1);
    m_maxLoopGapMs = 0.0;
    m_blocks = 0;
}
