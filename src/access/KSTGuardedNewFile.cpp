#include "KSTGuardedNewFile.h"

#include "KSTTrashSupport.h"

#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int TemporaryNameAttempts = 100;

QByteArray temporaryNameFor(const QByteArray &name)
{
    const quint64 salt = QRandomGenerator::system()->generate64();
    return "." + name.left(200) + "." + QByteArray::number(salt, 36) + ".kestrel-tmp";
}

} // namespace

KSTGuardedNewFile::~KSTGuardedNewFile()
{
    if (m_fd >= 0)
        ::close(m_fd);
    if (!m_committed && !m_temporaryName.isEmpty() && m_folderFd >= 0)
        ::unlinkat(m_folderFd, m_temporaryName.constData(), 0);
    if (m_folderFd >= 0)
        ::close(m_folderFd);
}

KSTGuardedNewFile::KSTGuardedNewFile(KSTGuardedNewFile &&other) noexcept
    : m_folderFd(std::exchange(other.m_folderFd, -1)), m_fd(std::exchange(other.m_fd, -1)),
      m_name(std::move(other.m_name)), m_temporaryName(std::move(other.m_temporaryName)),
      m_path(std::move(other.m_path)), m_mode(other.m_mode), m_replaced(other.m_replaced),
      m_committed(other.m_committed)
{
    other.m_temporaryName.clear();
}

KSTGuardedNewFile &KSTGuardedNewFile::operator=(KSTGuardedNewFile &&other) noexcept
{
    if (this != &other) {
        this->~KSTGuardedNewFile();
        new (this) KSTGuardedNewFile(std::move(other));
    }
    return *this;
}

std::optional<KSTGuardedNewFile> KSTGuardedNewFile::start(int folderFd, const QByteArray &name,
                                                          const QString &path, Mode mode,
                                                          std::optional<KSTFileIdentity> replaced)
{
    KSTGuardedNewFile file;
    file.m_folderFd = folderFd;
    file.m_name = name;
    file.m_path = path;
    file.m_mode = mode;
    file.m_replaced = replaced;
#ifdef O_TMPFILE
    file.m_fd = ::openat(folderFd, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0644);
    if (file.m_fd >= 0)
        return file;
#endif
    for (int attempt = 0; attempt < TemporaryNameAttempts && file.m_fd < 0; ++attempt) {
        const QByteArray temporary = temporaryNameFor(name);
        file.m_fd = ::openat(folderFd, temporary.constData(),
                             O_CREAT | O_EXCL | O_RDWR | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (file.m_fd >= 0)
            file.m_temporaryName = temporary;
        else if (errno != EEXIST)
            break;
    }
    if (file.m_fd < 0)
        return std::nullopt;
    return file;
}

bool KSTGuardedNewFile::commit(KSTError *error, const QByteArray &name)
{
    const QByteArray target = name.isEmpty() ? m_name : name;
    const auto fail = [&](int failure) {
        if (error)
            *error = KSTTrashSupport::cocoaError(
                failure, m_path,
                QStringLiteral("Could not write %1").arg(KSTTrashSupport::quoted(m_path)));
        return false;
    };
    if (m_fd < 0 || m_committed)
        return fail(EBADF);
    if (::fsync(m_fd) != 0)
        return fail(errno);

    if (m_mode == Mode::Replace) {
        struct stat status = {};
        const bool exists =
            ::fstatat(m_folderFd, target.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0;
        if (exists != m_replaced.has_value() ||
            (exists && !m_replaced->matches(KSTFileIdentity::fromStatus(status))))
            return fail(EAGAIN); // someone else changed it since it was read
    }

    int failure = 0;
    if (m_temporaryName.isEmpty()) {
        // An unnamed file gets its first name; linkat never replaces an entry, so a
        // replacement takes a hidden name first and renames it over the old one.
        const QByteArray procPath = "/proc/self/fd/" + QByteArray::number(m_fd);
        const QByteArray linkName = m_mode == Mode::Replace ? temporaryNameFor(target) : target;
        if (::linkat(AT_FDCWD, procPath.constData(), m_folderFd, linkName.constData(),
                     AT_SYMLINK_FOLLOW) != 0)
            return fail(errno);
        if (m_mode == Mode::Replace) {
            if (::renameat(m_folderFd, linkName.constData(), m_folderFd, target.constData()) != 0) {
                failure = errno;
                ::unlinkat(m_folderFd, linkName.constData(), 0);
                return fail(failure);
            }
        }
    } else if (m_mode == Mode::Replace) {
        if (::renameat(m_folderFd, m_temporaryName.constData(), m_folderFd, target.constData()) !=
            0)
            return fail(errno);
    } else {
        failure =
            KSTTrashSupport::renameNoReplaceAt(m_folderFd, m_temporaryName, m_folderFd, target);
        if (failure != 0)
            return fail(failure);
    }
    ::fsync(m_folderFd);
    m_committed = true;
    ::close(m_fd);
    m_fd = -1;
    return true;
}
