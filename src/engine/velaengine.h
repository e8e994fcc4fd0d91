#pragma once

#include "engine/enginediagnostics.h"
#include "engine/mixer.h"
#include "engine/playoutwait.h"
#include "engine/takewriter.h"
#include "media/audio/audioinputnode.h"
#include "media/audio/audiooutputnode.h"
#include "media/audio/waitbudget.h"
#include "project/projectserializer.h"
#include "project/velaproject.h"

#include <QAudioFormat>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QSharedPointer>

#include <functional>
#include <memory>
#include <optional>

class QTimer;

/// Turns the project's tracks into sound and captured sound into a track.
///
/// Lives on the GUI thread and has no audio thread of its own: two 5 ms timers
/// mix blocks into the output node's ring and drain the input node's ring. The
/// nodes own the device threads; samples cross only through their rings, and
/// their signals arrive queued. The transport state lives in the project; without
/// one nothing is played or recorded.
///
/// Waits on a device thread (start, stop, device selection) are bounded by the
/// nodes. A pump tick that mixes or captures never waits and, once warm, allocates
/// nothing; the one that ends playback stops the output.
class VelaEngine : public QObject {
    Q_OBJECT

public:
    /// Where the nodes come from; each is made at most once.
    struct NodeMakers {
        std::function<QSharedPointer<media::audio::AudioOutputNode>()> output;
        std::function<QSharedPointer<media::audio::AudioInputNode>()> input;
    };

    /// On the machine's devices.
    explicit VelaEngine(QObject* parent = nullptr);

    /// A take goes on in a new track like it when it has `maxTakeFrames`, at least one:
    /// a longer one could not be saved.
    explicit VelaEngine(NodeMakers makers, QObject* parent = nullptr,
                        qint64 maxTakeFrames = kMaxChannelSamples);
    ~VelaEngine() override;
    Q_DISABLE_COPY_MOVE(VelaEngine)

    /// Shares `project`. The caller stops playback and recording first; figures
    /// of the old project are forgotten.
    void setProject(const ProjectHandle& project);

    /// Selects devices and formats for the project's rate (44100 Hz without a
    /// project) and configures the nodes; does nothing if that has been done for
    /// this rate, and leaves a node that is running alone. True when there is an
    /// output node.
    bool ensureAudio();

    /// Stopped → playing from the cursor, if there are a project and an output.
    void startPlayback();

    /// Playing → stopped at once. Emits nothing.
    void stopPlayback();

    /// Stopped → recording into a new mono track, named "Recording" in the user's
    /// language; warns and stays stopped without an input. One that was connected
    /// since the devices were selected is found. What one track cannot hold goes on
    /// in further ones of the same name.
    void startRecording();

    /// Recording → stopped. The track stays with what was captured.
    void stopRecording();

    [[nodiscard]] bool isPlaying() const { return m_playing; }

    [[nodiscard]] bool isRecording() const { return m_recording; }

    /// Whatever it is doing → stopped, both directions within one bound even if
    /// both devices hang (AudioNode::kCallBound).
    void stopAll();

    /// The track being recorded into; null when not recording.
    [[nodiscard]] TrackHandle recordTrack() const { return m_recordTrack; }

    /// The format last given to the output node; invalid before the first.
    [[nodiscard]] QAudioFormat outputFormat() const { return m_outputFormat; }

signals:
    /// Playback ran off its end, or a device was lost.
    void positionChanged();
    /// Playback ran off its end; not emitted by stopPlayback().
    void playbackStopped();
    /// A track to record into has been added.
    void structureChanged();
    /// A device does not come back: "output" or "input".
    void deviceLost(const QString& what);
    /// What was just played (after clipping) or captured, equally long lists.
    void monitor(const QList<float>& left, const QList<float>& right);
    /// The output node was given this format.
    void outputFormatChanged(const QAudioFormat& format);
    /// Recording → stopped, for want of memory. The take stays with what was captured.
    void recordingCutShort();

private:
    [[nodiscard]] bool selectOutput(qint32 rateHz);
    [[nodiscard]] bool selectInput(qint32 rateHz);
    [[nodiscard]] bool ensureInput();
    void listenTo(media::audio::AudioNode* node, void (VelaEngine::*onLost)(),
                  const char* rebuiltText);
    void pumpPlayback();
    void goToCursor();
    [[nodiscard]] bool fillRing();
    void pumpRecording();
    void beginTake(const Track& model);
    [[nodiscard]] bool keepCaptured(const float* samples, qint64 frames);
    void renderBlock();
    void finishPlayback();
    void onOutputLost();
    void onInputLost();
    void updateDiagnosticsTimer();
    void reportDiagnostics();

    const NodeMakers m_makers;
    const qint64 m_maxTakeFrames;
    ProjectHandle m_project;
    /// Of both nodes: the window waits for their device threads.
    const std::shared_ptr<media::audio::WaitBudget> m_waits;
    QSharedPointer<media::audio::AudioOutputNode> m_outputNode;
    QSharedPointer<media::audio::AudioInputNode> m_inputNode;
    QTimer* m_playTimer;
    QTimer* m_recordTimer;
    QAudioFormat m_outputFormat;
    QAudioFormat m_inputFormat;
    bool m_outputUsable = false; ///< configured for the rate last selected
    bool m_inputUsable = false;
    bool m_audioReady = false;
    qint32 m_audioRate = 0; ///< Hz the devices were selected for
    bool m_playing = false;
    bool m_recording = false;
    QList<double> m_mixBuffer; ///< planar stereo block
    QList<float> m_monitorLeft;
    QList<float> m_monitorRight;
    QList<float> m_recordBuffer; ///< grows, never shrinks
    TrackHandle m_recordTrack;
    std::optional<TakeWriter> m_takeWriter; ///< while there is a record track
    bool m_mixedSinceStart = false;
    /// Playback has met its end and is heard out; a longer project does not
    /// bring it back.
    bool m_ended = false;
    PlayoutWait m_playoutWait;
    QElapsedTimer m_clock;

    // Developers' switches, from the logging categories "vela.engine.devices"
    // and "vela.engine.diagnostics" at construction; off unless a rule of the
    // toolkit's logging enables their debug level.
    bool m_deviceLogging;
    bool m_diagnostics;
    QTimer* m_diagnosticsTimer;
    EngineDiagnostics m_figures;
};
