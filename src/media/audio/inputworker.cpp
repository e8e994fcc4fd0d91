#include "media/audio/inputworker.h"

#include "media/devices/devicemanager.h"

#include <utility>

namespace media::audio {

namespace {

devices::DeviceManager& manager()
{
    return devices::DeviceManager::instance();
}

} // namespace

NodeWords inputWords()
{
    return {"AudioInputNode", "QAudioSource",    "source",           "rebuildSource",
            "audio-io-in",    "audio-livewd-in", "media.audio.input"};
}

InputWorker::InputWorker(std::shared_ptr<NodeStream> stream, std::shared_ptr<InputShare> share,
                         const NodeWatchdog::State& watchdog)
    : DeviceWorker(inputWords(), std::move(stream), QIODevice::WriteOnly, watchdog)
    , m_share(std::move(share))
{
}

std::unique_ptr<AudioInputNode::CaptureDevice> InputWorker::makeTransfer() const
{
    return std::make_unique<AudioInputNode::CaptureDevice>(stream(), m_share);
}

bool InputWorker::isPresent(const QByteArray& id) const
{
    // Before its first answer the manager would only complain of this thread.
    return manager().isAudioReady() && manager().isInputPresent(id);
}

QAudioDevice InputWorker::findDevice(const QString& key) const
{
    return manager().findAudioInput(key);
}

void InputWorker::followDeviceList()
{
    connect(&manager(), &devices::DeviceManager::audioInputsChanged, this,
            &InputWorker::onDeviceListChanged);
}

} // namespace media::audio
