#pragma once

#include <QString>
#include <QStringList>

/// The storage figures every engine shares: the boot volume's usage, a folder's size and a
/// folder's entries. The Overview shows them, Clean Up, App Manage, Utilities and the Reporter
/// size their items with them, so they live with the access layer rather than in any one tool.
///
/// They hold no state (the machine is the current KSTEnvironment, access goes through
/// KSTPermissionChecker), so they are class operations; every one may be called from any
/// thread, concurrently.
///
/// Sizes are allocated sizes (blocks on disk, so a sparse file counts what it occupies),
/// never following a symbolic link, skipping hidden entries and everything the privacy rule
/// protects (the home's Music folder, photo and music library packages).
class KSTStorageFigures
{
public:
    KSTStorageFigures() = delete;

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
};
