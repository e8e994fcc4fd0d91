#pragma once

#include <QtGlobal>

#include <atomic>

namespace media::audio {

/// What belongs to an input node for its whole life, whichever thread and stream
/// it goes on with. Shared by the node and its device threads.
struct InputShare {
    std::atomic<bool> quiet = false;
};

} // namespace media::audio
