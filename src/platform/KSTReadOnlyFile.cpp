#include "KSTReadOnlyFile.h"

#include "KSTFileName.h"
#include "KSTNoFollowPath.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

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
        do {
            fd = ::openat(baseFd, relative, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        } while (fd < 0 && errno == EINTR);
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
