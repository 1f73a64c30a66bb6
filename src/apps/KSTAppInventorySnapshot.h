#pragma once

#include "KSTFileIdentity.h"
#include "KSTLaunchAgentJob.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// A file or folder an application left outside its bundle (a cache, its preferences, a
/// container, a launch agent, a receipt…), as the related-path lookup found it.
struct KSTInstalledAppRelatedPath
{
    QString displayPath; ///< the path with the accessible home shown as "~"
    QString path;        ///< standardised absolute path
    quint64 bytes = 0;
    /// The lookup is sure this belongs to the app (see KSTRelatedPathMatcher::isStrongMatch);
    /// weak matches are only offered, never ticked for removal by default.
    bool isStrongMatch = false;
    /// It may be removed at all: KSTAppUninstaller::isSafeUninstallPath().
    bool isRemovable = false;
    /// Why it matched: "template", "receipt", "container", "groupContainer", "launchAgent",
    /// "launchAgentProgram", "sharedFolder" or "temporaryFolder".
    QString matchRule;
    /// The token (identifier, name, embedded identifier) that made it match.
    QString matchedToken;
    /// What the lookup saw of the entry (never following a link), so that an uninstall acts
    /// only on that very entry; nothing when it could not be read.
    std::optional<KSTFileIdentity> identity;

    bool operator==(const KSTInstalledAppRelatedPath &) const = default;
};

/// One installed application. Records are values: the inventory engine fills its own copies
/// on its queue and publishes new snapshots holding copies, so a record a screen holds never
/// changes under it (re-read the cached snapshot on each metadata notification).
struct KSTInstalledAppRecord
{
    QString name;             ///< localised CFBundleDisplayName, else CFBundleName, else file name
    QString version;          ///< CFBundleShortVersionString, else "—"
    QString buildVersion;     ///< CFBundleVersion, else ""
    QString bundleIdentifier; ///< never empty: bundles without one are not listed
    QString bundlePath;       ///< absolute path of the ".app" folder
    QString developer;
    QString category;
    QString architectureLabel;   ///< "Apple Silicon", "Intel", "Intel & Apple Silicon" or "—"
    quint64 source = 1;          ///< 0 Mac App Store, 1 direct download, 2 macOS system
    quint64 bundleSizeBytes = 0; ///< 0 = not computed yet
    quint64 totalSizeBytes = 0;  ///< bundle plus the loaded related paths
    std::optional<QDateTime> installedDate;
    std::optional<QDateTime> lastOpenedDate;
    /// The bundle's icon file (Contents/Resources/<CFBundleIconFile>, a regular file), to be
    /// drawn through Qt's image readers; empty for the generic application symbol.
    QString icon;
    QList<KSTInstalledAppRelatedPath> relatedPaths;
    bool relatedPathsLoaded = false;
    /// What discovery saw of the bundle folder, for the uninstall's last check.
    std::optional<KSTFileIdentity> bundleIdentity;

    /// Seconds without an opening after which an app counts as unused (30 days).
    static constexpr qint64 UnusedAfterSeconds = 2'592'000;

    /// Never opened, or last opened more than 30 days before @p now.
    bool isUnused(const QDateTime &now = QDateTime::currentDateTimeUtc()) const
    {
        return !lastOpenedDate || !lastOpenedDate->isValid() ||
               lastOpenedDate->secsTo(now) > UnusedAfterSeconds;
    }

    bool operator==(const KSTInstalledAppRecord &) const = default;
};

/// The App Manage inventory as far as it has got. Immutable once published.
struct KSTAppInventorySnapshot
{
    QList<KSTInstalledAppRecord> apps;
    quint64 scannedCount = 0;
    quint64 totalCount = 0;
    quint64 totalBytes = 0;  ///< per app totalSizeBytes when non-zero, else bundleSizeBytes
    double progress = 0;     ///< scannedCount ÷ totalCount; 0 without a total
    QString statusText;      ///< "Discovering applications…", "Scan complete", …
    bool isComplete = false; ///< discovery finished
    bool isSizeCalculationComplete = false; ///< every bundle size known
    std::optional<QDateTime> scanDate;      ///< when a complete snapshot was built

    /// A snapshot of @p apps: both completion flags from @p isComplete (callers overwrite
    /// isSizeCalculationComplete), scanDate now when complete, progress and totalBytes
    /// computed.
    static KSTAppInventorySnapshot
    inventorySnapshotWithApps(const QList<KSTInstalledAppRecord> &apps, quint64 scannedCount,
                              quint64 totalCount, const QString &statusText, bool isComplete)
    {
        KSTAppInventorySnapshot snapshot;
        snapshot.apps = apps;
        snapshot.scannedCount = scannedCount;
        snapshot.totalCount = totalCount;
        snapshot.statusText = statusText;
        snapshot.isComplete = isComplete;
        snapshot.isSizeCalculationComplete = isComplete;
        if (isComplete)
            snapshot.scanDate = QDateTime::currentDateTimeUtc();
        snapshot.progress = totalCount == 0 ? 0.0 : double(scannedCount) / double(totalCount);
        for (const KSTInstalledAppRecord &app : apps)
            snapshot.totalBytes +=
                app.totalSizeBytes != 0 ? app.totalSizeBytes : app.bundleSizeBytes;
        return snapshot;
    }
};

/// The folders a leftover-file lookup matches against, listed once and kept until the
/// inventory cache is invalidated or an uninstall clears it. Immutable once built.
struct KSTRelatedPathScanIndex
{
    /// Entry name → path, for every entry of ~/Library/Containers and ~/Library/Group
    /// Containers, in listing order of the names.
    QList<QPair<QString, QString>> containerPathsByName;
    QList<QPair<QString, QString>> groupContainerPathsByName;
    /// Every entry of /Users/<login>/Library/LaunchAgents.
    QStringList launchAgentPaths;
    /// Every entry of the shared folders that exist, folder by folder.
    QStringList sharedMiscPaths;
    /// Every entry of /private/var/folders up to four levels deep, standardised.
    QStringList varFolderPaths;
    /// The launch job each ".plist" entry of the launch agents and shared folders holds, by
    /// path, read once when the index is built (entries that are no job are absent).
    QHash<QString, KSTLaunchAgentJob> launchJobsByPath;
    /// The bundle identifiers of every installed application, to tell a path that belongs
    /// to a longer identifier ("com.example.editor.pro") from one of a shorter one.
    QStringList installedBundleIdentifiers;
    QDateTime builtDate;
};
