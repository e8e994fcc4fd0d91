#include "media/audio/audioinputnode.h"

#include "media/audio/inputshare.h"
#include "media/audio/inputworker.h"

#include <utility>

namespace media::audio {

AudioInputNode::AudioInputNode()
    : AudioInputNode(std::make_shared<InputShare>())
{
}

AudioInputNode::AudioInputNode(const std::shared_ptr<InputShare>& share)
    : AudioInputNode(share, [share](const std::shared_ptr<NodeStream>& stream) -> NodeWorker* {
        return new InputWorker(stream, share);
    })
{
}

AudioInputNode::AudioInputNode(std::shared_ptr<InputShare> share, WorkerMaker makeWorker)
    : AudioNode(inputWords(), std::move(makeWorker))
    , m_share(std::move(share))
{
}

AudioInputNode::~AudioInputNode() = default;

void AudioInputNode::process(const AudioContext& /*block*/) {}

quint64 AudioInputNode::read(float* destination, quint64 count)
{
    return stream().ring.read(destination, count);
}

void AudioInputNode::setQuiet(bool quiet)
{
    m_share->quiet = quiet;
}

void AudioInputNode::rebuildSource()
{
    requestRebuild();
}

} // namespace media::audio
