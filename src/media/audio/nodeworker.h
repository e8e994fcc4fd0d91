#pragma once

#include "media/audio/nodestream.h"
#include "media/audio/nodewatchdog.h"

#include <QAudio>
#include <QAudioDevice>
#include <QAudioFormat>
#include <QByteArray>
#include <QLoggingCategory>
#include <QObject>
#include <QString>

#include <atomic>
#include <memory>
#include <mutex>

namespace media::audio {

class WatchdogTicker;

/// What a node is asked to run: a device, the format on the wire, and the size
/// of the ring in frames.
struct NodeConfiguration {
    QAudioDevice device;
    QAudioFormat format;
    quint64 ringFrames = NodeStream::kDefaultRingFrames;
};

/// How the two kinds of node differ in words.
struct NodeWords {
    const char* node;    ///< "AudioOutputNode"
    const char* backend; ///< "QAudioSink"
    const char* noun;    ///< "sink"
    const char* rebuild; ///< "rebuildSink"
    const char* thread;  ///< name of the device thread
    const char* ticker;  ///< name of the watchdog thread

    /// Name of the logging category for tracing the device's states, off by
    /// default. The node's other lines go without one: the logger would print it
    /// in front of them, and log readers look for lines that begin with `node`.
    const char* category;
};

/// The device's side of a node: opens, runs, watches, rebuilds and closes the
/// device. Made on the caller's thread, moved to the device thread, used and
/// deleted there; only `tick` runs elsewhere (the watchdog's thread).
///
/// Unconfigured → (configure) Configured → (start) Running → (the watchdog or
/// the device says that it died) Rebuilding → Running, or DeviceAbsent until the
/// device manager lists the device again. `stop` leads back to Configured.
///
/// A hanging toolkit call hangs this object's thread and nothing else; the node
/// then detaches the stream and goes on with another worker.
class NodeWorker : public QObject {
    Q_OBJECT

public:
    /// `watchdog`: limits other than the usual ones.
    NodeWorker(const NodeWords& words, std::shared_ptr<NodeStream> stream,
               const NodeWatchdog::State& watchdog = {});
    ~NodeWorker() override;
    Q_DISABLE_COPY_MOVE(NodeWorker)

    /// Any → Configured, or → Unconfigured and false when the sample rate is
    /// impossible. Sizes the ring.
    bool configure(const NodeConfiguration& wanted);

    /// The part of `configure` that needs no device: checks, and sizes the ring.
    /// False when the sample rate is impossible. Also on the caller's thread, as
    /// long as the device thread has nothing to do yet.
    bool prepare(const NodeConfiguration& wanted);

    /// `prepare` with a configuration that was accepted before; says nothing.
    void prepareAgain(const NodeConfiguration& checked);

    /// Unconfigured → Configured, with a configuration that was accepted and a
    /// stream that was prepared for it.
    void adopt(const NodeConfiguration& checked);

    /// Configured → Running; false when the device could not be started.
    bool start();

    /// Configured → Stalled, in place of a worker that hung in `start`: leaves it
    /// to the watchdog to open the device. Unlike `start` it leaves the ring
    /// alone, as the caller may be writing by now.
    void resumeStart();

    /// Any but Unconfigured → Configured. The watchdog begins afresh: what it has
    /// counted and whether it has given up is forgotten.
    void stop();

    /// Running → Rebuilding → Running or DeviceAbsent.
    void rebuild();

    /// Any → Unconfigured: ends the watchdog and destroys the device. To be
    /// called before deletion, while all of the object is there.
    void tearDown();

    /// Any thread. Tells one run from the next: counts the stops.
    [[nodiscard]] quint64 run() const { return m_run; }

signals:
    void deviceStateChanged(QAudio::State newState, QAudio::Error error);
    void deviceRebuilt(int rebuildCountSoFar);
    void watchdogGaveUp(quint64 run);
    void audioUnhealthy(const QString& reason);
    void audioHealthy();

    /// From any thread to the device thread: rebuild, if that run still lasts.
    void rebuildAsked(quint64 run);

protected:
    // What the two kinds of node do differently, all on the device thread.

    /// Makes a stopped device for the configuration, and connects its state
    /// changes to `onStateChanged`.
    virtual void createDevice(bool afterRebuild) = 0;
    [[nodiscard]] virtual bool hasDevice() const = 0;
    [[nodiscard]] virtual QAudio::State deviceState() const = 0;
    [[nodiscard]] virtual QAudio::Error deviceError() const = 0;

    /// A new transfer device (feed or capture), open, that knows no earlier one.
    virtual void renewTransfer() = 0;
    virtual void openTransfer() = 0;
    virtual void closeTransfer() = 0;

    /// False when the server does not answer, so that starting would hang.
    [[nodiscard]] virtual bool startDevice() = 0;
    virtual void stopDevice() = 0;

    /// Destroys the device without stopping it.
    virtual void dropDevice() = 0;

    /// Stops and destroys the device. What it says meanwhile is not heard: it is
    /// no news of the device that takes its place.
    virtual void retireDevice() = 0;

    [[nodiscard]] virtual bool isPresent(const QByteArray& id) const = 0;
    [[nodiscard]] virtual QAudioDevice findDevice(const QString& key) const = 0;
    virtual void followDeviceList() = 0;

    /// Watchdog's thread: what else there is to report at a tick.
    virtual void reportAtTick(qint64 nowMs);

    void onStateChanged(QAudio::State reported);
    void onDeviceListChanged();

    [[nodiscard]] const NodeConfiguration& configuration() const { return m_configuration; }

    [[nodiscard]] const std::shared_ptr<NodeStream>& stream() const { return m_stream; }

    [[nodiscard]] const NodeWords& words() const { return m_words; }

private:
    void checkSampleFormat(const QAudioFormat& format) const;
    void checkChannelCount(const NodeConfiguration& wanted) const;
    [[nodiscard]] bool checkSampleRate(const NodeConfiguration& wanted) const;
    [[nodiscard]] bool openForStart();
    [[nodiscard]] bool startOrWarn();
    [[nodiscard]] QAudioDevice currentDevice() const;
    [[nodiscard]] bool knowsDevice() const;
    void enterDeviceAbsent();
    void startTicker();
    void tick();
    void handleDrop(QAudio::State state, QAudio::Error error);
    void handleError(QAudio::Error error);
    void queueRebuild();
    void rebuildInRun(quint64 run);

    template <typename Action>
    auto withWatchdog(Action action)
    {
        const std::lock_guard lock(m_watchdogLock);
        return action(m_watchdog);
    }

    const NodeWords m_words;
    const QLoggingCategory m_category;
    const std::shared_ptr<NodeStream> m_stream;

    NodeConfiguration m_configuration;
    QString m_deviceDescription;
    QByteArray m_deviceId;
    bool m_configured = false;
    bool m_wanted = false; ///< between start and stop
    bool m_rebuildInProgress = false;
    bool m_deviceListFollowed = false;
    std::atomic<bool> m_deviceAbsent = false;
    std::atomic<int> m_lastState = QAudio::ActiveState;
    std::atomic<quint64> m_run = 0;
    /// One request is enough, however long the device thread takes to get to it.
    std::atomic<bool> m_rebuildQueued = false;

    std::mutex m_watchdogLock;
    NodeWatchdog m_watchdog;
    std::unique_ptr<WatchdogTicker> m_ticker;
};

} // namespace media::audio
