#pragma once

#include "KSTSystemSnapshot.h"

#include <QList>
#include <QString>
#include <QStringList>

/// Boot-volume usage, folder sizes and the Overview's storage categories.
///
/// These are the storage figures every engine shares: the Overview shows them, Clean Up and
/// App Manage size their items with them. They hold no state (the machine is the current
/// KSTEnvironment, access goes through KSTPermissionChecker), so they are class operations;
/// every one may be called from any thread, concurrently.
///
/// Sizes are allocated sizes (blocks on disk, so a sparse file counts what it occupies),
/// never following a symbolic link, skipping hidden entries and everything the privacy rule
/// protects (the home's Music folder, photo and music library packages).
class KSTStorageMetrics
{
public:
    KSTStorageMetrics() = delete;

    /// Capacity and used space (capacity − free, 0 when free exceeds capacity) of the volume
    /// holding the analysed home folder (the granted one in a sandbox). Either pointer may
    /// be null. When the volume cannot be asked, both outputs are left as they were, so
    /// callers start them at 0.
    static void bootVolumeUsageTotal(quint64 *total, quint64 *used);

    /// The summed allocated size of everything below the folder @p path; the folder's own
    /// blocks do not count, and a file with several hard links counts once per name.
    /// 0 when @p path is empty, privacy-protected, not an existing folder, or a symbolic
    /// link (even to a folder). Unreadable sub-folders count 0. Blocks the calling thread
    /// while the walk spreads over a few worker threads. With @p preserveAccessTimes the
    /// folders are read without updating their access times where the system allows it
    /// (application bundles: App Manage shows a bundle's access time as its last opening).
    static quint64 directorySizeAtPath(const QString &path, bool preserveAccessTimes = false);

    /// The names of the entries of the folder @p path, sorted by their bytes (so the order
    /// is the same on every machine). Outside a sandbox this is the plain listing, hidden
    /// entries included; a final symbolic link to a folder is listed as that folder. Empty
    /// when @p path is empty, privacy-protected or cannot be listed. In a sandboxed build
    /// only folders inside the granted home are listed, without hidden entries.
    static QStringList directoryEntriesAtPath(const QString &path);

    /// Fills storageTotalBytes, storageUsedBytes and storageUsedFraction (0 for a total of 0)
    /// from bootVolumeUsageTotal().
    static void populateStorageMetrics(KSTSystemSnapshot &snapshot);

    /// The four slices of @p usedBytes, always in this order: "Apps" ("blue": the system
    /// and home Applications folders), "Media" ("purple": Movies and Pictures; music is not
    /// counted), "Documents" ("emerald"), "System & Other" ("zinc": the rest of the used
    /// space, 0 when the measured three exceed it). In a sandbox without the home grant only
    /// the system Applications folders are measured. @p totalBytes is not used; it is taken
    /// so that callers pass the figures they show together.
    static QList<KSTStorageCategory> storageCategoriesForUsedBytes(quint64 usedBytes,
                                                                   quint64 totalBytes);
};
