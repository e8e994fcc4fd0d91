#pragma once

#include "media/audio/audiooutputnode.h"
#include "media/audio/nodestream.h"

#include <QIODevice>

#include <memory>
#include <vector>

namespace media::audio {

/// What the sink pulls its samples from: the ring, or the pull callback in pull
/// mode, in the format on the wire. Always gives all that was asked for, in
/// whole frames: what is missing is silence and counts as one underrun, unless
/// the stream has ended.
///
/// Used on the device thread; the toolkit also asks `atEnd` from a thread of its
/// own. Reads neither lock (but for the callback) nor, once they have grown to
/// the sink's chunk, allocate. Shares the stream and keeps it alive: a sink that
/// outlives the node reads nothing.
class AudioOutputNode::FeedDevice : public QIODevice {
public:
    /// Without a stream it yields nothing. Not open yet.
    FeedDevice(std::shared_ptr<NodeStream> stream, std::shared_ptr<OutputShare> share);

    /// Never: a sink that hears of an end starts to drain.
    [[nodiscard]] bool atEnd() const override { return false; }

    [[nodiscard]] bool isSequential() const override { return true; }

    /// Bytes that the ring's samples make on the wire, or "no end" in pull mode.
    [[nodiscard]] qint64 bytesAvailable() const override;

protected:
    qint64 readData(char* data, qint64 maxBytes) override;
    qint64 writeData(const char* data, qint64 length) override;

private:
    [[nodiscard]] bool isAttached() const { return m_stream && m_stream->attached; }

    bool readFromCallback(float* samples, quint64 frames, quint64 channels);
    void readFromRing(float* samples, quint64 count);

    const std::shared_ptr<NodeStream> m_stream;
    const std::shared_ptr<OutputShare> m_share;
    std::vector<float> m_samples;
    std::vector<float> m_mono;
};

} // namespace media::audio
