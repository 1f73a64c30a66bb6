#include "KSTTrash.h"

#include "KSTEnvironment.h"
#include "KSTFreedesktopTrash.h"
#include "KSTTrashSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

QByteArray encoded(const QString &path)
{
    return QFile::encodeName(path);
}

QString macTrash(const KSTEnvironment &environment)
{
    return environment.homePath(QStringLiteral(".Trash"));
}

// The item's folder with links resolved, so the volume and the recorded original path are
// those of where the item really lives (/tmp on a Mac is a link to /private/tmp). The item's
// own name is never resolved: a link is trashed as the link.
QString withResolvedParent(const QString &absolutePath)
{
    const QFileInfo info(absolutePath);
    const QString parent = QFileInfo(info.path()).canonicalFilePath();
    if (parent.isEmpty())
        return absolutePath;
    if (parent == QLatin1String("/"))
        return parent + info.fileName();
    return parent + QLatin1Char('/') + info.fileName();
}

bool moveToMacTrash(const QString &absolutePath, bool isDirectory, QString *resultingPath,
                    KSTError *error)
{
    const QString trash = macTrash(KSTEnvironment::current());
    const QString couldNot =
        QStringLiteral("Could not move %1 to the Trash").arg(KSTTrashSupport::quoted(absolutePath));
    auto fail = [&](int errorNumber, const QString &message) {
        if (error)
            *error = KSTTrashSupport::cocoaError(errorNumber, absolutePath, message);
        return false;
    };

    if (::mkdir(encoded(trash).constData(), 0700) != 0 && errno != EEXIST)
        return fail(errno, couldNot + QLatin1String(": the Trash folder cannot be created"));
    struct stat info = {};
    if (::lstat(encoded(trash).constData(), &info) != 0)
        return fail(errno, couldNot);
    if (!S_ISDIR(info.st_mode)) // a link or a file named .Trash is not ours to move into
        return fail(ENOTDIR, couldNot + QLatin1String(": ~/.Trash is not a folder"));

    const QString name = QFileInfo(absolutePath).fileName();
    for (int attempt = 1; attempt <= KSTTrashSupport::MaximumNameAttempts; ++attempt) {
        const QString target =
            trash + QLatin1Char('/') + KSTTrashSupport::candidateName(name, isDirectory, attempt);
        const int failure =
            KSTTrashSupport::renameNoReplace(encoded(absolutePath), encoded(target));
        if (failure == 0) {
            if (resultingPath)
                *resultingPath = target;
            return true;
        }
        if (failure == EXDEV) {
            return fail(failure, couldNot + QLatin1String(": it is on another volume than the "
                                                          "Trash, and it is not copied"));
        }
        if (failure != EEXIST)
            return fail(failure, couldNot);
    }
    return fail(EEXIST, couldNot + QLatin1String(": no free name in the Trash"));
}

// Depth-first removal through directory descriptors: every folder is opened relative to
// its parent with O_NOFOLLOW, so a link met anywhere is unlinked, never entered, and a
// folder swapped for a link mid-way is not followed either.
class TreeRemover
{
public:
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
            const QString childPath = path + QLatin1Char('/') + QFile::decodeName(child.name);
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

    std::optional<KSTError> m_firstError;
    QStringList m_failedPaths;
};

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
    const QString cleaned = KSTTrashSupport::absoluteCleanPath(path);
    struct stat info = {};
    if (cleaned.isEmpty() || ::lstat(encoded(cleaned).constData(), &info) != 0) {
        const int failure = cleaned.isEmpty() ? ENOENT : errno;
        if (error) {
            *error = KSTTrashSupport::cocoaError(failure, path,
                                                 QStringLiteral("Could not move %1 to the Trash")
                                                     .arg(KSTTrashSupport::quoted(path)));
        }
        return false;
    }
    const QString absolutePath = withResolvedParent(cleaned);
    const bool isDirectory = S_ISDIR(info.st_mode); // lstat: a link to a folder is a file here
    if (KSTEnvironment::current().layout() == KSTLayout::Mac)
        return moveToMacTrash(absolutePath, isDirectory, resultingPath, error);
    return KSTFreedesktopTrash::moveToTrash(absolutePath, isDirectory, resultingPath, error);
}

bool KSTTrash::removePermanently(const QString &path, KSTError *error)
{
    const QString absolutePath = KSTTrashSupport::absoluteCleanPath(path);
    auto fail = [&](int errorNumber) {
        if (error) {
            *error = KSTTrashSupport::cocoaError(
                errorNumber, path,
                QStringLiteral("Could not remove %1").arg(KSTTrashSupport::quoted(path)));
        }
        return false;
    };
    if (absolutePath.isEmpty())
        return fail(ENOENT);
    if (absolutePath == QLatin1String("/"))
        return fail(EPERM);

    struct stat info = {};
    if (::lstat(encoded(absolutePath).constData(), &info) != 0)
        return fail(errno);

    const QFileInfo location(absolutePath);
    const int parentFd =
        ::open(encoded(location.path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parentFd < 0)
        return fail(errno);
    TreeRemover remover;
    const bool removed = remover.removeEntry(parentFd, encoded(location.fileName()), absolutePath,
                                             S_ISDIR(info.st_mode));
    ::close(parentFd);
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
