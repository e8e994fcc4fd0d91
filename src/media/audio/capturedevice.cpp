#include "media/audio/capturedevice.h"

#include "media/audio/sampleformat.h"

#include <QDebug>

#include <cstddef>
#include <cstring>
#include <utility>

namespace media::audio {

namespace {

constexpr qint64 kOverflowReportIntervalMs = 2000;

} // namespace

AudioInputNode::CaptureDevice::CaptureDevice(std::shared_ptr<NodeStream> stream,
                                             std::shared_ptr<InputShare> share)
    : m_stream(std::move(stream))
    , m_share(std::move(share))
{
}

qint64 AudioInputNode::CaptureDevice::readData(char* /*data*/, qint64 /*maxBytes*/)
{
    return -1;
}

qint64 AudioInputNode::CaptureDevice::writeData(const char* data, qint64 length)
{
    if (!m_stream || !m_stream->attached || !data || length < 1)
        return 0;
    const quint64 frameBytes = m_stream->bytesPerSample() * m_stream->channels();
    const quint64 frames = static_cast<quint64>(length) / frameBytes;
    if (frames == 0)
        return 0;
    const quint64 count = frames * m_stream->channels();
    const quint64 written = m_stream->ring.write(toSamples(data, count), count);
    if (written < count)
        reportOverflow(count - written, m_stream->nowMs());
    m_stream->samplesMoved += count;
    return static_cast<qint64>(frames * frameBytes);
}

const float* AudioInputNode::CaptureDevice::toSamples(const char* data, quint64 count)
{
    const bool int16 = m_stream->isInt16();
    if (!int16 && isAlignedForSamples(data))
        return reinterpret_cast<const float*>(data);
    if (m_samples.size() < count)
        m_samples.resize(count);
    if (int16)
        readInt16(data, count, m_samples.data());
    else
        std::memcpy(m_samples.data(), data, count * sizeof(float));
    return m_samples.data();
}

void AudioInputNode::CaptureDevice::reportOverflow(quint64 dropped, qint64 nowMs)
{
    const quint64 total = m_stream->dropped.fetch_add(dropped) + dropped;
    if (m_share->quiet || m_stream->stopping)
        return;
    const qint64 lastMs = m_stream->overflowReportedAt;
    if (lastMs != NodeStream::kNever && nowMs - lastMs < kOverflowReportIntervalMs)
        return;
    m_stream->overflowReportedAt = nowMs;
    // The capacity is in samples; log readers know the line with "frames".
    qWarning(
        "AudioInputNode: capture ring OVERFLOW — dropped %zu samples (total %zu, ring capacity "
        "%zu frames). Consumer is not draining in real time; any in-flight acoustic frame is "
        "torn (§RC).",
        static_cast<std::size_t>(dropped), static_cast<std::size_t>(total),
        static_cast<std::size_t>(m_stream->ring.capacity()));
}

} // namespace media::audio
