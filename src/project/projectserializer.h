#pragma once

#include "project/memorybudget.h"
#include "project/velaproject.h"

#include <QDataStream>

/// The payload of a project file: the project's saved fields and every sample
/// of every track, bit for bit. docs/file-format.md describes the bytes.
///
/// Both functions work on any thread as long as nobody else uses the project
/// meanwhile, and block for as long as the stream's device does. A null handle
/// writes and reads nothing. `stream` keeps the defaults it was made with.

/// More samples than this in one channel cannot be written: the byte count of
/// a channel is computed in 32-bit signed arithmetic.
constexpr qint64 kMaxChannelSamples = (qint64{1} << 29) - 1;

/// Writes the payload without copying the samples. A channel above
/// `kMaxChannelSamples` sets the stream's status to WriteFailed and ends the
/// writing there.
QDataStream& writeProject(QDataStream& stream, const ProjectHandle& project);

/// Reads a payload into `project`, whose tracks it replaces. Fields past the end
/// of the data read as zero or empty. Counts and lengths are not believed:
/// memory is taken as the data arrive, tracks and samples end where the data do.
///
/// Names, samples, and `kTrackBytes` and `kChannelBytes` for every track and
/// channel however empty are taken from `budget` first; when that is exceeded the
/// stream's status becomes ReadCorruptData and the reading ends there.
QDataStream& readProject(QDataStream& stream, const ProjectHandle& project, MemoryBudget& budget);

/// The same for data that are known to be harmless: without a limit.
QDataStream& readProject(QDataStream& stream, const ProjectHandle& project);

/// The memory, in bytes, that a track and a channel take apart from their name and
/// samples: a track roughly what a strip of the window does, of which each gets one; a
/// channel at most, with the list it stands in at its most spacious.
constexpr qint64 kTrackBytes = qint64{256} * 1024;
constexpr qint64 kChannelBytes = 128;

/// The number of bytes `writeProject` writes for `project`.
[[nodiscard]] qint64 payloadSize(const VelaProject& project);
