#include "project/wavlayout.h"

#include <QByteArray>
#include <QIODevice>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr qint64 kRiffHeaderBytes = 12;
constexpr qint64 kChunkHeaderBytes = 8;
constexpr qint64 kPlainFormatBytes = 16;
constexpr qint64 kExtensibleFormatBytes = 40;
constexpr int kMostChunksBeforeFormat = 64;

constexpr quint16 kPcmTag = 0x0001;
constexpr quint16 kFloatTag = 0x0003;
constexpr quint16 kExtensibleTag = 0xFFFE;

template <typename Integer>
Integer at(const QByteArray& bytes, qsizetype offset)
{
    return qFromLittleEndian<Integer>(bytes.constData() + offset);
}

QAudioFormat::ChannelConfig firstGuessFor(int channels)
{
    switch (channels) {
    case 4:
        return QAudioFormat::channelConfig(QAudioFormat::FrontLeft, QAudioFormat::FrontRight,
                                           QAudioFormat::FrontCenter, QAudioFormat::BackCenter);
    case 7:
        return QAudioFormat::channelConfig(QAudioFormat::FrontLeft, QAudioFormat::FrontRight,
                                           QAudioFormat::FrontCenter, QAudioFormat::LFE,
                                           QAudioFormat::BackCenter, QAudioFormat::SideLeft,
                                           QAudioFormat::SideRight);
    default:
        return QAudioFormat::ChannelConfigUnknown;
    }
}

QAudioFormat::SampleFormat sampleFormatOf(quint16 tag, int bits)
{
    if (tag == kFloatTag)
        return bits == 32 ? QAudioFormat::Float : QAudioFormat::Unknown;
    if (tag != kPcmTag)
        return QAudioFormat::Unknown;
    switch (bits) {
    case 8:
        return QAudioFormat::UInt8;
    case 16:
        return QAudioFormat::Int16;
    case 24:
    case 32:
        return QAudioFormat::Int32;
    default:
        return QAudioFormat::Unknown;
    }
}

std::optional<QAudioFormat> unplacedFormat(const QByteArray& chunk)
{
    if (chunk.size() < kPlainFormatBytes)
        return {};
    auto tag = at<quint16>(chunk, 0);
    if (tag == kExtensibleTag) {
        constexpr qsizetype kMaskOffset = 20;
        constexpr qsizetype kSubFormatOffset = 24;
        if (chunk.size() < kExtensibleFormatBytes || at<quint32>(chunk, kMaskOffset) != 0)
            return {};
        tag = at<quint16>(chunk, kSubFormatOffset);
    }
    QAudioFormat format;
    format.setChannelConfig(firstGuessFor(at<quint16>(chunk, 2)));
    format.setSampleRate(at<qint32>(chunk, 4));
    format.setSampleFormat(sampleFormatOf(tag, at<quint16>(chunk, 14)));
    return format.isValid() ? std::optional(format) : std::nullopt;
}

std::optional<QAudioFormat> findFormat(QIODevice& file)
{
    const QByteArray riff = file.read(kRiffHeaderBytes);
    if (riff.size() < kRiffHeaderBytes || !riff.startsWith("RIFF") || !riff.endsWith("WAVE"))
        return {};
    for (int chunk = 0; chunk < kMostChunksBeforeFormat; ++chunk) {
        const QByteArray header = file.read(kChunkHeaderBytes);
        if (header.size() < kChunkHeaderBytes)
            return {};
        const qint64 size = at<quint32>(header, 4);
        if (header.startsWith("fmt "))
            return unplacedFormat(file.read(std::min(size, kExtensibleFormatBytes)));
        // Chunks begin at even places.
        const qint64 next = file.pos() + size + size % 2;
        if (next > file.size() || !file.seek(next))
            return {};
    }
    return {};
}

} // namespace

std::optional<QAudioFormat> unplacedWavFormat(QIODevice& file)
{
    const auto format = findFormat(file);
    file.seek(0);
    return format;
}
