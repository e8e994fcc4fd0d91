#include "project/deflatedevice.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <isa-l/igzip_lib.h>
#include <zlib.h>

namespace {

// The highest level is still far faster than a disk and gives the smallest files.
constexpr uint32_t kLevel = 3;
constexpr uint32_t kLevelBufferBytes = ISAL_DEF_LVL3_DEFAULT;
constexpr uint32_t kOutputBytes = 256 * 1024;
constexpr uint32_t kAdlerStart = 1;

// What is looked at for silence at a time. The encoder needs several times as
// many bytes for long silence as zlib, whose stream for one piece is kept.
constexpr qint64 kPieceBytes = qint64{512} * 1024;

// Default window and level, as zlib writes it.
constexpr std::array<uint8_t, 2> kStreamHeader = {0x78, 0x9C};

bool isSilent(const char* data, qint64 size)
{
    return size == kPieceBytes && data[0] == 0 &&
           std::memcmp(data, data + 1, size_t(size) - 1) == 0;
}

// A silent piece as a run of deflate blocks that begins and ends at a byte and
// looks back at nothing, so that it fits anywhere.
QByteArray deflatedSilence()
{
    QByteArray silence(kPieceBytes, '\0');
    QByteArray blocks(kPieceBytes, '\0');
    z_stream stream = {};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                 Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(silence.data());
    stream.avail_in = uInt(silence.size());
    stream.next_out = reinterpret_cast<Bytef*>(blocks.data());
    stream.avail_out = uInt(blocks.size());
    deflate(&stream, Z_FULL_FLUSH);
    blocks.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    return blocks;
}

} // namespace

struct DeflateDevice::Encoder {
    isal_zstream stream;
    uint32_t checksum;
    QByteArray silence; ///< made when first needed
    std::array<uint8_t, kLevelBufferBytes> levelBuffer;
    std::array<uint8_t, kOutputBytes> output;
};

DeflateDevice::DeflateDevice(QIODevice& target, qint64 maxStreamBytes)
    : m_encoder(std::make_unique_for_overwrite<Encoder>())
    , m_target(target)
    , m_maxStreamBytes(maxStreamBytes)
{
    isal_zstream& stream = m_encoder->stream;
    isal_deflate_init(&stream);
    stream.level = kLevel;
    stream.level_buf = m_encoder->levelBuffer.data();
    stream.level_buf_size = kLevelBufferBytes;
    stream.gzip_flag = IGZIP_DEFLATE;
    m_encoder->checksum = kAdlerStart;
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

DeflateDevice::~DeflateDevice() = default;

bool DeflateDevice::put(const void* bytes, qint64 size)
{
    if (m_streamBytes + size > m_maxStreamBytes) {
        m_tooLarge = true;
        return false;
    }
    if (m_target.write(static_cast<const char*>(bytes), size) != size) {
        setErrorString(m_target.errorString());
        return false;
    }
    m_streamBytes += size;
    return true;
}

bool DeflateDevice::begin()
{
    return m_streamBytes > 0 || put(kStreamHeader.data(), kStreamHeader.size());
}

// Runs the encoder once and hands what it made to the target.
bool DeflateDevice::runEncoder()
{
    isal_zstream& stream = m_encoder->stream;
    stream.next_out = m_encoder->output.data();
    stream.avail_out = kOutputBytes;
    if (isal_deflate(&stream) != COMP_OK) {
        setErrorString(tr("the samples could not be compressed"));
        return false;
    }
    return put(m_encoder->output.data(), kOutputBytes - stream.avail_out);
}

bool DeflateDevice::encode(const char* data, qint64 size)
{
    isal_zstream& stream = m_encoder->stream;
    // The encoder only reads its input; its interface predates const.
    stream.next_in = reinterpret_cast<uint8_t*>(const_cast<char*>(data));
    stream.avail_in = static_cast<uint32_t>(size);
    m_encoderIsFresh = false;
    while (stream.avail_in > 0) {
        if (!runEncoder())
            return false;
    }
    return true;
}

bool DeflateDevice::encodeSilence()
{
    isal_zstream& stream = m_encoder->stream;
    stream.flush = FULL_FLUSH;
    while (!m_encoderIsFresh) {
        if (!runEncoder())
            return false;
        m_encoderIsFresh = stream.avail_out > 0;
    }
    stream.flush = NO_FLUSH;
    QByteArray& silence = m_encoder->silence;
    if (silence.isEmpty())
        silence = deflatedSilence();
    return put(silence.constData(), silence.size());
}

bool DeflateDevice::putChecksum()
{
    std::array<uint8_t, sizeof(uint32_t)> bytes = {};
    qToBigEndian(m_encoder->checksum, bytes.data());
    return put(bytes.data(), bytes.size());
}

bool DeflateDevice::finish()
{
    isal_zstream& stream = m_encoder->stream;
    stream.avail_in = 0;
    stream.end_of_stream = 1;
    m_failed = m_failed || !begin();
    while (!m_failed && stream.internal_state.state != ZSTATE_END)
        m_failed = !runEncoder();
    m_failed = m_failed || !putChecksum();
    return !m_failed;
}

qint64 DeflateDevice::streamBytes() const
{
    return m_streamBytes;
}

bool DeflateDevice::isTooLarge() const
{
    return m_tooLarge;
}

bool DeflateDevice::isSequential() const
{
    return true;
}

qint64 DeflateDevice::readData(char*, qint64)
{
    return -1;
}

qint64 DeflateDevice::writeData(const char* data, qint64 size)
{
    m_failed = m_failed || !begin();
    for (qint64 taken = 0; taken < size && !m_failed;) {
        const qint64 piece = std::min(size - taken, kPieceBytes);
        const char* const from = data + taken;
        m_encoder->checksum = isal_adler32(m_encoder->checksum,
                                           reinterpret_cast<const uint8_t*>(from), uint64_t(piece));
        m_failed = !(isSilent(from, piece) ? encodeSilence() : encode(from, piece));
        taken += piece;
    }
    return m_failed ? -1 : size;
}
