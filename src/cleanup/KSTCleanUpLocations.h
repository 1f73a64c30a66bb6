#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/// Every place the Clean Up engine reads and every tool it runs, in one table. Home paths
/// are relative to the accessible home folder; system paths and tools are fixed absolute
/// paths resolved under the analysed root (KSTEnvironment::systemPath, KSTToolRunner).
namespace KSTCleanUpLocations {

/// A fixed location shown as one item: its label and its home-relative path.
struct FixedLocation
{
    QString label;
    QString relativePath;
};

/// Other applications' folders, listed one item per folder.
inline const QString caches = QStringLiteral("Library/Caches");
inline const QString applicationSupport = QStringLiteral("Library/Application Support");

/// System Junks sized whole, in this order.
inline const QList<FixedLocation> systemJunkLocations = {
    {QStringLiteral("Logs"), QStringLiteral("Library/Logs")},
    {QStringLiteral("Saved Application State"), QStringLiteral("Library/Saved Application State")},
};

/// Removable Data sized whole, in this order.
inline const QList<FixedLocation> removableLocations = {
    {QStringLiteral("Screenshots"), QStringLiteral("Pictures/Screenshots")},
    {QStringLiteral("Downloads folder"), QStringLiteral("Downloads")},
};

/// The user's Trash as macOS keeps it (under either layout: until the linux layout gets its
/// own table, it reads the same home-relative places as a Mac).
inline const QString trash = QStringLiteral(".Trash");
inline const QString trashDisplayPath = QStringLiteral("~/.Trash");
/// The one Trash entry emptying keeps: Finder's put-back records.
inline const QString trashFinderInfo = QStringLiteral(".DS_Store");

/// Failed downloads and installer packages are looked for here.
inline const QString downloads = QStringLiteral("Downloads");
inline const QString downloadsDisplayPath = QStringLiteral("~/Downloads");
/// A name that never exists inside Downloads; it marks the failed-downloads summary row.
inline const QString failedDownloadsPreviewName = QStringLiteral(".kst-failed-downloads-preview");
/// What a browser leaves behind for an interrupted download (compared case-sensitively).
inline const QString failedDownloadExtension = QStringLiteral("download");

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
/// above) with the home's Library pruned. On a Mac volume the user folder is /Users/<login>
/// under the root.
inline const QString findTool = QStringLiteral("/usr/bin/find");
inline const QString usersFolder = QStringLiteral("/Users");
inline const QString library = QStringLiteral("Library");

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
