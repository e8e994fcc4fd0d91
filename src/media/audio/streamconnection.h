#pragma once

#include <QtGlobal>

#include <chrono>
#include <functional>

namespace media::audio {

/// Permission to start a sound stream, held while the toolkit's start call runs.
///
/// The toolkit's connection for streams belongs to the thread that first starts
/// one, and is made anew after a crash of the server only as long as that thread
/// runs its event loop. Device threads come and go, so the first touch is made
/// on a thread of its own, "audio-streams", that stays until the application
/// ends.
///
/// The toolkit drops the old connection when it makes a new one; a thread that is
/// then waiting inside a start call waits for ever. So the thread stands still while
/// permissions are out. A start that never returns costs the way back after a crash
/// of the server.
///
/// Made and destroyed on one device thread.
class StreamStart {
public:
    /// How long a device thread waits for permission; shorter than a node that has
    /// not waited before waits for the device thread.
    static constexpr std::chrono::milliseconds kBound{500};

    /// `touch` has to make the toolkit connect without opening a stream; it runs
    /// on "audio-streams", once in the life of the process. Waits up to kBound.
    explicit StreamStart(const std::function<void()>& touch);
    ~StreamStart();
    Q_DISABLE_COPY_MOVE(StreamStart)

    /// False when the server has not answered so far: a start would wait for it
    /// without any bound.
    [[nodiscard]] bool isAllowed() const { return m_allowed; }

private:
    bool m_allowed;
};

} // namespace media::audio
