#include "media/audio/nodestream.h"

#include <algorithm>

namespace media::audio {

void NodeStream::prepare(quint64 channelCount, QAudioFormat::SampleFormat wireFormat,
                         quint64 ringFrames)
{
    m_channels = std::max(channelCount, quint64{1});
    m_int16 = wireFormat == QAudioFormat::Int16;
    const quint64 samples = m_channels * ringFrames;
    ring.setCapacity(samples);
    // The ring has complained about an excess; begin() need not do it again.
    m_ringRequest = std::min(samples, AudioRing::kMaxRingFrames);
}

void NodeStream::begin()
{
    ring.setCapacity(m_ringRequest);
    written = 0;
    taken = 0;
    silence = 0;
}

void NodeStream::succeed(const NodeStream& previous)
{
    m_channels = previous.m_channels.load();
    m_int16 = previous.m_int16.load();
    m_ringRequest = previous.m_ringRequest;
    samplesMoved = previous.samplesMoved.load();
    underruns = previous.underruns.load();
    dropped = previous.dropped.load();
    if (previous.ring.capacity() > 0)
        begin();
}

} // namespace media::audio
