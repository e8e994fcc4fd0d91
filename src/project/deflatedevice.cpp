#include "project/deflatedevice.h"

#include <algorithm>
#include <array>
#include <isa-l/igzip_lib.h>

namespace {

// The highest level is still far faster than a disk and gives the smallest files.
constexpr uint32_t kLevel = 3;
constexpr uint32_t kLevelBufferBytes = ISAL_DEF_LVL3_DEFAULT;
constexpr uint32_t kOutputBytes = 256 * 1024;
constexpr qint64 kMaxPieceBytes = qint64{1} << 30; // the encoder counts in 32 bits

} // namespace

struct DeflateDevice::Encoder {
    isal_zstream stream;
    std::array<uint8_t, kLevelBufferBytes> levelBuffer;
    std::array<uint8_t, kOutputBytes> output;
};

DeflateDevice::DeflateDevice(QIODevice& target, qint64 maxStreamBytes)
    : m_encoder(std::make_unique<Encoder>())
    , m_target(target)
    , m_maxStreamBytes(maxStreamBytes)
{
    isal_zstream& stream = m_encoder->stream;
    isal_deflate_init(&stream);
    stream.level = kLevel;
    stream.level_buf = m_encoder->levelBuffer.data();
    stream.level_buf_size = kLevelBufferBytes;
    stream.gzip_flag = IGZIP_ZLIB;
    open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

DeflateDevice::~DeflateDevice() = default;

// Runs the encoder once and hands what it made to the target.
bool DeflateDevice::pumpPiece()
{
    isal_zstream& stream = m_encoder->stream;
    stream.next_out = m_encoder->output.data();
    stream.avail_out = kOutputBytes;
    if (isal_deflate(&stream) != COMP_OK) {
        setErrorString(tr("the samples could not be compressed"));
        return false;
    }
    const qint64 made = kOutputBytes - stream.avail_out;
    if (m_streamBytes + made > m_maxStreamBytes) {
        m_tooLarge = true;
        return false;
    }
    const auto* bytes = reinterpret_cast<const char*>(m_encoder->output.data());
    if (m_target.write(bytes, made) != made) {
        setErrorString(m_target.errorString());
        return false;
    }
    m_streamBytes += made;
    return true;
}

bool DeflateDevice::finish()
{
    isal_zstream& stream = m_encoder->stream;
    stream.avail_in = 0;
    stream.end_of_stream = 1;
    while (!m_failed && stream.internal_state.state != ZSTATE_END)
        m_failed = !pumpPiece();
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
    isal_zstream& stream = m_encoder->stream;
    for (qint64 taken = 0; taken < size && !m_failed;) {
        const qint64 piece = std::min(size - taken, kMaxPieceBytes);
        // The encoder only reads its input; its interface predates const.
        stream.next_in = reinterpret_cast<uint8_t*>(const_cast<char*>(data + taken));
        stream.avail_in = static_cast<uint32_t>(piece);
        while (stream.avail_in > 0 && !m_failed)
            m_failed = !pumpPiece();
        taken += piece;
    }
    return m_failed ? -1 : size;
}
