#include "project/retireddecoder.h"

#include "project/decoderthreads.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QList>
#include <QPointer>

#include <tuple>
#include <utility>

namespace {

int retiring = 0;

} // namespace

void RetiredDecoder::retire(std::unique_ptr<QAudioDecoder> decoder,
                            std::unique_ptr<WatchedFile> file,
                            std::unique_ptr<DecoderFaultGuard> guard)
{
    new RetiredDecoder(std::move(decoder), std::move(file), std::move(guard),
                       QCoreApplication::instance());
}

// What a sleeping thread may hold on to is kept, and kept reachable: the list
// itself is never destroyed. The guard is kept because a catch does not tell whose
// thread it was, and the one that is left here may still come to its fault.
void RetiredDecoder::abandon(std::unique_ptr<QAudioDecoder> decoder,
                             std::unique_ptr<WatchedFile> file,
                             std::unique_ptr<DecoderFaultGuard> guard)
{
    static auto& abandoned =
        *new QList<std::tuple<QAudioDecoder*, WatchedFile*, DecoderFaultGuard*>>;
    abandoned.append({decoder.release(), file.release(), guard.release()});
}

int RetiredDecoder::count()
{
    return retiring;
}

RetiredDecoder::RetiredDecoder(std::unique_ptr<QAudioDecoder> decoder,
                               std::unique_ptr<WatchedFile> file,
                               std::unique_ptr<DecoderFaultGuard> guard, QObject* parent)
    : QObject(parent)
    , m_guard(std::move(guard))
    , m_file(std::move(file))
    , m_decoder(std::move(decoder))
    , m_hasDelivered(m_decoder->bufferAvailable())
{
    ++retiring;
    const auto deliver = [this] { m_hasDelivered = true; };
    connect(m_decoder.get(), &QAudioDecoder::bufferReady, this, deliver);
    connect(m_decoder.get(), &QAudioDecoder::finished, this, deliver);
    connect(m_decoder.get(), qOverload<QAudioDecoder::Error>(&QAudioDecoder::error), this, deliver);
    connect(&m_ticker, &QTimer::timeout, this, &RetiredDecoder::tick);
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            &RetiredDecoder::waitAtTheEnd);
    m_ticker.start(kTickMs);
}

RetiredDecoder::~RetiredDecoder()
{
    --retiring;
    if (m_decoder)
        abandon(std::move(m_decoder), std::move(m_file), std::move(m_guard));
}

void RetiredDecoder::tick()
{
    const quint64 steps = m_file->readSteps();
    const bool isReading = steps % 2 == 1;
    m_quietTicks = isReading || steps != m_stepsSeen ? 0 : m_quietTicks + 1;
    m_stepsSeen = steps;
    const bool isAsleep = m_guard->hasCaught();
    const bool isAtRest = !isAsleep && !isReading && (m_hasDelivered || isIdle());
    if (!isAtRest && !isAsleep && m_quietTicks < kLostTicks)
        return;
    m_ticker.stop();
    m_decoder->disconnect(this);
    if (isAtRest) {
        m_decoder->stop();
        m_decoder.reset();
    }
    deleteLater();
}

// A decoder that has missed its own start, or has no use for its file, delivers
// nothing; but its threads only wait.
bool RetiredDecoder::isIdle()
{
    const bool waits = m_quietTicks >= kQuietTicks && decoderThreadsAreWaiting();
    m_waitingTicks = waits ? m_waitingTicks + 1 : 0;
    return m_waitingTicks >= kWaitingTicks;
}

// Threads that still work while the program is being taken apart would crash it.
void RetiredDecoder::waitAtTheEnd()
{
    const QDeadlineTimer deadline(kLastPatienceMs);
    // No loop runs any more, so the events below may delete this object.
    const QPointer self(this);
    while (self && m_ticker.isActive() && !deadline.hasExpired())
        QCoreApplication::processEvents(
            QEventLoop::ExcludeUserInputEvents | QEventLoop::WaitForMoreEvents, kTickMs);
}
