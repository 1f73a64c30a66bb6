// The accessible-path operations: what the engines call instead of touching the file system,
// so that the privacy rule and (in a sandboxed build) the home grant apply everywhere.
#include "KSTPermissionChecker.h"
#include "KSTPermissionCheckerState.h"

#include "KSTFileName.h"
#include "KSTNoFollowPath.h"
#include "KSTPropertyList.h"
#include "KSTTreeSize.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

const QStringList &sandboxReadableApplicationRoots()
{
    static const QStringList roots = {QStringLiteral("/Applications"),
                                      QStringLiteral("/System/Applications")};
    return roots;
}

QString homeMusicFolder()
{
    QString home =
        KSTPermissionCheckerState::standardized(KSTPermissionChecker::realUserHomeDirectoryPath());
    if (home.isEmpty())
        home = KSTPermissionCheckerState::standardized(QDir::homePath());
    return home + QLatin1String("/Music");
}

bool lstatPath(const QString &path, struct stat &info)
{
    return ::lstat(KSTFileName::encoded(path).constData(), &info) == 0;
}

// The file manager's directory test: a final link is followed.
// @p path, clean, when it is the granted home or lies inside it; empty otherwise or without a
// grant.
QString pathInsideGrantedHome(const QString &path)
{
    const QString granted =
        KSTPermissionCheckerState::standardized(KSTPermissionChecker::grantedHomeFolderURL());
    if (granted.isEmpty())
        return {};
    const QString clean = KSTPermissionCheckerState::standardized(path);
    if (clean == granted || clean.startsWith(granted + QLatin1Char('/')))
        return clean;
    return {};
}

bool isFolder(const QString &path)
{
    struct stat info;
    return ::stat(KSTFileName::encoded(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

} // namespace

const QByteArrayList &KSTPermissionChecker::privacyProtectedExtensions()
{
    static const QByteArrayList extensions = {"photoslibrary", "musiclibrary", "ituneslibrary",
                                              "photolibrary"};
    return extensions;
}

bool KSTPermissionChecker::liesInPrivacyProtectedPlace(const QString &path)
{
    if (shouldSkipPrivacyProtectedPath(path))
        return true;
    const QString clean = KSTPermissionCheckerState::standardized(path);
    for (qsizetype slash = clean.indexOf(QLatin1Char('/'), 1); slash > 0;
         slash = clean.indexOf(QLatin1Char('/'), slash + 1)) {
        if (shouldSkipPrivacyProtectedPath(clean.left(slash)))
            return true;
    }
    return false;
}

bool KSTPermissionChecker::shouldSkipPrivacyProtectedPath(const QString &path)
{
    if (path.isEmpty())
        return false;
    const QString clean = KSTPermissionCheckerState::standardized(path);
    const QString music = homeMusicFolder();
    if (clean == music || clean.startsWith(music + QLatin1Char('/')))
        return true;
    const qsizetype dot = clean.lastIndexOf(QLatin1Char('.'));
    const qsizetype slash = clean.lastIndexOf(QLatin1Char('/'));
    if (dot <= slash + 1)
        return false;
    const QByteArray extension = clean.mid(dot + 1).toLower().toUtf8();
    return privacyProtectedExtensions().contains(extension);
}

KSTTreeSize::Options KSTPermissionChecker::accessibleTreeSizeOptions()
{
    KSTTreeSize::Options options;
    options.skipHidden = true;
    options.excludedFolders = {homeMusicFolder()};
    options.excludedExtensions = privacyProtectedExtensions();
    return options;
}

QString KSTPermissionChecker::accessibleUserHomeDirectoryPath()
{
    const QString granted = grantedHomeFolderURL();
    if (!granted.isEmpty())
        return granted;
    return realUserHomeDirectoryPath();
}

void KSTPermissionChecker::performWithGrantedHomeFolderAccess(const std::function<void()> &block)
{
    if (!block)
        return;
    if (isRunningSandboxed() && (!ensureHomeFolderAccessStarted() || !hasHomeFolderAccess()))
        return;
    block();
}

void KSTPermissionChecker::prepareHomeFolderAccessForScan()
{
    if (isRunningSandboxed())
        restoreStoredHomeFolderAccess();
}

void KSTPermissionChecker::performWithHomeFolderAccessForScan(const std::function<void()> &block)
{
    if (isRunningSandboxed() && !hasHomeFolderAccess())
        return;
    performWithGrantedHomeFolderAccess(block);
}

QString KSTPermissionChecker::fileURLInGrantedHomeForPath(const QString &path, bool isDirectory)
{
    Q_UNUSED(isDirectory) // a local path carries no directory mark
    if (path.isEmpty() || shouldSkipPrivacyProtectedPath(path))
        return {};
    const QString inside = pathInsideGrantedHome(path);
    if (!inside.isEmpty())
        return inside;
    return isRunningSandboxed() ? QString() : path;
}

bool KSTPermissionChecker::isPathInsideRealUserHome(const QString &path)
{
    const QString home = KSTPermissionCheckerState::standardized(realUserHomeDirectoryPath());
    const QString clean = KSTPermissionCheckerState::standardized(path);
    if (home.isEmpty() || clean.isEmpty())
        return false;
    return clean == home || clean.startsWith(home + QLatin1Char('/'));
}

QString KSTPermissionChecker::directoryURLForScanRoot(const QString &path)
{
    if (path.isEmpty() || shouldSkipPrivacyProtectedPath(path))
        return {};
    if (!isRunningSandboxed())
        return path;
    const bool insideHome = isPathInsideRealUserHome(path);
    if (!hasHomeFolderAccess())
        return insideHome ? QString() : path;
    const QString granted = KSTPermissionCheckerState::standardized(grantedHomeFolderURL());
    const QString clean = KSTPermissionCheckerState::standardized(path);
    if (!granted.isEmpty()) {
        if (clean == granted)
            return grantedHomeFolderURL();
        if (clean.startsWith(granted + QLatin1Char('/')))
            return directoryURLInGrantedHomeWithRelativePath(clean.mid(granted.size() + 1));
    }
    return insideHome ? QString() : path;
}

QString KSTPermissionChecker::itemURLForPath(const QString &path, bool isDirectory)
{
    return itemURLForPath(path, isDirectory, isRunningSandboxed());
}

QString KSTPermissionChecker::itemURLForPath(const QString &path, bool isDirectory, bool sandboxed)
{
    Q_UNUSED(isDirectory) // a local path carries no directory mark
    if (!sandboxed)
        return path;
    if (path.isEmpty() || shouldSkipPrivacyProtectedPath(path))
        return {};
    return pathInsideGrantedHome(path);
}

KSTPermissionChecker::HomeSearchScope
KSTPermissionChecker::homeSearchScope(const QString &userFolder,
                                      const QStringList &sandboxedFolders)
{
    return homeSearchScope(userFolder, sandboxedFolders, isRunningSandboxed());
}

KSTPermissionChecker::HomeSearchScope
KSTPermissionChecker::homeSearchScope(const QString &userFolder,
                                      const QStringList &sandboxedFolders, bool sandboxed)
{
    if (!sandboxed)
        return {userFolder, {userFolder}};
    // A sandbox reaches the home only through the grant, and tools and walks only through
    // the folders it names below it.
    const QString granted = KSTPermissionCheckerState::standardized(grantedHomeFolderURL());
    if (granted.isEmpty())
        return {};
    HomeSearchScope scope{granted, {}};
    for (const QString &relative : sandboxedFolders) {
        if (relative.isEmpty())
            continue;
        const QString folder = granted + QLatin1Char('/') + relative;
        bool isDirectory = false;
        if (!shouldSkipPrivacyProtectedPath(folder) && URLExists(folder, &isDirectory) &&
            isDirectory)
            scope.roots << folder;
    }
    return scope;
}

QString KSTPermissionChecker::accessibleURLForPath(const QString &path, bool isDirectory)
{
    if (path.isEmpty() || shouldSkipPrivacyProtectedPath(path))
        return {};
    if (isRunningSandboxed()) {
        if (!ensureHomeFolderAccessStarted())
            return {};
        return fileURLInGrantedHomeForPath(path, isDirectory);
    }
    return path;
}

QString KSTPermissionChecker::directoryURLInGrantedHomeWithRelativePath(const QString &relativePath)
{
    if (shouldSkipPrivacyProtectedPath(relativePath))
        return {};
    const QString granted = grantedHomeFolderURL();
    if (!granted.isEmpty())
        return relativePath.isEmpty() ? granted : granted + QLatin1Char('/') + relativePath;
    if (isRunningSandboxed())
        return {};
    const QString home = realUserHomeDirectoryPath();
    return relativePath.isEmpty() ? home : home + QLatin1Char('/') + relativePath;
}

QString KSTPermissionChecker::directoryURLForSizeAtPath(const QString &path)
{
    if (path.isEmpty() || shouldSkipPrivacyProtectedPath(path))
        return {};
    if (!isRunningSandboxed())
        return path;
    const QString inHome = fileURLInGrantedHomeForPath(path, true);
    if (!inHome.isEmpty())
        return inHome;
    return isSandboxReadableApplicationRootPath(path) ? path : QString();
}

bool KSTPermissionChecker::isSandboxReadableApplicationRootPath(const QString &path)
{
    const QString clean = KSTPermissionCheckerState::standardized(path);
    if (clean.isEmpty())
        return false;
    for (const QString &root : sandboxReadableApplicationRoots()) {
        if (clean == root || clean.startsWith(root + QLatin1Char('/')))
            return true;
    }
    return false;
}

bool KSTPermissionChecker::URLExists(const QString &url, bool *isDirectory)
{
    if (url.isEmpty())
        return false;
    // Like asking a URL for its directory flag: a symbolic link answers for itself.
    struct stat info;
    if (!lstatPath(url, info))
        return false;
    if (isDirectory)
        *isDirectory = S_ISDIR(info.st_mode);
    return true;
}

bool KSTPermissionChecker::accessibleItemExistsAtPath(const QString &path, bool *isDirectory)
{
    if (path.isEmpty())
        return false;
    if (isRunningSandboxed()) {
        QString url = accessibleURLForPath(path, true);
        if (url.isEmpty())
            url = accessibleURLForPath(path, false);
        return !url.isEmpty() && URLExists(url, isDirectory);
    }
    // The file manager's exists test follows a final symbolic link.
    struct stat info;
    if (::stat(KSTFileName::encoded(path).constData(), &info) != 0)
        return false;
    if (isDirectory)
        *isDirectory = S_ISDIR(info.st_mode);
    return true;
}

std::optional<QStringList>
KSTPermissionChecker::directoryContentsAtAccessiblePath(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    const QString url = accessibleURLForPath(path, true);
    if (url.isEmpty() || !QDir::isAbsolutePath(url))
        return std::nullopt;
    // Never through a link: a ~/Downloads that links elsewhere lists nothing.
    return KSTNoFollowPath::listFolder(KSTPermissionCheckerState::standardized(url), true);
}

quint64 KSTPermissionChecker::fileSizeAtAccessiblePath(const QString &path)
{
    if (path.isEmpty() || shouldSkipPrivacyProtectedPath(path))
        return 0;
    struct stat info;
    const QString fileURL = accessibleURLForPath(path, false);
    if (!fileURL.isEmpty() && lstatPath(fileURL, info) && !S_ISDIR(info.st_mode))
        return static_cast<quint64>(info.st_size);

    const QString directoryURL = accessibleURLForPath(path, true);
    if (directoryURL.isEmpty() || !isFolder(directoryURL)) {
        if (isRunningSandboxed())
            return 0;
        return lstatPath(path, info) ? static_cast<quint64>(info.st_size) : 0;
    }

    return KSTTreeSize::allocatedBytes(KSTPermissionCheckerState::standardized(directoryURL),
                                       accessibleTreeSizeOptions());
}

quint64 KSTPermissionChecker::directorySizeAtAccessibleRelativePath(const QString &relativePath)
{
    if (relativePath.isEmpty())
        return 0;
    const QString absolute = accessibleUserHomeDirectoryPath() + QLatin1Char('/') + relativePath;
    if (shouldSkipPrivacyProtectedPath(absolute))
        return 0;
    return fileSizeAtAccessiblePath(absolute);
}

std::optional<QVariantMap>
KSTPermissionChecker::dictionaryFromAccessiblePlistAtPath(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    const QString url = accessibleURLForPath(path, false);
    if (url.isEmpty() && isRunningSandboxed())
        return std::nullopt;
    bool ok = false;
    const QVariantMap dictionary = KSTPropertyList::readDictionary(url.isEmpty() ? path : url, &ok);
    if (!ok)
        return std::nullopt;
    return dictionary;
}

QString KSTPermissionChecker::workspaceIconForAccessiblePath(const QString &path)
{
    if (path.isEmpty())
        return {};
    QString url = fileURLInGrantedHomeForPath(path, true);
    if (url.isEmpty())
        url = fileURLInGrantedHomeForPath(path, false);
    if (url.isEmpty() && !isRunningSandboxed())
        url = path;
    return url;
}
