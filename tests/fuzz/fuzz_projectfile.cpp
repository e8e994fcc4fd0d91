// Loads whatever it is given as a project file, and compares what comes out with
// what the toolkit's own decompression and a reading of the plain bytes give.

#include "project/projectfile.h"
#include "project/projectserializer.h"

#include <QBuffer>
#include <QtEndian>

#include <cstdlib>
#include <zlib.h>

namespace {

constexpr qint64 kMaxPayloadBytes = qint64{64} * 1024 * 1024;
constexpr uInt kMaxContentBytes = 64 * 1024;
constexpr qsizetype kFlagAt = 8;
// Behind magic, version, flag, length, size and the stream's own header.
constexpr qsizetype kDeflateAt = 19;

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void ignoreMessages(QtMsgType, const QMessageLogContext&, const QString&) {}

QByteArray payloadOf(const ProjectHandle& project)
{
    QByteArray payload;
    QDataStream stream(&payload, QIODevice::WriteOnly);
    writeProject(stream, project);
    return payload;
}

QByteArray payloadAfterReading(const QByteArray& payload, bool* isWhole = nullptr)
{
    const auto project = VelaProject::create();
    QDataStream stream(payload);
    readProject(stream, project);
    if (isWhole != nullptr)
        *isWhole = stream.status() == QDataStream::Ok;
    return payloadOf(project);
}

ProjectFile::LoadResult load(QByteArray bytes)
{
    QBuffer buffer(&bytes);
    require(buffer.open(QIODevice::ReadOnly));
    return ProjectFile::read(buffer, kMaxPayloadBytes);
}

QByteArray be32(quint32 value)
{
    QByteArray bytes(sizeof(value), '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

// Whatever a file holds: it reads as its payload does, and can be written again.
void checkAsFile(const QByteArray& bytes)
{
    const auto result = load(bytes);
    if (result.outcome != ProjectFile::LoadResult::Outcome::Loaded)
        return;
    const QByteArray loaded = payloadOf(result.loaded);
    require(payloadAfterReading(loaded) == loaded);
    if (bytes.size() <= kFlagAt || bytes[kFlagAt] == 0) {
        require(loaded == payloadAfterReading(bytes.mid(kFlagAt + 1)));
        return;
    }
    QDataStream stream(bytes.mid(kFlagAt + 1));
    QByteArray body;
    stream >> body;
    const bool isClaimModest =
        body.size() > 4 && qFromBigEndian<quint32>(body.constData()) <= kMaxContentBytes;
    if (isClaimModest)
        require(loaded == payloadAfterReading(qUncompress(body)));
}

struct Expanded {
    int code = Z_OK;      ///< the library's: Z_STREAM_END for a whole stream
    qsizetype length = 0; ///< of the stream
    bool tooLong = false; ///< more contents than are compared
    QByteArray contents;
};

Expanded expand(const QByteArray& deflated)
{
    Expanded result;
    QByteArray& contents = result.contents;
    contents.resize(kMaxContentBytes);
    z_stream stream = {};
    inflateInit2(&stream, -MAX_WBITS);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(deflated.constData()));
    stream.avail_in = uInt(deflated.size());
    stream.next_out = reinterpret_cast<Bytef*>(contents.data());
    stream.avail_out = kMaxContentBytes;
    result.code = inflate(&stream, Z_FINISH);
    result.tooLong = result.code == Z_BUF_ERROR && stream.avail_out == 0;
    result.length = qsizetype(stream.total_in);
    contents.truncate(qsizetype(stream.total_out));
    inflateEnd(&stream);
    return result;
}

// The same bytes as a deflate stream with a right checksum, which chance
// would never find.
void checkAsStream(const QByteArray& bytes)
{
    if (bytes.size() <= kDeflateAt)
        return;
    const QByteArray deflated = bytes.mid(kDeflateAt);
    const Expanded expanded = expand(deflated);
    if (expanded.tooLong)
        return;
    const auto sum = adler32(1, reinterpret_cast<const Bytef*>(expanded.contents.constData()),
                             uInt(expanded.contents.size()));
    const QByteArray body =
        be32(0) + "\x78\x9c" + deflated.left(expanded.length) + be32(quint32(sum));
    const auto result = load(QByteArray("VELA\0\0\0\1\1", 9) + be32(quint32(body.size())) + body);
    require(result.outcome == ProjectFile::LoadResult::Outcome::Loaded);
    const bool isStream = expanded.code == Z_STREAM_END;
    bool isWhole = false;
    const QByteArray expected =
        payloadAfterReading(isStream ? expanded.contents : QByteArray(), &isWhole);
    require(result.reason.isEmpty() == isWhole);
    require(payloadOf(result.loaded) == expected);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    qInstallMessageHandler(ignoreMessages);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    checkAsFile(bytes);
    checkAsStream(bytes);
    return 0;
}
