#pragma once

#include "project/sidework.h"
#include "project/track.h"

#include <QObject>
#include <QString>

class QEventLoop;
class QFile;
class SampleCollector;

/// Turns an audio file that the platform can decode into one new track, at the
/// file's own sample rate, without mixing or resampling.
///
/// GUI thread only. Start-up must have prepared the multimedia platform.
class AudioImporter : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    /// Decodes the file at `path` into a new track named after the file up to
    /// its first dot. Blocks the caller in a local event loop: timers, paints
    /// and input go on, but for a moment at the beginning in which the toolkit
    /// opens the file. A disk that has yet to wake up is waited for before that, on a
    /// thread of its own, which is left behind if it does not answer a cancel. So the
    /// caller keeps the project from being changed and this importer from being
    /// destroyed meanwhile.
    ///
    /// Returns null after exactly one `errorOccurred()`, whatever the file is:
    /// a decoder that goes silent is given up, and so is a file whose samples do
    /// not fit into memory. Returns null without a signal if
    /// it was cancelled, if the application quit meanwhile, and at once, without
    /// any effect, if this importer is already busy with a file.
    [[nodiscard]] TrackHandle importFile(const QString& path);

    /// Drops the running import: `importFile()` returns null and neither an
    /// error nor a final 100 is emitted. Without a running import, or once the
    /// final 100 has been emitted, it does nothing.
    Q_SLOT void cancel();

    /// What `errorOccurred()` says of the file at `path` when its decoder fails with
    /// `decoderText`, which may be empty.
    [[nodiscard]] static QString decodingFailure(const QString& path, const QString& decoderText);

    /// True if the last import came back without the thread that woke the disk.
    [[nodiscard]] bool wasLeftBehind() const { return m_wakening.wasLeftBehind(); }

signals:
    /// Decoding progress in percent. 100 comes exactly once, on success; lower
    /// values only if the length is known, each higher than the one before.
    void progressChanged(int percent);

    /// The import failed; `message` says why, ready to be shown.
    void errorOccurred(QString message);

private:
    template <typename Stage>
    bool complete(Stage& stage);
    bool wakeDisk(const QString& path);
    TrackHandle run(const QString& path);
    TrackHandle decode(const QString& path, qint64 durationMs);
    TrackHandle finish(const QString& path, SampleCollector samples);
    void report(int percent);
    TrackHandle fail(const QString& message);
    TrackHandle failToRead(const QFile& file);
    TrackHandle failToDecode(const QString& path);
    TrackHandle failToKeep(const QString& path);

    SideWork m_wakening;
    SideWork m_conversion;
    QEventLoop* m_loop = nullptr; ///< the one being waited in, if any
    bool m_busy = false;
    bool m_cancelled = false;
    static constexpr int kNothingReported = -1;
    int m_percent = kNothingReported; ///< the highest reported
};
