#pragma once

#include <chrono>
#include <functional>

namespace media::audio {

/// How long a device thread waits for the server's answer to the first touch.
inline constexpr std::chrono::milliseconds kStreamConnectionBound{500};

/// The toolkit's connection for sound streams belongs to the thread that first
/// starts a stream, and is made anew after a crash of the server only as long as
/// that thread runs its event loop. Device threads come and go, so the first
/// touch is made on a thread of its own ("audio-streams") that stays until the
/// application ends.
///
/// `touch` has to make the toolkit connect; only the first caller's is used. Any
/// thread; waits up to `bound`; false when the server has not answered so far,
/// in which case starting a stream would wait for it without any bound.
[[nodiscard]] bool keepStreamConnection(const std::function<void()>& touch,
                                        std::chrono::milliseconds bound);

} // namespace media::audio
