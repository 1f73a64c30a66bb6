#include "KSTRegularFile.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Status = KSTRegularFile::Status;

constexpr qint64 ChunkBytes = 1024 * 1024;

class Descriptor
{
public:
    Descriptor() = default;
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const { return m_fd; }
    void reset(int fd) { m_fd = fd; }

private:
    int m_fd = -1;
};

Status statusForErrno(int error)
{
    if (error == ENOENT || error == ENOTDIR)
        return Status::Missing;
    if (error == ENXIO) // a socket, or a device without its driver
        return Status::NotRegular;
    return Status::Unreadable;
}

// stat() first so that a device is not even opened; the fstat() of the opened file is what
// decides, since the path may have been replaced in between.
Status openRegular(const QString &path, Descriptor *descriptor, qint64 *size, int *error)
{
    const QByteArray encoded = QFile::encodeName(path);
    struct stat info = {};
    if (::stat(encoded.constData(), &info) != 0) {
        *error = errno;
        return statusForErrno(*error);
    }
    if (!S_ISREG(info.st_mode))
        return Status::NotRegular;
    const int fd = ::open(encoded.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        *error = errno;
        return statusForErrno(*error);
    }
    descriptor->reset(fd);
    if (::fstat(fd, &info) != 0) {
        *error = errno;
        return Status::Unreadable;
    }
    if (!S_ISREG(info.st_mode))
        return Status::NotRegular;
    *size = qint64(info.st_size);
    return Status::Read;
}

// Reads until the end of the file or @p limit bytes, whichever comes first.
Status readUpTo(int fd, qint64 limit, qint64 expected, QByteArray *contents, int *error)
{
    QByteArray buffer;
    buffer.reserve(qsizetype(std::min(limit, std::max<qint64>(expected, 0))));
    while (buffer.size() < limit) {
        const qsizetype before = buffer.size();
        const qsizetype chunk = qsizetype(std::min(limit - before, ChunkBytes));
        buffer.resize(before + chunk);
        const ssize_t got = ::read(fd, buffer.data() + before, size_t(chunk));
        if (got < 0) {
            buffer.resize(before);
            if (errno == EINTR)
                continue;
            *error = errno;
            return Status::Unreadable;
        }
        buffer.resize(before + got);
        if (got == 0)
            break;
    }
    *contents = std::move(buffer);
    return Status::Read;
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

KSTRegularFile::Status KSTRegularFile::read(const QString &path, qint64 maximumBytes,
                                            QByteArray *contents, QString *error)
{
    contents->clear();
    Descriptor descriptor;
    qint64 size = 0;
    int openError = 0;
    Status status = openRegular(path, &descriptor, &size, &openError);
    if (status == Status::Read && size > maximumBytes)
        status = Status::TooLarge;
    // One byte more than allowed tells a file that grew past the limit since the fstat.
    if (status == Status::Read)
        status = readUpTo(descriptor.get(), maximumBytes + 1, size, contents, &openError);
    if (status == Status::Read && contents->size() > maximumBytes) {
        contents->clear();
        status = Status::TooLarge;
    }
    describe(status, path, maximumBytes, openError, error);
    return status;
}

KSTRegularFile::Status KSTRegularFile::readPrefix(const QString &path, qint64 bytes,
                                                  QByteArray *contents)
{
    contents->clear();
    Descriptor descriptor;
    qint64 size = 0;
    int error = 0;
    const Status status = openRegular(path, &descriptor, &size, &error);
    if (status != Status::Read)
        return status;
    return readUpTo(descriptor.get(), bytes, std::min(size, bytes), contents, &error);
}

bool KSTRegularFile::isReadableRegularFile(const QString &path)
{
    Descriptor descriptor;
    qint64 size = 0;
    int error = 0;
    return openRegular(path, &descriptor, &size, &error) == Status::Read;
}
