#include "media/audio/outputworker.h"

#include "media/devices/devicemanager.h"
#include "media/devices/mediaplatform.h"

#include <QDebug>

#include <algorithm>
#include <utility>

namespace media::audio {

namespace {

constexpr quint64 kRingPartOfSinkBuffer = 4;
constexpr quint64 kLeastSinkBufferFrames = 1024;
constexpr qint64 kUnderrunReportIntervalMs = 5000;

/// The server grants about two thirds of the latency that a stream asks for as
/// buffer and keeps the rest for its device; twice the buffer and a fixed part
/// on top covers both with room to spare.
constexpr quint64 kSinkBuffersUntilHeard = 2;
constexpr quint64 kServerLatencyMs = kPulseLatencyMs;
constexpr quint64 kMsPerSecond = 1000;

devices::DeviceManager& manager()
{
    return devices::DeviceManager::instance();
}

} // namespace

NodeWords outputWords()
{
    return {"AudioOutputNode",  "QAudioSink",        "sink", "rebuildSink", "audio-io-out",
            "audio-livewd-out", "media.audio.output"};
}

OutputWorker::OutputWorker(std::shared_ptr<NodeStream> stream, std::shared_ptr<OutputShare> share,
                           const NodeWatchdog::State& watchdog)
    : DeviceWorker(outputWords(), std::move(stream), QIODevice::ReadOnly, watchdog)
    , m_share(std::move(share))
{
}

void OutputWorker::applyVolume()
{
    if (backend())
        backend()->setVolume(static_cast<qreal>(m_share->volume.load()));
}

std::unique_ptr<AudioOutputNode::FeedDevice> OutputWorker::makeTransfer() const
{
    return std::make_unique<AudioOutputNode::FeedDevice>(stream(), m_share);
}

quint64 OutputWorker::frameBytes() const
{
    return stream()->bytesPerSample() * stream()->channels();
}

void OutputWorker::prepareBackend(QAudioSink& /*sink*/, bool afterRebuild)
{
    // A rebuilt sink has no floor: it is known to have run on this device.
    const quint64 share = configuration().ringFrames / kRingPartOfSinkBuffer;
    const quint64 frames = afterRebuild ? share : std::max(share, kLeastSinkBufferFrames);
    m_sinkBufferBytes = static_cast<qsizetype>(frameBytes() * frames);
    applyVolume();
}

void OutputWorker::beforeStart(QAudioSink& sink)
{
    // Asked for anew each time: after a run the sink would ask for what it was
    // granted then, and shrink from run to run.
    if (m_sinkBufferBytes > 0)
        sink.setBufferSize(m_sinkBufferBytes);
}

void OutputWorker::afterStart(const QAudioSink& sink)
{
    const auto rateHz = static_cast<quint64>(configuration().format.sampleRate());
    const quint64 serverFrames = rateHz * kServerLatencyMs / kMsPerSecond;
    const quint64 buffered =
        static_cast<quint64>(std::max(sink.bufferSize(), m_sinkBufferBytes.load())) /
        stream()->bytesPerSample();
    stream()->silenceUntilHeard =
        kSinkBuffersUntilHeard * buffered + serverFrames * stream()->channels();
}

void OutputWorker::dropDevice()
{
    m_sinkBufferBytes = 0;
    DeviceWorker::dropDevice();
}

bool OutputWorker::isPresent(const QByteArray& id) const
{
    // Before its first answer the manager would only complain of this thread.
    return manager().isAudioReady() && manager().isOutputPresent(id);
}

QAudioDevice OutputWorker::findDevice(const QString& key) const
{
    return manager().findAudioOutput(key);
}

void OutputWorker::followDeviceList()
{
    connect(&manager(), &devices::DeviceManager::audioOutputsChanged, this,
            &OutputWorker::onDeviceListChanged);
}

void OutputWorker::reportAtTick(qint64 nowMs)
{
    const bool due = m_underrunsReportedAt == NodeWatchdog::kUnset ||
                     nowMs - m_underrunsReportedAt >= kUnderrunReportIntervalMs;
    const quint64 total = stream()->underruns;
    m_underrunsReported = std::min(m_underrunsReported, total); // the count was reset
    if (!due || total <= m_underrunsReported)
        return;
    const qint64 sinceMs = nowMs - std::max(m_underrunsReportedAt, qint64{0});
    qInfo("AudioOutputNode: %llu underrun(s) in last %lld ms (total %llu since start) — producer "
          "pipeline failed to keep up with QAudioSink demand; audible as buffer micro-gaps. "
          "Consider load reduction or larger `ringFrames`.",
          total - m_underrunsReported, sinceMs, total);
    m_underrunsReported = total;
    m_underrunsReportedAt = nowMs;
}

} // namespace media::audio
