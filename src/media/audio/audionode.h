#pragma once

#include "engine/audiocontext.h"
#include "media/audio/devicethread.h"
#include "media/audio/nodestream.h"
#include "media/audio/nodeworker.h"
#include "media/audio/waitbudget.h"

#include <QAudio>
#include <QAudioDevice>
#include <QAudioFormat>
#include <QDeadlineTimer>
#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

namespace media::audio {

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
/// Blocking. A call waits for the device thread, kCallBound in all and no longer
/// (kTearDownBound at destruction). When it does not answer by then, it hangs in
/// the toolkit: the node warns, leaves that thread and its stream behind, and
/// goes on with new ones in the same configuration; samples in the ring are
/// lost. Nothing the old thread does or signals has any effect any more. Who
/// has several nodes stops them within one such bound by `requestStop` on each,
/// then `waitUntilIdle` with one deadline; a `configure` after that has nothing
/// to stop. Nodes that share a WaitBudget wait no longer together than one would,
/// also when calls follow each other at once: a server that hangs holds up all.
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

    /// From now on a call waits for what the budget has left, if that is less.
    void shareWaits(std::shared_ptr<WaitBudget> budget);

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
    /// answer. Unless `stop` comes first, a device that is not there is started
    /// when it comes back, and for one that did not answer the watchdog tries
    /// again as for any other that stalls, and gives up likewise.
    bool start();

    /// Running → Configured: cut, not played out; the ring is emptied, and the
    /// watchdog begins afresh. Nothing else if not running.
    void stop();

    /// `stop` without waiting for it. The ring is not to be touched before
    /// `waitUntilIdle` has returned.
    void requestStop();

    /// Waits for what `requestStop` asked for. False when that was not done by
    /// the deadline, as in `stop`; also then the node is stopped and ready for
    /// the next call. True at once when nothing was asked for.
    bool waitUntilIdle(QDeadlineTimer deadline);

    /// Sets the counts of trouble (underruns, dropped samples) to 0, and has the
    /// next dropped samples warned of, however recent the last warning is.
    void resetCounters();

signals:
    void deviceStateChanged(QAudio::State newState, QAudio::Error error);
    void deviceRebuilt(int rebuildCountSoFar);
    /// Never of a run that was stopped before this arrives.
    void watchdogGaveUp();
    void audioUnhealthy(const QString& reason);
    /// Once when what `audioUnhealthy` told of is over: the samples move again, the
    /// next run has begun, or the thread that it was told of is left behind.
    void audioHealthy();

protected:
    /// Makes the worker of the derived node for a stream.
    using WorkerMaker = std::function<NodeWorker*(const std::shared_ptr<NodeStream>&)>;

    AudioNode(const NodeWords& words, WorkerMaker makeWorker);

    [[nodiscard]] NodeStream& stream() { return *m_stream; }

    [[nodiscard]] const NodeStream& stream() const { return *m_stream; }

    /// Only for what the worker lets any thread do.
    [[nodiscard]] const NodeWorker& worker() const { return *m_worker; }

    /// Has the worker do something, without waiting for it.
    void post(std::function<void(NodeWorker&)> work);

    /// Running → Rebuilding, queued.
    void requestRebuild();

private:
    [[nodiscard]] bool run(const char* what, const std::function<void(NodeWorker&)>& work);
    [[nodiscard]] bool waitOrAbandon(const char* what, DeviceThread::Ms most,
                                     const std::function<bool(DeviceThread::Ms)>& wait);
    void makeSide();
    void abandonSide(const char* what, DeviceThread::Ms waited);

    /// Passes a signal of the worker on, unless the worker was left behind while
    /// the signal was under way.
    template <typename... Arguments>
    void forward(void (NodeWorker::*from)(Arguments...), void (AudioNode::*to)(Arguments...));

    const NodeWords m_words;
    const WorkerMaker m_makeWorker;
    NodeConfiguration m_configuration;
    bool m_configured = false;

    std::shared_ptr<NodeStream> m_stream;
    std::unique_ptr<DeviceThread> m_thread;
    NodeWorker* m_worker = nullptr; ///< lives and dies on m_thread
    quint64 m_side = 0;             ///< counts the workers
    bool m_toldUnhealthy = false;
    std::shared_ptr<DeviceThread::Completion> m_requestedStop;
    std::shared_ptr<WaitBudget> m_waits; ///< null: every call may take kCallBound
};

} // namespace media::audio
