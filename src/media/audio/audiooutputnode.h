#pragma once

#include "media/audio/audionode.h"

#include <QtGlobal>

#include <functional>
#include <memory>
#include <vector>

namespace media::audio {

struct OutputShare;

/// One playback device: samples written into the ring are pulled from it by the
/// sink on the device thread; where the ring has run dry, silence is. See
/// AudioNode for threads, blocking and failure.
class AudioOutputNode : public AudioNode {
    Q_OBJECT

public:
    class FeedDevice;

    /// Produces up to `frameCount` mono samples and returns how many.
    using PullCallback = std::function<qint64(float* samples, qint64 frameCount)>;

    /// Unconfigured, volume 1.
    AudioOutputNode();
    ~AudioOutputNode() override;
    Q_DISABLE_COPY_MOVE(AudioOutputNode)

    /// Node's thread; never blocks, allocates only for a block larger than any
    /// before. Spreads the block over the device's channels (mono goes to every
    /// one, a channel the block lacks is silent) and writes it to the ring; what
    /// does not fit counts as dropped.
    void process(const AudioContext& block) override;

    /// Node's thread; never blocks. Nothing follows what was processed: that the
    /// ring runs dry now is no underrun. The next `process` or `stop` ends that.
    void markEnd() { stream().ended = true; }

    /// Linear gain, 0 to 1, of this and every later sink. Does not wait.
    void setVolume(float volume);

    /// Room in the ring, in samples (frames × channels).
    [[nodiscard]] quint64 freeSamples() const { return stream().ring.freeSamples(); }

    /// Samples waiting in the ring.
    [[nodiscard]] quint64 queuedSamples() const { return stream().ring.available(); }

    /// Samples handed to the sink since construction, silence included.
    [[nodiscard]] quint64 samplesDelivered() const { return stream().samplesMoved.load(); }

    /// Everything written since `start` has been taken by the sink and, as far
    /// as the sink can tell, heard: it has since taken more silence than all
    /// buffers on the way to the loudspeaker hold. True when nothing was written.
    [[nodiscard]] bool hasPlayedOut() const;

    [[nodiscard]] quint64 underrunCount() const { return stream().underruns.load(); }

    [[nodiscard]] quint64 droppedSamples() const { return stream().dropped.load(); }

    /// Bytes of buffer that the current sink was asked for; 0 without one.
    [[nodiscard]] qsizetype sinkBufferBytes() const;

    /// In pull mode the sink's samples come from the callback instead of the
    /// ring. It runs on the device thread, under a lock that this call takes
    /// too; an empty one removes it.
    void setPullCallback(PullCallback callback);
    void setPullMode(bool enabled);

public slots:
    /// Node's thread; carried out on the device thread later.
    void rebuildSink();

protected:
    /// On a device that is not the machine's.
    AudioOutputNode(std::shared_ptr<OutputShare> share, WorkerMaker makeWorker);

private:
    explicit AudioOutputNode(const std::shared_ptr<OutputShare>& share);

    const std::shared_ptr<OutputShare> m_share;
    std::vector<float> m_interleaved;
};

} // namespace media::audio
