#include "project/decoderrun.h"

#include "project/memorybudget.h"
#include "project/retireddecoder.h"
#include "project/wavlayout.h"

#include <QAudioBuffer>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace {

// 100 is kept for an import that has succeeded.
constexpr qint64 kHighestRunningPercent = 99;

constexpr qint64 kMsPerSecond = 1000;
constexpr qint64 kRoundingMs = 1; ///< durations are told in whole ones

} // namespace

DecoderRun::DecoderRun(std::unique_ptr<WatchedFile> file, qint64 knownDurationMs, int patienceTicks,
                       std::unique_ptr<QAudioDecoder> decoder)
    : m_guard(std::make_unique<DecoderFaultGuard>())
    , m_file(std::move(file))
    , m_fileBytes(m_file->size())
    , m_decoder(std::move(decoder))
    , m_knownDurationMs(knownDurationMs)
    , m_samples(affordableMemoryBytes())
    , m_patienceTicks(patienceTicks)
{
    connect(m_decoder.get(), &QAudioDecoder::bufferReady, this, &DecoderRun::takeBuffer);
    connect(m_decoder.get(), &QAudioDecoder::finished, this, &DecoderRun::finish);
    connect(m_decoder.get(), qOverload<QAudioDecoder::Error>(&QAudioDecoder::error), this,
            &DecoderRun::fail);
    connect(&m_ticker, &QTimer::timeout, this, &DecoderRun::tick);
}

DecoderRun::~DecoderRun()
{
    // stop() says "finished", and buffers may follow even then.
    m_decoder->disconnect(this);
    // One that has finished with nothing may have missed its start, and start yet.
    const bool isThrough = m_state == State::Finished && m_hasGivenSamples;
    if (m_guard->hasCaught())
        RetiredDecoder::abandon(std::move(m_decoder), std::move(m_file), std::move(m_guard));
    else if (!isThrough)
        RetiredDecoder::retire(std::move(m_decoder), std::move(m_file), std::move(m_guard));
    else
        m_decoder->stop();
    m_decoder.reset(); // before its file
}

void DecoderRun::start()
{
    m_ticker.start(kTickMs);
    if (qgetenv("QT_MEDIA_BACKEND") == "ffmpeg") {
        if (const auto format = unplacedWavFormat(*m_file))
            m_decoder->setAudioFormat(*format);
    }
    // A device, not a URL: there are backends that cannot open a URL with
    // letters outside ASCII.
    m_decoder->setSourceDevice(m_file.get());
    m_decoder->start();
}

void DecoderRun::takeBuffer()
{
    if (isDone() || m_guard->hasCaught())
        return;
    try {
        collectBuffer();
    } catch (const std::bad_alloc&) {
        m_samples = SampleCollector();
        settle(State::TooLarge);
    }
}

void DecoderRun::collectBuffer()
{
    const QAudioBuffer buffer = m_decoder->read();
    m_idleTicks = 0;
    m_hasDelivered = true;
    if (!buffer.isValid())
        return;
    m_hasGivenSamples = true;
    if (m_samples.isEmpty())
        m_samples.expect(expectedFrames(buffer.format()));
    m_samples.add(buffer);
    reportProgress();
}

qint64 DecoderRun::durationMs() const
{
    const qint64 reported = m_decoder->duration();
    return reported < 0 ? m_knownDurationMs : reported;
}

// A damaged file may claim years. What stores less than a byte a sample takes
// longer to decode than its list takes to grow.
qint64 DecoderRun::expectedFrames(const QAudioFormat& format) const
{
    const qint64 rateHz = std::max(format.sampleRate(), 1);
    const qint64 bytes = std::min(m_fileBytes, std::numeric_limits<qint64>::max() / kMsPerSecond);
    const qint64 storableMs = bytes / std::max(format.channelCount(), 1) * kMsPerSecond / rateHz;
    return (std::clamp<qint64>(durationMs(), 0, storableMs) + kRoundingMs) * rateHz / kMsPerSecond;
}

void DecoderRun::reportProgress()
{
    const qint64 duration = durationMs();
    if (duration <= 0)
        return;
    const qint64 percent = std::max<qint64>(m_decoder->position(), 0) * 100 / duration;
    emit progressChanged(static_cast<int>(std::min(percent, kHighestRunningPercent)));
}

void DecoderRun::finish()
{
    // After a catch no buffer is taken any more.
    while (!isDone() && !m_guard->hasCaught() && m_decoder->bufferAvailable())
        takeBuffer();
    settle(m_guard->hasCaught() ? State::Crashed : State::Finished);
}

void DecoderRun::fail()
{
    if (isDone())
        return;
    m_errorText = m_decoder->errorString();
    settle(State::Failed);
}

void DecoderRun::tick()
{
    if (m_guard->hasCaught())
        return settle(State::Crashed);
    const quint64 steps = m_file->readSteps();
    const bool isReading = steps % 2 == 1;
    m_idleTicks = isReading || steps != m_stepsSeen ? 0 : m_idleTicks + 1;
    m_stepsSeen = steps;
    if (m_idleTicks >= (m_hasDelivered ? kPatienceTicksOnceDelivering : m_patienceTicks))
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
