#pragma once

#include "KSTCleanUpLocations.h"
#include "KSTCleanUpSnapshot.h"
#include "KSTInstallerPackageSearch.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class KSTSystemInfo;

/// The Clean Up scan: reclaimable storage in the analysed home and on its volume, in four
/// fixed categories ("System Junks", "Trashes", "Large Files", "Removable Data"), built for
/// one generation of the scan-service frame and plugged into it with install().
///
/// What each category holds (the places are the layout's, KSTCleanUpLocations::table(); a
/// Mac's are named here, a Linux desktop's are their XDG and Flatpak counterparts):
/// - System Junks: other applications' folders in Library/Caches and Library/Application
///   Support (one item per folder, the system's own folders left out by name; on Linux also
///   one per Flatpak or snap application), the Logs and Saved Application State folders (on
///   Linux Logs and Thumbnails) sized whole, and an estimate for local Time Machine
///   snapshots. The card shows the largest cache folder, the largest Application Support
///   folder and the fixed items; allItems holds every one.
/// - Trashes: the Trash item (named from KSTLayoutWords: "Mac Trash" for ~/.Trash; on Linux
///   the freedesktop trash, its files/ entries counted and the whole folder sized, with the
///   user's trashes on other file systems at root "/"; hidden entries counted in its size)
///   and the failed downloads ("*.download" in Downloads), shown on the card as one summary
///   row.
/// - Large Files: files of at least 50 MiB outside Library (KSTLargeFileSearch); the card
///   shows the four largest.
/// - Removable Data: iOS device backups, the Screenshots and Downloads folders sized whole,
///   and the installer packages and disk images inside Downloads (an amount inside the
///   folder, carried by the Downloads folder itself as its path). allItems is left unset. A
///   switched-off Downloads folder gives no failed downloads, installers or Downloads item.
///
/// Lists of other applications' folders, failed downloads and large files are ordered by
/// bytes, largest first, equal sizes by name (plain, case-sensitive comparison).
///
/// The scan never writes and never fails: whatever cannot be read contributes nothing. Every
/// read goes through KSTPermissionChecker; the places read are in KSTCleanUpLocations.
///
/// Cancellation: each operation that takes a generation G asks the engine's cancellation
/// predicate (the frame's Clean Up generation check, given by install()) inside its per-entry
/// loop and then stops with
/// what it has; the build checks after each category and inside the fixed-location loops and
/// then returns nothing.
///
/// Thread safety: operations may run on any thread but block on the file system, child
/// processes and (on macOS) Spotlight, so never on the main thread. The engine holds no state
/// besides its cancellation predicate, and never the frame.
class KSTCleanUpEngine
{
public:
    /// Whether generation G should stop (a newer scan or a cancel moved on); callable from
    /// any thread.
    using CancellationCheck = std::function<bool(quint64 generation)>;

    /// Stops a generation's work once @p isCancelled says so; an empty predicate never stops.
    explicit KSTCleanUpEngine(CancellationCheck isCancelled);

    /// Installs fetchCleanUpSnapshotWithGeneration() of an engine cancelled by
    /// @p systemInfo's Clean Up generation as its Clean Up builder. @p systemInfo must outlive
    /// every scan it starts.
    static void install(KSTSystemInfo &systemInfo);

    /// The fixed large-file threshold of the scan: 50 MiB.
    static constexpr quint64 LargeFileThresholdBytes = 52428800;
    /// How many large files the card shows.
    static constexpr qsizetype LargeFilesCardLimit = 4;
    /// The fixed estimate per local Time Machine snapshot: 2 GiB.
    static constexpr quint64 LocalSnapshotEstimateBytes = 2147483648ull;
    /// How long listing the local snapshots may take before the scan goes on without them.
    static constexpr int LocalSnapshotsTimeoutMs = 20'000;
    /// How many installer packages are summed at most.
    static constexpr qsizetype InstallerPackageResultCap = 100;

    /// The complete snapshot for generation @p generation (isPartial false, four categories
    /// in the fixed order, filesAnalyzed at least 1); nullptr when G was cancelled at a
    /// checkpoint.
    std::shared_ptr<KSTCleanUpSnapshot>
    fetchCleanUpSnapshotWithGeneration(quint64 generation) const;

    // ---- Other applications' Library folders ----

    /// Items "Caches. <folder>" for the folders of @p cachesRoot that are not the system's own
    /// cache folders (the table's exclusion: isExcludedAppleCacheFolder() on a Mac).
    QList<KSTCleanUpItem> thirdPartyCacheItemsUnderCachesRoot(const QString &cachesRoot,
                                                              quint64 generation) const;
    /// Items "Application Support. <folder>" for the folders of @p root that are not the
    /// system's own (isExcludedAppleApplicationSupportFolder() on a Mac).
    QList<KSTCleanUpItem> thirdPartyApplicationSupportItemsUnderRoot(const QString &root,
                                                                     quint64 generation) const;
    /// One item per folder of @p root (a symbolic link to a folder counts, sized as the link)
    /// whose name is not hidden and not excluded by @p isExcludedFolderName and whose size is
    /// not 0: name "<namePrefix>. <folder>", no display path, the folder as filePath,
    /// nameOnlyInList. Sorted; a cancellation stops the loop and what was found is returned.
    QList<KSTCleanUpItem> thirdPartyLibraryFolderItemsUnderRoot(
        const QString &root, const QString &namePrefix,
        const std::function<bool(const QString &)> &isExcludedFolderName, quint64 generation) const;

    /// Items "<namePrefix>. <id>" for each folder <containers>/<id>/<inside> of @p folders
    /// (ids not hidden), reached without following a link below the home and not of size 0;
    /// the folder is the item's path and target. In the order met; a cancellation returns
    /// what was found.
    QList<KSTCleanUpItem>
    applicationFolderItems(const QList<KSTCleanUpLocations::AppFolders> &folders,
                           const QString &namePrefix, quint64 generation) const;

    /// True for an empty name and for names whose lower-case form contains "com.apple." or
    /// begins with "com.apple" or "apple".
    static bool isExcludedAppleLibraryFolderName(const QString &name);
    /// The above, or one of Apple's cache folder names (lower-case comparison): cloudd,
    /// cloudkit, geoservices, … parsecd.
    static bool isExcludedAppleCacheFolder(const QString &name);
    /// The above rule, or one of Apple's Application Support folder names: mobilesync,
    /// addressbook, … dock. The two sets differ ("knowledge-agent" is a cache name only).
    static bool isExcludedAppleApplicationSupportFolder(const QString &name);

    // ---- Trashes ----

    /// The number of visible entries of ~/.Trash (0 when it cannot be read) and, in
    /// @p bytes (may be null), its size with hidden entries included. Under linux: every
    /// entry of each trash's files/ (read without following a link), and the trash folders'
    /// whole sizes.
    static quint64 trashItemCountAndBytes(quint64 *bytes);
    /// The visible entries of Downloads whose extension is exactly "download" (linux: "part"
    /// or "crdownload"), each sized
    /// whole (a download bundle is a folder), zero sizes kept; sorted.
    QList<KSTCleanUpItem> failedDownloadItemsWithGeneration(quint64 generation) const;

    // ---- Removable Data ----

    /// The bytes of installer packages and disk images in Downloads, at most
    /// InstallerPackageResultCap of them (KSTInstallerPackageSearch).
    quint64 installerPackageBytesInDownloads(quint64 generation) const;
    /// The installer files behind installerPackageBytesInDownloads(), as removal targets.
    QList<KSTCleanUpTarget> installerPackageTargetsInDownloads(quint64 generation) const;

    /// What removal needs of an entry: its path, what the scan saw of it and @p bytes.
    static KSTCleanUpTarget targetAtPath(const QString &path, quint64 bytes);

    // ---- System Junks ----

    /// 2 GiB for each line `tmutil listlocalsnapshots /` prints; 0 when the tools cannot
    /// run under the analysed root, print nothing, hang or print without end, or give a
    /// count whose estimate would exceed INT64_MAX bytes.
    static quint64 localSnapshotBytes();
    /// The number the pipe's first line (at most 63 characters) starts with, as the C
    /// library reads a decimal; 0 when it holds none.
    static qint64 lineCountFromOutput(const QByteArray &output);

    // ---- Sizing and paths ----

    /// All three give KSTPermissionChecker::fileSizeAtAccessiblePath(): a file's length, a
    /// folder's allocated size without hidden entries, a link's own size.
    static quint64 diskUsageAtPath(const QString &path);
    static quint64 fileSizeAtPath(const QString &path);
    static quint64 folderSizeAtPath(const QString &path);
    static quint64 totalBytesForItems(const QList<KSTCleanUpItem> &items);
    /// @p path with a leading accessible home replaced by "~" (a plain prefix test, so
    /// "/Users/al" also shortens "/Users/alice"); other paths unchanged.
    static QString shortenHomePath(const QString &path);
    /// KSTStorageFigures::directoryEntriesAtPath(): every entry, hidden ones included.
    static QStringList directoryEntriesAtPath(const QString &path);
    /// Largest first, equal sizes by name.
    static void sortByBytesThenName(QList<KSTCleanUpItem> &items);

private:
    bool isCancelled(quint64 generation) const;
    // Each returns false when the build must stop for a cancellation.
    bool buildSystemJunk(KSTCleanUpCategory &category, quint64 generation,
                         quint64 &filesAnalyzed) const;
    bool buildTrashes(KSTCleanUpCategory &category, quint64 generation,
                      quint64 &filesAnalyzed) const;
    bool buildLargeFiles(KSTCleanUpCategory &category, quint64 generation,
                         quint64 &filesAnalyzed) const;
    bool buildRemovable(KSTCleanUpCategory &category, quint64 generation) const;
    KSTCleanUpItem downloadsContentsItem(const QString &label,
                                         const QList<KSTCleanUpTarget> &installers) const;

    CancellationCheck m_isCancelled;
};
