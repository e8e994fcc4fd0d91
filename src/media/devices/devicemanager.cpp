#include "media/devices/devicemanager.h"

#include "media/devices/devicelookup.h"
#include "media/devices/processend.h"
#include "media/devices/soundserverwait.h"

#include <QCoreApplication>
#include <QDebug>
#include <QMediaDevices>
#include <QThread>

#include <algorithm>

namespace media::devices {

namespace {

constexpr std::chrono::milliseconds kExitBound{500};

bool isMainThread()
{
    const QCoreApplication* application = QCoreApplication::instance();
    return application && QThread::currentThread() == application->thread();
}

/// After a reconnect to the server a device may be listed twice.
template <typename Device>
QList<Device> withoutDoubles(const QList<Device>& devices)
{
    QList<Device> distinct;
    for (const Device& device : devices) {
        const bool known = std::any_of(distinct.begin(), distinct.end(), [&](const Device& other) {
            return other.id() == device.id();
        });
        if (!known)
            distinct.append(device);
    }
    return distinct;
}

/// Takes over the platform's list; false when its names and order are the same.
template <typename Device>
bool replaceList(QMutex& lock, QList<Device>& cached, QString& signature,
                 const QList<Device>& platform)
{
    const QList<Device> current = withoutDoubles(platform);
    QStringList descriptions;
    for (const Device& device : current)
        descriptions.append(device.description());

    const QMutexLocker locker(&lock);
    const QString currentSignature = listSignature(descriptions);
    if (currentSignature == signature)
        return false;
    cached = current;
    signature = currentSignature;
    return true;
}

QAudioDevice findIn(const QList<QAudioDevice>& devices, const QString& key, double threshold)
{
    QList<DeviceEntry> entries;
    for (const QAudioDevice& device : devices)
        entries.append({device.id(), device.description()});
    const qsizetype found = findDevice(entries, key, threshold);
    return found < 0 ? QAudioDevice() : devices[found];
}

bool contains(const QList<QAudioDevice>& devices, const QByteArray& id)
{
    return std::any_of(devices.begin(), devices.end(),
                       [&](const QAudioDevice& device) { return device.id() == id; });
}

} // namespace

DeviceManager& DeviceManager::instance()
{
    static auto* const manager = new DeviceManager;
    return *manager;
}

DeviceManager::DeviceManager()
    : m_connection([] { static_cast<void>(QMediaDevices::audioOutputs()); }, waitForSoundServer)
{
    m_connection.setParent(this);
    m_poll.setParent(this);
    m_poll.setInterval(kPollInterval);
    connect(&m_poll, &QTimer::timeout, this, &DeviceManager::onAudioInputsChanged);
    connect(&m_poll, &QTimer::timeout, this, &DeviceManager::onAudioOutputsChanged);
    connect(&m_connection, &PlatformConnection::opened, this, &DeviceManager::initializeAudio);
    if (const QCoreApplication* application = QCoreApplication::instance())
        moveToThread(application->thread());
}

void DeviceManager::initializeAudio()
{
    if (m_audioInitialized.load())
        return;
    if (!isMainThread()) {
        // The dash is encoded twice; log readers look for these very bytes.
        qWarning("DeviceManager::initializeAudio called off the main thread before any "
                 "main-thread initialization \xC3\xA2\xC2\x80\xC2\x94 skipping (lookups see an "
                 "empty device cache until the main thread initializes)");
        return;
    }
    if (!m_endIsPrepared) {
        qAddPostRoutine([] { instance().shutDown(); });
        m_endIsPrepared = true;
    }
    if (m_connection.open(kFirstAnswerBound))
        followPlatform();
}

void DeviceManager::followPlatform()
{
    if (!m_mediaDevices)
        m_mediaDevices = new QMediaDevices(this);
    onAudioInputsChanged();
    onAudioOutputsChanged();
    // Unique: a listener of the signals just emitted may have come here before us.
    connect(m_mediaDevices, &QMediaDevices::audioInputsChanged, this,
            &DeviceManager::onAudioInputsChanged, Qt::UniqueConnection);
    connect(m_mediaDevices, &QMediaDevices::audioOutputsChanged, this,
            &DeviceManager::onAudioOutputsChanged, Qt::UniqueConnection);
    m_poll.start();
    m_audioInitialized.store(true);
    if (m_videoInputsAsked)
        onVideoInputsChanged();
}

void DeviceManager::shutDown()
{
    m_poll.stop();
    if (!m_connection.close(kExitBound))
        endProcessWithoutTearDownIf([] { return true; });
}

QList<QAudioDevice> DeviceManager::audioInputs()
{
    initializeAudio();
    const QMutexLocker locker(&m_inputsLock);
    return m_audioInputs;
}

QList<QAudioDevice> DeviceManager::audioOutputs()
{
    initializeAudio();
    const QMutexLocker locker(&m_outputsLock);
    return m_audioOutputs;
}

QAudioDevice DeviceManager::findAudioInput(const QString& key)
{
    return findIn(audioInputs(), key, m_matchThreshold);
}

QAudioDevice DeviceManager::findAudioOutput(const QString& key)
{
    return findIn(audioOutputs(), key, m_matchThreshold);
}

QAudioDevice DeviceManager::defaultAudioInput()
{
    initializeAudio();
    return isAudioReady() ? QMediaDevices::defaultAudioInput() : QAudioDevice();
}

QAudioDevice DeviceManager::defaultAudioOutput()
{
    initializeAudio();
    return isAudioReady() ? QMediaDevices::defaultAudioOutput() : QAudioDevice();
}

bool DeviceManager::isInputPresent(const QByteArray& id)
{
    initializeAudio();
    return isAudioReady() && contains(QMediaDevices::audioInputs(), id);
}

bool DeviceManager::isOutputPresent(const QByteArray& id)
{
    initializeAudio();
    return isAudioReady() && contains(QMediaDevices::audioOutputs(), id);
}

void DeviceManager::onAudioInputsChanged()
{
    if (!m_connection.isOpen())
        return;
    if (replaceList(m_inputsLock, m_audioInputs, m_audioInputsSignature,
                    QMediaDevices::audioInputs())) {
        emit audioInputsChanged();
        emit devicesChanged();
    }
}

void DeviceManager::onAudioOutputsChanged()
{
    if (!m_connection.isOpen())
        return;
    if (replaceList(m_outputsLock, m_audioOutputs, m_audioOutputsSignature,
                    QMediaDevices::audioOutputs())) {
        emit audioOutputsChanged();
        emit devicesChanged();
    }
}

void DeviceManager::onVideoInputsChanged()
{
    m_videoInputsAsked = !m_connection.isOpen();
    if (m_videoInputsAsked)
        return;
    if (replaceList(m_videoLock, m_videoInputs, m_videoInputsSignature,
                    QMediaDevices::videoInputs())) {
        emit videoInputsChanged();
        emit devicesChanged();
    }
}

} // namespace media::devices
