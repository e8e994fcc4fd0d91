#pragma once

#include "media/audio/nodewatchdog.h"

#include <QByteArray>
#include <QString>

/// A watchdog's state in words, for the message of a failed comparison.
inline QByteArray described(const media::audio::NodeWatchdog::State& state)
{
    return QStringLiteral("rebuilds %1, last rebuild %2, gave up %3 at %4, retry %5, counter %6 at "
                          "%7, awaiting %8, lockout %9, evaluated %10, jumped %11")
        .arg(state.rebuildCount)
        .arg(state.lastRebuildAt)
        .arg(state.gaveUp)
        .arg(state.gaveUpAt)
        .arg(state.lastRetryAt)
        .arg(state.lastCounter)
        .arg(state.lastProgressAt)
        .arg(state.awaitingActiveSince)
        .arg(state.lockoutUntil)
        .arg(state.lastEvalAt)
        .arg(state.clockJumped)
        .toUtf8();
}
