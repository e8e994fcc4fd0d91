#include "project/projectsamples.h"

#include "project/projectserializer.h"
#include "support/signalmakers.h"

#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

#include <array>
#include <bit>
#include <cstring>
#include <sys/mman.h>

namespace {

QList<float> fromBits(std::initializer_list<quint32> patterns)
{
    QList<float> samples(qsizetype(patterns.size()));
    std::memcpy(samples.data(), patterns.begin(), patterns.size() * sizeof(quint32));
    return samples;
}

bool sameBits(const QList<float>& a, const QList<float>& b)
{
    if (a.isEmpty() || a.size() != b.size())
        return a.size() == b.size();
    return std::memcmp(a.constData(), b.constData(), size_t(a.size()) * sizeof(float)) == 0;
}

QString trackDifference(const Track& a, const Track& b)
{
    if (a.name != b.name)
        return QStringLiteral("name");
    if (a.channels != b.channels || a.sampleRate != b.sampleRate)
        return QStringLiteral("channels or rate");
    if (a.muted != b.muted || a.solo != b.solo)
        return QStringLiteral("muted or solo");
    if (a.samples.size() != b.samples.size())
        return QStringLiteral("number of channel lists");
    for (qsizetype i = 0; i < a.samples.size(); ++i) {
        if (!sameBits(a.samples[i], b.samples[i]))
            return QStringLiteral("samples of channel %1").arg(i);
    }
    return {};
}

} // namespace

namespace project_samples {

ProjectHandle awkward()
{
    const auto project = VelaProject::create(48000);
    const TrackHandle left = project->addTrack(QStringLiteral("Gitarre \u00e4\u266a\U0001F3B8"), 2);
    left->samples[0] = fromBits({0x7FC00001, 0x7F800001, 0xFFC12345, 0xFFBFFFFF, 0x00000001,
                                 0x807FFFFF, 0x80000000, 0x00000000, 0x7F800000, 0xFF800000});
    left->samples[1] = fromBits({0x3F800000, 0xBF800000, 0x7F7FFFFF, 0x00800000});
    left->muted = true;
    const TrackHandle right = project->addTrack(QString(), 3);
    right->samples = {fromBits({0x12345678})};
    right->sampleRate = 8000;
    right->solo = true;
    project->trackCounter = 41;
    project->cursor = {QStringLiteral("here"), 0x0123456789ABCDEF};
    project->play = {QStringLiteral("there"), -5};
    project->selectionStart = 7;
    project->selectionEnd = 3;
    project->loopStart = -9;
    project->loopEnd = Q_INT64_C(1) << 40;
    return project;
}

ProjectHandle noisy(qsizetype frames, quint32 seed)
{
    const auto project = VelaProject::create();
    const TrackHandle track = project->addTrack(QStringLiteral("noise"), 2);
    track->samples = {signal_makers::noise(frames, seed), signal_makers::noise(frames, seed + 1)};
    return project;
}

ProjectHandle overlong()
{
    constexpr qsizetype kCount = kMaxChannelSamples + 1;
    static void* const space = ::mmap(nullptr, size_t(kCount) * sizeof(float), PROT_READ,
                                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    const auto project = VelaProject::create();
    if (space != MAP_FAILED) {
        project->addTrack({}, 1)->samples[0] =
            QList<float>(QArrayDataPointer<float>(nullptr, static_cast<float*>(space), kCount));
    }
    return project;
}

QString difference(const VelaProject& a, const VelaProject& b)
{
    if (a.sampleRate != b.sampleRate || a.trackCounter != b.trackCounter)
        return QStringLiteral("rate or counter");
    if (a.cursor.name != b.cursor.name || a.cursor.position != b.cursor.position)
        return QStringLiteral("cursor");
    if (a.play.name != b.play.name || a.play.position != b.play.position)
        return QStringLiteral("play");
    if (a.selectionStart != b.selectionStart || a.selectionEnd != b.selectionEnd)
        return QStringLiteral("selection");
    if (a.loopStart != b.loopStart || a.loopEnd != b.loopEnd)
        return QStringLiteral("loop");
    if (a.tracks.size() != b.tracks.size())
        return QStringLiteral("number of tracks");
    for (qsizetype i = 0; i < a.tracks.size(); ++i) {
        const QString found = trackDifference(*a.tracks[i], *b.tracks[i]);
        if (!found.isEmpty())
            return QStringLiteral("track %1: %2").arg(i).arg(found);
    }
    return {};
}

QByteArray be32(quint32 value)
{
    const auto bytes = std::bit_cast<std::array<char, 4>>(qToBigEndian(value));
    return {bytes.data(), bytes.size()};
}

QByteArray be64(quint64 value)
{
    const auto bytes = std::bit_cast<std::array<char, 8>>(qToBigEndian(value));
    return {bytes.data(), bytes.size()};
}

QByteArray text(const QString& value)
{
    QByteArray bytes = be32(quint32(value.size()) * 2);
    for (const QChar unit : value) {
        bytes.append(char(unit.unicode() >> 8));
        bytes.append(char(unit.unicode() & 0xFF));
    }
    return bytes;
}

QByteArray emptyPayload(qint32 counter)
{
    return be32(44100) + text("cursor") + be64(0) + text("play") + be64(0) + be64(quint64(-1)) +
           be64(quint64(-1)) + be64(0) + be64(0) + be32(quint32(counter)) + be32(0);
}

QByteArray zeroFields()
{
    return be32(0) + text({}) + be64(0) + text({}) + be64(0) + be64(0) + be64(0) + be64(0) +
           be64(0) + be32(0);
}

QByteArray header(bool compressed)
{
    return QByteArrayLiteral("VELA") + be32(1) + QByteArray(1, compressed ? '\1' : '\0');
}

QByteArray compressedFile(const QByteArray& payload)
{
    const QByteArray body = qCompress(payload, -1);
    return header(true) + be32(quint32(body.size())) + body;
}

QByteArray plainFile(const QByteArray& payload)
{
    return header(false) + payload;
}

QByteArray plainFileOfOneChannel(qint64 samples)
{
    const QByteArray flags("\0\0", 2);
    return plainFile(zeroFields() + be32(1) + text(QStringLiteral("x")) + be32(1) + be32(44100) +
                     flags + be32(1) + be64(quint64(samples)));
}

QByteArray payloadOf(const ProjectHandle& project)
{
    QByteArray payload;
    QDataStream stream(&payload, QIODevice::WriteOnly);
    writeProject(stream, project);
    return payload;
}

} // namespace project_samples
