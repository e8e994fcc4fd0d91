#pragma once

#include "media/audio/capturedevice.h"
#include "media/audio/deviceworker.h"

#include <QAudioSource>

#include <memory>

namespace media::audio {

/// The words of an input node.
[[nodiscard]] NodeWords inputWords();

/// The device's side of an input node: a source that pushes into a CaptureDevice.
class InputWorker : public DeviceWorker<QAudioSource, AudioInputNode::CaptureDevice> {
public:
    /// `watchdog`: limits other than the usual ones.
    InputWorker(std::shared_ptr<NodeStream> stream, std::shared_ptr<InputShare> share,
                const NodeWatchdog::State& watchdog = {});

protected:
    [[nodiscard]] std::unique_ptr<AudioInputNode::CaptureDevice> makeTransfer() const override;
    [[nodiscard]] bool isPresent(const QByteArray& id) const override;
    [[nodiscard]] QAudioDevice findDevice(const QString& key) const override;
    void followDeviceList() override;

private:
    const std::shared_ptr<InputShare> m_share;
};

} // namespace media::audio
