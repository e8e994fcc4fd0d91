#pragma once

#include "project/velaproject.h"

/// Where playback starts, wraps and ends: pure rules on a project's positions,
/// all in frames. GUI thread.
namespace transport {

/// Sets up loop range and cursor for a play command. With `loop`, the range is
/// the selection, or from the cursor to the project's end without one; it is
/// played round if it is not empty, and the cursor moves to its start. Without,
/// the range is cleared and the cursor moves to the selection's smaller end.
void prepareToPlay(VelaProject& project, bool loop);

/// True when the loop flag is set and the loop range is not empty.
[[nodiscard]] bool loops(const VelaProject& project);

/// The frame at which playback ends by itself: the project's length, or the
/// selection's far end if that comes first and playback does not loop.
[[nodiscard]] qint64 playbackEnd(const VelaProject& project);

/// True when there is nothing left to mix. Asked at block starts only, so the
/// last block may run past the end.
[[nodiscard]] bool isAtEnd(const VelaProject& project);

/// Moves the play position on by a whole block, then wraps it into the loop
/// range with the remainder carried over: the block before the wrap sounds past
/// the loop's end, and the next one starts as much later.
void advance(VelaProject& project, qint64 blockFrames);

} // namespace transport
