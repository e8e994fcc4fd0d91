#pragma once

#include "media/audio/audiooutputnode.h"

#include <QtGlobal>

#include <atomic>
#include <mutex>

namespace media::audio {

/// What belongs to an output node for its whole life, whichever thread and
/// stream it goes on with. Shared by the node and its device threads.
struct OutputShare {
    std::atomic<float> volume = 1.0F;

    std::atomic<bool> pullMode = false;
    std::mutex pullLock; ///< guards the callback, also while it runs
    AudioOutputNode::PullCallback pullCallback;
};

} // namespace media::audio
