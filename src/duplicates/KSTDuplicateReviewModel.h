#pragma once

#include "KSTDuplicateLinkStep.h"
#include "KSTDuplicateRemovalStep.h"
#include "KSTDuplicateSnapshot.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class KSTSystemInfo;

/// What a removal did: the copies moved to the Trash and the copies left in place, with why.
struct KSTDuplicateRemovalOutcome
{
    struct Skipped
    {
        QString path;
        QString reason;
    };

    quint64 itemsRemoved = 0;
    quint64 bytesRemoved = 0; ///< the sizes of the copies moved
    QStringList removedPaths;
    QList<Skipped> skipped;
};

/// What replacing copies with links did: the copies that now share a kept copy's data, the
/// bytes that freed, and the copies left as they were, with why.
struct KSTDuplicateLinkOutcome
{
    quint64 itemsLinked = 0;
    quint64 bytesFreed = 0; ///< blocks actually given back (see KSTDuplicateLinkStep)
    QStringList linkedPaths;
    QList<KSTDuplicateRemovalOutcome::Skipped> skipped;
};

/// The Duplicates screen's review rules without its widgets, shared by the window and the
/// command line: the snapshot shown, the category listed, the group previewed, the groups
/// ticked for bulk removal, the copies kept per group, the two removal actions and their
/// buttons.
///
/// Auto-select: the first time a group's kept set is needed it holds the group's first file,
/// the newest copy ("Auto-select: keep newest"); every other copy is removable until the user
/// changes it. The user may keep several copies, or none.
///
/// Removal never deletes anything itself: each copy goes through the KSTDuplicateRemovalStep
/// (KSTDuplicateTrashStep, the removal guard, unless a test injects another), one at a time
/// on a worker thread, with the group's kept copies as they were scanned:
/// - a group that keeps no copy is skipped whole, and each of its copies is reported;
/// - a copy that is no longer the scanned file stays and is reported;
/// - when no kept copy of a group is still the scanned file, the group's remaining copies
///   stay and are reported.
/// Both removal actions are ignored while a scan or a removal runs, and refused without a
/// removal step.
///
/// removeCurrentGroupDuplicates() edits the snapshot (the group leaves its category, the
/// totals follow) and shows the group that followed it, or the first group of the first
/// category that still has one; removeAllSelectedDuplicates() rescans the same folders, and
/// the new result replaces the snapshot and every selection.
///
/// Thread safety: a main-thread object; every call and signal happens on the main thread.
/// Snapshots are published as new immutable copies, never changed under a reader.
class KSTDuplicateReviewModel : public QObject
{
    Q_OBJECT

public:
    /// Why a copy is kept or removable ("why this copy").
    enum class SelectionReason {
        Newest,              ///< kept: the newest copy
        SameDateFirstByPath, ///< kept: as new as another, and first by path
        KeptByYou,           ///< kept: the user kept it
        OlderCopy,           ///< removable: older than the newest copy
        SameDateLaterByPath, ///< removable: as new as the newest, later by path
        MarkedByYou,         ///< removable: the user unticked the copy auto-select keeps
        SameFileAsKept,      ///< removable: a hard link of a kept copy; removing it frees nothing
    };

    /// Scans through @p systemInfo, which must outlive the model and every scan it starts.
    explicit KSTDuplicateReviewModel(KSTSystemInfo &systemInfo, QObject *parent = nullptr);
    ~KSTDuplicateReviewModel() override;

    /// The step every copy goes through: KSTDuplicateTrashStep (the removal guard) unless
    /// replaced; without one (nullptr), removals are refused.
    void setRemovalStep(std::shared_ptr<KSTDuplicateRemovalStep> step);

    // ---- Snapshot ----

    std::shared_ptr<const KSTDuplicateSnapshot> snapshot() const { return m_snapshot; }
    /// Shows @p snapshot. A result (not scanning) replaces every selection: ticks and kept sets
    /// are forgotten, the first category with groups is listed (else the first category) and
    /// its first group shown. A progress report only replaces the snapshot and clears the
    /// preview.
    void setSnapshot(std::shared_ptr<const KSTDuplicateSnapshot> snapshot);
    /// Starts a scan of @p paths; its reports and its result replace the snapshot.
    void scanDuplicatesInPaths(const QStringList &paths);
    /// Stops the running scan (it delivers nothing more) and shows no snapshot; nothing when no
    /// scan runs.
    void cancelScan();
    /// A scan runs (the snapshot is a progress report) or a removal does.
    bool isBusy() const;
    bool isRemoving() const { return m_removing; }

    // ---- Members ----

    QString selectedCategoryType() const { return m_selectedCategoryType; }
    /// Lists @p categoryType and shows its first group (none when it has none).
    void setSelectedCategoryType(const QString &categoryType);
    const std::optional<KSTDuplicateGroup> &selectedGroup() const { return m_selectedGroup; }
    /// Shows the group with @p hashKey in the preview (none for an unknown key).
    void setSelectedGroup(const QString &hashKey);
    const QSet<QString> &selectedGroupKeys() const { return m_selectedGroupKeys; }
    const QHash<QString, QSet<QString>> &keptPathsByGroupKey() const
    {
        return m_keptPathsByGroupKey;
    }

    /// The groups of the listed category.
    QList<KSTDuplicateGroup> groupsForSelectedCategory() const;
    /// The group with @p hashKey in the snapshot, or nothing.
    std::optional<KSTDuplicateGroup> groupWithKey(const QString &hashKey) const;
    /// Where the group with @p hashKey lies in the snapshot's categories.
    struct GroupPosition
    {
        qsizetype category = -1; ///< index into snapshot()->categories
        qsizetype group = -1;    ///< index into that category's groups
    };
    /// The position of the first group with @p hashKey in category order; nothing when the
    /// snapshot has none. Looked up in an index made once per snapshot, so that a list of
    /// tens of thousands of groups answers without a walk.
    std::optional<GroupPosition> positionOfGroup(const QString &hashKey) const;
    /// How many of the listed category's groups are ticked.
    qsizetype selectedGroupCountInSelectedCategory() const;
    /// The key of the first category of @p snapshot that has a group; empty when none has.
    static QString firstCategoryTypeWithGroupsInSnapshot(const KSTDuplicateSnapshot &snapshot);

    // ---- Kept and removable copies ----

    /// The group's kept set, made on first use with the newest copy's path (empty when that
    /// path is empty).
    QSet<QString> keptPathsForGroup(const KSTDuplicateGroup &group);
    /// The kept set as it would be made, without making it.
    QSet<QString> effectiveKeptPathsForGroup(const KSTDuplicateGroup &group) const;
    /// The paths of the group's files, in file order, that are not kept; empty for no group.
    QStringList removablePathsForGroup(const std::optional<KSTDuplicateGroup> &group);
    /// For every category in order and every ticked group in it, its removable paths.
    QStringList removablePathsForSelectedGroups();
    /// The bytes of the files of ticked groups that are not kept. Asks only about ticked
    /// groups, and makes no kept set (a group without one counts as auto-select keeps it).
    quint64 removableBytesForSelectedGroups() const;
    /// Why @p file of @p group is kept or removable.
    SelectionReason selectionReason(const KSTDuplicateGroup &group,
                                    const KSTDuplicateFileRecord &file) const;
    /// selectionReason() of every file of @p group, in file order, with the kept set made
    /// once for the group (for listing large results).
    QList<SelectionReason> selectionReasons(const KSTDuplicateGroup &group) const;
    static bool isKeptReason(SelectionReason reason);
    /// "newest", "same date, first by path", "kept by you", "an older copy", …
    static QString selectionReasonText(SelectionReason reason);
    /// "newest", "sameDateFirstByPath", "keptByYou", "olderCopy", "sameDateLaterByPath",
    /// "markedByYou", "sameFileAsKept".
    static QString selectionReasonKey(SelectionReason reason);

    // ---- Ticks ----

    /// A group row's check box: ticks or clears the group for bulk removal.
    void toggleGroupSelection(const KSTDuplicateGroup &group, bool on);
    /// Ticks or clears each of @p groups at once (then refreshes the buttons once).
    void toggleGroupsSelection(const QList<KSTDuplicateGroup> &groups, bool on);
    /// The check box for all: Qt::Checked ticks every group of the listed category, any other
    /// state clears them; nothing happens when the category has no group.
    void toggleAllGroups(Qt::CheckState state);
    /// A copy's check box in the preview of @p group: on marks it removable (it leaves the
    /// kept set), off keeps it.
    void togglePreviewSelection(const KSTDuplicateGroup &group, const QString &path, bool on);

    // ---- Buttons ----

    /// Recomputes the two buttons and emits actionButtonsChanged().
    void updateActionButtons();
    /// "Remove %@ of duplicates" (formatBytesShort) when something ticked is removable, else
    /// "Remove duplicates"; enabled only then and when not busy.
    QString removeSelectedButtonTitle() const { return m_removeSelectedTitle; }
    bool isRemoveSelectedButtonEnabled() const { return m_removeSelectedEnabled; }
    /// Always "Remove current duplicates"; enabled when the shown group has a removable copy
    /// and not busy.
    QString removeCurrentButtonTitle() const;
    bool isRemoveCurrentButtonEnabled() const { return m_removeCurrentEnabled; }

    // ---- Removal ----

    /// Moves the shown group's removable copies to the Trash, then takes the group out of the
    /// snapshot and shows the next one. Refused (false) while busy, without a removal step,
    /// or when the shown group has no removable copy. A group that keeps no copy is skipped
    /// (reported, snapshot unchanged). @p finished (may be null) and removalFinished() follow
    /// on the main thread.
    bool removeCurrentGroupDuplicates(
        std::function<void(const KSTDuplicateRemovalOutcome &)> finished = {});
    /// Moves the removable copies of every ticked group to the Trash and rescans the same
    /// folders. Refused (false) while busy, without a removal step, or with nothing removable.
    bool removeAllSelectedDuplicates(
        std::function<void(const KSTDuplicateRemovalOutcome &)> finished = {});

    /// Frees the space of the removable copies of every ticked group while keeping their
    /// paths: each becomes a clone of (or, for Kind::HardLink, a hard link to) a kept copy of
    /// its group (KSTDuplicateLinkStep), then the same folders are scanned again. The same
    /// rules as removal: a group keeping no copy is skipped, a copy that changed stays, and
    /// once no kept copy is unchanged the group's other copies stay. Refused (false) while
    /// busy or with nothing removable. @p finished (may be null) follows on the main thread.
    bool replaceSelectedDuplicatesWithLinks(
        KSTDuplicateLinkStep::Kind kind,
        std::function<void(const KSTDuplicateLinkOutcome &)> finished = {});

    /// Moves @p paths, copies of groups in the snapshot, to the Trash through the removal step
    /// on a worker thread, each with its group's kept copies; a path of a group that keeps
    /// no copy, a kept path, or a path in no group is reported and left alone. @p done runs
    /// on the main thread with the outcome. Refused (false) without a step, without a
    /// snapshot or while a removal runs.
    bool trashFilesAtPaths(const QStringList &paths,
                           std::function<void(const KSTDuplicateRemovalOutcome &)> done);
    /// trashFilesAtPaths() when @p paths is not empty and no scan or removal runs; else false.
    bool trashDuplicatePaths(const QStringList &paths,
                             std::function<void(const KSTDuplicateRemovalOutcome &)> done);

    /// Takes every group with @p group's hashKey out of the first category holding one, sets
    /// that category's count and bytes from what remains, forgets the group's tick and kept
    /// set, and recalculates the totals.
    void removeDuplicateGroupFromSnapshot(const KSTDuplicateGroup &group);
    /// Totals as the sums over the categories; "No duplicate files found" when no group is
    /// left.
    void recalculateDuplicateSnapshotTotals();
    /// Shows the group at min(@p index, count − 1) of the listed category; when it has none,
    /// lists the first category that has groups and shows its first group, or shows none.
    void selectNextGroupAfterRemovingAtIndex(qsizetype index);

Q_SIGNALS:
    void snapshotChanged();
    void selectionChanged();
    void actionButtonsChanged();
    void removalFinished(const KSTDuplicateRemovalOutcome &outcome);

private:
    static SelectionReason selectionReasonWithKept(const KSTDuplicateGroup &group,
                                                   const KSTDuplicateFileRecord &file,
                                                   const QSet<QString> &kept);
    struct PlannedCopy
    {
        KSTDuplicateFileRecord copy;
        QList<KSTDuplicateFileRecord> keptCopies;
        QString groupKey;
    };
    struct Plan
    {
        QStringList scanFolders;
        QList<PlannedCopy> copies;
        QList<KSTDuplicateRemovalOutcome::Skipped> skipped;
    };

    // Each of @p paths with its group's kept copies as the scan saw them, or why it is left.
    Plan planFor(const QStringList &paths);
    // Runs the plan through the step on a worker thread, then @p done on the main thread.
    void runPlan(Plan plan, std::function<void(const KSTDuplicateRemovalOutcome &)> done);
    static KSTDuplicateRemovalOutcome executePlan(const Plan &plan, KSTDuplicateRemovalStep &step);
    static KSTDuplicateLinkOutcome executeLinkPlan(const Plan &plan, KSTDuplicateLinkStep &step);
    void replaceSnapshot(std::shared_ptr<const KSTDuplicateSnapshot> snapshot);
    void resetSelectionsForResult();

    // The position of each hashKey in m_indexedSnapshot; remade when the snapshot changes.
    const QHash<QString, GroupPosition> &groupIndex() const;
    // What the ticks add up to: kept up to date by a single tick, remade after anything else
    // changes the ticks, the kept sets or the snapshot.
    struct TickTotals
    {
        quint64 removableBytes = 0;
        QList<qsizetype> perCategory; ///< ticked groups in each category of the snapshot
    };
    const TickTotals &tickTotals() const;
    quint64 removableBytesOfGroup(const KSTDuplicateGroup &group) const;

    KSTSystemInfo *m_systemInfo;
    std::shared_ptr<KSTDuplicateRemovalStep> m_step;
    std::shared_ptr<const KSTDuplicateSnapshot> m_snapshot;
    QString m_selectedCategoryType;
    std::optional<KSTDuplicateGroup> m_selectedGroup;
    QSet<QString> m_selectedGroupKeys;
    QHash<QString, QSet<QString>> m_keptPathsByGroupKey;
    // Held so that a new snapshot can never reuse the address of the indexed one.
    mutable std::shared_ptr<const KSTDuplicateSnapshot> m_indexedSnapshot;
    mutable QHash<QString, GroupPosition> m_groupIndex;
    mutable std::optional<TickTotals> m_tickTotals;
    bool m_removing = false;
    // The scan whose reports are shown; cancelScan() moves it on (main thread only).
    quint64 m_scanNumber = 0;
    QString m_removeSelectedTitle;
    bool m_removeSelectedEnabled = false;
    bool m_removeCurrentEnabled = false;
    // Callbacks from worker threads and the service hold a weak reference and skip a
    // destroyed model.
    std::shared_ptr<KSTDuplicateReviewModel *> m_self;
};
