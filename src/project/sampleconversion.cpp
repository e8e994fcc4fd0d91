#include "project/sampleconversion.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <new>
#include <utility>

namespace {

constexpr float kUInt8Scale = 1.0F / 128.0F;
constexpr int kUInt8Zero = 128;
constexpr float kInt16Scale = 1.0F / 32768.0F;
constexpr float kInt32Scale = 1.0F / 2147483648.0F;

constexpr int kMostTrackChannels = 8;

float toFloat(quint8 value)
{
    return static_cast<float>(value - kUInt8Zero) * kUInt8Scale;
}

float toFloat(qint16 value)
{
    return static_cast<float>(value) * kInt16Scale;
}

float toFloat(qint32 value)
{
    return static_cast<float>(value) * kInt32Scale;
}

float toFloat(float value)
{
    return value;
}

using Targets = std::array<float*, kMostTrackChannels>;

// The stride is a compile-time constant so that the loops become vector code.
template <int Stride, typename Sample>
void deinterleaveFrames(const Sample* source, qsizetype frames, const Targets& targets)
{
    for (int channel = 0; channel < Stride; ++channel) {
        float* __restrict target = targets[static_cast<std::size_t>(channel)];
        const Sample* __restrict from = source + channel;
        for (qsizetype frame = 0; frame < frames; ++frame)
            target[frame] = toFloat(from[frame * Stride]);
    }
}

template <typename Sample>
void deinterleave(const void* data, qsizetype values, int stride, qsizetype frames,
                  const Targets& targets)
{
    const auto* source = static_cast<const Sample*>(data);
    const qsizetype whole = std::min(frames, values / stride);
    switch (stride) {
    case 1:
        deinterleaveFrames<1>(source, whole, targets);
        break;
    case 2:
        deinterleaveFrames<2>(source, whole, targets);
        break;
    case 6:
        deinterleaveFrames<6>(source, whole, targets);
        break;
    default:
        deinterleaveFrames<kMostTrackChannels>(source, whole, targets);
        break;
    }
    if (whole == frames)
        return;
    const qsizetype rest = values - whole * stride;
    for (qsizetype channel = 0; channel < rest; ++channel)
        targets[static_cast<std::size_t>(channel)][whole] =
            toFloat(source[whole * stride + channel]);
}

qint64 bytesOf(qint64 frames, qint64 channels)
{
    return frames * channels * qint64{sizeof(float)};
}

void reserveAll(QList<QList<float>>& channels, qsizetype frames)
{
    for (QList<float>& channel : channels)
        channel.reserve(frames);
}

void appendBuffer(QList<QList<float>>& channels, const QAudioBuffer& buffer)
{
    const qsizetype frames = buffer.frameCount();
    const qsizetype values = buffer.sampleCount();
    const auto stride = static_cast<int>(channels.size());
    Targets targets{};
    for (int channel = 0; channel < stride; ++channel) {
        QList<float>& list = channels[channel];
        const qsizetype before = list.size();
        list.resize(before + frames);
        targets[static_cast<std::size_t>(channel)] = list.data() + before;
    }
    const void* data = buffer.constData<void>();
    switch (buffer.format().sampleFormat()) {
    case QAudioFormat::UInt8:
        return deinterleave<quint8>(data, values, stride, frames, targets);
    case QAudioFormat::Int16:
        return deinterleave<qint16>(data, values, stride, frames, targets);
    case QAudioFormat::Int32:
        return deinterleave<qint32>(data, values, stride, frames, targets);
    case QAudioFormat::Float:
        return deinterleave<float>(data, values, stride, frames, targets);
    default:
        return; // what cannot be interpreted is silence of the same length
    }
}

QAudioBuffer interleaved(const QList<QList<float>>& channels, qsizetype begin, qsizetype frames,
                         int sampleRate)
{
    QAudioFormat format;
    format.setSampleFormat(QAudioFormat::Float);
    format.setChannelCount(static_cast<int>(channels.size()));
    format.setSampleRate(sampleRate);
    QAudioBuffer buffer(static_cast<int>(frames), format);
    auto* target = buffer.data<float>();
    for (qsizetype frame = begin; frame < begin + frames; ++frame) {
        for (const QList<float>& channel : channels)
            *target++ = channel[frame];
    }
    return buffer;
}

} // namespace

int trackChannelsFor(int sourceChannels)
{
    switch (sourceChannels) {
    case 1:
    case 2:
    case 6:
    case 8:
        return sourceChannels;
    default:
        return 2;
    }
}

void SampleCollector::takeMemory(qint64 bytes)
{
    if (bytes > m_mostBytes - m_takenBytes)
        throw std::bad_alloc();
    m_takenBytes += bytes;
}

void SampleCollector::add(const QAudioBuffer& buffer)
{
    const int channels = buffer.format().channelCount();
    const bool mapsToItself = trackChannelsFor(channels) == channels;
    if (m_isEmpty) {
        m_keeping = !mapsToItself;
        m_channels = QList<QList<float>>(trackChannelsFor(channels));
        if (!m_keeping)
            reserveAll(m_channels, std::min(m_expectedFrames, m_mostBytes / bytesOf(1, channels)));
    } else if (!m_keeping && channels != m_sourceChannels) {
        keepWhatWasConverted();
    }
    m_isEmpty = false;
    m_sourceChannels = channels;
    m_sampleRate = buffer.format().sampleRate();
    if (m_keeping) {
        takeMemory(buffer.byteCount());
        m_kept.append(buffer);
        return;
    }
    takeMemory(bytesOf(buffer.frameCount(), channels));
    m_bufferFrames.append(buffer.frameCount());
    appendBuffer(m_channels, buffer);
}

void SampleCollector::keepWhatWasConverted()
{
    m_keeping = true;
    qsizetype begin = 0;
    for (const qsizetype frames : std::as_const(m_bufferFrames)) {
        m_kept.append(interleaved(m_channels, begin, frames, m_sampleRate));
        begin += frames;
    }
    m_channels.clear();
    m_bufferFrames.clear();
}

QList<QList<float>> SampleCollector::takeChannels()
{
    QList<QList<float>> channels = std::move(m_channels);
    if (m_keeping) {
        channels = QList<QList<float>>(trackChannelsFor(m_sourceChannels));
        qsizetype frames = 0;
        for (const QAudioBuffer& buffer : std::as_const(m_kept))
            frames += buffer.frameCount();
        takeMemory(bytesOf(frames, channels.size()));
        reserveAll(channels, frames);
        for (QAudioBuffer& buffer : m_kept) {
            appendBuffer(channels, buffer);
            buffer = {};
        }
    }
    *this = SampleCollector(m_mostBytes);
    return channels;
}
