#include "project/mediaprobe.h"

#include <QUrl>

namespace {

// The data come from the device. Without any name there are backends that do not
// even begin, and with the file's own others judge noise by its suffix.
constexpr char kNeutralName[] = "file:///source";

} // namespace

MediaProbe::MediaProbe(QFile& file)
    : m_file(file)
{
    m_patience.setSingleShot(true);
    m_patience.setInterval(kPatienceMs);
    connect(&m_patience, &QTimer::timeout, this, [this] { settle(Verdict::Undecided); });
    connect(&m_player, &QMediaPlayer::errorOccurred, this,
            [this] { look(m_player.mediaStatus()); });
    connect(&m_player, &QMediaPlayer::mediaStatusChanged, this, &MediaProbe::look);
}

MediaProbe::~MediaProbe()
{
    // A player that is destroyed with a source can hear from its own remains.
    m_player.disconnect(this);
    m_player.setSource({});
}

void MediaProbe::start()
{
    m_patience.start();
    m_player.setSourceDevice(&m_file, QUrl(QString::fromLatin1(kNeutralName)));
    look(m_player.mediaStatus());
}

void MediaProbe::look(QMediaPlayer::MediaStatus status)
{
    // A player that found sound may still fail for want of a sound device.
    if (m_player.error() != QMediaPlayer::NoError || status == QMediaPlayer::InvalidMedia)
        return settle(m_player.hasAudio() ? Verdict::Undecided : Verdict::NotDecodable);
    switch (status) {
    case QMediaPlayer::LoadedMedia:
    case QMediaPlayer::BufferingMedia:
    case QMediaPlayer::BufferedMedia:
    case QMediaPlayer::EndOfMedia:
        // The status alone is no proof: it says "loaded" of noise, too.
        return settle(m_player.hasAudio() ? Verdict::Decodable : Verdict::NotDecodable);
    default:
        return;
    }
}

void MediaProbe::settle(Verdict verdict)
{
    if (m_done)
        return;
    m_done = true;
    m_patience.stop();
    m_verdict = verdict;
    if (m_player.duration() > 0)
        m_durationMs = m_player.duration();
    emit done();
}
