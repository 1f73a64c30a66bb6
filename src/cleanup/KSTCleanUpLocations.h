#pragma once

#include "KSTEnvironment.h"

#include <QList>
#include <QString>
#include <QStringList>

/// Every place the Clean Up engine reads and every tool it runs, in one table per layout.
/// The engine asks table() for the current environment's and follows one code path: what
/// differs between a Mac and a Linux desktop is in the table, never in the engine.
///
/// Paths in a Table are absolute and already resolved under the analysed root (home places
/// under the accessible home, Linux places from the environment's KSTLinuxPlaces); an empty
/// path is a place this layout does not have, which gives nothing. Fixed tools are absolute
/// paths resolved under the root by KSTToolRunner.
namespace KSTCleanUpLocations {

/// A place shown as one item: its label and its path.
struct FixedLocation
{
    QString label;
    QString path;
};

/// Application folders kept one per application: each <containers>/<id>/<inside> that is a
/// folder is one item named after <id> (a Flatpak's ~/.var/app/<id>/cache).
struct AppFolders
{
    QString containers;
    QString inside;
};

/// A folder whose entries emptying the Trash deletes.
struct TrashFolder
{
    QString path;
    /// Whether its entries are the Trash's items (counted in the scan and the result); the
    /// others are bookkeeping that goes with them.
    bool holdsItems = true;
    /// For a folder of records (freedesktop info/): the folder of the items they describe. A
    /// record "<name>.trashinfo" is deleted only once <recordsFor>/<name> is gone, so an item
    /// left in place keeps its record. Empty for none.
    QString recordsFor;
    /// Where the removal guard may act for it: empty for the analysed home, else the mount
    /// point the trash lies on.
    QString scope;
};

/// A Trash as the scan counts and sizes it.
struct TrashPlace
{
    /// Sized whole, hidden entries included.
    QString folder;
    /// Whose entries are counted.
    QString items;
};

struct Table
{
    /// Category subtitles naming what each category looks at.
    QString systemJunkSubtitle;
    QString removableSubtitle;

    /// Other applications' cache folders: one item per folder of `caches` (named by folder)
    /// unless excluded, plus one per application folder of `appCaches`.
    QString caches;
    QList<AppFolders> appCaches;
    bool (*isExcludedCacheFolder)(const QString &name) = nullptr;
    /// The same for application data.
    QString applicationSupport;
    QList<AppFolders> appApplicationSupport;
    bool (*isExcludedApplicationSupportFolder)(const QString &name) = nullptr;

    /// System Junks sized whole, in this order.
    QList<FixedLocation> systemJunkLocations;
    /// Whether the machine keeps local snapshots to estimate (tmutil).
    bool hasLocalSnapshots = false;

    /// The home Trash: the path of the one Trash item (it is recognised by this path).
    QString trash;
    QString trashDisplayPath;
    /// What the scan counts and sizes for that item, in order: the home Trash first, then, at
    /// root "/" under linux, this user's trashes on other file systems.
    QList<TrashPlace> trashPlaces;
    /// Whether hidden entries count as items (a Linux trashed dot file is one; a Mac's
    /// .DS_Store is not).
    bool trashCountsHiddenEntries = false;
    /// What emptying the Trash deletes, in order.
    QList<TrashFolder> trashEmptied;
    /// The one entry emptying keeps (Finder's put-back records); empty for none.
    QString trashKeptName;

    /// Where failed downloads and installers are looked for; empty when switched off.
    QString downloads;
    QString downloadsDisplayPath;
    /// What a browser leaves behind for an interrupted download (compared case-sensitively).
    QStringList failedDownloadExtensions;
    /// Installer files by extension (compared in any letter case); empty means the Mac's
    /// installer packages and disk images (KSTInstallerPackageSearch).
    QStringList installerExtensions;

    /// iOS device backups; empty when the layout has none.
    QString iosBackups;

    /// Removable Data sized whole, in this order. The Downloads folder is the entry whose path
    /// is `downloads`.
    QList<FixedLocation> removableLocations;

    /// Large-file search: the home folders it leaves out (home-relative), and whether it also
    /// leaves out every hidden folder directly in the home and every unreadable folder.
    QStringList largeFileExcludedFolders;
    bool largeFileSkipsHiddenAndUnreadable = false;
};

/// The table of the current environment's layout for the accessible home.
Table table();
/// The table of @p environment's layout, with home places under @p home. At root "/" under
/// linux the user's trashes on the mounted file systems are looked up (topDirectoryTrashes()).
Table tableFor(const KSTEnvironment &environment, const QString &home);

/// The freedesktop trashes of the user @p userId on the file systems mounted at
/// @p mountPoints, except the one holding @p home: <mount>/.Trash/<uid> when <mount>/.Trash is
/// a real folder (no link) with the sticky bit and <uid> a real folder, and <mount>/.Trash-<uid>
/// when it is a real folder. Each as {trash folder, its mount point}, in mount order.
QList<QPair<QString, QString>> topDirectoryTrashes(const QStringList &mountPoints, uint userId,
                                                   const QString &home);

/// Linux desktops' own cache folders, never listed: the file manager's thumbnails, the
/// document portal, input methods, shader and font caches, Kestrel's own, …
bool isExcludedLinuxCacheFolder(const QString &name);
/// Linux desktops' own data folders, never listed: the Trash, desktop entries, Flatpak's
/// installation, keyrings, MIME and icon databases, fonts, the shell's and systemd's state, …
bool isExcludedLinuxDataFolder(const QString &name);

// ---- Fixed names of the mac layout ----

/// The Mac folders, relative to the home.
inline const QString macCaches = QStringLiteral("Library/Caches");
inline const QString macApplicationSupport = QStringLiteral("Library/Application Support");
inline const QString trash = QStringLiteral(".Trash");
inline const QString downloads = QStringLiteral("Downloads");
inline const QString library = QStringLiteral("Library");

/// A name that never exists inside Downloads; it marks the failed-downloads summary row.
inline const QString failedDownloadsPreviewName = QStringLiteral(".kst-failed-downloads-preview");

/// iOS and iPadOS device backups made by Finder or iTunes, one folder per device.
inline const QString iosBackups = QStringLiteral("Library/Application Support/MobileSync/Backup");
inline const QString iosBackupInfoPlist = QStringLiteral("Info.plist");
inline const QString iosBackupManifestPlist = QStringLiteral("Manifest.plist");

/// Home subfolders a sandboxed run searches for large files, in this order.
inline const QStringList sandboxedLargeFileFolders = {
    QStringLiteral("Applications"), QStringLiteral("Desktop"), QStringLiteral("Documents"),
    QStringLiteral("Downloads"),    QStringLiteral("Movies"),  QStringLiteral("Pictures"),
    QStringLiteral("Public")};

/// The large-file search: find over the user folder (in a sandbox, over each of the folders
/// above) with the excluded folders pruned. On a Mac volume the user folder is /Users/<login>
/// under the root.
inline const QString findTool = QStringLiteral("/usr/bin/find");
inline const QString usersFolder = QStringLiteral("/Users");

/// Local Time Machine snapshots, counted as the lines tmutil prints.
inline const QString tmutilTool = QStringLiteral("/usr/bin/tmutil");
inline const QString wcTool = QStringLiteral("/usr/bin/wc");
inline const QString localSnapshotsShellLine =
    QStringLiteral("/usr/bin/tmutil listlocalsnapshots / 2>/dev/null | /usr/bin/wc -l");

/// The Spotlight query for installer packages and disk images (macOS).
inline const QString installerPackageQuery =
    QStringLiteral("(kMDItemContentType == 'com.apple.installer-package' || "
                   "kMDItemFSName == '*.dmg' || kMDItemFSName == '*.pkg')");

} // namespace KSTCleanUpLocations
