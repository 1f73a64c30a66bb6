#pragma once

#include <QByteArrayList>
#include <QString>

#include <functional>

/// Sums the allocated size of everything below a folder: the hot path of the Overview, Clean
/// Up and App Manage.
///
/// The walk reads each folder once with its entries' types (getdents64 into a buffer each
/// thread keeps, on Linux), stats only what is not a folder (fstatat relative to the open
/// folder, no path building or allocation per entry), and spreads folders over a few threads.
/// A small tree (fewer than about 16 folders) is read on the calling thread alone; helpers
/// join once the tree proves big enough for them to pay. It never follows a symbolic link: a
/// link counts its own size and is not descended into, and folders are opened with
/// O_NOFOLLOW.
///
/// What counts, to match the file manager's "total allocated size" enumeration: every entry
/// that is not a folder adds its allocated size (st_blocks × 512); folders themselves add
/// nothing; a hard-linked file counts once per name. So totals differ from du(1), which
/// counts folder blocks and each inode once.
class KSTTreeSize
{
public:
    struct Options
    {
        /// Skip entries whose name starts with "." (and everything below them).
        bool skipHidden = true;
        /// Absolute folder paths never entered (exact match of the folder's path).
        QStringList excludedFolders;
        /// Lower-case extensions (without the dot) of entries skipped with their contents,
        /// compared case-insensitively: {"photoslibrary", …}.
        QByteArrayList excludedExtensions;
        /// Polled now and then; returning true stops the walk (the sum so far is returned).
        std::function<bool()> isCancelled;
        /// Threads to use at most (the calling thread included); 0 chooses from the processor
        /// count (up to 4).
        int threads = 0;
    };

    /// The allocated bytes below @p folder (not counting the folder itself). 0 when it is
    /// not a readable folder. Unreadable sub-folders contribute nothing.
    static quint64 allocatedBytes(const QString &folder, const Options &options);

    /// Allocated bytes of one entry without following a link: a file's blocks, a folder's
    /// allocatedBytes(). 0 when it does not exist.
    static quint64 allocatedBytesOfItem(const QString &path, const Options &options);
};
