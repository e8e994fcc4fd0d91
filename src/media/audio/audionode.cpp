#include "media/audio/audionode.h"

#include "media/audio/devicethread.h"

#include <QDebug>

#include <algorithm>
#include <atomic>
#include <utility>

namespace media::audio {

namespace {

/// On the device thread.
void dispose(NodeWorker* worker)
{
    worker->tearDown();
    delete worker;
}

} // namespace

AudioNode::AudioNode(const NodeWords& words, WorkerMaker makeWorker)
    : m_words(words)
    , m_makeWorker(std::move(makeWorker))
    , m_stream(std::make_shared<NodeStream>())
{
    connect(this, &AudioNode::audioUnhealthy, this, [this] { m_toldUnhealthy = true; });
    connect(this, &AudioNode::audioHealthy, this, [this] { m_toldUnhealthy = false; });
    makeSide();
}

AudioNode::~AudioNode()
{
    const QDeadlineTimer deadline(kTearDownBound);
    NodeWorker* const worker = m_worker;
    disconnect(worker, nullptr, this, nullptr);
    const bool gone = m_thread->run([worker] { dispose(worker); }, kTearDownBound) &&
                      m_thread->end(DeviceThread::Ms{deadline.remainingTime()});
    if (gone)
        return;
    qWarning("%s: the device thread hangs at the end — leaving it behind", m_words.node);
    m_stream->detach();
    m_thread->abandon({});
}

template <typename... Arguments>
void AudioNode::forward(void (NodeWorker::*from)(Arguments...), void (AudioNode::*to)(Arguments...))
{
    connect(m_worker, from, this, [this, to, side = m_side](Arguments... arguments) {
        if (side == m_side)
            emit(this->*to)(arguments...);
    });
}

void AudioNode::makeSide()
{
    m_thread = std::make_unique<DeviceThread>(QString::fromLatin1(m_words.thread));
    m_worker = m_makeWorker(m_stream);
    ++m_side;
    forward(&NodeWorker::deviceStateChanged, &AudioNode::deviceStateChanged);
    forward(&NodeWorker::deviceRebuilt, &AudioNode::deviceRebuilt);
    forward(&NodeWorker::audioUnhealthy, &AudioNode::audioUnhealthy);
    forward(&NodeWorker::audioHealthy, &AudioNode::audioHealthy);
    connect(m_worker, &NodeWorker::watchdogGaveUp, this, [this, side = m_side](quint64 run) {
        if (side == m_side && run == m_worker->run())
            emit watchdogGaveUp();
    });
    m_thread->adopt(m_worker);
}

void AudioNode::abandonSide(const char* what, DeviceThread::Ms waited)
{
    qWarning("%s::%s: the device thread has not answered for %lld ms — leaving it behind and "
             "going on with a new one",
             m_words.node, what, static_cast<long long>(waited.count()));
    m_stream->detach();
    disconnect(m_worker, nullptr, this, nullptr);
    m_thread->abandon([worker = m_worker] { dispose(worker); });

    const auto stream = std::make_shared<NodeStream>();
    stream->succeed(*m_stream);
    m_stream = stream;
    m_requestedStop.reset();
    makeSide();
    // The new worker's watchdog knows nothing of it.
    if (std::exchange(m_toldUnhealthy, false))
        QMetaObject::invokeMethod(this, &AudioNode::audioHealthy, Qt::QueuedConnection);
    if (!m_configured)
        return;
    m_worker->prepareAgain(m_configuration);
    post([checked = m_configuration](NodeWorker& worker) { worker.adopt(checked); });
}

void AudioNode::shareWaits(std::shared_ptr<WaitBudget> budget)
{
    m_waits = std::move(budget);
}

bool AudioNode::waitOrAbandon(const char* what, DeviceThread::Ms most,
                              const std::function<bool(DeviceThread::Ms)>& wait)
{
    const DeviceThread::Ms begin = WaitBudget::now();
    const DeviceThread::Ms bound = m_waits ? std::min(most, m_waits->left(begin)) : most;
    const bool done = wait(bound);
    if (m_waits)
        m_waits->spend(begin, WaitBudget::now());
    if (!done)
        abandonSide(what, bound);
    return done;
}

bool AudioNode::run(const char* what, const std::function<void(NodeWorker&)>& work)
{
    return waitOrAbandon(what, kCallBound, [this, &work](DeviceThread::Ms bound) {
        return m_thread->run([worker = m_worker, work] { work(*worker); }, bound);
    });
}

void AudioNode::post(std::function<void(NodeWorker&)> work)
{
    m_thread->post([worker = m_worker, work = std::move(work)] { work(*worker); });
}

void AudioNode::configure(const QAudioDevice& device, const QAudioFormat& format,
                          quint64 ringFrames)
{
    const NodeConfiguration wanted{device, format, ringFrames};
    const auto accepted = std::make_shared<std::atomic<bool>>(false);
    m_configured = false;
    m_configuration = wanted;
    m_stream->stopping = true;
    if (run("configure",
            [wanted, accepted](NodeWorker& worker) { *accepted = worker.configure(wanted); })) {
        m_configured = *accepted;
        return;
    }
    // A new worker has nothing to tear down, so there is no need to wait for it.
    m_configured = m_worker->prepare(wanted);
    if (m_configured)
        post([wanted](NodeWorker& worker) { worker.adopt(wanted); });
}

bool AudioNode::start()
{
    const auto started = std::make_shared<std::atomic<bool>>(false);
    m_stream->stopping = false;
    if (run("start", [started](NodeWorker& worker) { *started = worker.start(); }))
        return *started;
    if (m_configured)
        post([](NodeWorker& worker) { worker.resumeStart(); });
    return false;
}

void AudioNode::stop()
{
    m_stream->stopping = true;
    (void)run("stop", [](NodeWorker& worker) { worker.stop(); });
}

void AudioNode::requestStop()
{
    m_stream->stopping = true;
    m_requestedStop = m_thread->submit([worker = m_worker] { worker->stop(); });
}

bool AudioNode::waitUntilIdle(QDeadlineTimer deadline)
{
    const auto stop = std::exchange(m_requestedStop, {});
    const DeviceThread::Ms most =
        deadline.isForever() ? kCallBound
                             : std::min(DeviceThread::Ms{deadline.remainingTime()}, kCallBound);
    return !stop || waitOrAbandon("stop", most,
                                  [&stop](DeviceThread::Ms bound) { return stop->waitFor(bound); });
}

void AudioNode::requestRebuild()
{
    post([](NodeWorker& worker) { worker.rebuild(); });
}

void AudioNode::resetCounters()
{
    m_stream->underruns = 0;
    m_stream->dropped = 0;
    m_stream->overflowReportedAt = NodeStream::kNever;
}

} // namespace media::audio
