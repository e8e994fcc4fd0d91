#pragma once

#include "project/decoderfaultguard.h"
#include "project/sampleconversion.h"

#include <QAudioDecoder>
#include <QFile>
#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>
#include <memory>

/// A file that knows whether it is being read: a decoder that still reads is
/// still alive. Reading and asking may happen on two threads.
class WatchedFile : public QFile {
public:
    using QFile::QFile;

    /// Changes with every read; odd while one is going on.
    [[nodiscard]] quint64 readSteps() const { return m_steps.load(std::memory_order_relaxed); }

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    std::atomic<quint64> m_steps = 0; ///< a lone counter: orders nothing else
};

/// Takes one open file through one decoder, once.
///
/// GUI thread, needs an event loop. Owns the file, which the decoder reads on a
/// thread of its own. Destroying the run at any time drops the decoder; after
/// the state Crashed, decoder and file are abandoned instead.
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
    };

    /// A decoder is given up after some ticks of kTickMs in a row without a buffer
    /// and without a read. Ticks, not time, because a machine too busy to run the
    /// decoder is late with the ticks as well.
    static constexpr int kTickMs = 100;

    /// `knownDurationMs` serves where the decoder reports none; −1: unknown.
    /// `patienceTicks`: how many ticks without a sign of life are too many.
    DecoderRun(std::unique_ptr<WatchedFile> file, qint64 knownDurationMs, int patienceTicks);
    ~DecoderRun() override;
    Q_DISABLE_COPY_MOVE(DecoderRun)

    /// May emit `progressChanged()` and `done()` before it returns.
    void start();

    [[nodiscard]] bool isDone() const { return m_state != State::Running; }

    [[nodiscard]] State state() const { return m_state; }

    /// The decoder's own words after Failed; may be empty.
    [[nodiscard]] QString errorText() const { return m_errorText; }

    /// Everything decoded so far.
    [[nodiscard]] SampleCollector& samples() { return m_samples; }

signals:
    /// Once per buffer if the duration is known: 0 to 99.
    void progressChanged(int percent);
    /// Emitted once, when the state leaves Running.
    void done();

private:
    void takeBuffer();
    void reportProgress();
    void finish();
    void fail();
    void tick();
    void settle(State state);

    DecoderFaultGuard m_guard;
    std::unique_ptr<WatchedFile> m_file;
    std::unique_ptr<QAudioDecoder> m_decoder;
    qint64 m_knownDurationMs;
    QTimer m_ticker;
    SampleCollector m_samples;
    State m_state = State::Running;
    QString m_errorText;
    int m_patienceTicks;
    int m_idleTicks = 0;
    quint64 m_stepsSeen = 0;
};
