#pragma once

#include "KSTCleanUpSnapshot.h"
#include "KSTError.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

/// Removal of what the user selected from a clean-up snapshot.
///
/// Every entry an item stands for (its targets; the item's own path when it has none) is
/// moved to the Trash through KSTRemovalGuard (under the mac layout <home>/.Trash, under the
/// linux layout the freedesktop Trash, from where it can be put back), except for the Trash
/// item, whose entries are deleted for good (all but Finder's ".DS_Store"). The Trash item is
/// the item whose path is the analysed home's Trash (~/.Trash; under linux the freedesktop
/// home trash), whatever it is called; a trash folder that is a link or not a folder is never
/// emptied. Under linux emptying clears the trash's files/, info/ and expunged/ (and, at root
/// "/", those of the user's trashes on other file systems) and keeps the folders; a
/// .trashinfo record goes only once its item has gone, and only files/ entries count.
///
/// The guard leaves an entry in place when it is reached through a link, lies outside the
/// home, is a protected folder or mount point, is or holds a never-touch entry (the Auto
/// Clean list holds here too) or a privacy-protected place, or no longer is what the scan
/// saw. Such entries and failed moves are listed in the result's failures (path and reason)
/// and the last one is the result's error; the others go on.
///
/// Counts cover what actually left: each entry moved or deleted counts once, with the bytes
/// it took measured just before, the same way the scan measured them.
///
/// Thread safety: the operations may run on any thread; the removal itself runs on the
/// user-initiated global pool, so callers prevent two removals at once.
class KSTCleanUpRemoval
{
public:
    KSTCleanUpRemoval() = delete;

    /// One entry left in place, and why.
    struct Failure
    {
        QString path;
        QString reason;
    };

    /// What one removal achieved.
    struct Result
    {
        quint64 itemsRemoved = 0;
        quint64 bytesRemoved = 0;
        std::optional<KSTError> error; ///< the last failure
        QList<Failure> failures;       ///< every entry left in place, in the order met
    };

    /// Called once on the main thread with what the removal achieved.
    using Completion = std::function<void(const Result &result)>;

    /// Copies @p items (later changes by the caller have no effect), returns at once, removes
    /// them on the user-initiated pool inside the granted home-folder access and then calls
    /// @p completion on the main thread. A null completion is allowed: the work is done and
    /// nothing is reported. Items with an empty path and the failed-downloads summary row are
    /// skipped. A Mac Trash item is emptied first, then the other items' entries are moved,
    /// deepest paths first, so nothing moved by this call is ever deleted by it and nothing is
    /// moved twice.
    static void removeCleanUpItems(const QList<KSTCleanUpItem> &items, Completion completion);

    /// The same work on the calling thread (which must not be the main thread of a window).
    static Result removeCleanUpItemsNow(const QList<KSTCleanUpItem> &items);

    /// True when the item's path is the analysed home's Trash folder (KSTCleanUpLocations).
    static bool isMacTrashCleanUpItem(const KSTCleanUpItem &item);
    /// True for the failed-downloads summary row (its path ends with
    /// ".kst-failed-downloads-preview"; the individual downloads are separate items).
    static bool isFailedDownloadsSummaryItem(const KSTCleanUpItem &item);

    /// Deletes every entry of <accessible home>/.Trash except one named exactly ".DS_Store"
    /// (under linux: empties the freedesktop trashes as the class comment says),
    /// through the guard, adding each deleted entry's size to @p bytes and 1 to @p items
    /// (either may be null; they are added to, never reset). True when at least one entry was
    /// deleted. Nothing happens when ~/.Trash is a link or not a folder.
    static bool emptyMacTrashBytesRemoved(quint64 *bytes, quint64 *items);

    /// 0 when @p path does not exist (a final link is followed for this test only); else
    /// the clean-up engine's folder or file size, which never follows a link.
    static quint64 itemSizeAtPath(const QString &path);

private:
    static bool emptyMacTrash(quint64 *bytes, quint64 *items, Result *result);
};
