#include "KSTCleanUpLocations.h"

#include "KSTCleanUpEngine.h"
#include "KSTFileName.h"
#include "KSTLinuxPlaces.h"
#include "KSTMountedVolumes.h"
#include "KSTPermissionChecker.h"

#include <QDir>
#include <QSet>

#include <sys/stat.h>

namespace KSTCleanUpLocations {

namespace {

QString joinedPath(const QString &folder, const QString &name)
{
    if (folder.endsWith(QLatin1Char('/')))
        return folder + name;
    return folder + QLatin1Char('/') + name;
}

QString displayPath(const QString &path, const QString &home)
{
    if (home.isEmpty() || !path.startsWith(home))
        return path;
    return QLatin1Char('~') + path.mid(home.size());
}

std::optional<struct stat> linkStatus(const QString &path)
{
    struct stat status = {};
    if (::lstat(KSTFileName::encoded(path).constData(), &status) != 0)
        return std::nullopt;
    return status;
}

bool isRealFolder(const QString &path)
{
    const std::optional<struct stat> status = linkStatus(path);
    return status && S_ISDIR(status->st_mode);
}

Table macTable(const QString &home)
{
    const auto inHome = [&home](const QString &relative) { return joinedPath(home, relative); };
    Table table;
    table.systemJunkSubtitle =
        QStringLiteral("Caches · App Support · Logs · Saved App State · Snapshots");
    table.removableSubtitle = QStringLiteral("iOS Backups · Screenshots · Installers · Downloads");
    table.caches = inHome(macCaches);
    table.isExcludedCacheFolder = &KSTCleanUpEngine::isExcludedAppleCacheFolder;
    table.applicationSupport = inHome(macApplicationSupport);
    table.isExcludedApplicationSupportFolder =
        &KSTCleanUpEngine::isExcludedAppleApplicationSupportFolder;
    table.systemJunkLocations = {
        {QStringLiteral("Logs"), inHome(QStringLiteral("Library/Logs"))},
        {QStringLiteral("Saved Application State"),
         inHome(QStringLiteral("Library/Saved Application State"))},
    };
    table.hasLocalSnapshots = true;

    table.trash = inHome(trash);
    table.trashDisplayPath = QStringLiteral("~/.Trash");
    table.trashPlaces = {{table.trash, table.trash}};
    table.trashCountsHiddenEntries = false;
    table.trashEmptied = {{table.trash, true, QString(), QString()}};
    table.trashKeptName = QStringLiteral(".DS_Store");

    table.downloads = inHome(downloads);
    table.downloadsDisplayPath = QStringLiteral("~/Downloads");
    table.failedDownloadExtensions = {QStringLiteral("download")};
    table.iosBackups = inHome(iosBackups);
    table.removableLocations = {
        {QStringLiteral("Screenshots"), inHome(QStringLiteral("Pictures/Screenshots"))},
        {QStringLiteral("Downloads folder"), table.downloads},
    };
    table.largeFileExcludedFolders = {library, trash};
    return table;
}

Table linuxTable(const KSTEnvironment &environment, const QString &home)
{
    const std::shared_ptr<const KSTLinuxPlaces> places = environment.places();
    const QString cacheHome = places->cacheHome();
    const QString dataHome = places->dataHome();
    Table table;
    table.systemJunkSubtitle = QStringLiteral("Caches · App Support · Logs · Thumbnails");
    table.removableSubtitle = QStringLiteral("Screenshots · Installers · Downloads");
    // Flatpak keeps each application's XDG folders in ~/.var/app/<id>; a snap its cache in
    // ~/snap/<name>/common/.cache.
    const QString flatpakApps = joinedPath(home, QStringLiteral(".var/app"));
    table.caches = cacheHome;
    table.appCaches = {{flatpakApps, QStringLiteral("cache")},
                       {joinedPath(home, QStringLiteral("snap")), QStringLiteral("common/.cache")}};
    table.isExcludedCacheFolder = &isExcludedLinuxCacheFolder;
    table.applicationSupport = dataHome;
    table.appApplicationSupport = {{flatpakApps, QStringLiteral("data")}};
    table.isExcludedApplicationSupportFolder = &isExcludedLinuxDataFolder;
    // The X server's logs; the state and config homes hold settings, never junk.
    table.systemJunkLocations = {
        {QStringLiteral("Logs"), joinedPath(dataHome, QStringLiteral("xorg"))},
        {QStringLiteral("Thumbnails"), joinedPath(cacheHome, QStringLiteral("thumbnails"))},
    };

    table.trash = joinedPath(dataHome, QStringLiteral("Trash"));
    table.trashDisplayPath = displayPath(table.trash, home);
    table.trashCountsHiddenEntries = true;
    const bool trashInHome = table.trash.startsWith(home + QLatin1Char('/'));
    QList<QPair<QString, QString>> trashes = {{table.trash, trashInHome ? QString() : dataHome}};
    if (environment.isHostRoot())
        trashes << topDirectoryTrashes(KSTMountedVolumes::mountPoints(), environment.userId(),
                                       home);
    for (const auto &[folder, scope] : std::as_const(trashes)) {
        const QString files = joinedPath(folder, QStringLiteral("files"));
        table.trashPlaces << TrashPlace{folder, files};
        table.trashEmptied << TrashFolder{files, true, QString(), scope}
                           << TrashFolder{joinedPath(folder, QStringLiteral("info")), false, files,
                                          scope}
                           << TrashFolder{joinedPath(folder, QStringLiteral("expunged")), false,
                                          QString(), scope};
    }

    // A Downloads or Pictures folder the user switched off gives nothing.
    table.downloads = places->userFolder(KSTLinuxPlaces::UserFolder::Downloads);
    table.downloadsDisplayPath = displayPath(table.downloads, home);
    table.failedDownloadExtensions = {QStringLiteral("part"), QStringLiteral("crdownload")};
    table.installerExtensions = {QStringLiteral("deb"), QStringLiteral("rpm"),
                                 QStringLiteral("flatpak"), QStringLiteral("flatpakref"),
                                 QStringLiteral("snap")};
    const QString pictures = places->userFolder(KSTLinuxPlaces::UserFolder::Pictures);
    if (!pictures.isEmpty())
        table.removableLocations << FixedLocation{
            QStringLiteral("Screenshots"), joinedPath(pictures, QStringLiteral("Screenshots"))};
    if (!table.downloads.isEmpty())
        table.removableLocations << FixedLocation{QStringLiteral("Downloads folder"),
                                                  table.downloads};
    table.largeFileExcludedFolders = {QStringLiteral("snap")};
    table.largeFileSkipsHiddenAndUnreadable = true;
    return table;
}

} // namespace

Table table()
{
    return tableFor(KSTEnvironment::current(),
                    QDir::cleanPath(KSTPermissionChecker::accessibleUserHomeDirectoryPath()));
}

Table tableFor(const KSTEnvironment &environment, const QString &home)
{
    return environment.layout() == KSTLayout::Mac ? macTable(home) : linuxTable(environment, home);
}

QList<QPair<QString, QString>> topDirectoryTrashes(const QStringList &mountPoints, uint userId,
                                                   const QString &home)
{
    std::optional<dev_t> homeDevice;
    struct stat homeStatus = {};
    if (!home.isEmpty() && ::stat(KSTFileName::encoded(home).constData(), &homeStatus) == 0)
        homeDevice = homeStatus.st_dev;
    const QString uid = QString::number(userId);
    QList<QPair<QString, QString>> trashes;
    QSet<QString> seen;
    for (const QString &mountPoint : mountPoints) {
        const QString mount = QDir::cleanPath(mountPoint);
        if (!mount.startsWith(QLatin1Char('/')) || seen.contains(mount))
            continue;
        seen.insert(mount);
        const std::optional<struct stat> mountStatus = linkStatus(mount);
        if (!mountStatus || (homeDevice && mountStatus->st_dev == *homeDevice))
            continue;
        // An administrator's shared .Trash counts only when it is a real, sticky folder:
        // anyone could have made one that is not, to collect what others throw away.
        const QString shared = joinedPath(mount, QStringLiteral(".Trash"));
        const std::optional<struct stat> sharedStatus = linkStatus(shared);
        if (sharedStatus && S_ISDIR(sharedStatus->st_mode) && (sharedStatus->st_mode & S_ISVTX) &&
            isRealFolder(joinedPath(shared, uid)))
            trashes << qMakePair(joinedPath(shared, uid), mount);
        const QString own = joinedPath(mount, QStringLiteral(".Trash-") + uid);
        if (isRealFolder(own))
            trashes << qMakePair(own, mount);
    }
    return trashes;
}

bool isExcludedLinuxCacheFolder(const QString &name)
{
    static const QSet<QString> names = {QStringLiteral("doc"),
                                        QStringLiteral("thumbnails"),
                                        QStringLiteral("kestrel"),
                                        QStringLiteral("ibus"),
                                        QStringLiteral("kwin"),
                                        QStringLiteral("plasmashell"),
                                        QStringLiteral("mesa_shader_cache"),
                                        QStringLiteral("mesa_shader_cache_db"),
                                        QStringLiteral("fontconfig"),
                                        QStringLiteral("gstreamer-1.0"),
                                        QStringLiteral("tracker3"),
                                        QStringLiteral("tracker"),
                                        QStringLiteral("dconf"),
                                        QStringLiteral("gnome-desktop-thumbnailer"),
                                        QStringLiteral("ksycoca6"),
                                        QStringLiteral("ksycoca5"),
                                        QStringLiteral("nvidia"),
                                        QStringLiteral("flatpak")};
    return name.isEmpty() || names.contains(name);
}

bool isExcludedLinuxDataFolder(const QString &name)
{
    static const QSet<QString> names = {
        QStringLiteral("Trash"),         QStringLiteral("applications"),
        QStringLiteral("flatpak"),       QStringLiteral("keyrings"),
        QStringLiteral("kwalletd"),      QStringLiteral("mime"),
        QStringLiteral("icons"),         QStringLiteral("fonts"),
        QStringLiteral("gnome-shell"),   QStringLiteral("systemd"),
        QStringLiteral("dbus-1"),        QStringLiteral("xorg"),
        QStringLiteral("kestrel"),       QStringLiteral("recently-used.xbel"),
        QStringLiteral("gvfs-metadata"), QStringLiteral("desktop-directories"),
        QStringLiteral("sounds"),        QStringLiteral("themes"),
        QStringLiteral("backgrounds"),   QStringLiteral("gnome-settings-daemon"),
        QStringLiteral("session"),       QStringLiteral("tracker"),
        QStringLiteral("nautilus"),      QStringLiteral("baloo")};
    return name.isEmpty() || names.contains(name);
}

} // namespace KSTCleanUpLocations
