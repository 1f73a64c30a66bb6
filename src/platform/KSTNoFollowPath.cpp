#include "KSTNoFollowPath.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"

#include <QDir>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#ifdef __linux__
#include <linux/openat2.h>
#include <sys/syscall.h>
#endif

namespace {

#ifdef O_PATH
constexpr int HoldFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
#else
constexpr int HoldFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#endif

bool isInside(const QString &path, const QString &folder)
{
    if (folder == QLatin1String("/"))
        return path.startsWith(QLatin1Char('/'));
    return path == folder || path.startsWith(folder + QLatin1Char('/'));
}

QString parentOf(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

// @p path relative to @p base ("" for the base itself); both absolute and clean.
QByteArray relativeTo(const QString &path, const QString &base)
{
    if (path == base)
        return {};
    const qsizetype skip = base == QLatin1String("/") ? 1 : base.size() + 1;
    return KSTFileName::encoded(path.mid(skip));
}

} // namespace

namespace KSTNoFollowPath {

// One component at a time, each opened with O_NOFOLLOW relative to the one before; the last
// one with the caller's flags (plus O_NOFOLLOW, so a final link is refused or, with O_PATH,
// opened as itself).
int openBeneathByWalk(int baseFd, const QByteArray &relative, int flags)
{
    const QList<QByteArray> parts = relative.split('/');
    int current = ::dup(baseFd);
    if (current < 0)
        return -1;
    for (qsizetype index = 0; index < parts.size(); ++index) {
        const QByteArray &part = parts.at(index);
        if (part.isEmpty() || part == ".")
            continue;
        if (part == "..") {
            ::close(current);
            errno = EXDEV;
            return -1;
        }
        const bool last = index == parts.size() - 1;
        const int next = ::openat(current, part.constData(),
                                  last ? (flags | O_NOFOLLOW | O_CLOEXEC)
                                       : (O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        const int failure = errno;
        ::close(current);
        if (next < 0) {
            errno = failure;
            return -1;
        }
        current = next;
    }
    return current;
}

} // namespace KSTNoFollowPath

KSTHeldEntry::KSTHeldEntry(int parentFd, QByteArray name, QString path, const struct stat &status)
    : m_parentFd(parentFd), m_name(std::move(name)), m_path(std::move(path)), m_status(status)
{
}

KSTHeldEntry::~KSTHeldEntry()
{
    if (m_parentFd >= 0)
        ::close(m_parentFd);
}

KSTHeldEntry::KSTHeldEntry(KSTHeldEntry &&other) noexcept
    : m_parentFd(std::exchange(other.m_parentFd, -1)), m_name(std::move(other.m_name)),
      m_path(std::move(other.m_path)), m_status(other.m_status)
{
}

KSTHeldEntry &KSTHeldEntry::operator=(KSTHeldEntry &&other) noexcept
{
    if (this != &other) {
        if (m_parentFd >= 0)
            ::close(m_parentFd);
        m_parentFd = std::exchange(other.m_parentFd, -1);
        m_name = std::move(other.m_name);
        m_path = std::move(other.m_path);
        m_status = other.m_status;
    }
    return *this;
}

bool KSTHeldEntry::refresh()
{
    return m_parentFd >= 0 &&
           ::fstatat(m_parentFd, m_name.constData(), &m_status, AT_SYMLINK_NOFOLLOW) == 0;
}

namespace KSTNoFollowPath {

QString baseFor(const QString &path, bool strictAtHostRoot)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString home = QDir::cleanPath(environment.home());
    if (!environment.home().isEmpty() && isInside(path, home))
        return home;
    if (!environment.isHostRoot() && isInside(path, environment.root()))
        return environment.root();
    if (strictAtHostRoot)
        return QStringLiteral("/");
    return parentOf(path);
}

int openBeneath(int baseFd, const QByteArray &relative, int flags)
{
    if (relative.isEmpty())
        return ::openat(baseFd, ".", flags | O_CLOEXEC);
#if defined(__linux__) && defined(SYS_openat2)
    struct open_how how = {};
    how.flags = quint64(flags | O_CLOEXEC);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    const long fd = ::syscall(SYS_openat2, baseFd, relative.constData(), &how, sizeof how);
    if (fd >= 0)
        return int(fd);
    // Kernels before 5.6 (ENOSYS) and sandboxes that filter the call (EPERM) get the walk.
    if (errno != ENOSYS && errno != EPERM && errno != EAGAIN)
        return -1;
#endif
    return openBeneathByWalk(baseFd, relative, flags);
}

int openFolder(const QString &path, bool strictAtHostRoot)
{
    if (!path.startsWith(QLatin1Char('/'))) {
        errno = EINVAL;
        return -1;
    }
    const QString clean = QDir::cleanPath(path);
    return openFolderBeneath(baseFor(clean, strictAtHostRoot), clean);
}

int openFolderBeneath(const QString &base, const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    if (!path.startsWith(QLatin1Char('/')) || !isInside(clean, base)) {
        errno = EINVAL;
        return -1;
    }
    const int baseFd =
        ::open(KSTFileName::encoded(base).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (baseFd < 0)
        return -1;
    const int fd = openBeneath(baseFd, relativeTo(clean, base), O_RDONLY | O_DIRECTORY);
    const int failure = errno;
    ::close(baseFd);
    errno = failure;
    return fd;
}

std::optional<KSTHeldEntry> holdBeneath(const QString &base, const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    const QString parent = parentOf(clean);
    if (!path.startsWith(QLatin1Char('/')) || clean == QLatin1String("/") ||
        !isInside(parent, base)) {
        errno = EINVAL;
        return std::nullopt;
    }
    const int baseFd =
        ::open(KSTFileName::encoded(base).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (baseFd < 0)
        return std::nullopt;
    const int parentFd = openBeneath(baseFd, relativeTo(parent, base), HoldFlags);
    const int failure = errno;
    ::close(baseFd);
    if (parentFd < 0) {
        errno = failure;
        return std::nullopt;
    }
    const QByteArray name =
        KSTFileName::encoded(clean.mid(parent.size() == 1 ? 1 : parent.size() + 1));
    struct stat status = {};
    if (::fstatat(parentFd, name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        const int statFailure = errno;
        ::close(parentFd);
        errno = statFailure;
        return std::nullopt;
    }
    return KSTHeldEntry(parentFd, name, clean, status);
}

std::optional<KSTHeldEntry> hold(const QString &path, bool strictAtHostRoot)
{
    if (!path.startsWith(QLatin1Char('/'))) {
        errno = EINVAL;
        return std::nullopt;
    }
    const QString clean = QDir::cleanPath(path);
    if (clean == QLatin1String("/")) {
        errno = EPERM;
        return std::nullopt;
    }
    const QString parent = parentOf(clean);
    QString base = baseFor(clean, strictAtHostRoot);
    if (!isInside(parent, base)) // the base itself: its parent lies above, where links count
        base = parent;
    return holdBeneath(base, clean);
}

std::optional<QStringList> listFolder(const QString &path, bool skipHidden)
{
    const int fd = openFolder(path);
    if (fd < 0)
        return std::nullopt;
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return std::nullopt;
    }
    QStringList names;
    while (const dirent *entry = ::readdir(dir)) {
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        if (skipHidden && name[0] == '.')
            continue;
        names.append(KSTFileName::decoded(name));
    }
    ::closedir(dir);
    return names;
}

std::optional<struct stat> status(const QString &path, bool strictAtHostRoot)
{
    std::optional<KSTHeldEntry> entry = hold(path, strictAtHostRoot);
    if (!entry)
        return std::nullopt;
    return entry->status();
}

} // namespace KSTNoFollowPath
