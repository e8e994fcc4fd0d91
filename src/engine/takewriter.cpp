#include "engine/takewriter.h"

#include <QScopeGuard>

#include <new>
#include <utility>

TakeWriter::TakeWriter(TrackHandle take)
    : m_take(std::move(take))
    , m_channels(static_cast<std::size_t>(qMax(m_take->channels, 0)))
{
}

void TakeWriter::append(const float* interleaved, qsizetype frames)
{
    const auto channels = static_cast<qsizetype>(m_channels.size());
    m_take->samples.resize(channels);
    for (qsizetype c = 0; c < channels; ++c)
        makeRoom(c, frames);
    for (qsizetype c = 0; c < channels; ++c) {
        Samples& samples = m_channels[static_cast<std::size_t>(c)];
        float* const out = samples.end();
        for (qsizetype i = 0; i < frames; ++i)
            out[i] = interleaved[i * channels + c];
        samples.size += frames;
        m_take->samples[c] = QList<float>(samples);
    }
}

void TakeWriter::makeRoom(qsizetype channel, qsizetype frames)
{
    Samples& samples = m_channels[static_cast<std::size_t>(channel)];
    const qsizetype room = samples.freeSpaceAtEnd();
    if (room >= frames + kRoomAheadFrames)
        return;
    // The take lets go; who still shares the samples then has a copy of the track.
    m_take->samples[channel] = QList<float>();
    const auto giveBack = qScopeGuard([&] { m_take->samples[channel] = QList<float>(samples); });
    try {
        if (room < frames || !samples.needsDetach())
            samples.detachAndGrow(QArrayData::GrowsAtEnd, frames + kRoomAheadFrames, nullptr,
                                  nullptr);
    } catch (const std::bad_alloc&) {
        if (room < frames)
            throw;
    }
}
