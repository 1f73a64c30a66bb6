#pragma once

#include "KSTDuplicateSnapshot.h"

#include <QList>
#include <QString>
#include <QStringList>

/// The one destructive step of a duplicate removal, injected into KSTDuplicateReviewModel:
/// move one copy to the Trash, through the program's removal guard, if and only if the copy
/// is still the very file the scan saw and at least one kept copy of its group still is too.
///
/// "Still the file the scan saw" means: the entry at the record's path, reached without
/// following a link below the home or root, is a regular file with the record's identity
/// (device, inode, size and modification time to the nanosecond; isUnchangedSinceScan()).
/// The step re-checks just before it acts; a copy that fails stays where it is.
///
/// Implementations are called from a worker thread, one call at a time, and must never delete
/// permanently: removal goes to the Trash of the analysed layout.
class KSTDuplicateRemovalStep
{
public:
    enum class Result {
        Moved,           ///< the copy is in the Trash
        FileChanged,     ///< the copy is no longer the file the scan saw; it stays
        KeptCopyChanged, ///< no kept copy is still the file the scan saw; the copy stays
        Refused,         ///< the removal guard refused the copy (reason says why); it stays
        Failed,          ///< the move failed (reason says why); the copy stays
    };

    struct Outcome
    {
        Result result = Result::Failed;
        QString reason; ///< a readable sentence for anything but Moved
    };

    virtual ~KSTDuplicateRemovalStep() = default;

    /// Called before the copies of one removal, on the thread that then moves them, with the
    /// folders the results came from (the snapshot's scanPaths): a step acting through the
    /// removal guard makes its guard for them here.
    virtual void beginRemoval(const QStringList &scanFolders) { Q_UNUSED(scanFolders); }

    /// Moves @p copy to the Trash when it and at least one of @p keptCopies are unchanged
    /// since the scan (see above). @p keptCopies is never empty.
    virtual Outcome moveToTrash(const KSTDuplicateFileRecord &copy,
                                const QList<KSTDuplicateFileRecord> &keptCopies) = 0;

    /// True when the entry at @p record's path (reached as KSTNoFollowPath::status() reaches
    /// it) is a regular file that matches the record's identity; false for a record without
    /// one.
    static bool isUnchangedSinceScan(const KSTDuplicateFileRecord &record);
    /// The first of @p records that isUnchangedSinceScan(), or nothing.
    static const KSTDuplicateFileRecord *
    firstUnchanged(const QList<KSTDuplicateFileRecord> &records);

    /// The reasons the review model reports for copies it leaves in place.
    static QString noCopyKeptReason();
    static QString fileChangedReason();
    static QString keptCopyChangedReason();
};
