#include "project/stalefiles.h"

#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr char kSuffix[] = ".saving";
constexpr qsizetype kUniqueDigits = 8;
constexpr qsizetype kMaxStemBytes = 200; // leaves room for the rest in a name of 255

QByteArray fileNameOf(const QByteArray& path)
{
    return path.mid(path.lastIndexOf('/') + 1);
}

// Whole letters of UTF-8: some file systems refuse a part of one.
QByteArray stemOf(const QByteArray& fileName)
{
    if (fileName.size() <= kMaxStemBytes)
        return fileName;
    qsizetype end = kMaxStemBytes;
    while (end > 0 && (fileName[end] & 0xC0) == 0x80)
        --end;
    return fileName.left(end);
}

QByteArray prefixFor(const QByteArray& target)
{
    return '.' + stemOf(fileNameOf(target)) + '.';
}

bool isNameFor(const QByteArray& name, const QByteArray& prefix)
{
    if (!name.startsWith(prefix) || !name.endsWith(kSuffix) ||
        name.size() != prefix.size() + kUniqueDigits + qsizetype(sizeof(kSuffix)) - 1)
        return false;
    const QByteArray digits = name.mid(prefix.size(), kUniqueDigits);
    return QByteArray::fromHex(digits).toHex() == digits;
}

// The lock dies with the program that held it. A shared one is refused beside it just as
// well, and on NFS, where an exclusive one would take a file that is open for writing.
void removeIfAbandoned(const QByteArray& path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return;
    struct stat status = {};
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && ::flock(fd, LOCK_SH | LOCK_NB) == 0)
        ::unlink(path.constData());
    ::close(fd);
}

} // namespace

namespace stale_files {

QByteArray folderOf(const QByteArray& path)
{
    const qsizetype slash = path.lastIndexOf('/');
    if (slash < 0)
        return QByteArrayLiteral(".");
    return slash == 0 ? QByteArrayLiteral("/") : path.left(slash);
}

QByteArray newName(const QByteArray& target)
{
    const QByteArray unique = QByteArray::number(QRandomGenerator::system()->generate(), 16)
                                  .rightJustified(kUniqueDigits, '0');
    return folderOf(target) + '/' + prefixFor(target) + unique + kSuffix;
}

bool claim(int fd)
{
    // Where the file system knows no locks, nobody can take it for a leftover.
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0)
        return errno != EWOULDBLOCK;
    struct stat status = {};
    return ::fstat(fd, &status) == 0 && status.st_nlink > 0;
}

void removeLeftovers(const QByteArray& target, const QByteArray& own)
{
    const QByteArray folder = folderOf(target);
    const QByteArray prefix = prefixFor(target);
    const QByteArray ownName = fileNameOf(own);
    std::error_code error;
    std::filesystem::directory_iterator entry(folder.toStdString(), error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const auto name = QByteArray::fromStdString(entry->path().filename().string());
        if (name != ownName && isNameFor(name, prefix))
            removeIfAbandoned(folder + '/' + name);
    }
}

} // namespace stale_files
