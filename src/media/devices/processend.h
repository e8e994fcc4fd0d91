#pragma once

namespace media::devices {

/// For threads that hang in the toolkit and hold what its tear-down wants: once
/// main() has returned and `stuck` says yes, the process ends with main's
/// status, its output flushed, but without that tear-down, which would wait for
/// ever. `stuck` is asked at exit, on the exiting thread. Any thread; the rules
/// add up.
void endProcessWithoutTearDownIf(bool (*stuck)());

} // namespace media::devices
