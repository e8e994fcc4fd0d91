#include "project/inflatedevice.h"

#include <algorithm>
#include <array>
#include <isa-l/igzip_lib.h>

namespace {

constexpr qint64 kInputBytes = qint64{256} * 1024;
constexpr qint64 kScratchBytes = qint64{64} * 1024;
constexpr qint64 kMaxPieceBytes = qint64{1} << 30; // the decoder counts in 32 bits

// Samples compress to a half or a third; silence far more, but that much memory
// is only taken once the silence has really arrived.
constexpr qint64 kOrdinaryRatio = 8;

} // namespace

struct InflateDevice::Decoder {
    inflate_state state;
    std::array<uint8_t, kInputBytes> input;
    std::array<char, kScratchBytes> scratch;
};

InflateDevice::InflateDevice(QIODevice& source, qint64 streamBytes)
    : m_decoder(std::make_unique_for_overwrite<Decoder>())
    , m_source(source)
    , m_streamBytesLeft(streamBytes)
{
    isal_inflate_init(&m_decoder->state);
    m_decoder->state.crc_flag = ISAL_ZLIB;
    open(QIODevice::ReadOnly);
}

InflateDevice::~InflateDevice() = default;

bool InflateDevice::refill()
{
    inflate_state& decoder = m_decoder->state;
    const qint64 wanted = std::min(m_streamBytesLeft, kInputBytes);
    auto* bytes = reinterpret_cast<char*>(m_decoder->input.data());
    if (m_source.read(bytes, wanted) != wanted)
        return false;
    m_streamBytesLeft -= wanted;
    decoder.next_in = m_decoder->input.data();
    decoder.avail_in = static_cast<uint32_t>(wanted);
    return true;
}

// Runs the decoder once into the room it has been given. It may still hold
// output when its input is used up, so only a call that moves nothing ends it.
void InflateDevice::expandPiece()
{
    inflate_state& decoder = m_decoder->state;
    if (decoder.avail_in == 0 && m_streamBytesLeft > 0 && !refill()) {
        m_state = State::Damaged;
        return;
    }
    const uint32_t inputBefore = decoder.avail_in;
    const uint32_t roomBefore = decoder.avail_out;
    if (isal_inflate(&decoder) != ISAL_DECOMP_OK) {
        m_state = State::Damaged;
        return;
    }
    if (decoder.block_state == ISAL_BLOCK_FINISH)
        m_state = State::Whole;
    else if (decoder.avail_in == inputBefore && decoder.avail_out == roomBefore)
        m_state = State::Damaged;
}

qint64 InflateDevice::expand(char* data, qint64 maxSize)
{
    inflate_state& decoder = m_decoder->state;
    const qint64 room = std::min(maxSize, kMaxPieceBytes);
    decoder.next_out = reinterpret_cast<uint8_t*>(data);
    decoder.avail_out = static_cast<uint32_t>(room);
    while (m_state == State::Expanding && decoder.avail_out > 0)
        expandPiece();
    return room - decoder.avail_out;
}

bool InflateDevice::drain()
{
    while (m_state == State::Expanding)
        expand(m_decoder->scratch.data(), kScratchBytes);
    return m_state == State::Whole;
}

qint64 InflateDevice::bytesAvailable() const
{
    const qint64 compressed = m_streamBytesLeft + m_decoder->state.avail_in;
    return QIODevice::bytesAvailable() + compressed * kOrdinaryRatio;
}

bool InflateDevice::isSequential() const
{
    return true;
}

qint64 InflateDevice::readData(char* data, qint64 maxSize)
{
    qint64 filled = 0;
    while (filled < maxSize && m_state == State::Expanding)
        filled += expand(data + filled, maxSize - filled);
    return filled > 0 || maxSize == 0 ? filled : -1;
}

qint64 InflateDevice::writeData(const char*, qint64)
{
    return -1;
}
