#include "media/audio/nodewatchdog.h"

#include <algorithm>

namespace media::audio {

namespace {

bool isActionable(QAudio::Error error)
{
    return error == QAudio::OpenError || error == QAudio::IOError || error == QAudio::FatalError;
}

} // namespace

NodeWatchdog::NodeWatchdog(const State& state)
    : m_state(state)
{
}

void NodeWatchdog::markStartIntent(qint64 nowMs)
{
    if (m_state.awaitingActiveSince == kUnset)
        m_state.awaitingActiveSince = nowMs;
}

void NodeWatchdog::markStopped()
{
    forgetFaults();
    m_state.lockoutUntil = kUnset;
}

bool NodeWatchdog::evaluate(bool active, qint64 counter, qint64 nowMs)
{
    m_state.clockJumped = false;
    if (isSuspendGap(nowMs)) {
        restartAfterSuspend(nowMs);
        return false;
    }
    m_state.lastEvalAt = nowMs;
    if (m_state.gaveUp)
        return evaluateGivenUp(nowMs);
    if (isLockedOut(nowMs)) {
        if (active)
            noteProgress(counter, nowMs);
        return false;
    }
    return active ? evaluateActive(counter, nowMs) : evaluateInactive(nowMs);
}

bool NodeWatchdog::isSuspendGap(qint64 nowMs) const
{
    const qint64 gapMs =
        std::max(kStallsPerSuspendGap * qint64{m_state.stallMs}, kLeastSuspendGapMs);
    return m_state.lastEvalAt != kUnset && m_state.tickIntervalMs > 0 &&
           nowMs - m_state.lastEvalAt > gapMs;
}

void NodeWatchdog::restartAfterSuspend(qint64 nowMs)
{
    m_state.clockJumped = true;
    forgetProgress();
    if (m_state.awaitingActiveSince != kUnset)
        m_state.awaitingActiveSince = nowMs;
    m_state.lastEvalAt = nowMs;
}

bool NodeWatchdog::evaluateGivenUp(qint64 nowMs)
{
    if (!isRetryDue(nowMs))
        return false;
    m_state.lastRetryAt = nowMs;
    forgetProgress();
    m_state.awaitingActiveSince = nowMs;
    return countRebuild(nowMs);
}

bool NodeWatchdog::evaluateActive(qint64 counter, qint64 nowMs)
{
    m_state.awaitingActiveSince = kUnset;
    if (noteProgress(counter, nowMs))
        return false;
    if (nowMs - m_state.lastProgressAt < m_state.stallMs || isTooSoonToRebuild(nowMs))
        return false;
    if (m_state.rebuildCount >= m_state.maxRebuilds) {
        giveUp(nowMs);
        return false;
    }
    forgetProgress();
    return countRebuild(nowMs);
}

bool NodeWatchdog::evaluateInactive(qint64 nowMs)
{
    forgetProgress();
    if (m_state.awaitingActiveSince == kUnset ||
        nowMs - m_state.awaitingActiveSince < m_state.stallMs || isTooSoonToRebuild(nowMs))
        return false;
    if (m_state.rebuildCount >= m_state.maxRebuilds) {
        giveUp(nowMs);
        return false;
    }
    m_state.awaitingActiveSince = nowMs;
    return countRebuild(nowMs);
}

bool NodeWatchdog::onError(QAudio::Error error, qint64 nowMs)
{
    if (m_state.gaveUp) {
        if (!isRetryDue(nowMs) || !isActionable(error))
            return false;
        m_state.lastRetryAt = nowMs;
        return countRebuild(nowMs);
    }
    if (isLockedOut(nowMs) || !isActionable(error) || isTooSoonToRebuild(nowMs))
        return false;
    if (m_state.rebuildCount >= m_state.maxRebuilds) {
        giveUp(nowMs);
        return false;
    }
    return countRebuild(nowMs);
}

bool NodeWatchdog::isRetryDue(qint64 nowMs) const
{
    return m_state.postGiveUpRetryMs >= 1 && m_state.lastRetryAt != kUnset &&
           nowMs - m_state.lastRetryAt >= m_state.postGiveUpRetryMs;
}

bool NodeWatchdog::isLockedOut(qint64 nowMs)
{
    if (m_state.lockoutUntil > 0 && nowMs < m_state.lockoutUntil)
        return true;
    m_state.lockoutUntil = kUnset;
    return false;
}

bool NodeWatchdog::isTooSoonToRebuild(qint64 nowMs) const
{
    return m_state.lastRebuildAt != kUnset &&
           nowMs - m_state.lastRebuildAt < m_state.minRebuildIntervalMs;
}

bool NodeWatchdog::noteProgress(qint64 counter, qint64 nowMs)
{
    if (m_state.lastCounter != kUnset && counter <= m_state.lastCounter)
        return false;
    m_state.lastCounter = counter;
    m_state.lastProgressAt = nowMs;
    return true;
}

void NodeWatchdog::forgetProgress()
{
    m_state.lastCounter = kUnset;
    m_state.lastProgressAt = kUnset;
}

void NodeWatchdog::giveUp(qint64 nowMs)
{
    m_state.lastRetryAt = nowMs;
    m_state.gaveUpAt = nowMs;
    m_state.gaveUp = true;
}

bool NodeWatchdog::countRebuild(qint64 nowMs)
{
    m_state.lastRebuildAt = nowMs;
    ++m_state.rebuildCount;
    return true;
}

WatchdogTick NodeWatchdog::tick(bool active, qint64 counter, qint64 nowMs)
{
    WatchdogTick found;
    found.rebuild = evaluate(active, counter, nowMs);
    found.gaveUp = m_state.gaveUp;
    found.rebuildCount = m_state.rebuildCount;
    found.stallMs = m_state.stallMs;

    if (m_state.clockJumped)
        m_counterAtGiveUp = kUnset;
    const bool frozen = m_state.lastProgressAt != kUnset && nowMs - m_state.lastProgressAt >= 1;
    m_frozenTicks = frozen ? m_frozenTicks + 1 : 0;

    found.health = judgeHealth(nowMs);
    if (!found.gaveUp) {
        m_counterAtGiveUp = kUnset;
    } else if (m_counterAtGiveUp == kUnset) {
        m_counterAtGiveUp = counter;
    } else if (active && counter > m_counterAtGiveUp) {
        found.recovery = WatchdogTick::Recovery{m_counterAtGiveUp, counter};
        resetAfterRecovery(nowMs);
    }
    return found;
}

WatchdogTick::Health NodeWatchdog::judgeHealth(qint64 nowMs)
{
    const bool due = m_state.gaveUp && m_state.gaveUpAt != kUnset &&
                     nowMs - m_state.gaveUpAt >= m_state.unhealthyAfterMs;
    if (due == m_unhealthySignalled)
        return WatchdogTick::Health::Unchanged;
    m_unhealthySignalled = due;
    return due ? WatchdogTick::Health::BecameUnhealthy : WatchdogTick::Health::BecameHealthy;
}

void NodeWatchdog::resetAfterRecovery(qint64 nowMs)
{
    forgetFaults();
    m_state.lockoutUntil = nowMs + kPostRecoveryLockoutMs;
}

void NodeWatchdog::forgetFaults()
{
    m_counterAtGiveUp = kUnset;
    m_state.rebuildCount = 0;
    m_state.gaveUp = false;
    m_state.lastRebuildAt = kUnset;
    forgetProgress();
    m_state.awaitingActiveSince = kUnset;
    m_state.lastRetryAt = kUnset;
    m_state.gaveUpAt = kUnset;
    m_state.lastEvalAt = kUnset;
    m_state.clockJumped = false;
}

} // namespace media::audio
