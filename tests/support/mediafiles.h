#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/// Audio files for tests: WAV written here byte by byte, everything else made
/// from it by the ffmpeg command.
namespace media_files {

enum class WavFormat { UInt8, Int16, Int24, Int32, Float32 };

[[nodiscard]] int bytesPerSample(WavFormat format);

/// A complete WAV file around `data` (interleaved, little-endian).
QByteArray wav(WavFormat format, int channels, int rateHz, const QByteArray& data);

/// Values as the samples of a 32-bit float or, scaled by 32767 and rounded, of a
/// 16-bit WAV: channel lists of equal length in, interleaved bytes out.
QByteArray floatData(const QList<QList<float>>& channels);
QByteArray int16Data(const QList<QList<float>>& channels);

/// Runs ffmpeg with `arguments`, overwriting its output, within a minute. On
/// failure says why on standard error and returns false.
[[nodiscard]] bool ffmpeg(const QStringList& arguments);

} // namespace media_files
