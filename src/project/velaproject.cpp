#include "project/velaproject.h"

#include <QCoreApplication>
#include <QDebug>

#include <algorithm>
#include <limits>

ProjectHandle VelaProject::create(qint32 rateHz)
{
    return ProjectHandle::create(rateHz);
}

VelaProject::VelaProject(qint32 rateHz)
    : sampleRate(rateHz)
    , cursor{QStringLiteral("cursor"), 0}
    , play{QStringLiteral("play"), 0}
{
}

// A file may have brought the highest number already.
void VelaProject::countTrack()
{
    if (trackCounter < std::numeric_limits<qint32>::max())
        ++trackCounter;
}

TrackHandle VelaProject::addTrack(const QString& name, int channels)
{
    countTrack();
    const QString trackName =
        name.isEmpty() ? QCoreApplication::translate("VelaProject", "Track %1").arg(trackCounter)
                       : name;
    auto track = TrackHandle::create(trackName, channels, sampleRate);
    tracks.append(track);
    taint(QStringLiteral("addTrack"));
    return track;
}

void VelaProject::insertTrack(const TrackHandle& track)
{
    if (!track)
        return;
    countTrack();
    tracks.append(track);
    taint(QStringLiteral("insertTrack"));
}

void VelaProject::removeTrack(int index)
{
    const qsizetype position = index < 0 ? tracks.size() - 1 : index;
    if (position < 0 || position >= tracks.size())
        return;
    tracks.removeAt(position);
    taint(QStringLiteral("removeTrack"));
}

void VelaProject::clearTracks()
{
    tracks.clear();
}

qint64 VelaProject::length() const
{
    qint64 longest = 0;
    for (const TrackHandle& track : tracks)
        longest = std::max(longest, track->length());
    return longest;
}

bool VelaProject::hasSelection() const
{
    return selectionStart >= 0 && selectionEnd >= 0 && selectionStart != selectionEnd;
}

void VelaProject::taint(const QString& reason)
{
    if (taintedBy != reason)
        taintedBy = reason;
    tainted = true;
    ++taints;
}

void VelaProject::untaint(const QString& reason)
{
    qDebug() << "VelaProject un-tainted by" << reason;
    tainted = false;
}
