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

/// A file that counts how often it has been read. The count may be asked for on
/// any thread while another reads: a decoder that still reads is still alive.
class CountingFile : public QFile {
public:
    using QFile::QFile;

    [[nodiscard]] quint64 readCount() const { return m_reads.load(std::memory_order_relaxed); }

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    std::atomic<quint64> m_reads = 0; ///< a lone counter: orders nothing else
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
        Stalled,  ///< kPatienceTicks passed without a sign of life
        Crashed,  ///< the decoder's thread was put to sleep in a fault
    };

    /// A decoder is given up after kPatienceTicks ticks of kTickMs without a
    /// buffer and without a read. Ticks, not time, because a machine too busy
    /// to run the decoder is late with the ticks as well.
    static constexpr int kTickMs = 100;
    static constexpr int kPatienceTicks = 12;

    /// `knownDurationMs` serves where the decoder reports none; −1: unknown.
    DecoderRun(std::unique_ptr<CountingFile> file, qint64 knownDurationMs);
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
    /// Once per buffer if the duration is known: 0 to 99, never falling.
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
    std::unique_ptr<CountingFile> m_file;
    std::unique_ptr<QAudioDecoder> m_decoder;
    qint64 m_knownDurationMs;
    QTimer m_ticker;
    SampleCollector m_samples;
    State m_state = State::Running;
    QString m_errorText;
    int m_percent = 0;
    int m_idleTicks = 0;
    quint64 m_readsSeen = 0;
};
