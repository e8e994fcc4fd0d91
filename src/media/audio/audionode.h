#pragma once

#include "engine/audiocontext.h"
#include "media/audio/nodestream.h"
#include "media/audio/nodeworker.h"

#include <QAudio>
#include <QAudioDevice>
#include <QAudioFormat>
#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

namespace media::audio {

class DeviceThread;

/// One sound device behind a ring of samples: what the output and the input node
/// share.
///
/// Threads. The node belongs to the thread that made it (the engine's), which
/// makes every call and holds the ring's near end. The device itself is opened,
/// run and closed by a NodeWorker on a thread of its own, "audio-io-out" or
/// "audio-io-in"; that worker's watchdog looks at it from a second thread four
/// times a second. The samples cross in the NodeStream's ring, nothing else does
/// without a lock or an event.
///
/// Blocking. Operations wait for the device thread, never longer than
/// kCallBound (kTearDownBound at destruction). When it does not answer by then,
/// it hangs in the toolkit: the node warns, leaves that thread and its stream
/// behind, and goes on with new ones in the same configuration; samples in the
/// ring are lost. Nothing the old thread does later has any effect.
///
/// Failure is reported by `start`, by the log and by the signals, which come
/// queued. Nothing throws. Not copyable.
class AudioNode : public QObject {
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds kCallBound{900};
    static constexpr std::chrono::milliseconds kTearDownBound{5000};

    /// Ends the device and its threads, waiting up to kTearDownBound.
    ~AudioNode() override;
    Q_DISABLE_COPY_MOVE(AudioNode)

    /// Takes one block. Never blocks, locks or, in steady state, allocates.
    virtual void process(const AudioContext& block) = 0;

    /// Any state → Configured: stopped, with an empty ring of `ringFrames`
    /// frames. Float or Int16 samples, 1 to 32 channels. A sample rate outside
    /// 1 to 384000 Hz is refused with a warning and leaves the node Unconfigured.
    void configure(const QAudioDevice& device, const QAudioFormat& format, quint64 ringFrames);

    /// Configured → Running, with what was written since `stop` in the ring:
    /// nothing of an earlier run is ever heard or recorded. True as well when it
    /// is running already, which changes nothing. False, with a warning: not
    /// configured, the device is not there or did not open, or it did not
    /// answer. A device that is not there is started when it comes back, unless
    /// `stop` comes first.
    bool start();

    /// Running → Configured: cut, not played out; the ring is emptied. Nothing
    /// else if not running.
    void stop();

    /// Sets the counts of trouble (underruns, dropped samples) to 0.
    void resetCounters();

signals:
    void deviceStateChanged(QAudio::State newState, QAudio::Error error);
    void deviceRebuilt(int rebuildCountSoFar);
    void watchdogGaveUp();
    void audioUnhealthy(const QString& reason);
    void audioHealthy();

protected:
    /// Makes the worker of the derived node for a stream.
    using WorkerMaker = std::function<NodeWorker*(const std::shared_ptr<NodeStream>&)>;

    AudioNode(const NodeWords& words, WorkerMaker makeWorker);

    [[nodiscard]] NodeStream& stream() { return *m_stream; }

    [[nodiscard]] const NodeStream& stream() const { return *m_stream; }

    /// Has the worker do something, without waiting for it.
    void post(std::function<void(NodeWorker&)> work);

    /// Running → Rebuilding, queued.
    void requestRebuild();

private:
    [[nodiscard]] bool run(const char* what, const std::function<void(NodeWorker&)>& work);
    void makeSide();
    void abandonSide(const char* what);

    const NodeWords m_words;
    const WorkerMaker m_makeWorker;
    NodeConfiguration m_configuration;
    bool m_configured = false;

    std::shared_ptr<NodeStream> m_stream;
    std::unique_ptr<DeviceThread> m_thread;
    NodeWorker* m_worker = nullptr; ///< lives and dies on m_thread
};

} // namespace media::audio
