#pragma once

#include "media/audio/deviceworker.h"
#include "media/audio/feeddevice.h"
#include "media/audio/outputshare.h"

#include <QAudioSink>

#include <atomic>
#include <memory>

namespace media::audio {

/// The words of an output node.
[[nodiscard]] NodeWords outputWords();

/// The device's side of an output node: a sink that pulls from a FeedDevice.
class OutputWorker : public DeviceWorker<QAudioSink, AudioOutputNode::FeedDevice> {
public:
    /// `watchdog`: limits other than the usual ones.
    OutputWorker(std::shared_ptr<NodeStream> stream, std::shared_ptr<OutputShare> share,
                 const NodeWatchdog::State& watchdog = {});

    /// Device thread. The sink's gain becomes the remembered one.
    void applyVolume();

    /// Any thread. What the current sink was asked for, in bytes; 0 without one.
    [[nodiscard]] qsizetype sinkBufferBytes() const { return m_sinkBufferBytes; }

protected:
    [[nodiscard]] std::unique_ptr<AudioOutputNode::FeedDevice> makeTransfer() const override;
    void prepareBackend(QAudioSink& sink, bool afterRebuild) override;
    void beforeStart(QAudioSink& sink) override;
    void afterStart(const QAudioSink& sink) override;
    void dropDevice() override;
    [[nodiscard]] bool isPresent(const QByteArray& id) const override;
    [[nodiscard]] QAudioDevice findDevice(const QString& key) const override;
    void followDeviceList() override;
    void reportAtTick(qint64 nowMs) override;

private:
    [[nodiscard]] quint64 frameBytes() const;

    const std::shared_ptr<OutputShare> m_share;
    std::atomic<qsizetype> m_sinkBufferBytes = 0; ///< written on the device thread only

    // Watchdog's thread only, but for what start and stop of the ticker order.
    quint64 m_underrunsReported = 0;
    qint64 m_underrunsReportedAt = NodeWatchdog::kUnset;
};

} // namespace media::audio
