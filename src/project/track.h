#pragma once

#include <QList>
#include <QSharedPointer>
#include <QString>

/// Decoded or recorded audio: one list of 32-bit float samples per channel,
/// non-interleaved, full scale ±1.0, at `sampleRate` Hz.
///
/// GUI thread only. Shared by handle between project, engine and views; the
/// sample lists are implicitly shared, so a copy of a track is a snapshot that
/// costs no sample copy until either side writes.
struct Track {
    Track() = default;

    /// Makes a track with `channelCount` empty channel lists (none if negative).
    Track(QString trackName, qint32 channelCount, qint32 rateHz);

    /// Frames: the size of channel 0, or 0 without channels.
    [[nodiscard]] qint64 length() const;

    QString name;
    qint32 channels = 0;
    qint32 sampleRate = 0;
    bool muted = false;
    bool solo = false;
    QList<QList<float>> samples;
};

using TrackHandle = QSharedPointer<Track>;
