#pragma once

#include "media/audio/nodestream.h"
#include "media/audio/nodewatchdog.h"

#include <QAudio>
#include <QAudioDevice>
#include <QAudioFormat>
#include <QByteArray>
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
    NodeWorker(const NodeWords& words, std::shared_ptr<NodeStream> stream);
    ~NodeWorker() override;
    Q_DISABLE_COPY_MOVE(NodeWorker)

    /// Any → Configured, or → Unconfigured and false when the sample rate is
    /// impossible. Sizes the ring.
    bool configure(const NodeConfiguration& wanted);

    /// Unconfigured → Configured, with a configuration that an earlier worker
    /// checked and a stream that is ready for it.
    void adopt(const NodeConfiguration& checked);

    /// Configured → Running; false when the device could not be started.
    bool start();

    /// Any but Unconfigured → Configured.
    void stop();

    /// Running → Rebuilding → Running or DeviceAbsent.
    void rebuild();

    /// Any → Unconfigured: ends the watchdog and destroys the device. To be
    /// called before deletion, while all of the object is there.
    void tearDown();

signals:
    void deviceStateChanged(QAudio::State newState, QAudio::Error error);
    void deviceRebuilt(int rebuildCountSoFar);
    void watchdogGaveUp();
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
    void remember(const NodeConfiguration& checked);
    [[nodiscard]] bool openForStart();
    [[nodiscard]] bool startOrWarn();
    [[nodiscard]] QAudioDevice currentDevice() const;
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
    std::atomic<quint64> m_run = 0; ///< counts the stops

    std::mutex m_watchdogLock;
    NodeWatchdog m_watchdog;
    std::unique_ptr<WatchdogTicker> m_ticker;
};

} // namespace media::audio
