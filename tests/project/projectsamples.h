#pragma once

#include "project/velaproject.h"

#include <QByteArray>
#include <QString>

/// Projects and bytes that the project file's tests have in common.
namespace project_samples {

/// Two tracks whose samples are the bit patterns that careless code changes:
/// quiet and signalling NaNs with payloads, denormals, −0.0, infinities. Every
/// saved field differs from its default.
ProjectHandle awkward();

/// One stereo track of noise of `frames` frames; other seeds, other samples.
ProjectHandle noisy(qsizetype frames, quint32 seed);

/// One track with a channel of one sample more than a file can hold, in address space
/// without memory behind it: only its length may be looked at.
ProjectHandle overlong();

/// "" when both hold the same saved fields, tracks and sample bits, otherwise
/// the first difference in words.
QString difference(const VelaProject& a, const VelaProject& b);

/// `value` as the format writes it.
QByteArray be32(quint32 value);
QByteArray be64(quint64 value);
QByteArray text(const QString& value);

/// The payload of an empty project with `counter`, put together by hand.
QByteArray emptyPayload(qint32 counter = 0);

/// The fields of a payload before the track count, all zero or empty.
QByteArray zeroFields();

/// "VELA", version 1 and the given flag.
QByteArray header(bool compressed);

/// A whole file with `payload` compressed, or as it is.
QByteArray compressedFile(const QByteArray& payload);
QByteArray plainFile(const QByteArray& payload);

/// The start of an uncompressed file with one channel of `samples` samples, which are
/// to follow.
QByteArray plainFileOfOneChannel(qint64 samples);

/// What a file of `project` holds before it is compressed, as the serializer writes it.
QByteArray payloadOf(const ProjectHandle& project);

} // namespace project_samples
