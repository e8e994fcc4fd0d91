#pragma once

#include "media/audio/audioring.h"

#include <QAudioFormat>
#include <QElapsedTimer>
#include <QtGlobal>

#include <atomic>

namespace media::audio {

/// What a device node's two sides share: the caller's side (engine) and the
/// device's side (device thread, its feed or capture device, the watchdog).
///
/// Both hold it by shared pointer, because a device thread that hangs in the
/// toolkit is left behind with it: `detach` then makes whatever that thread
/// still does harmless, and the node goes on with a stream of its own.
///
/// The public data may be touched from every thread, as may `detach`, `succeed`,
/// `nowMs` and what tells the format; the ring has one producer and one consumer.
/// `prepare`, `prepareAgain` and `begin` want both sides at rest.
class NodeStream {
public:
    static constexpr quint64 kMostChannels = 32;
    static constexpr quint64 kDefaultRingFrames = 8192;
    static constexpr qint64 kNever = -1;

    NodeStream() { m_clock.start(); }

    ~NodeStream() = default;
    Q_DISABLE_COPY_MOVE(NodeStream)

    /// Takes over the format of the samples on the wire and sizes the ring to
    /// `ringFrames` frames of `channelCount` channels. Allocates.
    void prepare(quint64 channelCount, QAudioFormat::SampleFormat wireFormat, quint64 ringFrames);

    /// Between two runs: an empty ring, nothing heard of the earlier one.
    void begin();

    /// `prepare` with what an earlier stream was prepared with already: an excess
    /// has been complained of.
    void prepareAgain(quint64 channelCount, QAudioFormat::SampleFormat wireFormat,
                      quint64 ringFrames);

    /// Takes over the counts of the stream that this one replaces, whose device
    /// thread may still be at work on it.
    void succeed(const NodeStream& previous);

    /// For good: the device's side is told that there is no node any more.
    void detach() { attached = false; }

    /// At least 1.
    [[nodiscard]] quint64 channels() const { return m_channels.load(); }

    [[nodiscard]] bool isInt16() const { return m_int16.load(); }

    [[nodiscard]] quint64 bytesPerSample() const
    {
        return isInt16() ? sizeof(qint16) : sizeof(float);
    }

    /// ms since the stream was made; never goes back.
    [[nodiscard]] qint64 nowMs() const { return m_clock.elapsed(); }

    AudioRing ring;
    std::atomic<bool> attached = true;

    /// Samples that went through the device since the node was made: silence
    /// and dropped ones included. The watchdog watches it grow.
    std::atomic<quint64> samplesMoved = 0;
    std::atomic<quint64> underruns = 0;
    std::atomic<quint64> dropped = 0;

    /// When dropped samples were last warned of, on `nowMs`. Set back together
    /// with `dropped`, so that a new count begins with a warning of its own.
    std::atomic<qint64> overflowReportedAt = kNever;

    /// From the caller's asking for a stop to its next start: nobody drains the
    /// ring then, so dropped samples are counted but not warned of.
    std::atomic<bool> stopping = false;

    /// Samples that the ring took and gave since `begin`, and the silence that
    /// the sink took since the last real sample. `taken` is published after
    /// `silence`: who sees all written samples taken, sees the silence since.
    std::atomic<quint64> written = 0;
    std::atomic<quint64> taken = 0;
    std::atomic<quint64> silence = 0;

    /// Nothing follows what was written: the silence after it is no trouble.
    std::atomic<bool> ended = false;

    /// Silence that has to follow the last sample before that one is surely out
    /// of every buffer on its way to the loudspeaker, in samples.
    std::atomic<quint64> silenceUntilHeard = 0;

private:
    void setShape(quint64 channelCount, QAudioFormat::SampleFormat wireFormat, quint64 ringFrames);

    QElapsedTimer m_clock;
    quint64 m_ringRequest = 0;
    std::atomic<quint64> m_channels = 1;
    std::atomic<bool> m_int16 = false;
};

} // namespace media::audio
