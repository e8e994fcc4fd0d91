#include "app/filedialogs.h"

#include "app/vela.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QStandardPaths>

namespace file_dialogs {

namespace {

constexpr QLatin1String kProjectExtension(".vela");

QString projectFilter()
{
    return Vela::tr("VELA Projects (*") + kProjectExtension + QStringLiteral(")");
}

QString openFilter()
{
    return Vela::tr("All Audio Files (*.wav *.mp3 *.ogg *.flac *.aac *.m4a *.wma *.opus);;"
                    "WAV (*.wav);;MP3 (*.mp3);;OGG Vorbis (*.ogg);;FLAC (*.flac);;"
                    "AAC (*.aac *.m4a);;WMA (*.wma);;Opus (*.opus);;") +
           projectFilter() + Vela::tr(";;All Files (*.*)");
}

} // namespace

QString startPath(const QString& lastFile, const QString& suggestedName)
{
    const QFileInfo last(lastFile);
    const QString folder = lastFile.isEmpty()
                               ? QStandardPaths::writableLocation(QStandardPaths::DesktopLocation)
                               : last.absolutePath();
    const QString name = suggestedName.isEmpty() ? last.fileName() : suggestedName;
    return QDir(folder).filePath(name);
}

QString askOpen(QWidget* parent, const QString& startPath)
{
    return QFileDialog::getOpenFileName(parent, Vela::tr("Open File"), startPath, openFilter());
}

// The dialog asks before a file is replaced, but knows the name only as it was
// typed: where the whole name is that of a file, it is proposed to it.
QString askSave(QWidget* parent, const QString& startPath)
{
    QString proposed = startPath;
    while (true) {
        const QString typed = QFileDialog::getSaveFileName(parent, Vela::tr("Save Project"),
                                                           proposed, projectFilter());
        if (typed.isEmpty())
            return {};
        QString whole = withProjectExtension(typed);
        if (whole == typed || !QFileInfo::exists(whole))
            return whole;
        proposed = whole;
    }
}

bool isProjectFile(const QString& path)
{
    return path.endsWith(kProjectExtension, Qt::CaseInsensitive);
}

QString withProjectExtension(const QString& path)
{
    return isProjectFile(path) ? path : path + kProjectExtension;
}

} // namespace file_dialogs
