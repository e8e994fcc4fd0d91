#include "media/audio/audiooutputnode.h"

#include "media/audio/outputshare.h"
#include "media/audio/outputworker.h"

#include <algorithm>
#include <utility>

namespace media::audio {

AudioOutputNode::AudioOutputNode()
    : AudioOutputNode(std::make_shared<OutputShare>())
{
}

AudioOutputNode::AudioOutputNode(const std::shared_ptr<OutputShare>& share)
    : AudioOutputNode(share, [share](const std::shared_ptr<NodeStream>& stream) -> NodeWorker* {
        return new OutputWorker(stream, share);
    })
{
}

AudioOutputNode::AudioOutputNode(std::shared_ptr<OutputShare> share, WorkerMaker makeWorker)
    : AudioNode(outputWords(), std::move(makeWorker))
    , m_share(std::move(share))
{
}

AudioOutputNode::~AudioOutputNode() = default;

void AudioOutputNode::process(const AudioContext& block)
{
    if (block.frames == 0 || block.channels == 0 || !block.samples)
        return;
    const quint64 channels = stream().channels();
    const quint64 count = block.frames * channels;
    if (m_interleaved.size() < count)
        m_interleaved.resize(count);
    for (quint64 channel = 0; channel < channels; ++channel) {
        float* out = m_interleaved.data() + channel;
        const bool mono = block.channels == 1;
        if (!mono && channel >= block.channels) {
            for (quint64 frame = 0; frame < block.frames; ++frame)
                out[frame * channels] = 0.0F;
            continue;
        }
        const double* const source = block.samples + (mono ? 0 : channel * block.frames);
        for (quint64 frame = 0; frame < block.frames; ++frame)
            out[frame * channels] = static_cast<float>(source[frame]);
    }
    stream().ended = false;
    const quint64 written = stream().ring.write(m_interleaved.data(), count);
    stream().written += written;
    stream().dropped += count - written;
}

void AudioOutputNode::setVolume(float volume)
{
    m_share->volume = volume;
    post([](NodeWorker& worker) { static_cast<OutputWorker&>(worker).applyVolume(); });
}

bool AudioOutputNode::hasPlayedOut() const
{
    const quint64 written = stream().written;
    // acquire: pairs with the release in FeedDevice::readFromRing().
    if (stream().taken.load(std::memory_order_acquire) < written)
        return false;
    return written == 0 || stream().silence >= stream().silenceUntilHeard;
}

qsizetype AudioOutputNode::sinkBufferBytes() const
{
    return static_cast<const OutputWorker&>(worker()).sinkBufferBytes();
}

void AudioOutputNode::setPullCallback(PullCallback callback)
{
    const std::lock_guard lock(m_share->pullLock);
    m_share->pullCallback = std::move(callback);
}

void AudioOutputNode::setPullMode(bool enabled)
{
    m_share->pullMode = enabled;
}

void AudioOutputNode::rebuildSink()
{
    requestRebuild();
}

} // namespace media::audio
