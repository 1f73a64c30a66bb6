#include "KSTQuietFiles.h"

#include "KSTFileName.h"
#include "KSTNoFollowPath.h"

#include <QDir>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Status = KSTReadOnlyFile::Status;

#ifdef O_NOATIME
constexpr int NoAccessTime = O_NOATIME;
#else
constexpr int NoAccessTime = 0;
#endif

class Descriptor
{
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); }

private:
    int m_fd;
};

// O_NOATIME is refused (EPERM) for a file the process neither owns nor may administer; the
// read then goes ahead as any reader's would.
int openQuietly(int folderFd, const char *name, int flags)
{
    int fd = -1;
    do {
        fd = ::openat(folderFd, name, flags | NoAccessTime | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0 && errno == EPERM && NoAccessTime != 0) {
        do {
            fd = ::openat(folderFd, name, flags | O_CLOEXEC);
        } while (fd < 0 && errno == EINTR);
    }
    return fd;
}

void quietenDescriptor(int fd)
{
#ifdef O_NOATIME
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags >= 0)
        ::fcntl(fd, F_SETFL, flags | O_NOATIME); // refused for others' folders: read anyway
#else
    Q_UNUSED(fd)
#endif
}

Status statusForErrno(int error)
{
    if (error == ENOENT || error == ENOTDIR || error == ELOOP || error == EXDEV)
        return Status::Missing;
    if (error == ENXIO)
        return Status::NotRegular;
    return Status::Unreadable;
}

QDateTime fromTimespec(qint64 seconds, qint64 nanoseconds)
{
    return QDateTime::fromMSecsSinceEpoch(seconds * 1000 + nanoseconds / 1'000'000, Qt::UTC);
}

} // namespace

namespace KSTQuietFiles {

KSTReadOnlyFile::Status readFile(const QString &path, qint64 maximumBytes, QByteArray *contents,
                                 bool prefixOnly)
{
    contents->clear();
    if (!path.startsWith(QLatin1Char('/')) || maximumBytes < 0)
        return Status::Missing;
    const QString clean = QDir::cleanPath(path);
    const qsizetype slash = clean.lastIndexOf(QLatin1Char('/'));
    const QString parent = slash <= 0 ? QStringLiteral("/") : clean.left(slash);
    const QByteArray name = KSTFileName::encoded(clean.mid(slash + 1));
    if (name.isEmpty())
        return Status::NotRegular;

    const Descriptor folder(KSTNoFollowPath::openFolder(parent));
    if (folder.get() < 0)
        return statusForErrno(errno);
    // A device is not even opened: opening some has effects of its own.
    struct stat info = {};
    if (::fstatat(folder.get(), name.constData(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return statusForErrno(errno);
    if (!S_ISREG(info.st_mode))
        return Status::NotRegular;
    const Descriptor file(
        openQuietly(folder.get(), name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
    if (file.get() < 0)
        return statusForErrno(errno);
    // The entry may have been swapped for a FIFO between the look and the open.
    if (::fstat(file.get(), &info) != 0)
        return Status::Unreadable;
    if (!S_ISREG(info.st_mode))
        return Status::NotRegular;
    if (!prefixOnly && qint64(info.st_size) > maximumBytes)
        return Status::TooLarge;

    // One byte more than allowed tells a file that grew past the limit since the fstat.
    const qint64 limit = prefixOnly ? maximumBytes : maximumBytes + 1;
    constexpr qint64 ChunkBytes = 1024 * 1024;
    QByteArray buffer;
    buffer.reserve(qsizetype(std::min<qint64>(limit, std::max<qint64>(info.st_size, 0))));
    qint64 total = 0;
    while (total < limit) {
        // What the file should still hold (and a byte to see its end), never more than a chunk.
        const qint64 expected = std::max<qint64>(qint64(info.st_size) - total + 1, 4096);
        const qint64 chunk = std::min({limit - total, expected, ChunkBytes});
        buffer.resize(qsizetype(total + chunk));
        const ssize_t got = ::read(file.get(), buffer.data() + total, size_t(chunk));
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return Status::Unreadable;
        }
        total += got;
        if (got == 0)
            break;
    }
    buffer.resize(qsizetype(total));
    if (!prefixOnly && total > maximumBytes)
        return Status::TooLarge;
    *contents = std::move(buffer);
    return Status::Read;
}

std::optional<QList<Entry>> listFolder(const QString &path, bool skipHidden,
                                       qsizetype maximumEntries)
{
    if (!path.startsWith(QLatin1Char('/')))
        return std::nullopt;
    Descriptor folder(KSTNoFollowPath::openFolder(QDir::cleanPath(path)));
    if (folder.get() < 0)
        return std::nullopt;
    quietenDescriptor(folder.get());
    DIR *dir = ::fdopendir(folder.get());
    if (!dir)
        return std::nullopt;
    folder.release();
    QList<Entry> entries;
    while (const dirent *entry = ::readdir(dir)) {
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        if (skipHidden && name[0] == '.')
            continue;
        if (entries.size() >= maximumEntries)
            break;
        bool isDirectory = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat info = {};
            isDirectory = ::fstatat(::dirfd(dir), name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                          S_ISDIR(info.st_mode);
        }
        entries.append({KSTFileName::decoded(name), isDirectory});
    }
    ::closedir(dir);
    return entries;
}

std::optional<Times> timesOf(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    const QByteArray encoded = KSTFileName::encoded(path);
    Times times;
#if defined(__linux__) && defined(STATX_BTIME)
    struct statx extended = {};
    if (::statx(AT_FDCWD, encoded.constData(), AT_SYMLINK_NOFOLLOW,
                STATX_BTIME | STATX_MTIME | STATX_ATIME, &extended) == 0) {
        if (extended.stx_mask & STATX_BTIME)
            times.birth = fromTimespec(extended.stx_btime.tv_sec, extended.stx_btime.tv_nsec);
        if (extended.stx_mask & STATX_MTIME)
            times.modification =
                fromTimespec(extended.stx_mtime.tv_sec, extended.stx_mtime.tv_nsec);
        if (extended.stx_mask & STATX_ATIME)
            times.access = fromTimespec(extended.stx_atime.tv_sec, extended.stx_atime.tv_nsec);
        return times;
    }
    if (errno != ENOSYS)
        return std::nullopt;
#endif
    struct stat info = {};
    if (::lstat(encoded.constData(), &info) != 0)
        return std::nullopt;
#ifdef __APPLE__
    times.birth = fromTimespec(info.st_birthtimespec.tv_sec, info.st_birthtimespec.tv_nsec);
    times.modification = fromTimespec(info.st_mtimespec.tv_sec, info.st_mtimespec.tv_nsec);
    times.access = fromTimespec(info.st_atimespec.tv_sec, info.st_atimespec.tv_nsec);
#else
    times.modification = fromTimespec(info.st_mtim.tv_sec, info.st_mtim.tv_nsec);
    times.access = fromTimespec(info.st_atim.tv_sec, info.st_atim.tv_nsec);
#endif
    return times;
}

} // namespace KSTQuietFiles
