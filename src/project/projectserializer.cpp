#include "project/projectserializer.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr qint64 kSampleBytes = sizeof(float);

// Large enough to amortise a call, small enough that memory just cleared for
// new samples is still in the cache when they arrive.
constexpr qint64 kReadStepBytes = qint64{512} * 1024;

constexpr quint32 kNullText = 0xFFFFFFFF;

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

// A payload being read within a budget of memory.
struct Source {
    [[nodiscard]] bool isOk() const { return ::isOk(stream); }

    [[nodiscard]] bool take(qint64 bytes)
    {
        if (!budget.take(bytes))
            stream.setStatus(QDataStream::ReadCorruptData);
        return isOk();
    }

    QDataStream& stream;
    MemoryBudget& budget;
};

// Appends up to `count` elements that are as wide in the stream as in memory,
// and stops where the data or the budget do. Returns how many arrived.
template <typename List>
qint64 readElements(Source& source, List& list, qint64 count)
{
    using Element = typename List::value_type;
    constexpr qint64 kStep = kReadStepBytes / qint64{sizeof(Element)};
    while (list.size() < count) {
        const qsizetype filled = list.size();
        const qint64 step = std::min(count - filled, kStep);
        const auto bytes = static_cast<int>(step * qint64{sizeof(Element)});
        if (!source.take(bytes))
            break;
        list.resize(filled + step);
        const int got =
            source.stream.readRawData(reinterpret_cast<char*>(list.data() + filled), bytes);
        if (got != bytes) {
            list.resize(filled + std::max(got, 0) / qint64{sizeof(Element)});
            break;
        }
    }
    return list.size();
}

// As the stream's own operator does it, which knows no budget.
QString readText(Source& source)
{
    quint32 bytes = 0;
    source.stream >> bytes;
    if (bytes == kNullText)
        return {};
    if (bytes % sizeof(char16_t) != 0) {
        source.stream.setStatus(QDataStream::ReadCorruptData);
        return {};
    }
    const qint64 length = bytes / quint32{sizeof(char16_t)};
    QString text(0, Qt::Uninitialized);
    if (readElements(source, text, length) != length)
        return {};
    qFromBigEndian<char16_t>(text.constData(), length, text.data());
    return text;
}

// Reserves no more than the device says is there; a stream that claims more
// must deliver it first.
QList<float> readChannel(Source& source)
{
    qint64 claimed = 0;
    source.stream >> claimed;
    const qint64 wanted = claimed > 0 ? std::max(channelBytes(claimed), 0) / kSampleBytes : 0;
    const qint64 likelyBytes =
        std::min(source.stream.device()->bytesAvailable(), source.budget.bytesLeft());
    QList<float> samples;
    samples.reserve(std::min(wanted, likelyBytes / kSampleBytes));
    readElements(source, samples, wanted);
    return samples;
}

void readTrack(Source& source, Track& track)
{
    qint32 channelLists = 0;
    source.stream >> track.channels >> track.sampleRate >> track.muted >> track.solo >>
        channelLists;
    for (qint32 i = 0; i < channelLists && source.isOk() && source.take(kChannelBytes); ++i) {
        QList<float> channel = readChannel(source);
        if (source.isOk() || !channel.isEmpty())
            track.samples.append(std::move(channel));
    }
}

void readTracks(Source& source, QList<TrackHandle>& tracks, qint32 count)
{
    for (qint32 i = 0; i < count && source.take(kTrackBytes); ++i) {
        const auto track = TrackHandle::create();
        track->name = readText(source);
        if (!source.isOk())
            return; // the data end before this track
        readTrack(source, *track);
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

QDataStream& readProject(QDataStream& stream, const ProjectHandle& project, MemoryBudget& budget)
{
    if (!project)
        return stream;
    Source source{stream, budget};
    stream >> project->sampleRate;
    project->cursor.name = readText(source);
    stream >> project->cursor.position;
    project->play.name = readText(source);
    stream >> project->play.position >> project->selectionStart >> project->selectionEnd >>
        project->loopStart >> project->loopEnd >> project->trackCounter;
    qint32 trackCount = 0;
    stream >> trackCount;
    project->clearTracks();
    readTracks(source, project->tracks, trackCount);
    return stream;
}

QDataStream& readProject(QDataStream& stream, const ProjectHandle& project)
{
    MemoryBudget unlimited(std::numeric_limits<qint64>::max());
    return readProject(stream, project, unlimited);
}

qint64 payloadSize(const VelaProject& project)
{
    constexpr qint64 kFixed = 3 * sizeof(qint32) + 6 * sizeof(qint64);
    qint64 size = stringSize(project.cursor.name) + stringSize(project.play.name) + kFixed;
    for (const TrackHandle& track : project.tracks)
        size += trackSize(*track);
    return size;
}
