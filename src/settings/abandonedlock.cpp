#include "settings/abandonedlock.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <optional>

namespace {

std::optional<QDateTime> timeOfEmptyFile(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() && info.size() == 0 ? std::optional(info.lastModified()) : std::nullopt;
}

} // namespace

void removeAbandonedLock(const QString& path)
{
    const QString lockPath = path + QStringLiteral(".lock");
    const auto found = timeOfEmptyFile(lockPath);
    if (!found)
        return;
    const qint64 ageMs = found->msecsTo(QDateTime::currentDateTimeUtc());
    const qint64 graceMs = kEmptyLockGrace.count();
    const qint64 leftMs = qBound<qint64>(0, graceMs - ageMs, graceMs);
    QThread::msleep(static_cast<unsigned long>(leftMs));
    // Of another time it is another process's lock, just being made.
    if (timeOfEmptyFile(lockPath) == found)
        QFile::remove(lockPath);
}
