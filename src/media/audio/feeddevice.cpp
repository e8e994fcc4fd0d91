#include "media/audio/feeddevice.h"

#include "media/audio/outputshare.h"
#include "media/audio/sampleformat.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace media::audio {

namespace {

constexpr qint64 kUnboundedBytes = (qint64{1} << 61) - 1;

} // namespace

AudioOutputNode::FeedDevice::FeedDevice(std::shared_ptr<NodeStream> stream,
                                        std::shared_ptr<OutputShare> share)
    : m_stream(std::move(stream))
    , m_share(std::move(share))
{
}

qint64 AudioOutputNode::FeedDevice::bytesAvailable() const
{
    if (!isAttached())
        return 0;
    if (m_share->pullMode)
        return kUnboundedBytes;
    return QIODevice::bytesAvailable() +
           static_cast<qint64>(m_stream->bytesPerSample() * m_stream->ring.available());
}

qint64 AudioOutputNode::FeedDevice::readData(char* data, qint64 maxBytes)
{
    if (!isAttached() || !data || maxBytes < 1)
        return 0;
    const bool int16 = m_stream->isInt16();
    const quint64 channels = m_stream->channels();
    const quint64 frameBytes = m_stream->bytesPerSample() * channels;
    const quint64 frames = static_cast<quint64>(maxBytes) / frameBytes;
    if (frames == 0)
        return 0;

    const quint64 count = frames * channels;
    const bool direct = !int16 && isAlignedForSamples(data);
    if (!direct && m_samples.size() < count)
        m_samples.resize(count);
    float* const samples = direct ? reinterpret_cast<float*>(data) : m_samples.data();
    if (!m_share->pullMode || !readFromCallback(samples, frames, channels))
        readFromRing(samples, count);
    if (int16)
        writeInt16(samples, count, data);
    else if (!direct)
        std::memcpy(data, samples, frames * frameBytes);
    m_stream->samplesMoved += count;
    return static_cast<qint64>(frames * frameBytes);
}

qint64 AudioOutputNode::FeedDevice::writeData(const char* /*data*/, qint64 /*length*/)
{
    return -1;
}

bool AudioOutputNode::FeedDevice::readFromCallback(float* samples, quint64 frames, quint64 channels)
{
    if (m_mono.size() < frames)
        m_mono.resize(frames);
    quint64 produced = 0;
    {
        const std::lock_guard lock(m_share->pullLock);
        if (!m_share->pullCallback)
            return false;
        const qint64 given = m_share->pullCallback(m_mono.data(), static_cast<qint64>(frames));
        produced = std::min(static_cast<quint64>(std::max(given, qint64{0})), frames);
    }
    if (produced < frames) {
        std::fill_n(m_mono.data() + produced, frames - produced, 0.0F);
        ++m_stream->underruns;
    }
    for (quint64 frame = 0; frame < frames; ++frame)
        samples = std::fill_n(samples, channels, m_mono[frame]);
    return true;
}

void AudioOutputNode::FeedDevice::readFromRing(float* samples, quint64 count)
{
    const quint64 read = m_stream->ring.read(samples, count);
    const quint64 missing = count - read;
    if (missing > 0) {
        std::fill_n(samples + read, missing, 0.0F);
        if (!m_stream->ended)
            ++m_stream->underruns;
    }
    // release: pairs with the acquire in AudioOutputNode::hasPlayedOut(), which
    // must not meet the silence of before these samples.
    m_stream->silence = read > 0 ? missing : m_stream->silence + missing;
    m_stream->taken.store(m_stream->taken + read, std::memory_order_release);
}

} // namespace media::audio
