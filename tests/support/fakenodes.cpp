#include "support/fakenodes.h"

#include "media/audio/inputworker.h"
#include "media/audio/outputworker.h"

#include <QTimer>

#include <algorithm>
#include <utility>
#include <vector>

using namespace media::audio;

namespace {

constexpr int kChunkIntervalMs = 1;
constexpr int kNoStallMs = 60000;

/// A worker of either kind on a device that is always there and does nothing.
template <typename Worker, typename Share>
class FakeWorker : public Worker {
public:
    FakeWorker(const std::shared_ptr<NodeStream>& stream, const std::shared_ptr<Share>& share,
               const NodeWatchdog::State& watchdog)
        : Worker(stream, share, watchdog)
    {
    }

    void fail()
    {
        m_error = QAudio::FatalError;
        this->onStateChanged(m_state);
        m_error = QAudio::NoError;
    }

protected:
    void createDevice(bool /*afterRebuild*/) override
    {
        m_exists = true;
        m_state = QAudio::StoppedState;
    }

    [[nodiscard]] bool hasDevice() const override { return m_exists; }

    [[nodiscard]] QAudio::State deviceState() const override { return m_state; }

    [[nodiscard]] QAudio::Error deviceError() const override { return m_error; }

    [[nodiscard]] bool startDevice() override
    {
        enter(QAudio::ActiveState);
        return true;
    }

    void stopDevice() override { enter(QAudio::StoppedState); }

    void dropDevice() override { m_exists = false; }

    [[nodiscard]] bool isPresent(const QByteArray& /*id*/) const override { return true; }

    [[nodiscard]] QAudioDevice findDevice(const QString& /*key*/) const override
    {
        return this->configuration().device;
    }

    void followDeviceList() override {}

private:
    void enter(QAudio::State state)
    {
        m_state = state;
        this->onStateChanged(state);
    }

    bool m_exists = false;
    QAudio::State m_state = QAudio::StoppedState;
    QAudio::Error m_error = QAudio::NoError;
};

using FakeOutputWorker = FakeWorker<OutputWorker, OutputShare>;

class FakeInputWorker : public FakeWorker<InputWorker, InputShare> {
public:
    FakeInputWorker(const std::shared_ptr<NodeStream>& stream,
                    const std::shared_ptr<InputShare>& share, FakeInputNode::Sound sound,
                    qint64 samples, const NodeWatchdog::State& watchdog)
        : FakeWorker(stream, share, watchdog)
        , m_sound(std::move(sound))
        , m_samples(samples)
        , m_capture(stream, share)
    {
        m_capture.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
        connect(&m_source, &QTimer::timeout, this, &FakeInputWorker::deliver);
    }

protected:
    [[nodiscard]] bool startDevice() override
    {
        m_source.start(kChunkIntervalMs);
        return FakeWorker::startDevice();
    }

    void stopDevice() override
    {
        m_source.stop();
        FakeWorker::stopDevice();
    }

private:
    void deliver()
    {
        const auto room = static_cast<qint64>(stream()->ring.freeSamples());
        const qint64 count = std::min(room, m_samples - m_next);
        m_chunk.resize(static_cast<std::size_t>(count));
        for (float& sample : m_chunk)
            sample = m_sound(m_next++);
        m_capture.write(reinterpret_cast<const char*>(m_chunk.data()),
                        count * qint64{sizeof(float)});
        if (m_next == m_samples)
            m_source.stop();
    }

    const FakeInputNode::Sound m_sound;
    const qint64 m_samples;
    qint64 m_next = 0;
    std::vector<float> m_chunk;
    AudioInputNode::CaptureDevice m_capture;
    QTimer m_source{this};
};

} // namespace

NodeWatchdog::State impatientWatchdog()
{
    NodeWatchdog::State state;
    state.maxRebuilds = 0;
    state.stallMs = kNoStallMs;
    return state;
}

FakeInputNode::FakeInputNode(const Sound& sound, qint64 samples,
                             const NodeWatchdog::State& watchdog)
    : FakeInputNode(std::make_shared<InputShare>(), sound, samples, watchdog)
{
}

FakeInputNode::FakeInputNode(const std::shared_ptr<InputShare>& share, const Sound& sound,
                             qint64 samples, const NodeWatchdog::State& watchdog)
    : AudioInputNode(share, [=](const std::shared_ptr<NodeStream>& stream) -> NodeWorker* {
        return new FakeInputWorker(stream, share, sound, samples, watchdog);
    })
{
}

void FakeInputNode::fail()
{
    post([](NodeWorker& worker) { static_cast<FakeInputWorker&>(worker).fail(); });
}

FakeOutputNode::FakeOutputNode(const NodeWatchdog::State& watchdog)
    : FakeOutputNode(std::make_shared<OutputShare>(), watchdog)
{
}

FakeOutputNode::FakeOutputNode(const std::shared_ptr<OutputShare>& share,
                               const NodeWatchdog::State& watchdog)
    : AudioOutputNode(share, [=](const std::shared_ptr<NodeStream>& stream) -> NodeWorker* {
        return new FakeOutputWorker(stream, share, watchdog);
    })
{
}

void FakeOutputNode::fail()
{
    post([](NodeWorker& worker) { static_cast<FakeOutputWorker&>(worker).fail(); });
}
