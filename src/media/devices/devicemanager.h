#pragma once

#include "media/devices/platformconnection.h"

#include <QAudioDevice>
#include <QByteArray>
#include <QCameraDevice>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>
#include <chrono>

class QMediaDevices;

namespace media::devices {

/// The process-wide cache of the machine's audio inputs and outputs, and the place
/// where a stored device key becomes a device again.
///
/// Any thread may read the cache and look devices up: a lock is held for the
/// copy alone. Nothing waits for the sound server but the main thread's first
/// call of `initializeAudio`, by itself or through an accessor; no other thread
/// ever waits. Only the main thread fills the cache, on that call and from then
/// on whenever the platform's lists change. Not every toolkit announces a change,
/// so the lists are also looked at every kPollInterval; that costs some
/// microseconds and signals only a real change of names or order.
///
/// Video inputs are no part of that: their list is read when somebody calls
/// `onVideoInputsChanged`, and kept to tell whether it has changed. A call before
/// the platform has answered is remembered, and done once it has.
///
/// The process's first question about devices must go through this class: a
/// server that hangs would otherwise freeze whoever asks. Nobody calls
/// QMediaDevices' functions before `isAudioReady`.
///
/// Never destroyed: nodes may ask until the very end of the process.
class DeviceManager : public QObject {
    Q_OBJECT

public:
    /// How soon a change of devices is noticed at the latest.
    static constexpr std::chrono::milliseconds kPollInterval{1000};

    /// How long the main thread waits for the sound server's first answer.
    static constexpr std::chrono::milliseconds kFirstAnswerBound{900};

    /// Any thread.
    static DeviceManager& instance();

    Q_DISABLE_COPY_MOVE(DeviceManager)

    /// Main thread: fills the cache and follows the platform from then on; the
    /// first call waits up to kFirstAnswerBound. Should the server not answer
    /// until then, the cache stays empty and fills itself, with signals, once it
    /// does; later calls do not wait. Any other thread: nothing but a warning until
    /// the main thread has done it. Every accessor but `isAudioReady` calls this
    /// first, so the main thread's first question may wait, whichever it is.
    void initializeAudio();

    /// Any thread, never blocks: the platform has answered, the cache is filled.
    [[nodiscard]] bool isAudioReady() const { return m_audioInitialized.load(); }

    /// Any thread: a copy of the cache, each device once, in the platform's order.
    [[nodiscard]] QList<QAudioDevice> audioInputs();
    [[nodiscard]] QList<QAudioDevice> audioOutputs();

    /// Any thread: the cached device that `key` means, a null device if none.
    /// A key is an id in lower-case hexadecimal, a USB tag, or a name that need
    /// only be similar.
    [[nodiscard]] QAudioDevice findAudioInput(const QString& key);
    [[nodiscard]] QAudioDevice findAudioOutput(const QString& key);

    /// Any thread: the platform's default as it is now, past the cache; null before
    /// the platform has answered, or when there is none. Blocks as `initializeAudio`
    /// does, and not after the platform has answered.
    [[nodiscard]] QAudioDevice defaultAudioInput();
    [[nodiscard]] QAudioDevice defaultAudioOutput();

    /// Any thread: whether the platform lists the device at this moment, past the
    /// cache; false before the platform has answered. Blocks as `initializeAudio`
    /// does, and not after that answer. To be asked right before opening a device,
    /// for opening one that has gone never returns. It follows the server within
    /// milliseconds; while the server itself is away the last list stands, and what
    /// went meanwhile may stay listed.
    [[nodiscard]] bool isInputPresent(const QByteArray& id);
    [[nodiscard]] bool isOutputPresent(const QByteArray& id);

signals:
    void audioInputsChanged();
    void audioOutputsChanged();
    void videoInputsChanged();
    void devicesChanged();

public slots:
    /// Main thread: read the platform's list again; signals come only for a
    /// change of names or order, after the list is replaced and unlocked.
    void onAudioInputsChanged();
    void onAudioOutputsChanged();
    void onVideoInputsChanged();

private:
    DeviceManager();
    ~DeviceManager() override = default;

    void followPlatform();
    void shutDown();

    QMediaDevices* m_mediaDevices = nullptr;

    QMutex m_inputsLock;
    QList<QAudioDevice> m_audioInputs;
    QString m_audioInputsSignature;

    QMutex m_outputsLock;
    QList<QAudioDevice> m_audioOutputs;
    QString m_audioOutputsSignature;

    QMutex m_videoLock;
    QList<QCameraDevice> m_videoInputs;
    QString m_videoInputsSignature;
    bool m_videoInputsAsked = false; ///< before the platform had answered

    const double m_matchThreshold = 0.5;
    std::atomic<bool> m_audioInitialized = false;

    PlatformConnection m_connection;
    QTimer m_poll;
    bool m_endIsPrepared = false;
};

} // namespace media::devices
