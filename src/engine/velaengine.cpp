#include "engine/velaengine.h"

#include "engine/audiocontext.h"
#include "engine/capture.h"
#include "engine/deviceselection.h"
#include "engine/transport.h"
#include "media/audio/audiosystem.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QLoggingCategory>
#include <QTimer>

#include <algorithm>
#include <new>
#include <utility>

using media::audio::AudioInputNode;
using media::audio::AudioOutputNode;
using media::audio::WaitBudget;

namespace {

Q_LOGGING_CATEGORY(deviceCategory, "vela.engine.devices", QtWarningMsg)
Q_LOGGING_CATEGORY(diagnosticsCategory, "vela.engine.diagnostics", QtWarningMsg)

constexpr int kPumpIntervalMs = 5;
constexpr int kDiagnosticsIntervalMs = 1000;
constexpr quint64 kOutputRingFrames = 8192;
constexpr quint64 kInputRingFrames = 32768;
constexpr auto kBlockSamples = static_cast<quint64>(mixer::kBlockSamples);

QTimer* makePump(VelaEngine* engine)
{
    auto* timer = new QTimer(engine);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(kPumpIntervalMs);
    return timer;
}

} // namespace

VelaEngine::VelaEngine(QObject* parent)
    : VelaEngine({[] { return QSharedPointer<AudioOutputNode>::create(); },
                  [] { return QSharedPointer<AudioInputNode>::create(); }},
                 parent)
{
}

VelaEngine::VelaEngine(NodeMakers makers, QObject* parent, qint64 maxTakeFrames)
    : QObject(parent)
    , m_makers(std::move(makers))
    , m_maxTakeFrames(maxTakeFrames)
    , m_waits(std::make_shared<WaitBudget>(media::audio::AudioNode::kCallBound))
    , m_playTimer(makePump(this))
    , m_recordTimer(makePump(this))
    , m_mixBuffer(mixer::kBlockSamples, 0.0)
    , m_deviceLogging(deviceCategory().isDebugEnabled())
    , m_diagnostics(diagnosticsCategory().isDebugEnabled())
    , m_diagnosticsTimer(new QTimer(this))
{
    qRegisterMetaType<QList<float>>();
    m_clock.start();
    m_diagnosticsTimer->setInterval(kDiagnosticsIntervalMs);
    connect(m_playTimer, &QTimer::timeout, this, &VelaEngine::pumpPlayback);
    connect(m_recordTimer, &QTimer::timeout, this, &VelaEngine::pumpRecording);
    connect(m_diagnosticsTimer, &QTimer::timeout, this, &VelaEngine::reportDiagnostics);
}

VelaEngine::~VelaEngine()
{
    stopAll();
    m_recordTrack.reset();
    m_recordBuffer.clear();
    m_monitorRight.clear();
    m_monitorLeft.clear();
    m_mixBuffer.clear();
    m_inputNode.reset();
    m_outputNode.reset();
    m_project.reset();
}

void VelaEngine::setProject(const ProjectHandle& project)
{
    m_project = project;
    m_figures.reset();
    m_playoutWait.reset();
}

bool VelaEngine::ensureAudio()
{
    const qint32 rate = m_project ? m_project->sampleRate : VelaProject::kDefaultSampleRate;
    if (m_audioReady && rate == m_audioRate)
        return !m_outputNode.isNull();
    // The first look for devices waits for the server as the nodes do.
    const WaitBudget::Ms begin = WaitBudget::now();
    media::audio::AudioSystem::instance().initialize();
    m_waits->spend(begin, WaitBudget::now());
    // What is running keeps its device; the next start from rest selects again.
    if (!m_playing)
        m_outputUsable = selectOutput(rate);
    if (!m_recording)
        m_inputUsable = selectInput(rate);
    m_audioRate = rate;
    m_audioReady = m_outputUsable && !m_playing && !m_recording;
    return !m_outputNode.isNull();
}

bool VelaEngine::selectOutput(qint32 rateHz)
{
    QAudioFormat format;
    format.setSampleFormat(QAudioFormat::Float);
    format.setChannelCount(static_cast<int>(mixer::kOutputChannels));
    format.setChannelConfig(QAudioFormat::ChannelConfigStereo);
    format.setSampleRate(rateHz);
    const QAudioDevice device = device_selection::outputFor(format);
    if (device.isNull()) {
        qWarning() << "VelaEngine: no audio output device supports" << format;
        return false;
    }
    if (!m_outputNode) {
        m_outputNode = m_makers.output();
        m_outputNode->shareWaits(m_waits);
        listenTo(m_outputNode.data(), &VelaEngine::onOutputLost,
                 "VelaEngine: output device rebuilt");
    }
    m_outputNode->configure(device, format, kOutputRingFrames);
    m_outputFormat = format;
    emit outputFormatChanged(format);
    return true;
}

bool VelaEngine::selectInput(qint32 rateHz)
{
    QAudioFormat format;
    format.setSampleFormat(QAudioFormat::Float);
    format.setChannelCount(1);
    format.setSampleRate(rateHz);
    const QAudioDevice device = device_selection::inputFor(format);
    if (device.isNull()) {
        if (m_deviceLogging)
            qDebug() << "VelaEngine: no audio input device available for recording";
        return false;
    }
    if (!m_inputNode) {
        m_inputNode = m_makers.input();
        m_inputNode->shareWaits(m_waits);
        listenTo(m_inputNode.data(), &VelaEngine::onInputLost, "VelaEngine: input device rebuilt");
    }
    m_inputNode->configure(device, format, kInputRingFrames);
    m_inputFormat = format;
    return true;
}

bool VelaEngine::ensureInput()
{
    const bool wasReady = m_audioReady;
    if (!ensureAudio())
        return false;
    // What was selected stands; but where nothing was, something may be by now.
    if (wasReady && !m_inputUsable)
        m_inputUsable = selectInput(m_audioRate);
    return m_inputUsable;
}

void VelaEngine::listenTo(media::audio::AudioNode* node, void (VelaEngine::*onLost)(),
                          const char* rebuiltText)
{
    connect(node, &media::audio::AudioNode::watchdogGaveUp, this, onLost);
    connect(node, &media::audio::AudioNode::deviceRebuilt, this, [this, rebuiltText](int count) {
        if (m_deviceLogging)
            qDebug() << rebuiltText << count;
    });
}

void VelaEngine::startPlayback()
{
    if (m_playing || !m_project || !ensureAudio() || !m_outputUsable)
        return;
    m_project->playing = true;
    m_playing = true;
    m_ended = false;
    m_playoutWait.reset();
    goToCursor();
    // First, for it sets the figures to zero, and the first blocks count.
    updateDiagnosticsTimer();
    // The device asks for samples the moment it starts.
    static_cast<void>(fillRing());
    // A thread that does not come back from there is left behind, and the ring with it.
    if (!m_outputNode->start() && m_outputNode->queuedSamples() == 0)
        goToCursor();
    m_playTimer->start();
}

void VelaEngine::goToCursor()
{
    m_project->play = m_project->cursor;
    m_mixedSinceStart = false;
}

void VelaEngine::stopPlayback()
{
    m_playTimer->stop();
    if (m_outputNode)
        m_outputNode->stop();
    m_playing = false;
    m_ended = false;
    if (m_project)
        m_project->playing = false;
    updateDiagnosticsTimer();
}

void VelaEngine::pumpPlayback()
{
    if (!m_project || !m_outputNode || !m_project->playing)
        return;
    if (m_diagnostics)
        m_figures.noteTick();
    if (!m_ended)
        m_ended = fillRing();
    if (m_ended)
        finishPlayback();
}

/// True when nothing is left to mix.
bool VelaEngine::fillRing()
{
    bool isOver = transport::isAtEnd(*m_project);
    while (!isOver && m_outputNode->freeSamples() >= kBlockSamples) {
        renderBlock();
        isOver = transport::isAtEnd(*m_project);
    }
    if (isOver)
        m_outputNode->markEnd();
    return isOver;
}

void VelaEngine::renderBlock()
{
    m_monitorLeft.resize(mixer::kBlockFrames);
    m_monitorRight.resize(mixer::kBlockFrames);
    mixer::mixBlock(*m_project, m_project->play.position, m_mixBuffer.data(), m_monitorLeft.data(),
                    m_monitorRight.data());
    m_outputNode->process(
        AudioContext(mixer::kBlockFrames, mixer::kOutputChannels, m_mixBuffer.constData()));
    transport::advance(*m_project, mixer::kBlockFrames);
    m_mixedSinceStart = true;
    m_playoutWait.reset();
    m_figures.countBlock();
    emit monitor(m_monitorLeft, m_monitorRight);
}

/// What was mixed last is still on its way to the loudspeaker; stopping the
/// output now would cut it off.
void VelaEngine::finishPlayback()
{
    const bool playedOut = !m_mixedSinceStart || m_outputNode->hasPlayedOut();
    if (!m_playoutWait.isOver(playedOut, m_outputNode->samplesDelivered(), m_clock.elapsed()))
        return;
    stopPlayback();
    emit playbackStopped();
    emit positionChanged();
}

void VelaEngine::startRecording()
{
    if (m_recording)
        return;
    if (!m_project || !ensureInput()) {
        qWarning() << "VelaEngine: cannot record — no input device";
        return;
    }
    beginTake(Track(tr("Recording"), 1, m_project->sampleRate));
    m_project->recording = true;
    m_recording = true;
    m_inputNode->start();
    m_recordTimer->start();
    updateDiagnosticsTimer();
}

/// In a new track that is like the one given, but empty.
void VelaEngine::beginTake(const Track& model)
{
    m_recordTrack = m_project->addTrack(model.name, 1);
    m_recordTrack->sampleRate = model.sampleRate;
    m_recordTrack->muted = model.muted;
    m_recordTrack->solo = model.solo;
    m_takeWriter.emplace(m_recordTrack);
    emit structureChanged();
}

void VelaEngine::stopRecording()
{
    m_recordTimer->stop();
    if (m_inputNode)
        m_inputNode->stop();
    m_recording = false;
    m_takeWriter.reset();
    m_recordTrack.reset();
    if (m_project)
        m_project->recording = false;
    updateDiagnosticsTimer();
}

void VelaEngine::stopAll()
{
    // Both are asked first, so that one that hangs does not hold up the other.
    if (m_outputNode)
        m_outputNode->requestStop();
    if (m_inputNode)
        m_inputNode->requestStop();
    const QDeadlineTimer deadline(media::audio::AudioNode::kCallBound);
    if (m_outputNode)
        static_cast<void>(m_outputNode->waitUntilIdle(deadline));
    if (m_inputNode)
        static_cast<void>(m_inputNode->waitUntilIdle(deadline));
    stopPlayback();
    stopRecording();
}

void VelaEngine::pumpRecording()
{
    if (!m_project || !m_inputNode || !m_takeWriter || !m_project->recording)
        return;
    if (m_diagnostics)
        m_figures.noteTick();
    const quint64 available = m_inputNode->availableSamples();
    if (available == 0)
        return;
    const auto wanted = static_cast<qsizetype>(available);
    if (m_recordBuffer.size() < wanted)
        m_recordBuffer.resize(wanted);
    const auto got = static_cast<qsizetype>(m_inputNode->read(m_recordBuffer.data(), available));
    const qsizetype channels = std::max(m_inputFormat.channelCount(), 1);
    const qsizetype frames = got / channels;
    if (frames < 1)
        return;
    const bool isKept = keepCaptured(m_recordBuffer.constData(), frames);
    m_project->taint(QStringLiteral("record"));
    if (!isKept) {
        qWarning("VelaEngine: no memory for the take");
        stopRecording();
        emit recordingCutShort();
        return;
    }
    capture::firstChannel(m_recordBuffer.constData(), frames, channels, m_monitorLeft);
    emit monitor(m_monitorLeft, m_monitorLeft);
}

/// False when memory is short; the takes then have all but the end of `samples`.
bool VelaEngine::keepCaptured(const float* samples, qint64 frames)
{
    try {
        while (frames > 0) {
            if (m_recordTrack->length() >= m_maxTakeFrames) {
                const TrackHandle full = m_recordTrack;
                beginTake(*full);
            }
            const qint64 part = std::min(frames, m_maxTakeFrames - m_recordTrack->length());
            m_takeWriter->append(samples, static_cast<qsizetype>(part));
            samples += part * m_recordTrack->channels;
            frames -= part;
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void VelaEngine::onOutputLost()
{
    qWarning() << "VelaEngine: output device lost";
    stopPlayback();
    emit deviceLost(QStringLiteral("output"));
    emit positionChanged();
}

void VelaEngine::onInputLost()
{
    qWarning() << "VelaEngine: input device lost";
    stopRecording();
    emit deviceLost(QStringLiteral("input"));
    emit positionChanged();
}

void VelaEngine::updateDiagnosticsTimer()
{
    if (!m_diagnostics)
        return;
    const bool busy = m_playing || m_recording;
    if (!busy && m_diagnosticsTimer->isActive()) {
        reportDiagnostics();
        m_diagnosticsTimer->stop();
    } else if (busy && !m_diagnosticsTimer->isActive()) {
        m_figures.reset();
        if (m_outputNode)
            m_outputNode->resetCounters();
        if (m_inputNode)
            m_inputNode->resetCounters();
        m_diagnosticsTimer->start();
    }
}

void VelaEngine::reportDiagnostics()
{
    DiagnosticFigures figures;
    figures.playing = m_playing;
    figures.recording = m_recording;
    if (m_outputNode) {
        figures.underruns = m_outputNode->underrunCount();
        figures.outputDropped = m_outputNode->droppedSamples();
        figures.headroomSamples = m_outputNode->freeSamples();
    }
    if (m_inputNode) {
        figures.inputDropped = m_inputNode->droppedSamples();
        figures.backlogSamples = m_inputNode->availableSamples();
    }
    m_figures.report(figures);
}
