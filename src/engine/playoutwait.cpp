#include "engine/playoutwait.h"

bool PlayoutWait::isOver(bool playedOut, quint64 samplesDelivered, qint64 nowMs)
{
    if (playedOut)
        return true;
    if (!m_lastProgressMs || samplesDelivered != m_lastDelivered) {
        m_lastProgressMs = nowMs;
        m_lastDelivered = samplesDelivered;
    }
    return nowMs - *m_lastProgressMs >= kStallMs;
}
