#pragma once

#include "media/audio/audioinputnode.h"
#include "media/audio/inputshare.h"
#include "media/audio/nodestream.h"

#include <QIODevice>

#include <memory>
#include <vector>

namespace media::audio {

/// What the source pushes its samples into: converts them from the format on the
/// wire and puts them into the ring. Takes every whole frame it is offered; what
/// the ring has no room for is dropped, counted and, every two seconds at most,
/// warned of.
///
/// Used on the device thread. Neither locks nor, once it has grown to the
/// source's chunk, allocates, but for that warning. Shares the stream and keeps
/// it alive: a source that outlives the node writes nothing.
class AudioInputNode::CaptureDevice : public QIODevice {
public:
    /// Without a stream it takes nothing. Not open yet.
    CaptureDevice(std::shared_ptr<NodeStream> stream, std::shared_ptr<InputShare> share);

    [[nodiscard]] bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 maxBytes) override;
    qint64 writeData(const char* data, qint64 length) override;

    /// Counts them, and warns where that is due at `nowMs` (the stream's clock).
    void reportOverflow(quint64 dropped, qint64 nowMs);

private:
    [[nodiscard]] const float* toSamples(const char* data, quint64 count);

    const std::shared_ptr<NodeStream> m_stream;
    const std::shared_ptr<InputShare> m_share;
    std::vector<float> m_samples;
};

} // namespace media::audio
