#pragma once

#include <QString>

/// Why something does not go, and what to do: for the user, in their language.
namespace refusals {

/// `hasOutput` when the system has any; then it is the rate that none of them takes.
[[nodiscard]] QString ofPlaying(bool hasOutput, int rateHz);

/// The same of recording, which needs an output as well.
[[nodiscard]] QString ofRecording(bool hasInput, bool hasOutput, int rateHz);

/// Of saving a project with a track of `frames` that has just been opened from a file of
/// that name; empty if it can be saved.
[[nodiscard]] QString ofSaving(const QString& fileName, qint64 frames);

} // namespace refusals
