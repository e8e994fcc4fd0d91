#include "support/mediafiles.h"

#include <QProcess>
#include <QtEndian>

#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

constexpr quint16 kPcmTag = 1;
constexpr quint16 kFloatTag = 3;
constexpr quint32 kFmtSize = 16;
constexpr qsizetype kHeaderSizeAfterRiff = 36;
constexpr int kFfmpegLimitMs = 60000;

template <typename Integer>
void append(QByteArray& bytes, Integer value)
{
    const Integer little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char*>(&little), sizeof little);
}

template <typename Append>
void interleave(const QList<QList<float>>& channels, Append append)
{
    for (qsizetype frame = 0; frame < channels.first().size(); ++frame) {
        for (const QList<float>& channel : channels)
            append(channel[frame]);
    }
}

} // namespace

namespace media_files {

int bytesPerSample(WavFormat format)
{
    switch (format) {
    case WavFormat::UInt8:
        return 1;
    case WavFormat::Int16:
        return 2;
    case WavFormat::Int24:
        return 3;
    default:
        return 4;
    }
}

QByteArray wav(WavFormat format, int channels, int rateHz, const QByteArray& data)
{
    const int sampleBytes = bytesPerSample(format);
    const auto frameBytes = static_cast<quint16>(channels * sampleBytes);
    QByteArray bytes("RIFF");
    append(bytes, static_cast<quint32>(kHeaderSizeAfterRiff + data.size()));
    bytes.append("WAVEfmt ");
    append(bytes, kFmtSize);
    append(bytes, format == WavFormat::Float32 ? kFloatTag : kPcmTag);
    append(bytes, static_cast<quint16>(channels));
    append(bytes, static_cast<quint32>(rateHz));
    append(bytes, static_cast<quint32>(rateHz) * frameBytes);
    append(bytes, frameBytes);
    append(bytes, static_cast<quint16>(sampleBytes * 8));
    bytes.append("data");
    append(bytes, static_cast<quint32>(data.size()));
    bytes.append(data);
    return bytes;
}

QByteArray floatData(const QList<QList<float>>& channels)
{
    QByteArray data;
    interleave(channels, [&data](float value) {
        quint32 bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        append(data, bits);
    });
    return data;
}

QByteArray int16Data(const QList<QList<float>>& channels)
{
    QByteArray data;
    interleave(channels, [&data](float value) {
        append(data, static_cast<qint16>(std::lround(value * 32767.0F)));
    });
    return data;
}

bool ffmpeg(const QStringList& arguments)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start("ffmpeg", QStringList{"-nostdin", "-loglevel", "error", "-y"} + arguments);
    const bool ended = process.waitForFinished(kFfmpegLimitMs);
    if (ended && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return true;
    std::fprintf(stderr, "ffmpeg %s: %s %s\n", qPrintable(arguments.join(u' ')),
                 qPrintable(process.errorString()), process.readAll().constData());
    return false;
}

} // namespace media_files
