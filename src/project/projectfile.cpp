#include "project/projectfile.h"

#include "project/deflatedevice.h"
#include "project/filesizesignalguard.h"
#include "project/inflatedevice.h"
#include "project/memorybudget.h"
#include "project/projectserializer.h"
#include "project/replacementfile.h"

#include <QDataStream>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <limits>
#include <new>

namespace {

using SaveResult = ProjectFile::SaveResult;
using LoadResult = ProjectFile::LoadResult;

constexpr std::array<char, 4> kMagic = {'V', 'E', 'L', 'A'};
constexpr qint32 kVersion = 1;
constexpr qint8 kCompressed = 1;
constexpr quint32 kNoBody = 0xFFFFFFFF; // the length of a null byte array
constexpr qint64 kSizeHintBytes = sizeof(quint32);

// The first four bytes of a compressed body; larger payloads say the most they can.
quint32 sizeHint(qint64 payloadBytes)
{
    return static_cast<quint32>(
        std::min<qint64>(payloadBytes, std::numeric_limits<quint32>::max()));
}

void writeHeader(QDataStream& stream)
{
    stream.writeRawData(kMagic.data(), kMagic.size());
    stream << kVersion << kCompressed;
}

bool writePlainBody(QDataStream& stream, const ProjectHandle& project, qint64 maxBodyBytes)
{
    QByteArray payload;
    QDataStream payloadStream(&payload, QIODevice::WriteOnly);
    writeProject(payloadStream, project);
    const QByteArray body = qCompress(payload, -1);
    if (body.size() > maxBodyBytes)
        return false;
    stream << body;
    return true;
}

// The length stands before a body whose length is only known in the end.
bool writeStreamedBody(QDataStream& stream, const ProjectHandle& project, qint64 payloadBytes,
                       DeflateDevice& deflate)
{
    QIODevice& file = *stream.device();
    const qint64 lengthAt = file.pos();
    stream << quint32{0} << sizeHint(payloadBytes);
    QDataStream payloadStream(&deflate);
    writeProject(payloadStream, project);
    if (payloadStream.status() != QDataStream::Ok || !deflate.finish() || !file.seek(lengthAt))
        return false;
    stream << static_cast<quint32>(kSizeHintBytes + deflate.streamBytes());
    return true;
}

SaveResult failure(const ReplacementFile& file, SaveResult::Outcome outcome, const QString& reason)
{
    if (file.isAbandoned())
        return {SaveResult::Outcome::Abandoned, {}};
    return {outcome, reason};
}

SaveResult outcomeOf(ReplacementFile::Commit commit, const ReplacementFile& file)
{
    using Outcome = SaveResult::Outcome;
    switch (commit) {
    case ReplacementFile::Commit::OnDisk:
        return {};
    case ReplacementFile::Commit::InPlace:
        return {Outcome::SavedInsecurely, file.errorString()};
    case ReplacementFile::Commit::Failed:
        break;
    }
    return failure(file, Outcome::WriteFailed, file.errorString());
}

bool hasOverlongChannel(const VelaProject& project)
{
    return std::any_of(project.tracks.begin(), project.tracks.end(), [](const TrackHandle& track) {
        return std::any_of(track->samples.constBegin(), track->samples.constEnd(),
                           [](const auto& channel) { return channel.size() > kMaxChannelSamples; });
    });
}

// Reading fails for good once `abandon` says so, which ends whatever reads.
class AbandonableFile : public QFile {
public:
    AbandonableFile(const QString& path, const std::atomic_bool* abandon)
        : QFile(path)
        , m_abandon(abandon)
    {
    }

    [[nodiscard]] bool isAbandoned() const { return m_abandon != nullptr && *m_abandon; }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        return isAbandoned() ? -1 : QFile::readData(data, maxSize);
    }

private:
    const std::atomic_bool* m_abandon;
};

enum class Body { Whole, Damaged, TooLarge };

// A body that ends early or fails its checksum at the very end counts as empty,
// so nothing of what came before may stay.
Body readCompressedBody(QDataStream& stream, const ProjectHandle& project, MemoryBudget& budget)
{
    QIODevice& file = *stream.device();
    quint32 length = 0;
    stream >> length;
    const bool lengthIsTrue =
        stream.status() == QDataStream::Ok && length != kNoBody && length <= file.bytesAvailable();
    quint32 claimedPayloadBytes = 0;
    if (lengthIsTrue && length >= kSizeHintBytes)
        stream >> claimedPayloadBytes;
    if (lengthIsTrue && length > kSizeHintBytes) {
        InflateDevice inflate(file, length - kSizeHintBytes);
        QDataStream payload(&inflate);
        readProject(payload, project, budget);
        if (budget.isExceeded())
            return Body::TooLarge;
        if (inflate.drain())
            return payload.status() == QDataStream::Ok ? Body::Whole : Body::Damaged;
    }
    QDataStream nothing{QByteArray()};
    readProject(nothing, project, budget);
    const bool isEmptyOnPurpose =
        lengthIsTrue && (length == 0 || (length == kSizeHintBytes && claimedPayloadBytes == 0));
    return isEmptyOnPurpose ? Body::Whole : Body::Damaged;
}

Body readBody(QDataStream& stream, const ProjectHandle& project, MemoryBudget& budget)
{
    bool compressed = false;
    stream >> compressed;
    if (compressed)
        return readCompressedBody(stream, project, budget);
    readProject(stream, project, budget);
    if (budget.isExceeded())
        return Body::TooLarge;
    return stream.status() == QDataStream::Ok ? Body::Whole : Body::Damaged;
}

} // namespace

ProjectHandle ProjectFile::snapshot(const VelaProject& project)
{
    ProjectHandle copy = VelaProject::create();
    adopt(copy, project);
    for (TrackHandle& track : copy->tracks) {
        track = TrackHandle::create(*track);
        // A take goes on writing its list of channels, which another thread lets go.
        track->samples.detach();
    }
    return copy;
}

void ProjectFile::adopt(const ProjectHandle& project, const VelaProject& loaded)
{
    project->sampleRate = loaded.sampleRate;
    project->cursor = loaded.cursor;
    project->play = loaded.play;
    project->selectionStart = loaded.selectionStart;
    project->selectionEnd = loaded.selectionEnd;
    project->loopStart = loaded.loopStart;
    project->loopEnd = loaded.loopEnd;
    project->trackCounter = loaded.trackCounter;
    project->tracks = loaded.tracks;
}

SaveResult ProjectFile::write(ReplacementFile& file, const ProjectHandle& project,
                              qint64 maxBodyBytes)
{
    const QString tooLarge = tr("the project is larger than a project file can be");
    if (hasOverlongChannel(*project))
        return {SaveResult::Outcome::TooLarge,
                tr("a track is longer than a project file can hold")};
    if (!file.open(QIODevice::WriteOnly))
        return failure(file, SaveResult::Outcome::CouldNotOpen, file.errorString());
    QDataStream stream(&file);
    writeHeader(stream);
    const qint64 payloadBytes = payloadSize(*project);
    if (payloadBytes <= kMaxPlainPayloadBytes) {
        if (!writePlainBody(stream, project, maxBodyBytes))
            return {SaveResult::Outcome::TooLarge, tooLarge};
    } else {
        DeflateDevice deflate(file, maxBodyBytes - kSizeHintBytes);
        if (!writeStreamedBody(stream, project, payloadBytes, deflate)) {
            if (deflate.isTooLarge())
                return {SaveResult::Outcome::TooLarge, tooLarge};
            return failure(file, SaveResult::Outcome::WriteFailed, deflate.errorString());
        }
    }
    if (stream.status() != QDataStream::Ok)
        return failure(file, SaveResult::Outcome::WriteFailed, file.errorString());
    return outcomeOf(file.commit(), file);
}

SaveResult ProjectFile::save(const ProjectHandle& project, const QString& path, qint64 maxBodyBytes,
                             const std::atomic_bool* abandon)
{
    const FileSizeSignalGuard guard;
    ReplacementFile file(path, abandon);
    try {
        return write(file, project, maxBodyBytes);
    } catch (const std::bad_alloc&) {
        return failure(file, SaveResult::Outcome::WriteFailed,
                       tr("there is not enough memory left"));
    }
}

LoadResult ProjectFile::read(QIODevice& device, qint64 maxMemoryBytes)
{
    using Outcome = LoadResult::Outcome;
    QDataStream stream(&device);
    std::array<char, kMagic.size()> magic = {};
    stream.readRawData(magic.data(), magic.size());
    qint32 version = 0;
    stream >> version;
    if (magic != kMagic)
        return {Outcome::WrongMagic, tr("this is not a Vela project"), {}};
    if (version != kVersion)
        return {Outcome::WrongVersion, tr("this project was made by another version"), {}};

    LoadResult result{Outcome::Loaded, {}, VelaProject::create()};
    MemoryBudget budget(maxMemoryBytes);
    Body body = Body::TooLarge;
    try {
        body = readBody(stream, result.loaded, budget);
    } catch (const std::bad_alloc&) {
        body = Body::TooLarge;
    }
    if (body == Body::TooLarge)
        return {Outcome::TooLarge, tr("the project does not fit into memory"), {}};
    if (body == Body::Damaged)
        result.reason = tr("the file is damaged");
    return result;
}

LoadResult ProjectFile::load(const QString& path, const std::atomic_bool* abandon)
{
    using Outcome = LoadResult::Outcome;
    if (const QFileInfo info(path); info.exists() && !info.isFile())
        return {Outcome::CouldNotOpen, tr("this is not a file"), {}};
    AbandonableFile file(path, abandon);
    const bool isOpen = file.open(QIODevice::ReadOnly);
    if (file.isAbandoned())
        return {Outcome::Abandoned, {}, {}};
    if (!isOpen)
        return {Outcome::CouldNotOpen, file.errorString(), {}};
    LoadResult result = read(file, affordableMemoryBytes());
    if (file.isAbandoned())
        return {Outcome::Abandoned, {}, {}};
    return result;
}
