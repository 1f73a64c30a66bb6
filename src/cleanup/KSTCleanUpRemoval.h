#pragma once

#include "KSTCleanUpSnapshot.h"
#include "KSTError.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

/// Removal of what the user selected from a clean-up snapshot.
///
/// Every item is moved to the Trash with KSTTrash::moveToTrash() (under the mac layout
/// <home>/.Trash, under the linux layout the freedesktop Trash, from where it can be put
/// back), except the "Mac Trash" item, whose entries are deleted for good (all but Finder's
/// ".DS_Store"). Nothing is ever followed through a symbolic link: a link is moved or deleted
/// as the link. Only the items' name and filePath are read; an item's path is exactly what is
/// moved, nothing outside it is touched.
///
/// Counts cover successes only: a failed move leaves the item where it was, adds nothing,
/// and its error replaces the one stored before (the last failure is reported); failures
/// while emptying the Trash are silent. There is no special case for "/" (the Time Machine
/// Snapshots item): the Trash refuses it like any failing item.
///
/// Thread safety: the operations may run on any thread; the removal itself runs on the
/// user-initiated global pool, so callers prevent two removals at once.
class KSTCleanUpRemoval
{
public:
    KSTCleanUpRemoval() = delete;

    /// Called once on the main thread with the number of items removed (moved items plus
    /// deleted Trash entries), the bytes they took (measured just before each removal) and
    /// the last move error, if any.
    using Completion = std::function<void(quint64 itemsRemoved, quint64 bytesRemoved,
                                          const std::optional<KSTError> &error)>;

    /// What one removal achieved; the synchronous form's result.
    struct Result
    {
        quint64 itemsRemoved = 0;
        quint64 bytesRemoved = 0;
        std::optional<KSTError> error;
    };

    /// Copies @p items (later changes by the caller have no effect), returns at once, removes
    /// them on the user-initiated pool inside the granted home-folder access and then calls
    /// @p completion on the main thread. A null completion is allowed: the work is done and
    /// nothing is reported. Items with an empty path and the failed-downloads summary row are
    /// skipped. A Mac Trash item is emptied first, then the other items are moved in order,
    /// so nothing moved by this call is ever deleted by it.
    static void removeCleanUpItems(const QList<KSTCleanUpItem> &items, Completion completion);

    /// The same work on the calling thread (which must not be the main thread of a window).
    static Result removeCleanUpItemsNow(const QList<KSTCleanUpItem> &items);

    /// True when the item is named "Mac Trash", or its path's last component is ".Trash".
    static bool isMacTrashCleanUpItem(const KSTCleanUpItem &item);
    /// True for the failed-downloads summary row (its path ends with
    /// ".kst-failed-downloads-preview"; the individual downloads are separate items).
    static bool isFailedDownloadsSummaryItem(const KSTCleanUpItem &item);

    /// Deletes every entry of <accessible home>/.Trash except one named exactly ".DS_Store",
    /// adding each deleted entry's size to @p bytes and 1 to @p items (either may be null;
    /// they are added to, never reset). True when at least one entry was deleted.
    static bool emptyMacTrashBytesRemoved(quint64 *bytes, quint64 *items);

    /// 0 when @p path does not exist (a final link is followed for this test only); else
    /// the clean-up engine's folder or file size, which never follows a link.
    static quint64 itemSizeAtPath(const QString &path);
};
