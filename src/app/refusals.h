#pragma once

#include <QString>

/// Why the engine did not begin, and what to do: for the user, in their language.
namespace refusals {

/// `hasOutput` when the system has any; then it is the rate that none of them takes.
[[nodiscard]] QString ofPlaying(bool hasOutput, int rateHz);

/// The same of recording, which needs an output as well.
[[nodiscard]] QString ofRecording(bool hasInput, bool hasOutput, int rateHz);

} // namespace refusals
