// The six rule actions. They delete permanently, and move screenshots, only through
// KSTRemovalGuard: never through a link, never outside the home, never a never-touch entry nor
// anything holding one, and never an entry that changed since the rule looked at it. Every
// failure skips that item silently.
#include "KSTAutoCleanManager.h"

#include "KSTAutoCleanLocations.h"
#include "KSTFileName.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTRemovalGuard.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace Location = KSTAutoCleanLocations;

using Checker = KSTPermissionChecker;

void addTo(quint64 *counter, quint64 amount)
{
    if (counter)
        *counter += amount;
}

QString childPath(const QString &folder, const QString &name)
{
    return folder + QLatin1Char('/') + name;
}

// Where an item is reached: the access layer's answer (the path itself, or in a sandbox the
// item inside the granted home).
QString itemURL(const QString &path, bool isDirectory)
{
    return Checker::itemURLForPath(path, isDirectory);
}

bool existsAsFolder(const QString &path)
{
    bool isDirectory = false;
    return Checker::accessibleItemExistsAtPath(path, &isDirectory) && isDirectory;
}

bool somethingExistsAt(const QString &path)
{
    struct stat info = {};
    return ::lstat(KSTFileName::encoded(path).constData(), &info) == 0;
}

QDateTime dateOf(const KSTFileIdentity &identity)
{
    return QDateTime::fromMSecsSinceEpoch(identity.modifiedSeconds * 1000 +
                                          identity.modifiedNanoseconds / 1'000'000);
}

// The item's own modification date: a link answers for itself, not for its target, so an old
// link to a fresh file is judged by the link. The identity comes along, so that the item is
// removed only while it is still the one judged.
std::optional<KSTFileIdentity> identityAt(const QString &url)
{
    return KSTRemovalGuard::identityOf(url);
}

// Whether anything below the folder @p name of @p folderFd was modified at or after @p cutoff:
// a folder goes by age only when all of it is old. Read without following links.
bool holdsSomethingNewer(int folderFd, const char *name, const QDateTime &cutoff)
{
    const int fd = ::openat(folderFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return true; // what cannot be read cannot be shown to be old
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return true;
    }
    bool newer = false;
    while (const dirent *entry = ::readdir(dir)) {
        const char *child = entry->d_name;
        if (child[0] == '.' && (child[1] == '\0' || (child[1] == '.' && child[2] == '\0')))
            continue;
        struct stat status = {};
        if (::fstatat(::dirfd(dir), child, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            !(dateOf(KSTFileIdentity::fromStatus(status)) < cutoff) ||
            (S_ISDIR(status.st_mode) && holdsSomethingNewer(::dirfd(dir), child, cutoff))) {
            newer = true;
            break;
        }
    }
    ::closedir(dir);
    return newer;
}

bool holdsSomethingNewer(const QString &folder, const QDateTime &cutoff)
{
    const std::optional<KSTHeldEntry> entry = KSTNoFollowPath::hold(folder, true);
    return !entry || holdsSomethingNewer(entry->parentFd(), entry->name().constData(), cutoff);
}

// mkdir -p below the home without following a link on the way: a ~/Pictures that links
// elsewhere gets no archive folder created through it.
void makeFolderBelowHome(const QString &folder)
{
    const QString home = QDir::cleanPath(Checker::accessibleUserHomeDirectoryPath());
    const QString clean = QDir::cleanPath(folder);
    if (!clean.startsWith(home + QLatin1Char('/')))
        return;
    int fd = KSTNoFollowPath::openFolder(home);
    for (const QString &part : clean.mid(home.size() + 1).split(QLatin1Char('/'))) {
        if (fd < 0)
            return;
        const QByteArray name = KSTFileName::encoded(part);
        if (::mkdirat(fd, name.constData(), 0755) != 0 && errno != EEXIST) {
            ::close(fd);
            return;
        }
        const int next =
            ::openat(fd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        ::close(fd);
        fd = next;
    }
    if (fd >= 0)
        ::close(fd);
}

bool isScreenshotName(const QString &name)
{
    const QString lower = name.toLower();
    const bool image = lower.endsWith(QLatin1String(".png")) ||
                       lower.endsWith(QLatin1String(".jpg")) ||
                       lower.endsWith(QLatin1String(".jpeg"));
    return image && (lower.contains(QLatin1String("screen shot")) ||
                     lower.contains(QLatin1String("screenshot")));
}

} // namespace

bool KSTAutoCleanManager::removeItemAtPath(const QString &path, quint64 *bytesRemoved,
                                           quint64 *filesRemoved)
{
    return removeItemAtPath(path, std::nullopt, bytesRemoved, filesRemoved);
}

bool KSTAutoCleanManager::removeItemAtPath(const QString &path,
                                           const std::optional<KSTFileIdentity> &expected,
                                           quint64 *bytesRemoved, quint64 *filesRemoved)
{
    if (isWhitelistedPath(path))
        return false;
    bool isDirectory = false;
    if (!Checker::accessibleItemExistsAtPath(path, &isDirectory))
        return false;
    const quint64 size = fileSizeAtPath(path);
    QString url = itemURL(path, isDirectory);
    if (url.isEmpty())
        url = itemURL(path, !isDirectory);
    // A file already gone by the time the guard looks counts as not removed.
    if (url.isEmpty() || !removalGuard().removePermanently(url, expected))
        return false;
    addTo(bytesRemoved, size);
    addTo(filesRemoved, 1);
    return true;
}

KSTRemovalGuard KSTAutoCleanManager::removalGuard() const
{
    // The list kept aside by a launch reset still protects until the user dismisses it.
    QStringList neverTouch = whitelistPaths();
    for (const QString &path : keptAsideWhitelistPaths()) {
        if (!neverTouch.contains(path))
            neverTouch << path;
    }
    return KSTRemovalGuard(KSTRemovalGuard::Policy{{}, neverTouch});
}

bool KSTAutoCleanManager::removeFilesInDirectory(const QString &directory, int days,
                                                 quint64 *bytesRemoved, quint64 *filesRemoved)
{
    if (!existsAsFolder(directory))
        return false;
    const QDateTime cutoff = now().addSecs(-qint64(days) * 24 * 60 * 60);
    const std::optional<QStringList> names = Checker::directoryContentsAtAccessiblePath(directory);
    if (!names)
        return false;
    bool removedAny = false;
    for (const QString &name : *names) {
        const QString path = childPath(directory, name);
        if (isWhitelistedPath(path))
            continue;
        const QString url = itemURL(path, false);
        const std::optional<KSTFileIdentity> identity =
            url.isEmpty() ? std::nullopt : identityAt(url);
        if (!identity)
            continue;
        // Strictly earlier: an item exactly at the cut-off stays. A folder goes only when
        // nothing in it is newer either.
        if (!(dateOf(*identity) < cutoff))
            continue;
        if (identity->kind == KSTFileIdentity::Kind::Folder && holdsSomethingNewer(url, cutoff))
            continue;
        if (removeItemAtPath(path, identity, bytesRemoved, filesRemoved))
            removedAny = true;
    }
    return removedAny;
}

bool KSTAutoCleanManager::cleanDownloadsOlderThanDays(int days, quint64 *bytesRemoved,
                                                      quint64 *filesRemoved)
{
    const QString downloads = Location::table().downloads;
    if (downloads.isEmpty())
        return false;
    return removeFilesInDirectory(expandedPath(downloads), days, bytesRemoved, filesRemoved);
}

bool KSTAutoCleanManager::cleanApplicationLogsOlderThanDays(int days, quint64 *bytesRemoved,
                                                            quint64 *filesRemoved)
{
    const QString logs = Location::table().applicationLogs;
    if (logs.isEmpty())
        return false;
    return removeFilesInDirectory(expandedPath(logs), days, bytesRemoved, filesRemoved);
}

bool KSTAutoCleanManager::emptyTrash(quint64 *bytesRemoved, quint64 *filesRemoved)
{
    const Location::Table table = Location::table();
    if (table.trash.isEmpty())
        return false;
    const QString trash = expandedPath(table.trash);
    // The listing leaves out hidden entries, so hidden items in the Trash always stay.
    const std::optional<QStringList> names = Checker::directoryContentsAtAccessiblePath(trash);
    if (!names)
        return false;
    bool removedAny = false;
    for (const QString &name : *names) {
        if (name == QLatin1String(".DS_Store"))
            continue;
        if (!removeItemAtPath(childPath(trash, name), bytesRemoved, filesRemoved))
            continue;
        removedAny = true;
        // An entry's record goes with it (and stays while the entry does); it is bookkeeping,
        // not a file the user threw away, so it is not counted.
        if (!table.trashRecords.isEmpty()) {
            const QString record =
                childPath(expandedPath(table.trashRecords), name + QStringLiteral(".trashinfo"));
            if (!isWhitelistedPath(record))
                removalGuard().removePermanently(record);
        }
    }
    return removedAny;
}

bool KSTAutoCleanManager::archiveScreenshots(quint64 *bytesRemoved, quint64 *filesRemoved)
{
    // Moving frees no space, so the bytes counter is deliberately left alone.
    Q_UNUSED(bytesRemoved)
    const Location::Table table = Location::table();
    if (table.screenshotArchive.isEmpty())
        return false;
    const QString archive = expandedPath(table.screenshotArchive);
    const QString archiveURL = itemURL(archive, true);
    if (!archiveURL.isEmpty())
        makeFolderBelowHome(archiveURL); // it may exist; a real failure makes the moves fail
    const KSTRemovalGuard guard = removalGuard();

    bool movedAny = false;
    for (const QString &source : table.screenshotSources) {
        const QString folder = expandedPath(source);
        const std::optional<QStringList> names = Checker::directoryContentsAtAccessiblePath(folder);
        if (!names)
            continue;
        for (const QString &name : *names) {
            if (!isScreenshotName(name))
                continue;
            const QString path = childPath(folder, name);
            if (isWhitelistedPath(path))
                continue;
            const QString url = itemURL(path, false);
            if (url.isEmpty())
                continue;
            const QString destinationURL =
                itemURL(uniquePathForPath(childPath(archive, name)), false);
            if (destinationURL.isEmpty())
                continue;
            const qsizetype slash = destinationURL.lastIndexOf(QLatin1Char('/'));
            if (!guard.moveIntoFolder(url, std::nullopt, destinationURL.left(slash),
                                      destinationURL.mid(slash + 1)))
                continue;
            addTo(filesRemoved, 1);
            movedAny = true;
        }
    }
    return movedAny;
}

bool KSTAutoCleanManager::cleanBrowserCaches(quint64 *bytesRemoved, quint64 *filesRemoved)
{
    bool removedAny = false;
    for (const QString &cache : Location::table().browserCaches) {
        const QString path = expandedPath(cache);
        if (!isWhitelistedPath(path) && removeItemAtPath(path, bytesRemoved, filesRemoved))
            removedAny = true;
    }
    return removedAny;
}

bool KSTAutoCleanManager::trimIOSBackupsKeeping(int keep, quint64 *bytesRemoved,
                                                quint64 *filesRemoved)
{
    const QString backupFolder = Location::table().iosBackups;
    if (backupFolder.isEmpty())
        return false;
    const QString root = expandedPath(backupFolder);
    if (!existsAsFolder(root))
        return false;
    const std::optional<QStringList> names = Checker::directoryContentsAtAccessiblePath(root);
    if (!names)
        return false;

    struct Backup
    {
        QString path;
        QDateTime date;
    };
    // A backup whose date cannot be read counts as the oldest.
    const QDateTime distantPast(QDate(1, 1, 1), QTime(0, 0), Qt::UTC);
    QList<Backup> backups;
    for (const QString &name : *names) {
        const QString path = childPath(root, name);
        if (!existsAsFolder(path))
            continue;
        const QString url = itemURL(path, true);
        const std::optional<KSTFileIdentity> identity =
            url.isEmpty() ? std::nullopt : identityAt(url);
        backups << Backup{path, identity ? dateOf(*identity) : distantPast};
    }
    std::sort(backups.begin(), backups.end(),
              [](const Backup &a, const Backup &b) { return a.date > b.date; });

    bool removedAny = false;
    for (qsizetype index = std::max(keep, 0); index < backups.size(); ++index) {
        if (removeItemAtPath(backups.at(index).path, bytesRemoved, filesRemoved))
            removedAny = true;
    }
    return removedAny;
}

QString KSTAutoCleanManager::uniquePathForPath(const QString &path)
{
    if (!somethingExistsAt(path))
        return path;
    const QFileInfo info(path);
    const QString folder = info.path();
    const QString name = info.fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const bool hasExtension = dot > 0 && dot < name.size() - 1;
    const QString base = hasExtension ? name.left(dot) : name;
    const QString extension = hasExtension ? name.mid(dot + 1) : QString();
    for (int attempt = 1; attempt <= 999; ++attempt) {
        // One multi-argument arg(): a name holding "%1" must not be substituted into.
        const QString number = QString::number(attempt);
        const QString candidate = hasExtension
                                      ? QStringLiteral("%1 %2.%3").arg(base, number, extension)
                                      : QStringLiteral("%1 %2").arg(base, number);
        const QString candidatePath = childPath(folder, candidate);
        if (!somethingExistsAt(candidatePath))
            return candidatePath;
    }
    return path;
}

quint64 KSTAutoCleanManager::fileSizeAtPath(const QString &path)
{
    return Checker::fileSizeAtAccessiblePath(path);
}

quint64 KSTAutoCleanManager::folderSizeAtPath(const QString &path)
{
    return Checker::fileSizeAtAccessiblePath(path);
}
