#pragma once

#include "media/audio/audionode.h"

#include <QtGlobal>

#include <memory>

namespace media::audio {

struct InputShare;

/// One capture device: what it records is pushed into the ring on the device
/// thread and read from it by the engine. See AudioNode for threads, blocking
/// and failure.
class AudioInputNode : public AudioNode {
    Q_OBJECT

public:
    class CaptureDevice;

    /// Unconfigured, not quiet.
    AudioInputNode();
    ~AudioInputNode() override;
    Q_DISABLE_COPY_MOVE(AudioInputNode)

    /// Nothing: a microphone takes no blocks.
    void process(const AudioContext& block) override;

    /// Samples (frames × channels) waiting in the ring.
    [[nodiscard]] quint64 availableSamples() const { return stream().ring.available(); }

    /// Node's thread; never blocks or allocates. Moves up to `count` samples out
    /// of the ring and returns how many.
    quint64 read(float* destination, quint64 count);

    /// Samples that the device offered since construction, dropped ones included.
    [[nodiscard]] quint64 samplesCaptured() const { return stream().samplesMoved.load(); }

    /// Samples for which the ring had no room.
    [[nodiscard]] quint64 droppedSamples() const { return stream().dropped.load(); }

    /// Any thread. While quiet, dropped samples are counted but not warned of: for
    /// a caller that leaves the ring undrained on purpose while it records. Not
    /// needed for stopping; from the call of `stop`, `requestStop` or `configure`
    /// until `start` the node is quiet by itself.
    void setQuiet(bool quiet);

public slots:
    /// Node's thread; carried out on the device thread later.
    void rebuildSource();

protected:
    /// On a device that is not the machine's.
    AudioInputNode(std::shared_ptr<InputShare> share, WorkerMaker makeWorker);

private:
    explicit AudioInputNode(const std::shared_ptr<InputShare>& share);

    const std::shared_ptr<InputShare> m_share;
};

} // namespace media::audio
