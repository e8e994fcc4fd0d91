#include "settings/abandonedlock.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QThread>

namespace {

bool isEmptyFile(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() && info.size() == 0;
}

} // namespace

void removeAbandonedLock(const QString& path)
{
    const QString lockPath = path + QStringLiteral(".lock");
    if (!isEmptyFile(lockPath))
        return;
    const qint64 ageMs =
        QFileInfo(lockPath).lastModified().msecsTo(QDateTime::currentDateTimeUtc());
    const qint64 graceMs = kEmptyLockGrace.count();
    const qint64 leftMs = qBound<qint64>(0, graceMs - ageMs, graceMs);
    QThread::msleep(static_cast<unsigned long>(leftMs));
    if (isEmptyFile(lockPath))
        QFile::remove(lockPath);
}
