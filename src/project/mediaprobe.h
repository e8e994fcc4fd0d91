#pragma once

#include <QFile>
#include <QMediaPlayer>
#include <QObject>
#include <QTimer>

/// Asks a media player what a file holds, before a decoder is let near it.
///
/// There are decoders that say nothing at all about a file they cannot read,
/// and others that crash on a film without sound; the player answers for both.
/// Nothing is played and no sound device is opened.
///
/// GUI thread, needs an event loop. `file` must be open for reading, outlive the
/// probe and be left alone meanwhile. `start()` may block while the toolkit looks
/// into the file (without bound where the file system does not answer), and may
/// emit `done()` before it returns.
class MediaProbe : public QObject {
    Q_OBJECT

public:
    enum class Verdict {
        Undecided, ///< no answer yet, or none within kPatienceMs
        Decodable, ///< readable and with sound
        NotDecodable,
    };

    /// How long an answer may take; measured with the event loop running.
    static constexpr int kPatienceMs = 600;

    explicit MediaProbe(QFile& file);
    ~MediaProbe() override;
    Q_DISABLE_COPY_MOVE(MediaProbe)

    void start();

    [[nodiscard]] bool isDone() const { return m_done; }

    [[nodiscard]] Verdict verdict() const { return m_verdict; }

    /// Length in ms, or −1 if the player does not know.
    [[nodiscard]] qint64 durationMs() const { return m_durationMs; }

signals:
    /// Emitted once, when the verdict stands or patience has run out.
    void done();

private:
    void look(QMediaPlayer::MediaStatus status);
    void settle(Verdict verdict);

    QFile& m_file;
    QMediaPlayer m_player;
    QTimer m_patience;
    bool m_done = false;
    Verdict m_verdict = Verdict::Undecided;
    qint64 m_durationMs = -1;
};
