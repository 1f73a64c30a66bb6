#include "KSTTrash.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTFreedesktopTrash.h"
#include "KSTNoFollowPath.h"
#include "KSTTrashSupport.h"

#include <QStringList>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

QString macTrash(const KSTEnvironment &environment)
{
    return environment.homePath(QStringLiteral(".Trash"));
}

QString couldNotMove(const QString &path)
{
    return QStringLiteral("Could not move %1 to the Trash").arg(KSTTrashSupport::quoted(path));
}

// <home>/.Trash, created when missing, opened without following a link on the way: a
// ~/.Trash that is a link or a file is not ours to move into.
int openMacTrash(const KSTEnvironment &environment, int *failure)
{
    const QString trash = macTrash(environment);
    int fd = KSTNoFollowPath::openFolder(trash);
    if (fd < 0 && errno == ENOENT) {
        const int home = KSTNoFollowPath::openFolder(environment.home());
        if (home >= 0) {
            if (::mkdirat(home, ".Trash", 0700) != 0 && errno != EEXIST)
                *failure = errno;
            ::close(home);
        }
        fd = KSTNoFollowPath::openFolder(trash);
    }
    if (fd < 0 && *failure == 0)
        *failure = errno;
    return fd;
}

bool moveToMacTrash(const KSTHeldEntry &entry, QString *resultingPath, KSTError *error)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString trash = macTrash(environment);
    auto fail = [&](int errorNumber, const QString &message) {
        if (error)
            *error = KSTTrashSupport::cocoaError(errorNumber, entry.path(), message);
        return false;
    };

    int failure = 0;
    const int trashFd = openMacTrash(environment, &failure);
    if (trashFd < 0) {
        if (failure == ELOOP || failure == ENOTDIR)
            return fail(ENOTDIR,
                        couldNotMove(entry.path()) + QLatin1String(": ~/.Trash is not a folder"));
        return fail(failure, couldNotMove(entry.path()) +
                                 QLatin1String(": the Trash folder cannot be created"));
    }

    const QString name = KSTFileName::decoded(entry.name());
    int result = EEXIST;
    for (int attempt = 1; attempt <= KSTTrashSupport::MaximumNameAttempts; ++attempt) {
        const QString candidate =
            KSTTrashSupport::candidateName(name, entry.isDirectory(), attempt);
        result = KSTTrashSupport::renameNoReplaceAt(entry.parentFd(), entry.name(), trashFd,
                                                    KSTFileName::encoded(candidate));
        if (result == 0) {
            if (resultingPath)
                *resultingPath = trash + QLatin1Char('/') + candidate;
            break;
        }
        if (result != EEXIST)
            break;
    }
    ::close(trashFd);
    if (result == 0)
        return true;
    if (result == EXDEV) {
        return fail(result, couldNotMove(entry.path()) +
                                QLatin1String(": it is on another volume than the Trash, and it "
                                              "is not copied"));
    }
    if (result == EEXIST)
        return fail(result,
                    couldNotMove(entry.path()) + QLatin1String(": no free name in the Trash"));
    return fail(result, couldNotMove(entry.path()));
}

// Depth-first removal through directory descriptors: every folder is opened relative to
// its parent with O_NOFOLLOW, so a link met anywhere is unlinked, never entered, and a
// folder swapped for a link mid-way is not followed either. Nothing on another device than
// the entry's own is entered: a file system mounted inside stays, and so does its folder.
class TreeRemover
{
public:
    explicit TreeRemover(dev_t device) : m_device(device) {}

    bool removeEntry(int parentFd, const QByteArray &name, const QString &path, bool isDirectory)
    {
        if (!isDirectory)
            return unlinkEntry(parentFd, name, path, 0);
        const int fd =
            ::openat(parentFd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (fd < 0) {
            if (errno == ENOTDIR || errno == ELOOP) // replaced by a file or a link meanwhile
                return unlinkEntry(parentFd, name, path, 0);
            if (errno == ENOENT)
                return true;
            return record(errno, path);
        }
        struct stat info = {};
        if (::fstat(fd, &info) != 0 || info.st_dev != m_device) {
            ::close(fd);
            return record(EXDEV, path);
        }
        const bool emptied = removeContents(fd, path);
        return emptied && unlinkEntry(parentFd, name, path, AT_REMOVEDIR);
    }

    const std::optional<KSTError> &firstError() const { return m_firstError; }
    const QStringList &failedPaths() const { return m_failedPaths; }

private:
    struct Child
    {
        QByteArray name;
        bool isDirectory;
    };

    // Takes ownership of @p fd. Reads all names before removing any: deleting while
    // reading a directory may skip entries on some file systems.
    bool removeContents(int fd, const QString &path)
    {
        DIR *dir = ::fdopendir(fd);
        if (!dir) {
            const int failure = errno;
            ::close(fd);
            return record(failure, path);
        }
        std::vector<Child> children;
        bool complete = true;
        for (;;) {
            errno = 0;
            const dirent *entry = ::readdir(dir);
            if (!entry) {
                if (errno != 0)
                    complete = record(errno, path);
                break;
            }
            const QByteArray name(entry->d_name);
            if (name == "." || name == "..")
                continue;
            bool isDirectory = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN) {
                struct stat info = {};
                isDirectory =
                    ::fstatat(::dirfd(dir), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                    S_ISDIR(info.st_mode);
            }
            children.push_back({name, isDirectory});
        }
        for (const Child &child : children) {
            const QString childPath = path + QLatin1Char('/') + KSTFileName::decoded(child.name);
            if (!removeEntry(::dirfd(dir), child.name, childPath, child.isDirectory))
                complete = false;
        }
        ::closedir(dir);
        return complete;
    }

    bool unlinkEntry(int parentFd, const QByteArray &name, const QString &path, int flags)
    {
        if (::unlinkat(parentFd, name.constData(), flags) == 0 || errno == ENOENT)
            return true;
        return record(errno, path);
    }

    // Always false, so callers can return it.
    bool record(int errorNumber, const QString &path)
    {
        if (!m_firstError) {
            m_firstError = KSTTrashSupport::cocoaError(
                errorNumber, path,
                QStringLiteral("Could not remove %1").arg(KSTTrashSupport::quoted(path)));
        }
        m_failedPaths.append(path);
        return false;
    }

    dev_t m_device;
    std::optional<KSTError> m_firstError;
    QStringList m_failedPaths;
};

std::optional<KSTHeldEntry> holdForPathForm(const QString &path, const QString &couldNot,
                                            KSTError *error)
{
    const QString cleaned = KSTTrashSupport::absoluteCleanPath(path);
    std::optional<KSTHeldEntry> entry;
    if (!cleaned.isEmpty() && cleaned != QLatin1String("/"))
        entry = KSTNoFollowPath::hold(cleaned);
    if (!entry && error) {
        const int failure =
            cleaned.isEmpty() ? ENOENT : (cleaned == QLatin1String("/") ? EPERM : errno);
        *error = KSTTrashSupport::cocoaError(failure, path, couldNot);
    }
    return entry;
}

} // namespace

QString KSTTrash::trashDirectory()
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Mac)
        return macTrash(environment);
    return KSTFreedesktopTrash::homeTrash(environment) + QLatin1String("/files");
}

bool KSTTrash::moveToTrash(const QString &path, QString *resultingPath, KSTError *error)
{
    const std::optional<KSTHeldEntry> entry = holdForPathForm(path, couldNotMove(path), error);
    return entry && moveToTrash(*entry, resultingPath, error);
}

bool KSTTrash::moveToTrash(const KSTHeldEntry &entry, QString *resultingPath, KSTError *error)
{
    if (KSTEnvironment::current().layout() == KSTLayout::Mac)
        return moveToMacTrash(entry, resultingPath, error);
    return KSTFreedesktopTrash::moveToTrash(entry, resultingPath, error);
}

bool KSTTrash::removePermanently(const QString &path, KSTError *error)
{
    const std::optional<KSTHeldEntry> entry = holdForPathForm(
        path, QStringLiteral("Could not remove %1").arg(KSTTrashSupport::quoted(path)), error);
    return entry && removePermanently(*entry, error);
}

bool KSTTrash::removePermanently(const KSTHeldEntry &entry, KSTError *error)
{
    TreeRemover remover(entry.status().st_dev);
    const bool removed =
        remover.removeEntry(entry.parentFd(), entry.name(), entry.path(), entry.isDirectory());
    if (!removed && error && remover.firstError()) {
        *error = *remover.firstError();
        error->userInfo.insert(QStringLiteral("failedPaths"), remover.failedPaths());
    }
    return removed;
}

QString KSTTrash::originalPathForTrashedItem(const QString &trashedPath)
{
    if (KSTEnvironment::current().layout() == KSTLayout::Mac)
        return {};
    return KSTFreedesktopTrash::originalPath(trashedPath);
}
