#include "media/audio/nodeworker.h"

#include <QDebug>

// The part of a worker that judges whether its device is alive.

namespace media::audio {

void NodeWorker::tick()
{
    // A worker that was left behind in a hanging call must stay silent.
    if (!m_stream->attached)
        return;
    const qint64 nowMs = m_stream->nowMs();
    reportAtTick(nowMs);
    const bool active = m_lastState == QAudio::ActiveState;
    const auto counter = static_cast<qint64>(m_stream->samplesMoved.load());
    const WatchdogTick found =
        withWatchdog([=](NodeWatchdog& dog) { return dog.tick(active, counter, nowMs); });

    if (found.health == WatchdogTick::Health::BecameHealthy)
        emit audioHealthy();
    if (found.health == WatchdogTick::Health::BecameUnhealthy)
        emit audioUnhealthy(QStringLiteral("POST_GIVEUP_TIMEOUT"));
    if (found.gaveUp)
        emit watchdogGaveUp(m_run);
    if (found.recovery) {
        // These are samples; log readers know the line with "bytes".
        qInfo("%s: stream recovered on its own after watchdog gave up (bytes %lld -> %lld). "
              "Resetting watchdog with 30 s post-recovery lockout.",
              m_words.node, found.recovery->counterAtGiveUp, found.recovery->counterNow);
        emit deviceRebuilt(0);
    }
    if (!found.rebuild)
        return;
    if (found.gaveUp) {
        qInfo("%s: post-give-up retry — attempting %s rebuild (cumulative rebuild #%d)",
              m_words.node, m_words.backend, found.rebuildCount);
    } else {
        qWarning("%s: stream stalled silently (no Qt error, sample counter frozen ≥ %dms) — "
                 "rebuilding %s (rebuild #%d)",
                 m_words.node, found.stallMs, m_words.backend, found.rebuildCount);
    }
    queueRebuild();
}

void NodeWorker::onStateChanged(QAudio::State reported)
{
    if (!m_stream->attached)
        return;
    // The toolkit may report from a thread of its own, and then this comes late:
    // what counts is the state as it is now.
    const QAudio::State state = hasDevice() ? deviceState() : reported;
    const QAudio::Error error = hasDevice() ? deviceError() : QAudio::NoError;
    const int previous = m_lastState.exchange(state);
    qCDebug(m_category) << m_words.node << "in" << state << "with" << error << "in run" << run();
    emit deviceStateChanged(state, error);
    const bool dropped = previous == QAudio::ActiveState && state != QAudio::ActiveState;
    if (dropped && !m_rebuildInProgress)
        handleDrop(state, error);
    else
        handleError(error);
}

void NodeWorker::handleDrop(QAudio::State state, QAudio::Error error)
{
    withWatchdog([this](NodeWatchdog& dog) { dog.markStartIntent(m_stream->nowMs()); });
    if (state == QAudio::IdleState)
        return;
    qWarning("%s: state dropped from ActiveState to %d (Qt err=%d) without stop() — assuming "
             "device failure; re-marking start intent + queuing %s probe.",
             m_words.node, static_cast<int>(state), static_cast<int>(error), m_words.rebuild);
    queueRebuild();
}

void NodeWorker::handleError(QAudio::Error error)
{
    const qint64 nowMs = m_stream->nowMs();
    bool gaveUp = false;
    const bool rebuildAsked = withWatchdog([&](NodeWatchdog& dog) {
        const bool asked = dog.onError(error, nowMs);
        gaveUp = dog.state().gaveUp;
        return asked;
    });
    if (gaveUp)
        emit watchdogGaveUp(m_run);
    if (rebuildAsked)
        queueRebuild();
}

} // namespace media::audio
