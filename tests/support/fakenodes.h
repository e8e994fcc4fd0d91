#pragma once

#include "media/audio/audioinputnode.h"
#include "media/audio/audiooutputnode.h"
#include "media/audio/nodewatchdog.h"

#include <QtGlobal>

#include <functional>
#include <memory>

/// Device nodes whose devices a test works by hand. All else is the nodes' own:
/// threads, ring, watchdog, signals. Any device will do to configure them.

/// A watchdog that gives up at the first fault that the device tells of. It takes no
/// silence for one: a device that is worked by hand moves nothing for as long as a
/// busy machine makes the test take.
[[nodiscard]] media::audio::NodeWatchdog::State impatientWatchdog();

/// A microphone that has the sound ready, and hands it over, in order, as fast as
/// the ring is emptied.
class FakeInputNode : public media::audio::AudioInputNode {
public:
    /// Sample number `i`, counted from 0. Called on the device thread.
    using Sound = std::function<float(qint64 i)>;

    explicit FakeInputNode(const Sound& sound = {}, qint64 samples = 0,
                           const media::audio::NodeWatchdog::State& watchdog = {});

    /// The device says that it is broken.
    void fail();

private:
    FakeInputNode(const std::shared_ptr<media::audio::InputShare>& share, const Sound& sound,
                  qint64 samples, const media::audio::NodeWatchdog::State& watchdog);
};

/// A loudspeaker that never asks for a sample.
class FakeOutputNode : public media::audio::AudioOutputNode {
public:
    explicit FakeOutputNode(const media::audio::NodeWatchdog::State& watchdog = {});

    /// The device says that it is broken.
    void fail();

private:
    FakeOutputNode(const std::shared_ptr<media::audio::OutputShare>& share,
                   const media::audio::NodeWatchdog::State& watchdog);
};
