#include "media/audio/audionode.h"

#include "media/audio/devicethread.h"

#include <QDeadlineTimer>
#include <QDebug>

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

void AudioNode::makeSide()
{
    m_thread = std::make_unique<DeviceThread>(QString::fromLatin1(m_words.thread));
    m_worker = m_makeWorker(m_stream);
    connect(m_worker, &NodeWorker::deviceStateChanged, this, &AudioNode::deviceStateChanged);
    connect(m_worker, &NodeWorker::deviceRebuilt, this, &AudioNode::deviceRebuilt);
    connect(m_worker, &NodeWorker::watchdogGaveUp, this, &AudioNode::watchdogGaveUp);
    connect(m_worker, &NodeWorker::audioUnhealthy, this, &AudioNode::audioUnhealthy);
    connect(m_worker, &NodeWorker::audioHealthy, this, &AudioNode::audioHealthy);
    m_thread->adopt(m_worker);
}

void AudioNode::abandonSide(const char* what)
{
    qWarning("%s::%s: the device thread has not answered for %lld ms — leaving it behind and "
             "going on with a new one",
             m_words.node, what, static_cast<long long>(kCallBound.count()));
    m_stream->detach();
    disconnect(m_worker, nullptr, this, nullptr);
    m_thread->abandon([worker = m_worker] { dispose(worker); });

    const auto stream = std::make_shared<NodeStream>();
    stream->succeed(*m_stream);
    m_stream = stream;
    makeSide();
    if (m_configured)
        post([checked = m_configuration](NodeWorker& worker) { worker.adopt(checked); });
}

bool AudioNode::run(const char* what, const std::function<void(NodeWorker&)>& work)
{
    if (m_thread->run([worker = m_worker, work] { work(*worker); }, kCallBound))
        return true;
    abandonSide(what);
    return false;
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
    const auto work = [wanted, accepted](NodeWorker& worker) {
        *accepted = worker.configure(wanted);
    };
    m_configured = false;
    // A new thread has nothing to tear down, so nothing to hang in.
    if (!run("configure", work) && !run("configure", work))
        return;
    m_configuration = wanted;
    m_configured = *accepted;
}

bool AudioNode::start()
{
    const auto started = std::make_shared<std::atomic<bool>>(false);
    return run("start", [started](NodeWorker& worker) { *started = worker.start(); }) && *started;
}

void AudioNode::stop()
{
    (void)run("stop", [](NodeWorker& worker) { worker.stop(); });
}

void AudioNode::requestRebuild()
{
    post([](NodeWorker& worker) { worker.rebuild(); });
}

void AudioNode::resetCounters()
{
    m_stream->underruns = 0;
    m_stream->dropped = 0;
}

} // namespace media::audio
