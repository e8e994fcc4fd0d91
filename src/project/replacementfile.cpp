#include "project/replacementfile.h"

#include "project/stalefiles.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kMaxLinks = 40; // as many as the system itself follows
constexpr mode_t kPermissionBits = 07777;
constexpr int kMaxNameAttempts = 100;

// Where a write to `path` ends up, also when the last link's target does not
// exist yet. Empty, with errno set, when the links lead nowhere.
QByteArray followLinks(QByteArray path)
{
    for (int i = 0; i < kMaxLinks; ++i) {
        std::vector<char> target(PATH_MAX);
        const ssize_t length = ::readlink(path.constData(), target.data(), target.size());
        if (length < 0)
            return path; // no link, or nothing there: opening it will tell
        const QByteArray next(target.data(), length);
        path = next.startsWith('/') ? next : stale_files::folderOf(path) + '/' + next;
    }
    errno = ELOOP;
    return {};
}

// Access lists and whatever else the file carries. Not every file system takes
// every attribute, and losing one is no reason not to save.
void copyExtendedAttributes(const QByteArray& from, int to)
{
    const ssize_t size = ::listxattr(from.constData(), nullptr, 0);
    if (size <= 0)
        return;
    QByteArray names(size, '\0');
    const ssize_t listed = ::listxattr(from.constData(), names.data(), size_t(size));
    names.truncate(std::max<ssize_t>(listed, 0));
    for (const QByteArray& name : names.split('\0')) {
        if (name.isEmpty())
            continue;
        const ssize_t length = ::getxattr(from.constData(), name.constData(), nullptr, 0);
        QByteArray value(std::max<ssize_t>(length, 0), '\0');
        if (length >= 0 &&
            ::getxattr(from.constData(), name.constData(), value.data(), size_t(length)) == length)
            ::fsetxattr(to, name.constData(), value.constData(), size_t(length), 0);
    }
}

// A file system that cannot synchronise leaves to the system when it writes.
bool sync(int fd)
{
    return ::fsync(fd) == 0 || errno == EINVAL || errno == ENOTSUP;
}

// A rename is only safe from a power cut once its folder is on disk. Folders
// that cannot be opened leave that to the system.
bool syncFolder(const QByteArray& folder)
{
    const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return true;
    const bool isSynced = sync(fd);
    const int error = errno;
    ::close(fd);
    errno = error;
    return isSynced;
}

// There are file systems without modes, and some that let nobody change them. There
// the file keeps the mode it was made with, if that gives others no more.
bool setMode(int fd, mode_t mode)
{
    struct stat status = {};
    if (::fstat(fd, &status) != 0)
        return false;
    const mode_t present = status.st_mode & kPermissionBits;
    if (present == mode || ::fchmod(fd, mode) == 0)
        return true;
    const bool isNarrower = (present & ~mode & (S_IRWXG | S_IRWXO)) == 0;
    return isNarrower && (errno == EPERM || errno == ENOTSUP || errno == ENOSYS);
}

} // namespace

ReplacementFile::ReplacementFile(const QString& path, const std::atomic_bool* abandon)
    : m_target(QFile::encodeName(path))
    , m_abandon(abandon)
{
}

ReplacementFile::~ReplacementFile()
{
    discard();
}

bool ReplacementFile::fail(int error)
{
    explain(error);
    discard();
    return false;
}

// Who has abandoned the file may be gone, and the translations with it.
void ReplacementFile::explain(int error)
{
    setErrorString(isAbandoned() ? QStringLiteral("abandoned") : qt_error_string(error));
}

bool ReplacementFile::open(OpenMode mode)
{
    Q_ASSERT(mode == WriteOnly && m_fd < 0);
    if (!examineTarget() || !makeNewFile())
        return fail(errno);
    stale_files::removeLeftovers(m_target, m_newFile);
    return QIODevice::open(mode | Unbuffered);
}

bool ReplacementFile::examineTarget()
{
    m_target = followLinks(m_target);
    if (m_target.isEmpty())
        return false;
    m_hasOld = ::stat(m_target.constData(), &m_old) == 0;
    if (!m_hasOld)
        return errno == ENOENT;
    if (S_ISDIR(m_old.st_mode))
        errno = EISDIR;
    else if (!S_ISREG(m_old.st_mode))
        errno = EINVAL;
    else
        return ::access(m_target.constData(), W_OK) == 0;
    return false;
}

// A new file gets what the user's mask leaves; one that replaces a private file
// must not be readable by others for a moment.
bool ReplacementFile::makeNewFile()
{
    const mode_t mode = m_hasOld ? S_IRUSR | S_IWUSR : 0666;
    for (int i = 0; i < kMaxNameAttempts; ++i) {
        const QByteArray name = stale_files::newName(m_target);
        m_fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
        if (m_fd < 0 && errno != EEXIST)
            return false;
        if (m_fd >= 0 && stale_files::claim(m_fd)) {
            m_newFile = name;
            return true;
        }
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }
    return false;
}

qint64 ReplacementFile::readData(char*, qint64)
{
    return -1;
}

qint64 ReplacementFile::writeData(const char* data, qint64 size)
{
    qint64 written = 0;
    while (written < size) {
        if (isAbandoned()) {
            explain(ECANCELED);
            return -1;
        }
        const ssize_t count =
            ::pwrite(m_fd, data + written, size_t(size - written), pos() + written);
        if (count > 0) {
            written += count;
        } else if (count == 0 || errno != EINTR) {
            explain(count == 0 ? EIO : errno);
            return -1;
        }
    }
    return written;
}

bool ReplacementFile::carryAttributesOver()
{
    if (!m_hasOld)
        return true;
    mode_t mode = m_old.st_mode & kPermissionBits;
    struct stat made = {};
    if (::fstat(m_fd, &made) != 0)
        return false;
    if (made.st_uid != m_old.st_uid && ::fchown(m_fd, m_old.st_uid, gid_t(-1)) != 0)
        mode &= ~mode_t(S_ISUID);
    if (made.st_gid != m_old.st_gid && ::fchown(m_fd, uid_t(-1), m_old.st_gid) != 0) {
        // Another group may do no more than everyone.
        const mode_t others = mode & S_IRWXO;
        mode = (mode & ~mode_t(S_ISGID | S_IRWXG)) | (mode & (others << 3));
    }
    copyExtendedAttributes(m_target, m_fd);
    return setMode(m_fd, mode);
}

bool ReplacementFile::putInPlace()
{
    return carryAttributesOver() && sync(m_fd) && !isAbandoned() &&
           ::rename(m_newFile.constData(), m_target.constData()) == 0;
}

ReplacementFile::Commit ReplacementFile::commit()
{
    if (!putInPlace()) {
        fail(errno);
        return Commit::Failed;
    }
    m_newFile.clear();
    if (syncFolder(stale_files::folderOf(m_target)))
        return Commit::OnDisk;
    setErrorString(qt_error_string(errno));
    return Commit::InPlace;
}

void ReplacementFile::discard()
{
    if (!m_newFile.isEmpty())
        ::unlink(m_newFile.constData());
    m_newFile.clear();
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}
