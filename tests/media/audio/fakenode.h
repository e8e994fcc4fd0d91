#pragma once

#include "media/audio/audionode.h"

#include <QAudioDevice>
#include <QList>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

inline constexpr int kPatienceMs = 20000;
inline constexpr quint64 kRingFrames = 100;

/// One of the server's, for a node to name: nothing is ever played on it. Null until
/// the server has been seen.
[[nodiscard]] QAudioDevice device();

/// Where a device thread can be made to hang, as it does in the toolkit.
class Gate {
public:
    void close();
    void open();

    /// Waits while the gate is closed.
    void pass();

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_closed = false;
};

/// A device that never moves a sample, and what a test does to it and learns of
/// it. Shared by all workers of one node, from any thread.
struct FakeDevice {
    Gate creating;
    Gate starting;
    Gate stopping;
    std::atomic<int> starts = 0; ///< that came back
    std::atomic<int> stops = 0;  ///< that were asked for
    std::atomic<int> rebuilds = 0;
    std::atomic<int> ticks = 0;
    std::atomic<bool> present = true;
    std::atomic<bool> serverAnswers = true;
    std::atomic<QAudio::State> startsInto = QAudio::ActiveState;
    media::audio::NodeWatchdog::State limits{};
};

/// A node on a FakeDevice.
class FakeNode : public media::audio::AudioNode {
public:
    explicit FakeNode(std::shared_ptr<FakeDevice> device);

    /// Writes the block's first channel.
    void process(const AudioContext& block) override;

    /// Has the device thread see its device fail, and waits for that without
    /// running this thread's events.
    void failDevice();

    /// Likewise: see its device go into a state by itself.
    void changeDevice(QAudio::State state);

    /// Likewise: hear that the list of devices has changed.
    void changeDeviceList();

    /// Waits for the device thread, with all that was asked of it so far done.
    void waitForDeviceThread();

    using AudioNode::requestRebuild;
    using AudioNode::stream;
};

/// For that device, a mono format and a ring of kRingFrames.
void configure(media::audio::AudioNode& node);

/// The device's side of a FakeNode, for use on the calling thread.
[[nodiscard]] std::unique_ptr<media::audio::NodeWorker>
makeFakeWorker(std::shared_ptr<media::audio::NodeStream> stream,
               std::shared_ptr<FakeDevice> device);

/// The list of devices has changed.
void changeDeviceList(media::audio::NodeWorker& fakeWorker);
