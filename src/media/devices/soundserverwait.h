#pragma once

#include <functional>

namespace media::devices {

/// Returns true once a sound server answers, false as soon as `giveUp` says so,
/// which is asked several times a second. Blocks the calling thread in between;
/// any thread.
///
/// This toolkit connects to the sound server once in the life of the process: if
/// there is none at that moment it never tries again. So it is not asked before
/// a server is there. Later versions find their way by themselves, also to a
/// machine's other sound systems; there this returns true at once.
[[nodiscard]] bool waitForSoundServer(const std::function<bool()>& giveUp);

} // namespace media::devices
