#include "media/audio/nodestream.h"

#include <algorithm>

namespace media::audio {

void NodeStream::prepare(quint64 channelCount, QAudioFormat::SampleFormat wireFormat,
                         quint64 ringFrames)
{
    setShape(channelCount, wireFormat, ringFrames);
    ring.setCapacity(m_channels * ringFrames);
}

void NodeStream::prepareAgain(quint64 channelCount, QAudioFormat::SampleFormat wireFormat,
                              quint64 ringFrames)
{
    setShape(channelCount, wireFormat, ringFrames);
    begin();
}

void NodeStream::setShape(quint64 channelCount, QAudioFormat::SampleFormat wireFormat,
                          quint64 ringFrames)
{
    m_channels = std::max(channelCount, quint64{1});
    m_int16 = wireFormat == QAudioFormat::Int16;
    // The ring complains about an excess once; begin() need not do it again.
    m_ringRequest = std::min(m_channels * ringFrames, AudioRing::kMaxRingFrames);
}

void NodeStream::begin()
{
    ring.setCapacity(m_ringRequest);
    written = 0;
    taken = 0;
    silence = 0;
    ended = false;
}

void NodeStream::succeed(const NodeStream& previous)
{
    samplesMoved = previous.samplesMoved.load();
    underruns = previous.underruns.load();
    dropped = previous.dropped.load();
}

} // namespace media::audio
