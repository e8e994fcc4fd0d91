#include "project/projectserializer.h"

#include <QIODevice>

#include <algorithm>
#include <utility>

namespace {

constexpr qint64 kSampleBytes = sizeof(float);

// Large enough to amortise a call, small enough that memory just cleared for
// new samples is still in the cache when they arrive.
constexpr qint64 kReadStepSamples = qint64{128} * 1024;

// The count of a channel's bytes as every writer and reader computes it.
qint32 channelBytes(qint64 sampleCount)
{
    return static_cast<qint32>(static_cast<quint32>(sampleCount) * quint32{kSampleBytes});
}

bool isOk(const QDataStream& stream)
{
    return stream.status() == QDataStream::Ok;
}

void writeChannel(QDataStream& stream, const QList<float>& samples)
{
    const qint64 count = samples.size();
    if (count > kMaxChannelSamples) {
        stream.setStatus(QDataStream::WriteFailed);
        return;
    }
    stream << count;
    stream.writeRawData(reinterpret_cast<const char*>(samples.constData()), channelBytes(count));
}

void writeTrack(QDataStream& stream, const Track& track)
{
    stream << track.name << track.channels << track.sampleRate << track.muted << track.solo
           << static_cast<qint32>(track.samples.size());
    for (const QList<float>& channel : track.samples) {
        writeChannel(stream, channel);
        if (!isOk(stream))
            return;
    }
}

// Reserves no more than the device says is there; a stream that claims more
// must deliver it first.
QList<float> readChannel(QDataStream& stream)
{
    qint64 claimed = 0;
    stream >> claimed;
    const qint64 wanted = claimed > 0 ? std::max(channelBytes(claimed), 0) / kSampleBytes : 0;
    QList<float> samples;
    samples.reserve(std::min(wanted, stream.device()->bytesAvailable() / kSampleBytes));
    while (samples.size() < wanted) {
        const qsizetype filled = samples.size();
        const qint64 step = std::min(wanted - filled, kReadStepSamples);
        samples.resize(filled + step);
        const int got = stream.readRawData(reinterpret_cast<char*>(samples.data() + filled),
                                           channelBytes(step));
        if (got != channelBytes(step)) {
            samples.resize(filled + std::max(got, 0) / kSampleBytes);
            break;
        }
    }
    return samples;
}

void readTrack(QDataStream& stream, Track& track)
{
    qint32 channelLists = 0;
    stream >> track.channels >> track.sampleRate >> track.muted >> track.solo >> channelLists;
    for (qint32 i = 0; i < channelLists && isOk(stream); ++i) {
        QList<float> channel = readChannel(stream);
        if (isOk(stream) || !channel.isEmpty())
            track.samples.append(std::move(channel));
    }
}

void readTracks(QDataStream& stream, QList<TrackHandle>& tracks, qint32 count)
{
    for (qint32 i = 0; i < count; ++i) {
        const auto track =
            TrackHandle::create(QStringLiteral("Track 1"), 2, VelaProject::kDefaultSampleRate);
        track->samples.clear();
        stream >> track->name;
        if (!isOk(stream))
            return; // the data end before this track
        readTrack(stream, *track);
        tracks.append(track);
    }
}

qint64 stringSize(const QString& text)
{
    return qint64{sizeof(quint32)} + text.size() * qint64{sizeof(char16_t)};
}

qint64 trackSize(const Track& track)
{
    constexpr qint64 kFixed = 3 * sizeof(qint32) + 2 * sizeof(qint8);
    qint64 size = stringSize(track.name) + kFixed;
    for (const QList<float>& channel : track.samples)
        size += qint64{sizeof(qint64)} + channel.size() * kSampleBytes;
    return size;
}

} // namespace

QDataStream& writeProject(QDataStream& stream, const ProjectHandle& project)
{
    if (!project)
        return stream;
    stream << project->sampleRate << project->cursor.name << project->cursor.position
           << project->play.name << project->play.position << project->selectionStart
           << project->selectionEnd << project->loopStart << project->loopEnd
           << project->trackCounter << static_cast<qint32>(project->tracks.size());
    for (const TrackHandle& track : std::as_const(project->tracks)) {
        writeTrack(stream, *track);
        if (!isOk(stream))
            break;
    }
    return stream;
}

QDataStream& readProject(QDataStream& stream, const ProjectHandle& project)
{
    if (!project)
        return stream;
    qint32 trackCount = 0;
    stream >> project->sampleRate >> project->cursor.name >> project->cursor.position >>
        project->play.name >> project->play.position >> project->selectionStart >>
        project->selectionEnd >> project->loopStart >> project->loopEnd >> project->trackCounter >>
        trackCount;
    project->clearTracks();
    readTracks(stream, project->tracks, trackCount);
    return stream;
}

qint64 payloadSize(const VelaProject& project)
{
    constexpr qint64 kFixed = 3 * sizeof(qint32) + 6 * sizeof(qint64);
    qint64 size = stringSize(project.cursor.name) + stringSize(project.play.name) + kFixed;
    for (const TrackHandle& track : project.tracks)
        size += trackSize(*track);
    return size;
}
