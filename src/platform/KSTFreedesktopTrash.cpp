#include "KSTFreedesktopTrash.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTNoFollowPath.h"
#include "KSTReadOnlyFile.h"
#include "KSTTrashSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A .trashinfo file's name adds ".trashinfo" to the item's: the item's name must leave room.
constexpr qsizetype MaximumTrashedNameBytes = 255 - 10;

QByteArray trashEncoded(const QString &path)
{
    return KSTFileName::encoded(path);
}

QString joined(const QString &directory, const QString &name)
{
    if (directory.endsWith(QLatin1Char('/')))
        return directory + name;
    return directory + QLatin1Char('/') + name;
}

QString trashParentOf(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

// The host user's home never changes while we run; asking once also keeps the password
// database (whose getpwuid() is not thread-safe) out of concurrent moves.
const QString &hostHome()
{
    static const QString home = QDir::cleanPath(KSTEnvironment::hostDefault().home());
    return home;
}

// mkdir -p with mode 0700 for every folder it creates, as the trash and XDG folders require.
int makePrivatePath(const QString &path)
{
    struct stat info = {};
    if (::stat(trashEncoded(path).constData(), &info) == 0)
        return S_ISDIR(info.st_mode) ? 0 : ENOTDIR;
    if (errno != ENOENT)
        return errno;
    const QString parent = trashParentOf(path);
    if (parent != path) {
        if (const int failure = makePrivatePath(parent))
            return failure;
    }
    if (::mkdir(trashEncoded(path).constData(), 0700) != 0 && errno != EEXIST)
        return errno;
    return 0;
}

// A folder inside a trash must be a real folder of ours, never a link planted there.
int ensureOwnFolder(const QString &path, bool checkOwner)
{
    if (::mkdir(trashEncoded(path).constData(), 0700) != 0 && errno != EEXIST)
        return errno;
    struct stat info = {};
    if (::lstat(trashEncoded(path).constData(), &info) != 0)
        return errno;
    if (!S_ISDIR(info.st_mode))
        return ENOTDIR;
    if (checkOwner && info.st_uid != ::getuid())
        return EPERM;
    return 0;
}

int ensureTrashFolders(const QString &trash, bool checkOwner)
{
    if (const int failure = ensureOwnFolder(trash, checkOwner))
        return failure;
    if (const int failure = ensureOwnFolder(joined(trash, QStringLiteral("files")), false))
        return failure;
    return ensureOwnFolder(joined(trash, QStringLiteral("info")), false);
}

// The mount point holding @p path: the highest ancestor still on device @p device.
QString topDirectory(const QString &path, dev_t device)
{
    QString directory = trashParentOf(path);
    while (directory != QLatin1String("/")) {
        const QString parent = trashParentOf(directory);
        struct stat info = {};
        if (::stat(trashEncoded(parent).constData(), &info) != 0 || info.st_dev != device)
            break;
        directory = parent;
    }
    return directory;
}

// $topdir/.Trash/<uid> when an administrator provided a sticky, non-link .Trash there,
// else $topdir/.Trash-<uid>; created as needed. Returns 0 or an errno value.
int topDirectoryTrash(const QString &topdir, QString *trash)
{
    const QString uid = QString::number(::getuid());
    const QString shared = joined(topdir, QStringLiteral(".Trash"));
    struct stat info = {};
    if (::lstat(trashEncoded(shared).constData(), &info) == 0 && S_ISDIR(info.st_mode) &&
        (info.st_mode & S_ISVTX)) {
        const QString candidate = joined(shared, uid);
        if (ensureTrashFolders(candidate, true) == 0) {
            *trash = candidate;
            return 0;
        }
    }
    const QString own = joined(topdir, QStringLiteral(".Trash-") + uid);
    if (const int failure = ensureTrashFolders(own, true))
        return failure;
    *trash = own;
    return 0;
}

// Local time for DeletionDate. glibc guards its time-zone state with an internal lock that
// ThreadSanitizer cannot see, so concurrent moves would be reported as racing in tzset();
// serialising our own conversions keeps the sanitizer builds meaningful.
QByteArray localTimestamp()
{
    static std::mutex mutex;
    std::lock_guard lock(mutex);
    return QDateTime::currentDateTime()
        .toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"))
        .toLatin1();
}

QByteArray trashInfo(const QString &recordedPath)
{
    // The Path key is a URL-style percent-encoding of the file name's bytes; '/' stays.
    return "[Trash Info]\nPath=" + trashEncoded(recordedPath).toPercentEncoding("/") +
           "\nDeletionDate=" + localTimestamp() + '\n';
}

bool writeAll(int fd, const QByteArray &data)
{
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.constData() + done, size_t(data.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

// Reserves a name with an exclusive .trashinfo, then renames the held item next to it.
// Returns 0 or an errno value; on failure nothing is left behind in the trash.
int moveInto(const QString &trash, const KSTHeldEntry &entry, const QString &recordedPath,
             QString *resultingPath)
{
    const int filesFd = KSTNoFollowPath::openFolder(trash + QLatin1String("/files"));
    const int infoFd = KSTNoFollowPath::openFolder(trash + QLatin1String("/info"));
    if (filesFd < 0 || infoFd < 0) {
        const int failure = errno;
        if (filesFd >= 0)
            ::close(filesFd);
        if (infoFd >= 0)
            ::close(infoFd);
        return failure;
    }
    const QString name = KSTFileName::decoded(entry.name());
    const QByteArray info = trashInfo(recordedPath);
    int result = EEXIST;
    for (int attempt = 1; attempt <= KSTTrashSupport::MaximumNameAttempts; ++attempt) {
        const QString candidate = KSTTrashSupport::candidateName(name, entry.isDirectory(), attempt,
                                                                 MaximumTrashedNameBytes);
        const QByteArray infoName = trashEncoded(candidate + QLatin1String(".trashinfo"));
        const int fd = ::openat(infoFd, infoName.constData(),
                                O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0) {
            if (errno == EEXIST)
                continue;
            result = errno;
            break;
        }
        const bool written = writeAll(fd, info);
        const int writeError = errno;
        if (::close(fd) != 0 || !written) {
            ::unlinkat(infoFd, infoName.constData(), 0);
            result = written ? EIO : writeError;
            break;
        }
        result = KSTTrashSupport::renameNoReplaceAt(entry.parentFd(), entry.name(), filesFd,
                                                    trashEncoded(candidate));
        if (result == 0) {
            if (resultingPath)
                *resultingPath = trash + QLatin1String("/files/") + candidate;
            break;
        }
        ::unlinkat(infoFd, infoName.constData(), 0);
        if (result != EEXIST) // a stray item without info already holds the name
            break;
    }
    ::close(filesFd);
    ::close(infoFd);
    return result;
}

// The item's folder with links resolved, so the volume and the recorded original path are
// those of where the item really lives. The item's own name is never resolved.
QString resolvedPath(const KSTHeldEntry &entry)
{
    const QString parent = trashParentOf(entry.path());
    char *real = ::realpath(trashEncoded(parent).constData(), nullptr);
    if (!real)
        return entry.path();
    const QString resolved = KSTFileName::decoded(real);
    ::free(real);
    return joined(resolved, KSTFileName::decoded(entry.name()));
}

QString recordedPathFromInfo(const QString &infoPath)
{
    // A FIFO or a huge file planted as a .trashinfo is never waited on or read whole.
    QByteArray contents;
    if (KSTReadOnlyFile::readPrefix(infoPath, 64 * 1024, &contents) !=
        KSTReadOnlyFile::Status::Read)
        return {};
    bool inGroup = false;
    for (QByteArray line : contents.split('\n')) {
        line = line.trimmed();
        if (line.startsWith('[')) {
            inGroup = line == "[Trash Info]";
            continue;
        }
        if (inGroup && line.startsWith("Path="))
            return KSTFileName::decoded(QByteArray::fromPercentEncoding(line.mid(5)));
    }
    return {};
}

} // namespace

QString KSTFreedesktopTrash::homeTrash(const KSTEnvironment &environment)
{
    if (QDir::cleanPath(environment.home()) == hostHome()) {
        const QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
        if (!dataHome.isEmpty() && QDir::isAbsolutePath(dataHome))
            return QDir::cleanPath(dataHome) + QLatin1String("/Trash");
    }
    return environment.homePath(QStringLiteral(".local/share/Trash"));
}

bool KSTFreedesktopTrash::moveToTrash(const KSTHeldEntry &entry, QString *resultingPath,
                                      KSTError *error)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString absolutePath = resolvedPath(entry);
    const QString shown = KSTTrashSupport::quoted(entry.path());
    auto fail = [&](int errorNumber, const QString &message) {
        if (error)
            *error = KSTTrashSupport::cocoaError(errorNumber, entry.path(), message);
        return false;
    };
    const QString couldNot = QStringLiteral("Could not move %1 to the Trash").arg(shown);
    const QString noTrashFolder = couldNot + QLatin1String(": the Trash folder cannot be created");

    const QString home = homeTrash(environment);
    struct stat homeInfo = {};
    if (::stat(trashEncoded(environment.home()).constData(), &homeInfo) != 0)
        return fail(errno, couldNot + QLatin1String(": the home folder is missing"));
    if (const int failure = makePrivatePath(trashParentOf(home)))
        return fail(failure, noTrashFolder);
    if (const int failure = ensureTrashFolders(home, false))
        return fail(failure, noTrashFolder);

    struct stat homeFiles = {};
    const bool sameDevice =
        ::stat(trashEncoded(home + QLatin1String("/files")).constData(), &homeFiles) == 0 &&
        homeFiles.st_dev == entry.status().st_dev;
    if (sameDevice) {
        const int failure = moveInto(home, entry, absolutePath, resultingPath);
        if (failure == 0)
            return true;
        if (failure != EXDEV) // bind mounts share a device number yet refuse the rename
            return fail(failure, couldNot);
    }

    // Another file system: its own trash at the top directory, never a copy.
    const QString topdir = topDirectory(absolutePath, entry.status().st_dev);
    QString trash;
    if (const int failure = topDirectoryTrash(topdir, &trash)) {
        return fail(failure, couldNot + QStringLiteral(": its volume (%1) has no usable Trash "
                                                       "folder")
                                            .arg(topdir));
    }
    const QString relative =
        absolutePath.mid(topdir.size() + (topdir == QLatin1String("/") ? 0 : 1));
    if (const int failure = moveInto(trash, entry, relative, resultingPath))
        return fail(failure, couldNot + QStringLiteral(" of its volume (%1)").arg(topdir));
    return true;
}

QString KSTFreedesktopTrash::originalPath(const QString &trashedPath)
{
    const QString path = KSTTrashSupport::absoluteCleanPath(trashedPath);
    // Walk up to the nearest files/<name> that has a matching info/<name>.trashinfo; what
    // lies below <name> is a part of a trashed folder and keeps its place under the original.
    QString inner = QFileInfo(path).fileName();
    QString rest;
    for (QString folder = trashParentOf(path); folder != QLatin1String("/");
         folder = trashParentOf(folder)) {
        const QString trash = trashParentOf(folder);
        if (QFileInfo(folder).fileName() == QLatin1String("files")) {
            const QString recorded = recordedPathFromInfo(trash + QLatin1String("/info/") + inner +
                                                          QLatin1String(".trashinfo"));
            if (!recorded.isEmpty()) {
                QString original = recorded;
                if (!QDir::isAbsolutePath(original)) {
                    // Relative to the volume's top directory, which holds .Trash-<uid> or
                    // .Trash (whose <uid> folder is the trash).
                    QString topdir = trashParentOf(trash);
                    if (QFileInfo(topdir).fileName() == QLatin1String(".Trash"))
                        topdir = trashParentOf(topdir);
                    original = joined(topdir, original);
                }
                return rest.isEmpty() ? original : original + QLatin1Char('/') + rest;
            }
        }
        rest = rest.isEmpty() ? inner : inner + QLatin1Char('/') + rest;
        inner = QFileInfo(folder).fileName();
    }
    return {};
}
