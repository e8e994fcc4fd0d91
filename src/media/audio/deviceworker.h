#pragma once

#include "media/audio/nodeworker.h"
#include "media/audio/streamconnection.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QBuffer>
#include <QIODevice>

#include <memory>
#include <utility>

namespace media::audio {

/// What the workers of both nodes do alike with the toolkit's two device
/// classes, which have no base in common: `Backend` is QAudioSink or
/// QAudioSource, `Transfer` the device that it pulls from or pushes into.
///
/// Backend and transfer are made and destroyed on the device thread, whose
/// events and timers they use.
template <typename Backend, typename Transfer>
class DeviceWorker : public NodeWorker {
public:
    ~DeviceWorker() override = default;

    Q_DISABLE_COPY_MOVE(DeviceWorker)

protected:
    DeviceWorker(const NodeWords& words, std::shared_ptr<NodeStream> stream,
                 QIODevice::OpenModeFlag direction, const NodeWatchdog::State& watchdog)
        : NodeWorker(words, std::move(stream), watchdog)
        , m_direction(direction)
    {
    }

    [[nodiscard]] virtual std::unique_ptr<Transfer> makeTransfer() const = 0;

    /// The new backend's settings, before it is first started.
    virtual void prepareBackend(Backend& /*backend*/, bool /*afterRebuild*/) {}

    /// Right before and right after every start.
    virtual void beforeStart(Backend& /*backend*/) {}

    virtual void afterStart(const Backend& /*backend*/) {}

    [[nodiscard]] Backend* backend() const { return m_backend.get(); }

    void createDevice(bool afterRebuild) override
    {
        m_backend = std::make_unique<Backend>(configuration().device, configuration().format);
        prepareBackend(*m_backend, afterRebuild);
        QObject::connect(m_backend.get(), &Backend::stateChanged, this,
                         &DeviceWorker::onStateChanged);
    }

    [[nodiscard]] bool hasDevice() const override { return m_backend != nullptr; }

    [[nodiscard]] QAudio::State deviceState() const override { return m_backend->state(); }

    [[nodiscard]] QAudio::Error deviceError() const override { return m_backend->error(); }

    void renewTransfer() override
    {
        // A stopped backend still knows the transfer it was started on, and lets
        // go of it only when it is started on another.
        m_previousTransfer = std::exchange(m_transfer, makeTransfer());
        openTransfer();
    }

    void openTransfer() override
    {
        // Without "unbuffered" the base class would read ahead on its own, and
        // lose on closing what it has read.
        if (!m_transfer->isOpen())
            m_transfer->open(m_direction | QIODevice::Unbuffered);
    }

    void closeTransfer() override
    {
        if (m_transfer && m_transfer->isOpen())
            m_transfer->close();
    }

    [[nodiscard]] bool startDevice() override
    {
        // Values only: a touch that comes late must not find its worker gone.
        const StreamStart permission(
            [device = configuration().device, format = configuration().format,
             direction = m_direction] { touchServer(device, format, direction); });
        if (!permission.isAllowed())
            return false;
        beforeStart(*m_backend);
        m_backend->start(m_transfer.get());
        afterStart(*m_backend);
        return true;
    }

    void stopDevice() override { m_backend->stop(); }

    /// The device dies on this thread rather than on one made for that: its
    /// destructor ends timers of the thread that made it. Where it hangs, it hangs
    /// this thread alone, which the node then leaves behind. And it dies later,
    /// when the event loop comes round: the destructor runs events, and what they
    /// ask for (another rebuild, or this worker's end) must not happen in the
    /// middle of what the worker is at.
    void dropDevice() override
    {
        if (!m_backend)
            return;
        Backend* const backend = m_backend.release();
        QObject::disconnect(backend, nullptr, this, nullptr);
        // It may not have been stopped, and asks for its transfer to the end.
        QObject::connect(backend, &QObject::destroyed, backend, [transfer = m_transfer] {});
        backend->deleteLater();
    }

    void retireDevice() override
    {
        if (m_backend)
            m_backend->disconnect(this);
        stopDevice();
        dropDevice();
    }

private:
    static void touchServer(const QAudioDevice& device, const QAudioFormat& format,
                            QIODevice::OpenModeFlag direction)
    {
        // No rate at all: the toolkit connects, then refuses to open a stream.
        QAudioFormat impossible = format;
        impossible.setSampleRate(0);
        Backend backend(device, impossible);
        QBuffer nothing;
        nothing.open(direction);
        backend.start(&nothing);
    }

    const QIODevice::OpenModeFlag m_direction;
    std::shared_ptr<Transfer> m_previousTransfer;
    std::shared_ptr<Transfer> m_transfer;
    std::unique_ptr<Backend> m_backend;
};

} // namespace media::audio
