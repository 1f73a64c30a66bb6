#include "KSTReadOnlyFile.h"

#include "KSTFileName.h"
#include "KSTNoFollowPath.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

using Status = KSTReadOnlyFile::Status;

constexpr qint64 ChunkBytes = 1024 * 1024;

// Opens the entry @p name of the folder @p folderFd for reading, never through a link. Where
// the system allows it (the owner's files) the access time is left alone: reading a file to
// compare it is no use of it, and updating the time costs something on every read.
int openEntry(int folderFd, const char *name)
{
    constexpr int Flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    int fd = -1;
#ifdef O_NOATIME
    do {
        fd = ::openat(folderFd, name, Flags | O_NOATIME);
    } while (fd < 0 && errno == EINTR);
    if (fd >= 0 || errno != EPERM)
        return fd;
#endif
    do {
        fd = ::openat(folderFd, name, Flags);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

Status readStatusForErrno(int error)
{
    if (error == ENOENT || error == ENOTDIR)
        return Status::Missing;
    if (error == ENXIO) // a socket, or a device without its driver
        return Status::NotRegular;
    return Status::Unreadable;
}

void describe(Status status, const QString &path, qint64 maximumBytes, int error, QString *message)
{
    if (!message)
        return;
    switch (status) {
    case Status::Read:
        message->clear();
        return;
    case Status::Missing:
        *message = QStringLiteral("%1 does not exist.").arg(path);
        return;
    case Status::NotRegular:
        *message = QStringLiteral("%1 is not a regular file, so it was not read.").arg(path);
        return;
    case Status::TooLarge:
        *message = QStringLiteral("%1 is larger than %2 bytes, so it was not read.")
                       .arg(path)
                       .arg(maximumBytes);
        return;
    case Status::Unreadable:
        *message = QStringLiteral("Cannot read %1: %2.")
                       .arg(path, QString::fromLocal8Bit(std::strerror(error)));
        return;
    }
}

} // namespace

KSTReadOnlyFile::~KSTReadOnlyFile()
{
    close();
}

KSTReadOnlyFile::KSTReadOnlyFile(KSTReadOnlyFile &&other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)), m_identity(other.m_identity)
{
}

KSTReadOnlyFile &KSTReadOnlyFile::operator=(KSTReadOnlyFile &&other) noexcept
{
    if (this != &other) {
        close();
        m_fd = std::exchange(other.m_fd, -1);
        m_identity = other.m_identity;
    }
    return *this;
}

bool KSTReadOnlyFile::open(const QString &path)
{
    return open(KSTFileName::encoded(path));
}

bool KSTReadOnlyFile::open(const QByteArray &encodedPath)
{
    return open(encodedPath.constData());
}

bool KSTReadOnlyFile::open(const char *encodedPath)
{
    close();
    if (!encodedPath || !*encodedPath)
        return false;
    int fd = -1;
    do {
        fd = ::open(encodedPath, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return adopt(fd);
}

bool KSTReadOnlyFile::openBeneath(int baseFd, const char *relative)
{
    close();
    if (baseFd < 0 || !relative || !*relative)
        return false;
    int fd = -1;
    if (!std::strchr(relative, '/')) {
        // One name: nothing to walk, and O_NOFOLLOW covers the only component.
        fd = openEntry(baseFd, relative);
    } else {
        fd = KSTNoFollowPath::openBeneath(
            baseFd, QByteArray::fromRawData(relative, qsizetype(std::strlen(relative))),
            O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    }
    return adopt(fd);
}

bool KSTReadOnlyFile::adopt(int fd)
{
    if (fd < 0)
        return false;
    const std::optional<KSTFileIdentity> identity = KSTFileIdentity::ofDescriptor(fd);
    if (!identity || !identity->isFile()) {
        ::close(fd);
        return false;
    }
    m_fd = fd;
    m_identity = *identity;
    return true;
}

void KSTReadOnlyFile::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_identity = {};
}

qint64 KSTReadOnlyFile::read(char *buffer, qint64 length)
{
    if (m_fd < 0 || length < 0)
        return -1;
    qint64 total = 0;
    while (total < length) {
        const ssize_t count = ::read(m_fd, buffer + total, static_cast<size_t>(length - total));
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return total > 0 ? total : -1;
        }
        if (count == 0)
            break;
        total += count;
    }
    return total;
}

qint64 KSTReadOnlyFile::readAt(qint64 offset, char *buffer, qint64 length)
{
    if (m_fd < 0 || length < 0 || offset < 0)
        return -1;
    qint64 total = 0;
    while (total < length) {
        const ssize_t count = ::pread(m_fd, buffer + total, static_cast<size_t>(length - total),
                                      static_cast<off_t>(offset + total));
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return total > 0 ? total : -1;
        }
        if (count == 0)
            break;
        total += count;
    }
    return total;
}

bool KSTReadOnlyFile::seek(qint64 offset)
{
    return m_fd >= 0 && offset >= 0 && ::lseek(m_fd, static_cast<off_t>(offset), SEEK_SET) >= 0;
}

// stat() first so that a device is not even opened; the fstat() of the opened file is what
// decides, since the path may have been replaced in between.
KSTReadOnlyFile::Status KSTReadOnlyFile::openFollowingFinalLink(const QString &path, int *error)
{
    close();
    const QByteArray encoded = KSTFileName::encoded(path);
    struct stat info = {};
    if (encoded.isEmpty() || ::stat(encoded.constData(), &info) != 0) {
        *error = encoded.isEmpty() ? ENOENT : errno;
        return readStatusForErrno(*error);
    }
    if (!S_ISREG(info.st_mode))
        return Status::NotRegular;
    int fd = -1;
    do {
        fd = ::open(encoded.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        *error = errno;
        return readStatusForErrno(*error);
    }
    const std::optional<KSTFileIdentity> identity = KSTFileIdentity::ofDescriptor(fd);
    if (!identity || !identity->isFile()) {
        *error = identity ? 0 : errno;
        ::close(fd);
        return identity ? Status::NotRegular : Status::Unreadable;
    }
    m_fd = fd;
    m_identity = *identity;
    return Status::Read;
}

KSTReadOnlyFile::Status KSTReadOnlyFile::readUpTo(qint64 limit, QByteArray *contents, int *error)
{
    QByteArray buffer;
    buffer.reserve(qsizetype(std::min(limit, std::max<qint64>(m_identity.size, 0))));
    while (buffer.size() < limit) {
        const qsizetype before = buffer.size();
        const qsizetype chunk = qsizetype(std::min(limit - before, ChunkBytes));
        buffer.resize(before + chunk);
        const ssize_t got = ::read(m_fd, buffer.data() + before, size_t(chunk));
        if (got < 0) {
            buffer.resize(before);
            if (errno == EINTR)
                continue;
            *error = errno;
            return Status::Unreadable;
        }
        buffer.resize(before + qsizetype(got));
        if (got == 0)
            break;
    }
    *contents = std::move(buffer);
    return Status::Read;
}

KSTReadOnlyFile::Status KSTReadOnlyFile::readWholeFile(const QString &path, qint64 maximumBytes,
                                                       QByteArray *contents, QString *error)
{
    contents->clear();
    KSTReadOnlyFile file;
    int readError = 0;
    Status status = file.openFollowingFinalLink(path, &readError);
    if (status == Status::Read && file.identity().size > maximumBytes)
        status = Status::TooLarge;
    // One byte more than allowed tells a file that grew past the limit since the fstat.
    if (status == Status::Read)
        status = file.readUpTo(maximumBytes + 1, contents, &readError);
    if (status == Status::Read && contents->size() > maximumBytes) {
        contents->clear();
        status = Status::TooLarge;
    }
    describe(status, path, maximumBytes, readError, error);
    return status;
}

KSTReadOnlyFile::Status KSTReadOnlyFile::readWholeFileWithoutLinks(const QString &path,
                                                                   qint64 maximumBytes,
                                                                   QByteArray *contents)
{
    contents->clear();
    KSTReadOnlyFile file;
    if (!file.open(path))
        return Status::Unreadable;
    if (file.identity().size > maximumBytes)
        return Status::TooLarge;
    int readError = 0;
    const Status status = file.readUpTo(maximumBytes + 1, contents, &readError);
    if (status == Status::Read && contents->size() > maximumBytes) {
        contents->clear();
        return Status::TooLarge;
    }
    return status;
}

KSTReadOnlyFile::Status KSTReadOnlyFile::readPrefix(const QString &path, qint64 bytes,
                                                    QByteArray *contents)
{
    contents->clear();
    KSTReadOnlyFile file;
    int error = 0;
    const Status status = file.openFollowingFinalLink(path, &error);
    if (status != Status::Read)
        return status;
    return file.readUpTo(bytes, contents, &error);
}

bool KSTReadOnlyFile::isReadableRegularFile(const QString &path)
{
    KSTReadOnlyFile file;
    int error = 0;
    return file.openFollowingFinalLink(path, &error) == Status::Read;
}
