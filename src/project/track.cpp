#include "project/track.h"

#include <utility>

Track::Track(QString trackName, qint32 channelCount, qint32 rateHz)
    : name(std::move(trackName))
    , channels(channelCount)
    , sampleRate(rateHz)
    , samples(qMax(channelCount, 0))
{
}

qint64 Track::length() const
{
    return samples.isEmpty() ? 0 : samples.constFirst().size();
}
