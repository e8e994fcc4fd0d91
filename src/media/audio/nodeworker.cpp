#include "media/audio/nodeworker.h"

#include "lifecycle/pointercheck.h"
#include "media/audio/watchdogticker.h"

#include <QDebug>

#include <algorithm>
#include <utility>

namespace media::audio {

namespace {

constexpr int kLeastRateHz = 1;
constexpr int kMostRateHz = 384000;

quint64 clampedChannels(const QAudioFormat& format)
{
    return static_cast<quint64>(
        std::clamp(format.channelCount(), 1, static_cast<int>(NodeStream::kMostChannels)));
}

QString keyOf(const QByteArray& id)
{
    return QString::fromLatin1(id.toHex());
}

} // namespace

NodeWorker::NodeWorker(const NodeWords& words, std::shared_ptr<NodeStream> stream,
                       const NodeWatchdog::State& watchdog)
    : m_words(words)
    , m_category(words.category, QtWarningMsg)
    , m_stream(std::move(stream))
    , m_watchdog(watchdog)
{
    checkPointers(this, this);
    connect(this, &NodeWorker::rebuildAsked, this, &NodeWorker::rebuildInRun, Qt::QueuedConnection);
}

NodeWorker::~NodeWorker() = default;

void NodeWorker::tearDown()
{
    stop();
    dropDevice();
    m_configured = false;
}

bool NodeWorker::configure(const NodeConfiguration& wanted)
{
    tearDown();
    // Left behind in the tear-down: what follows is another worker's by now.
    if (!m_stream->attached || !prepare(wanted))
        return false;
    adopt(wanted);
    return true;
}

bool NodeWorker::prepare(const NodeConfiguration& wanted)
{
    checkSampleFormat(wanted.format);
    checkChannelCount(wanted);
    if (!checkSampleRate(wanted))
        return false;
    m_stream->prepare(clampedChannels(wanted.format), wanted.format.sampleFormat(),
                      wanted.ringFrames);
    return true;
}

void NodeWorker::prepareAgain(const NodeConfiguration& checked)
{
    m_stream->prepareAgain(clampedChannels(checked.format), checked.format.sampleFormat(),
                           checked.ringFrames);
}

void NodeWorker::adopt(const NodeConfiguration& checked)
{
    m_configuration = checked;
    renewTransfer();
    createDevice(false);
    m_deviceDescription = checked.device.description();
    m_deviceId = checked.device.id();
    m_deviceAbsent = false;
    m_configured = true;
    if (!std::exchange(m_deviceListFollowed, true))
        followDeviceList();
}

void NodeWorker::checkSampleFormat(const QAudioFormat& format) const
{
    const auto wire = format.sampleFormat();
    if (wire != QAudioFormat::Float && wire != QAudioFormat::Int16) {
        const QByteArray text =
            QByteArray(m_words.node) + ": wire format must be Float or Int16, got";
        qWarning() << text.constData() << format;
    }
}

void NodeWorker::checkChannelCount(const NodeConfiguration& wanted) const
{
    const int count = wanted.format.channelCount();
    if (count >= 1 && count <= static_cast<int>(NodeStream::kMostChannels))
        return;
    // The text says 1 also where the count becomes kMostChannels: log readers
    // look for this one line.
    const QByteArray text = QByteArray(m_words.node) + ": implausible channelCount";
    qWarning() << text.constData() << count << "from format" << wanted.format << "on device"
               << wanted.device.description()
               << "— clamping to 1. Likely uninitialised QAudioFormat;"
               << "investigate the device-lookup path.";
}

bool NodeWorker::checkSampleRate(const NodeConfiguration& wanted) const
{
    const int rateHz = wanted.format.sampleRate();
    if (rateHz >= kLeastRateHz && rateHz <= kMostRateHz)
        return true;
    const QByteArray text = QByteArray(m_words.node) + ": implausible sampleRate";
    const QByteArray outcome = QByteArray("— bailing out without opening a ") + m_words.noun + '.';
    qWarning() << text.constData() << rateHz << "from format" << wanted.format << "on device"
               << wanted.device.description() << outcome.constData();
    return false;
}

bool NodeWorker::start()
{
    if (!m_configured) {
        qWarning("%s::start: not configured", m_words.node);
        return false;
    }
    m_wanted = true;
    startTicker();
    if (hasDevice() && deviceState() == QAudio::ActiveState)
        return true;
    withWatchdog([this](NodeWatchdog& dog) { dog.markStartIntent(m_stream->nowMs()); });
    return openForStart();
}

void NodeWorker::resumeStart()
{
    m_wanted = true;
    m_lastState = deviceState();
    withWatchdog([this](NodeWatchdog& dog) { dog.markStartIntent(m_stream->nowMs()); });
    startTicker();
}

bool NodeWorker::openForStart()
{
    // Opening a device that has gone never returns, so it is asked for at the
    // last moment.
    const QAudioDevice device = currentDevice();
    if (!m_deviceId.isEmpty() && device.isNull()) {
        dropDevice();
        enterDeviceAbsent();
        return false;
    }
    if (!hasDevice()) {
        m_configuration.device = device;
        m_deviceAbsent = false;
        createDevice(false);
    }
    renewTransfer();
    m_rebuildInProgress = false;
    return startOrWarn() && deviceState() != QAudio::StoppedState;
}

bool NodeWorker::startOrWarn()
{
    if (startDevice())
        return true;
    qWarning("%s: the sound server does not answer; %s not started", m_words.node, m_words.noun);
    return false;
}

void NodeWorker::startTicker()
{
    if (m_ticker || m_deviceId.isEmpty())
        return;
    m_ticker =
        std::make_unique<WatchdogTicker>(QString::fromLatin1(m_words.ticker),
                                         WatchdogTicker::Ms{NodeWatchdog::State{}.tickIntervalMs},
                                         WatchdogTicker::Callbacks{[this] { tick(); }});
    m_ticker->start();
}

void NodeWorker::stop()
{
    // Keeps the state change that follows from being taken for a failure.
    m_rebuildInProgress = true;
    m_wanted = false;
    m_ticker.reset();
    // After the watchdog's last word, which belongs to the run that ends here.
    ++m_run;
    m_rebuildQueued = false;
    withWatchdog([](NodeWatchdog& dog) { dog.markStopped(); });
    if (hasDevice())
        stopDevice();
    closeTransfer();
    m_stream->begin();
}

QAudioDevice NodeWorker::currentDevice() const
{
    if (!isPresent(m_deviceId))
        return {};
    const QAudioDevice listed = findDevice(keyOf(m_deviceId));
    return listed.isNull() ? m_configuration.device : listed;
}

bool NodeWorker::knowsDevice() const
{
    return !m_deviceId.isEmpty() || !m_deviceDescription.isEmpty() ||
           !m_configuration.device.isNull();
}

void NodeWorker::rebuild()
{
    if (!m_configured || !m_stream->attached || !knowsDevice())
        return;
    m_rebuildInProgress = true;
    const QAudioDevice device = currentDevice();
    if (device.isNull()) {
        // Not stopped first: a stream of a device that has gone may not answer.
        dropDevice();
        enterDeviceAbsent();
        return;
    }
    if (hasDevice())
        retireDevice();
    m_configuration.device = device;
    m_deviceAbsent = false;
    createDevice(true);
    if (m_wanted) {
        openTransfer();
        (void)startOrWarn();
        // The watchdog has to try again where the new device did not come up.
        if (deviceState() != QAudio::ActiveState)
            withWatchdog([this](NodeWatchdog& dog) { dog.markStartIntent(m_stream->nowMs()); });
        m_rebuildInProgress = false;
    }
    emit deviceRebuilt(withWatchdog([](NodeWatchdog& dog) { return dog.state().rebuildCount; }));
}

void NodeWorker::enterDeviceAbsent()
{
    m_configuration.device = {};
    if (m_deviceAbsent.exchange(true))
        return;
    const QByteArray text = QByteArray(m_words.node) + ": device";
    qWarning() << text.constData() << m_deviceDescription
               << "is no longer present on the host. Pausing rebuild;"
               << "will resume when the device reappears.";
    emit deviceRebuilt(withWatchdog([](NodeWatchdog& dog) { return dog.state().rebuildCount; }));
}

void NodeWorker::onDeviceListChanged()
{
    if (!m_stream->attached || !m_deviceAbsent ||
        (m_deviceId.isEmpty() && m_deviceDescription.isEmpty()))
        return;
    const QAudioDevice device = currentDevice();
    if (device.isNull())
        return;
    const QByteArray text = QByteArray(m_words.node) + ": device";
    qInfo() << text.constData() << m_deviceDescription
            << "is back on the host — attempting rebuild";
    m_configuration.device = device;
    m_deviceAbsent = false;
    queueRebuild();
}

void NodeWorker::queueRebuild()
{
    if (!m_rebuildQueued.exchange(true))
        emit rebuildAsked(m_run);
}

void NodeWorker::rebuildInRun(quint64 run)
{
    // What was asked for in one run must not tear up the next one.
    if (run != m_run)
        return;
    m_rebuildQueued = false;
    rebuild();
}

void NodeWorker::reportAtTick(qint64 /*nowMs*/) {}

} // namespace media::audio
