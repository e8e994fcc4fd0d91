#include "project/decoderrun.h"

#include <QAudioBuffer>

#include <algorithm>

namespace {

// 100 is kept for an import that has succeeded.
constexpr qint64 kHighestRunningPercent = 99;

} // namespace

qint64 CountingFile::readData(char* data, qint64 maxSize)
{
    m_reads.fetch_add(1, std::memory_order_relaxed);
    return QFile::readData(data, maxSize);
}

DecoderRun::DecoderRun(CountingFile& file, qint64 knownDurationMs)
    : m_file(file)
    , m_knownDurationMs(knownDurationMs)
{
    connect(&m_decoder, &QAudioDecoder::bufferReady, this, &DecoderRun::takeBuffer);
    connect(&m_decoder, &QAudioDecoder::finished, this, &DecoderRun::finish);
    connect(&m_decoder, qOverload<QAudioDecoder::Error>(&QAudioDecoder::error), this,
            &DecoderRun::fail);
    connect(&m_ticker, &QTimer::timeout, this, &DecoderRun::tick);
}

DecoderRun::~DecoderRun()
{
    // stop() says "finished", and buffers may follow even then.
    m_decoder.disconnect(this);
    m_decoder.stop();
}

void DecoderRun::start()
{
    m_ticker.start(kTickMs);
    // A device, not a URL: there are backends that cannot open a URL with
    // letters outside ASCII.
    m_decoder.setSourceDevice(&m_file);
    m_decoder.start();
}

void DecoderRun::takeBuffer()
{
    if (isDone())
        return;
    const QAudioBuffer buffer = m_decoder.read();
    m_idleTicks = 0;
    if (!buffer.isValid())
        return;
    m_samples.add(buffer);
    reportProgress();
}

void DecoderRun::reportProgress()
{
    const qint64 reported = m_decoder.duration();
    const qint64 durationMs = reported > 0 ? reported : reported == 0 ? 0 : m_knownDurationMs;
    if (durationMs <= 0)
        return;
    const qint64 percent = std::max<qint64>(m_decoder.position(), 0) * 100 / durationMs;
    m_percent = std::max(m_percent, static_cast<int>(std::min(percent, kHighestRunningPercent)));
    emit progressChanged(m_percent);
}

void DecoderRun::finish()
{
    while (!isDone() && m_decoder.bufferAvailable())
        takeBuffer();
    settle(State::Finished);
}

void DecoderRun::fail()
{
    if (isDone())
        return;
    m_errorText = m_decoder.errorString();
    settle(State::Failed);
}

void DecoderRun::tick()
{
    const quint64 reads = m_file.readCount();
    m_idleTicks = reads == m_readsSeen ? m_idleTicks + 1 : 0;
    m_readsSeen = reads;
    if (m_idleTicks >= kPatienceTicks)
        settle(State::Stalled);
}

void DecoderRun::settle(State state)
{
    if (isDone())
        return;
    m_state = state;
    m_ticker.stop();
    emit done();
}
