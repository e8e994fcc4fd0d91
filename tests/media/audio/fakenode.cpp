#include "fakenode.h"

#include "audioformats.h"
#include "media/devices/devicemanager.h"

#include <future>
#include <utility>

using media::audio::NodeStream;
using media::audio::NodeWorker;

QAudioDevice device()
{
    return media::devices::DeviceManager::instance().defaultAudioOutput();
}

void Gate::close()
{
    const std::lock_guard lock(m_lock);
    m_closed = true;
}

void Gate::open()
{
    const std::lock_guard lock(m_lock);
    m_closed = false;
    m_changed.notify_all();
}

void Gate::pass()
{
    std::unique_lock lock(m_lock);
    m_changed.wait(lock, [this] { return !m_closed; });
}

namespace {

class FakeWorker : public NodeWorker {
public:
    FakeWorker(std::shared_ptr<NodeStream> stream, std::shared_ptr<FakeDevice> device)
        : NodeWorker({"FakeNode", "Fake", "fake", "rebuildFake", "audio-io-fake",
                      "audio-livewd-fake", "media.audio.fake"},
                     std::move(stream), device->limits)
        , m_device(std::move(device))
    {
    }

    void fail()
    {
        m_error = QAudio::FatalError;
        onStateChanged(m_state);
        m_error = QAudio::NoError;
    }

    void enter(QAudio::State state)
    {
        m_state = state;
        if (m_isHeard)
            onStateChanged(state);
    }

    using NodeWorker::onDeviceListChanged;

protected:
    void createDevice(bool afterRebuild) override
    {
        m_device->creating.pass();
        m_device->rebuilds += afterRebuild ? 1 : 0;
        m_listed = configuration().device;
        m_exists = true;
        m_isHeard = true;
        m_state = QAudio::StoppedState;
    }

    [[nodiscard]] bool hasDevice() const override { return m_exists; }

    [[nodiscard]] QAudio::State deviceState() const override { return m_state; }

    [[nodiscard]] QAudio::Error deviceError() const override { return m_error; }

    void renewTransfer() override {}

    void openTransfer() override {}

    void closeTransfer() override {}

    [[nodiscard]] bool startDevice() override
    {
        m_device->starting.pass();
        if (!m_device->serverAnswers)
            return false;
        ++m_device->starts;
        enter(m_device->startsInto);
        return true;
    }

    void stopDevice() override
    {
        ++m_device->stops;
        m_device->stopping.pass();
        enter(QAudio::StoppedState);
    }

    void dropDevice() override { m_exists = false; }

    void retireDevice() override
    {
        m_isHeard = false;
        stopDevice();
        dropDevice();
    }

    [[nodiscard]] bool isPresent(const QByteArray& /*id*/) const override
    {
        return m_device->present;
    }

    [[nodiscard]] QAudioDevice findDevice(const QString& /*key*/) const override
    {
        return m_listed;
    }

    void followDeviceList() override {}

    void reportAtTick(qint64 /*nowMs*/) override { ++m_device->ticks; }

private:
    const std::shared_ptr<FakeDevice> m_device;
    QAudioDevice m_listed;
    bool m_exists = false;
    bool m_isHeard = false;
    QAudio::State m_state = QAudio::StoppedState;
    QAudio::Error m_error = QAudio::NoError;
};

} // namespace

FakeNode::FakeNode(std::shared_ptr<FakeDevice> device)
    : AudioNode({"FakeNode", "Fake", "fake", "rebuildFake", "audio-io-fake", "audio-livewd-fake",
                 "media.audio.fake"},
                [device = std::move(device)](const std::shared_ptr<NodeStream>& stream) {
                    return new FakeWorker(stream, device);
                })
{
}

void FakeNode::process(const AudioContext& block)
{
    for (quint64 frame = 0; frame < block.frames; ++frame) {
        const auto sample = static_cast<float>(block.samples[frame]);
        stream().ring.write(&sample, 1);
    }
}

void FakeNode::failDevice()
{
    post([](NodeWorker& worker) { static_cast<FakeWorker&>(worker).fail(); });
    waitForDeviceThread();
}

void FakeNode::changeDevice(QAudio::State state)
{
    post([state](NodeWorker& worker) { static_cast<FakeWorker&>(worker).enter(state); });
    waitForDeviceThread();
}

void FakeNode::changeDeviceList()
{
    post([](NodeWorker& worker) { ::changeDeviceList(worker); });
    waitForDeviceThread();
}

void FakeNode::waitForDeviceThread()
{
    const auto done = std::make_shared<std::promise<void>>();
    post([done](NodeWorker& /*worker*/) { done->set_value(); });
    done->get_future().wait();
}

void configure(media::audio::AudioNode& node)
{
    node.configure(device(), mono(), kRingFrames);
}

std::unique_ptr<NodeWorker> makeFakeWorker(std::shared_ptr<NodeStream> stream,
                                           std::shared_ptr<FakeDevice> device)
{
    return std::make_unique<FakeWorker>(std::move(stream), std::move(device));
}

void changeDeviceList(NodeWorker& fakeWorker)
{
    static_cast<FakeWorker&>(fakeWorker).onDeviceListChanged();
}
