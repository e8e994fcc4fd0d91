#pragma once

#include "project/decoderfaultguard.h"
#include "project/sampleconversion.h"
#include "project/watchedfile.h"

#include <QAudioDecoder>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

/// Takes one open file through one decoder, once.
///
/// GUI thread, needs an event loop. Owns the file, which the decoder reads on a
/// thread of its own. Destroying the run at any time drops the decoder without
/// ever waiting for it: one that may still be at work is retired with its file.
class DecoderRun : public QObject {
    Q_OBJECT

public:
    /// Running → one of the others, once.
    enum class State {
        Running,
        Finished, ///< the decoder said so
        Failed,   ///< the decoder reported an error
        Stalled,  ///< no sign of life for too long
        Crashed,  ///< the decoder's thread was put to sleep in a fault
        TooLarge, ///< there is no memory for what it decodes; nothing is kept of it
    };

    /// A decoder is given up after some ticks of kTickMs in a row without a buffer
    /// and without a read. Ticks, not time, because a machine too busy to run the
    /// decoder is late with the ticks as well.
    static constexpr int kTickMs = 100;

    /// So many are too many for a decoder that has delivered something: it is not
    /// tried again, so it gets more time.
    static constexpr int kPatienceTicksOnceDelivering = 10;

    /// `knownDurationMs` serves where the decoder reports none; −1: unknown.
    /// `patienceTicks`: how many ticks without a sign of life are too many before
    /// the first buffer.
    /// `decoder` is a new one.
    DecoderRun(std::unique_ptr<WatchedFile> file, qint64 knownDurationMs, int patienceTicks,
               std::unique_ptr<QAudioDecoder> decoder = std::make_unique<QAudioDecoder>());
    ~DecoderRun() override;
    Q_DISABLE_COPY_MOVE(DecoderRun)

    /// May emit `progressChanged()` and `done()` before it returns.
    void start();

    [[nodiscard]] bool isDone() const { return m_state != State::Running; }

    [[nodiscard]] State state() const { return m_state; }

    /// The decoder's own words after Failed; may be empty.
    [[nodiscard]] QString errorText() const { return m_errorText; }

    /// Whether the decoder has handed out a buffer, be it an empty one: it did begin.
    [[nodiscard]] bool hasDelivered() const { return m_hasDelivered; }

    /// Everything decoded so far.
    [[nodiscard]] SampleCollector& samples() { return m_samples; }

signals:
    /// Once per buffer if the duration is known: 0 to 99.
    void progressChanged(int percent);
    /// Emitted once, when the state leaves Running.
    void done();

private:
    /// The decoder's, or the one that was known before; −1: unknown.
    [[nodiscard]] qint64 durationMs() const;
    [[nodiscard]] qint64 expectedFrames(const QAudioFormat& format) const;
    void takeBuffer();
    void collectBuffer();
    void reportProgress();
    void finish();
    void fail();
    void tick();
    void settle(State state);

    std::unique_ptr<DecoderFaultGuard> m_guard;
    std::unique_ptr<WatchedFile> m_file;
    const qint64 m_fileBytes; ///< asked before the decoder's thread uses the file
    std::unique_ptr<QAudioDecoder> m_decoder;
    qint64 m_knownDurationMs;
    QTimer m_ticker;
    SampleCollector m_samples;
    bool m_hasGivenSamples = false;
    State m_state = State::Running;
    QString m_errorText;
    int m_patienceTicks;
    int m_idleTicks = 0;
    bool m_hasDelivered = false;
    quint64 m_stepsSeen = 0;
};
