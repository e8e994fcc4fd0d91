#pragma once

#include <QString>

#include <chrono>

/// How long a lock file may be empty before its maker counts as dead. Between
/// making it and writing its name into it a living process needs microseconds,
/// but may have to wait for a processor.
inline constexpr std::chrono::milliseconds kEmptyLockGrace{500};

/// Removes the lock beside the settings file at `path` if a process that was
/// killed while taking it has left it empty; the toolkit would otherwise block
/// for half a minute before it dares to. Blocks for at most kEmptyLockGrace, and
/// only when there is an empty lock. A lock that cannot be removed is left alone.
void removeAbandonedLock(const QString& path);
