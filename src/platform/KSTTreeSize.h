#pragma once

#include <QByteArrayList>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

/// Sums the allocated size of everything below a folder: the hot path of the Overview, Clean
/// Up and App Manage.
///
/// The walk reads each folder once with its entries' types (getdents64 into a buffer each
/// thread keeps, on Linux), stats only what is not a folder (fstatat relative to the open
/// folder, no path building or allocation per entry), and spreads folders over a few threads.
/// A small tree (a handful of folders) is read on the calling thread alone; helpers
/// join once the tree proves big enough for them to pay. It never follows a symbolic link: a
/// link counts its own size and is not descended into, and folders are opened with
/// O_NOFOLLOW.
///
/// What counts, to match the file manager's "total allocated size" enumeration: every entry
/// that is not a folder adds its allocated size (st_blocks × 512); folders themselves add
/// nothing; a file with several hard links counts once in one size, however many of its
/// names the walk meets. So totals differ from du(1) by the folders' own blocks.
///
/// The walk starts at a folder reached as KSTNoFollowPath::openFolder() reaches it: below the
/// analysed home or root no link is followed on the way there either.
class KSTTreeSize
{
public:
    /// The files with several links already counted, to share between sizes that must count
    /// each file once together (the entries of one Trash emptied one by one). Thread-safe.
    class SeenFiles
    {
    public:
        /// True the first time a (device, inode) pair is offered.
        bool insert(quint64 device, quint64 inode);

    private:
        std::mutex m_mutex;
        std::set<std::pair<quint64, quint64>> m_files;
    };

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
        /// Shared with other sizes when given; else each size has its own.
        std::shared_ptr<SeenFiles> seenFiles;
        /// Read folders without updating their access times where the system allows it
        /// (O_NOATIME: the owner's folders, or any for a privileged process): sizing an
        /// application bundle must not make it look opened.
        bool preserveAccessTimes = false;
    };

    /// The allocated bytes below @p folder (not counting the folder itself). 0 when it is
    /// not a readable folder. Unreadable sub-folders contribute nothing.
    static quint64 allocatedBytes(const QString &folder, const Options &options);

    /// Allocated bytes of one entry without following a link: a file's blocks, a folder's
    /// allocatedBytes(). 0 when it does not exist.
    static quint64 allocatedBytesOfItem(const QString &path, const Options &options);
};
