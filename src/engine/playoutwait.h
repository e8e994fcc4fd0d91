#pragma once

#include <QtGlobal>

#include <optional>

/// Decides when playback that has run off its end may be stopped: once the
/// device has played everything out, or has taken nothing for so long that it
/// never will. Pure; times in ms of any monotonic clock.
class PlayoutWait {
public:
    /// How long a device may take nothing before it is given up; the time after
    /// which the nodes' watchdogs call a stream stalled.
    static constexpr qint64 kStallMs = 3000;

    /// Idle or waiting → idle.
    void reset() { m_lastProgressMs.reset(); }

    /// Idle → waiting at the first call. True when the wait is over.
    /// `samplesDelivered` counts what the device has taken so far.
    [[nodiscard]] bool isOver(bool playedOut, quint64 samplesDelivered, qint64 nowMs);

private:
    std::optional<qint64> m_lastProgressMs;
    quint64 m_lastDelivered = 0;
};
