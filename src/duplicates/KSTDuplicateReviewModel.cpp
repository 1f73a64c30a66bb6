#include "KSTDuplicateReviewModel.h"

#include "KSTDispatch.h"
#include "KSTDuplicateEngine.h"
#include "KSTDuplicateTrashStep.h"
#include "KSTFormatting.h"
#include "KSTSystemInfo.h"

#include <algorithm>

namespace {

using Record = KSTDuplicateFileRecord;

bool sameFile(const Record &a, const Record &b)
{
    return a.identity.isSameFile(b.identity);
}

} // namespace

KSTDuplicateReviewModel::KSTDuplicateReviewModel(KSTSystemInfo &systemInfo, QObject *parent)
    : QObject(parent), m_systemInfo(&systemInfo), m_step(std::make_shared<KSTDuplicateTrashStep>()),
      m_self(std::make_shared<KSTDuplicateReviewModel *>(this))
{
    updateActionButtons();
}

KSTDuplicateReviewModel::~KSTDuplicateReviewModel() = default;

void KSTDuplicateReviewModel::setRemovalStep(std::shared_ptr<KSTDuplicateRemovalStep> step)
{
    m_step = std::move(step);
}

// ---- Snapshot ----

void KSTDuplicateReviewModel::setSnapshot(std::shared_ptr<const KSTDuplicateSnapshot> snapshot)
{
    m_snapshot = std::move(snapshot);
    m_tickTotals.reset();
    if (!m_snapshot || m_snapshot->isScanning)
        m_selectedGroup.reset();
    else
        resetSelectionsForResult();
    Q_EMIT snapshotChanged();
    Q_EMIT selectionChanged();
    updateActionButtons();
}

void KSTDuplicateReviewModel::resetSelectionsForResult()
{
    m_selectedGroupKeys.clear();
    m_keptPathsByGroupKey.clear();
    m_tickTotals.reset();
    m_selectedCategoryType = firstCategoryTypeWithGroupsInSnapshot(*m_snapshot);
    if (m_selectedCategoryType.isEmpty() && !m_snapshot->categories.isEmpty())
        m_selectedCategoryType = m_snapshot->categories.first().categoryType;
    const QList<KSTDuplicateGroup> groups = groupsForSelectedCategory();
    m_selectedGroup = groups.isEmpty() ? std::nullopt : std::optional(groups.first());
}

void KSTDuplicateReviewModel::replaceSnapshot(std::shared_ptr<const KSTDuplicateSnapshot> snapshot)
{
    m_snapshot = std::move(snapshot);
    m_tickTotals.reset();
}

void KSTDuplicateReviewModel::scanDuplicatesInPaths(const QStringList &paths)
{
    // Shown at once, so that nothing can be removed from the old result meanwhile.
    std::shared_ptr<KSTDuplicateSnapshot> preparing =
        KSTDuplicateEngine::buildDuplicateSnapshotFromPaths(paths, 0,
                                                            QStringLiteral("Preparing scan…"));
    preparing->scanProgress = 0.01;
    setSnapshot(std::move(preparing));

    // The frame hands over its first report even when the scan was cancelled meanwhile;
    // reports of a scan this model no longer waits for are dropped here.
    const quint64 scan = ++m_scanNumber;
    std::weak_ptr<KSTDuplicateReviewModel *> self = m_self;
    auto show = [self, scan](std::shared_ptr<const KSTDuplicateSnapshot> snapshot) {
        if (const auto model = self.lock(); model && (*model)->m_scanNumber == scan)
            (*model)->setSnapshot(std::move(snapshot));
    };
    m_systemInfo->scanDuplicatesInPaths(paths, show, show);
}

void KSTDuplicateReviewModel::cancelScan()
{
    if (!m_snapshot || !m_snapshot->isScanning)
        return;
    ++m_scanNumber;
    m_systemInfo->cancelDuplicateScan();
    setSnapshot(nullptr);
}

bool KSTDuplicateReviewModel::isBusy() const
{
    return m_removing || (m_snapshot && m_snapshot->isScanning);
}

// ---- Members ----

void KSTDuplicateReviewModel::setSelectedCategoryType(const QString &categoryType)
{
    m_selectedCategoryType = categoryType;
    const QList<KSTDuplicateGroup> groups = groupsForSelectedCategory();
    m_selectedGroup = groups.isEmpty() ? std::nullopt : std::optional(groups.first());
    Q_EMIT selectionChanged();
    updateActionButtons();
}

void KSTDuplicateReviewModel::setSelectedGroup(const QString &hashKey)
{
    m_selectedGroup = groupWithKey(hashKey);
    Q_EMIT selectionChanged();
    updateActionButtons();
}

QList<KSTDuplicateGroup> KSTDuplicateReviewModel::groupsForSelectedCategory() const
{
    if (!m_snapshot)
        return {};
    for (const KSTDuplicateCategorySummary &category : m_snapshot->categories) {
        if (category.categoryType == m_selectedCategoryType)
            return category.groups;
    }
    return {};
}

std::optional<KSTDuplicateGroup> KSTDuplicateReviewModel::groupWithKey(const QString &hashKey) const
{
    const std::optional<GroupPosition> position = positionOfGroup(hashKey);
    if (!position)
        return std::nullopt;
    return m_snapshot->categories.at(position->category).groups.at(position->group);
}

const QHash<QString, KSTDuplicateReviewModel::GroupPosition> &
KSTDuplicateReviewModel::groupIndex() const
{
    if (m_indexedSnapshot != m_snapshot) {
        m_indexedSnapshot = m_snapshot;
        m_groupIndex.clear();
        if (m_snapshot) {
            m_groupIndex.reserve(qsizetype(m_snapshot->totalGroupCount));
            // Walked backwards so that the first group with a key, in category order, is the
            // one written last.
            const QList<KSTDuplicateCategorySummary> &categories = m_snapshot->categories;
            for (qsizetype category = categories.size() - 1; category >= 0; --category) {
                const QList<KSTDuplicateGroup> &groups = categories.at(category).groups;
                for (qsizetype group = groups.size() - 1; group >= 0; --group)
                    m_groupIndex.insert(groups.at(group).hashKey, GroupPosition{category, group});
            }
        }
    }
    return m_groupIndex;
}

std::optional<KSTDuplicateReviewModel::GroupPosition>
KSTDuplicateReviewModel::positionOfGroup(const QString &hashKey) const
{
    if (!m_snapshot)
        return std::nullopt;
    const QHash<QString, GroupPosition> &index = groupIndex();
    const auto found = index.constFind(hashKey);
    if (found == index.constEnd())
        return std::nullopt;
    return *found;
}

qsizetype KSTDuplicateReviewModel::selectedGroupCountInSelectedCategory() const
{
    if (!m_snapshot || m_selectedGroupKeys.isEmpty())
        return 0;
    for (qsizetype category = 0; category < m_snapshot->categories.size(); ++category) {
        if (m_snapshot->categories.at(category).categoryType == m_selectedCategoryType)
            return tickTotals().perCategory.at(category);
    }
    return 0;
}

QString
KSTDuplicateReviewModel::firstCategoryTypeWithGroupsInSnapshot(const KSTDuplicateSnapshot &snapshot)
{
    for (const KSTDuplicateCategorySummary &category : snapshot.categories) {
        if (!category.groups.isEmpty())
            return category.categoryType;
    }
    return {};
}

// ---- Kept and removable copies ----

QSet<QString>
KSTDuplicateReviewModel::effectiveKeptPathsForGroup(const KSTDuplicateGroup &group) const
{
    const auto kept = m_keptPathsByGroupKey.constFind(group.hashKey);
    if (kept != m_keptPathsByGroupKey.constEnd())
        return *kept;
    if (group.files.isEmpty() || group.files.first().path.isEmpty())
        return {};
    return {group.files.first().path};
}

QSet<QString> KSTDuplicateReviewModel::keptPathsForGroup(const KSTDuplicateGroup &group)
{
    auto kept = m_keptPathsByGroupKey.find(group.hashKey);
    if (kept == m_keptPathsByGroupKey.end())
        kept = m_keptPathsByGroupKey.insert(group.hashKey, effectiveKeptPathsForGroup(group));
    return *kept;
}

QStringList
KSTDuplicateReviewModel::removablePathsForGroup(const std::optional<KSTDuplicateGroup> &group)
{
    if (!group)
        return {};
    const QSet<QString> kept = keptPathsForGroup(*group);
    QStringList paths;
    for (const Record &file : group->files) {
        if (!kept.contains(file.path))
            paths << file.path;
    }
    return paths;
}

QStringList KSTDuplicateReviewModel::removablePathsForSelectedGroups()
{
    QStringList paths;
    if (!m_snapshot)
        return paths;
    for (const KSTDuplicateCategorySummary &category : m_snapshot->categories) {
        for (const KSTDuplicateGroup &group : category.groups) {
            if (m_selectedGroupKeys.contains(group.hashKey))
                paths << removablePathsForGroup(group);
        }
    }
    return paths;
}

quint64 KSTDuplicateReviewModel::removableBytesForSelectedGroups() const
{
    return m_snapshot ? tickTotals().removableBytes : 0;
}

const KSTDuplicateReviewModel::TickTotals &KSTDuplicateReviewModel::tickTotals() const
{
    if (m_tickTotals)
        return *m_tickTotals;
    TickTotals totals;
    totals.perCategory.fill(0, m_snapshot ? m_snapshot->categories.size() : 0);
    if (m_snapshot) {
        for (const QString &key : m_selectedGroupKeys) {
            const std::optional<GroupPosition> position = positionOfGroup(key);
            if (!position)
                continue;
            totals.removableBytes += removableBytesOfGroup(
                m_snapshot->categories.at(position->category).groups.at(position->group));
            ++totals.perCategory[position->category];
        }
    }
    m_tickTotals = std::move(totals);
    return *m_tickTotals;
}

quint64 KSTDuplicateReviewModel::removableBytesOfGroup(const KSTDuplicateGroup &group) const
{
    // A group whose kept set was never made is summed against its newest copy without making
    // the set: ticking 50,000 groups would otherwise make 50,000 sets.
    quint64 bytes = 0;
    const auto kept = m_keptPathsByGroupKey.constFind(group.hashKey);
    if (kept != m_keptPathsByGroupKey.constEnd()) {
        for (const Record &file : group.files) {
            if (!kept->contains(file.path))
                bytes += file.bytes;
        }
        return bytes;
    }
    const QString newest = group.files.isEmpty() ? QString() : group.files.first().path;
    for (const Record &file : group.files) {
        if (newest.isEmpty() || file.path != newest)
            bytes += file.bytes;
    }
    return bytes;
}

KSTDuplicateReviewModel::SelectionReason
KSTDuplicateReviewModel::selectionReason(const KSTDuplicateGroup &group, const Record &file) const
{
    return selectionReasonWithKept(group, file, effectiveKeptPathsForGroup(group));
}

QList<KSTDuplicateReviewModel::SelectionReason>
KSTDuplicateReviewModel::selectionReasons(const KSTDuplicateGroup &group) const
{
    const QSet<QString> kept = effectiveKeptPathsForGroup(group);
    QList<SelectionReason> reasons;
    reasons.reserve(group.files.size());
    for (const Record &file : group.files)
        reasons.append(selectionReasonWithKept(group, file, kept));
    return reasons;
}

KSTDuplicateReviewModel::SelectionReason
KSTDuplicateReviewModel::selectionReasonWithKept(const KSTDuplicateGroup &group, const Record &file,
                                                 const QSet<QString> &kept)
{
    const bool isFirst = !group.files.isEmpty() && group.files.first().path == file.path;
    if (kept.contains(file.path)) {
        if (!isFirst)
            return SelectionReason::KeptByYou;
        const bool tied =
            group.files.size() > 1 && group.files.at(1).modificationDate == file.modificationDate;
        return tied ? SelectionReason::SameDateFirstByPath : SelectionReason::Newest;
    }
    for (const Record &other : group.files) {
        if (kept.contains(other.path) && sameFile(other, file))
            return SelectionReason::SameFileAsKept;
    }
    if (isFirst)
        return SelectionReason::MarkedByYou;
    if (!group.files.isEmpty() && group.files.first().modificationDate == file.modificationDate)
        return SelectionReason::SameDateLaterByPath;
    return SelectionReason::OlderCopy;
}

bool KSTDuplicateReviewModel::isKeptReason(SelectionReason reason)
{
    return reason == SelectionReason::Newest || reason == SelectionReason::SameDateFirstByPath ||
           reason == SelectionReason::KeptByYou;
}

QString KSTDuplicateReviewModel::selectionReasonText(SelectionReason reason)
{
    switch (reason) {
    case SelectionReason::Newest:
        return QStringLiteral("newest");
    case SelectionReason::SameDateFirstByPath:
        return QStringLiteral("same date, first by path");
    case SelectionReason::KeptByYou:
        return QStringLiteral("kept by you");
    case SelectionReason::OlderCopy:
        return QStringLiteral("an older copy");
    case SelectionReason::SameDateLaterByPath:
        return QStringLiteral("same date, later by path");
    case SelectionReason::MarkedByYou:
        return QStringLiteral("marked by you");
    case SelectionReason::SameFileAsKept:
        return QStringLiteral("the same file as the kept one (a hard link: removing it frees "
                              "nothing)");
    }
    return {};
}

QString KSTDuplicateReviewModel::selectionReasonKey(SelectionReason reason)
{
    switch (reason) {
    case SelectionReason::Newest:
        return QStringLiteral("newest");
    case SelectionReason::SameDateFirstByPath:
        return QStringLiteral("sameDateFirstByPath");
    case SelectionReason::KeptByYou:
        return QStringLiteral("keptByYou");
    case SelectionReason::OlderCopy:
        return QStringLiteral("olderCopy");
    case SelectionReason::SameDateLaterByPath:
        return QStringLiteral("sameDateLaterByPath");
    case SelectionReason::MarkedByYou:
        return QStringLiteral("markedByYou");
    case SelectionReason::SameFileAsKept:
        return QStringLiteral("sameFileAsKept");
    }
    return {};
}

// ---- Ticks ----

void KSTDuplicateReviewModel::toggleGroupSelection(const KSTDuplicateGroup &group, bool on)
{
    const bool changes = on != m_selectedGroupKeys.contains(group.hashKey);
    if (on)
        m_selectedGroupKeys.insert(group.hashKey);
    else
        m_selectedGroupKeys.remove(group.hashKey);
    // One box: the totals move by that group alone, so a tick costs the same with one group
    // ticked as with 50,000.
    if (changes && m_tickTotals) {
        if (const std::optional<GroupPosition> position = positionOfGroup(group.hashKey)) {
            const quint64 bytes = removableBytesOfGroup(
                m_snapshot->categories.at(position->category).groups.at(position->group));
            m_tickTotals->removableBytes += on ? bytes : -bytes;
            m_tickTotals->perCategory[position->category] += on ? 1 : -1;
        }
    }
    Q_EMIT selectionChanged();
    updateActionButtons();
}

void KSTDuplicateReviewModel::toggleGroupsSelection(const QList<KSTDuplicateGroup> &groups, bool on)
{
    for (const KSTDuplicateGroup &group : groups) {
        if (on)
            m_selectedGroupKeys.insert(group.hashKey);
        else
            m_selectedGroupKeys.remove(group.hashKey);
    }
    m_tickTotals.reset();
    Q_EMIT selectionChanged();
    updateActionButtons();
}

void KSTDuplicateReviewModel::toggleAllGroups(Qt::CheckState state)
{
    const QList<KSTDuplicateGroup> groups = groupsForSelectedCategory();
    if (!groups.isEmpty())
        toggleGroupsSelection(groups, state == Qt::Checked);
}

void KSTDuplicateReviewModel::togglePreviewSelection(const KSTDuplicateGroup &group,
                                                     const QString &path, bool on)
{
    const bool inGroup = std::any_of(group.files.begin(), group.files.end(),
                                     [&path](const Record &file) { return file.path == path; });
    if (!inGroup)
        return;
    QSet<QString> kept = keptPathsForGroup(group);
    if (on)
        kept.remove(path);
    else
        kept.insert(path);
    m_keptPathsByGroupKey.insert(group.hashKey, kept);
    m_tickTotals.reset();
    Q_EMIT selectionChanged();
    updateActionButtons();
}

// ---- Buttons ----

void KSTDuplicateReviewModel::updateActionButtons()
{
    const quint64 bytes = removableBytesForSelectedGroups();
    m_removeSelectedTitle =
        bytes > 0
            ? QStringLiteral("Remove %1 of duplicates").arg(KSTFormatting::formatBytesShort(bytes))
            : QStringLiteral("Remove duplicates");
    m_removeSelectedEnabled = bytes > 0 && !isBusy();
    m_removeCurrentEnabled = !removablePathsForGroup(m_selectedGroup).isEmpty() && !isBusy();
    Q_EMIT actionButtonsChanged();
}

QString KSTDuplicateReviewModel::removeCurrentButtonTitle() const
{
    return QStringLiteral("Remove current duplicates");
}

// ---- Removal ----

bool KSTDuplicateReviewModel::removeCurrentGroupDuplicates(
    std::function<void(const KSTDuplicateRemovalOutcome &)> finished)
{
    const QStringList paths = removablePathsForGroup(m_selectedGroup);
    if (isBusy() || !m_step || paths.isEmpty())
        return false;
    const KSTDuplicateGroup group = *m_selectedGroup;
    const QList<KSTDuplicateGroup> groups = groupsForSelectedCategory();
    qsizetype index = 0;
    for (qsizetype position = 0; position < groups.size(); ++position) {
        if (groups.at(position).hashKey == group.hashKey) {
            index = position;
            break;
        }
    }
    // A group that keeps no copy is skipped whole and stays in the results.
    const bool attempted = paths.size() < group.files.size();
    return trashFilesAtPaths(paths, [this, group, index, attempted, finished = std::move(finished)](
                                        const KSTDuplicateRemovalOutcome &outcome) {
        if (attempted) {
            // The group leaves the results even when a copy stayed: the outcome names it.
            removeDuplicateGroupFromSnapshot(group);
            selectNextGroupAfterRemovingAtIndex(index);
            Q_EMIT snapshotChanged();
            Q_EMIT selectionChanged();
        }
        updateActionButtons();
        Q_EMIT removalFinished(outcome);
        if (finished)
            finished(outcome);
    });
}

bool KSTDuplicateReviewModel::removeAllSelectedDuplicates(
    std::function<void(const KSTDuplicateRemovalOutcome &)> finished)
{
    if (!m_snapshot)
        return false;
    const QStringList scanPaths = m_snapshot->scanPaths;
    return trashDuplicatePaths(removablePathsForSelectedGroups(),
                               [this, scanPaths, finished = std::move(finished)](
                                   const KSTDuplicateRemovalOutcome &outcome) {
                                   scanDuplicatesInPaths(scanPaths);
                                   Q_EMIT removalFinished(outcome);
                                   if (finished)
                                       finished(outcome);
                               });
}

bool KSTDuplicateReviewModel::trashDuplicatePaths(
    const QStringList &paths, std::function<void(const KSTDuplicateRemovalOutcome &)> done)
{
    if (paths.isEmpty() || isBusy())
        return false;
    return trashFilesAtPaths(paths, std::move(done));
}

bool KSTDuplicateReviewModel::trashFilesAtPaths(
    const QStringList &paths, std::function<void(const KSTDuplicateRemovalOutcome &)> done)
{
    if (!m_step || m_removing || !m_snapshot)
        return false;
    runPlan(planFor(paths), std::move(done));
    return true;
}

KSTDuplicateReviewModel::Plan KSTDuplicateReviewModel::planFor(const QStringList &paths)
{
    // Each path with its group's kept copies, as the scan saw them.
    QHash<QString, const KSTDuplicateGroup *> groupOfPath;
    for (const KSTDuplicateCategorySummary &category : m_snapshot->categories) {
        for (const KSTDuplicateGroup &group : category.groups) {
            for (const Record &file : group.files)
                groupOfPath.insert(file.path, &group);
        }
    }
    Plan plan;
    plan.scanFolders = m_snapshot->scanPaths;
    for (const QString &path : paths) {
        const KSTDuplicateGroup *group = groupOfPath.value(path);
        if (!group) {
            plan.skipped.append({path, QStringLiteral("The file is not a copy in these results.")});
            continue;
        }
        const QSet<QString> kept = keptPathsForGroup(*group);
        if (kept.contains(path)) {
            plan.skipped.append({path, QStringLiteral("The copy is kept.")});
            continue;
        }
        QList<Record> keptCopies;
        std::optional<Record> copy;
        for (const Record &file : group->files) {
            if (kept.contains(file.path))
                keptCopies.append(file);
            else if (file.path == path)
                copy = file;
        }
        if (keptCopies.isEmpty())
            plan.skipped.append({path, KSTDuplicateRemovalStep::noCopyKeptReason()});
        else
            plan.copies.append({*copy, keptCopies, group->hashKey});
    }
    return plan;
}

bool KSTDuplicateReviewModel::replaceSelectedDuplicatesWithLinks(
    KSTDuplicateLinkStep::Kind kind, std::function<void(const KSTDuplicateLinkOutcome &)> finished)
{
    const QStringList paths = removablePathsForSelectedGroups();
    if (paths.isEmpty() || isBusy())
        return false;
    Plan plan = planFor(paths);
    const QStringList scanPaths = m_snapshot->scanPaths;
    m_removing = true;
    updateActionButtons();
    std::weak_ptr<KSTDuplicateReviewModel *> self = m_self;
    KSTDispatch::globalAsync(
        KSTQualityOfService::UserInitiated,
        [self, kind, scanPaths, plan = std::move(plan), finished = std::move(finished)] {
            KSTDuplicateLinkStep step(kind);
            KSTDuplicateLinkOutcome outcome = executeLinkPlan(plan, step);
            KSTDispatch::mainAsync([self, scanPaths, outcome = std::move(outcome), finished] {
                if (const auto model = self.lock()) {
                    (*model)->m_removing = false;
                    (*model)->scanDuplicatesInPaths(scanPaths);
                    if (finished)
                        finished(outcome);
                }
            });
        });
    return true;
}

KSTDuplicateLinkOutcome KSTDuplicateReviewModel::executeLinkPlan(const Plan &plan,
                                                                 KSTDuplicateLinkStep &step)
{
    using Result = KSTDuplicateLinkStep::Result;
    KSTDuplicateLinkOutcome outcome;
    outcome.skipped = plan.skipped;
    if (!plan.copies.isEmpty())
        step.beginLinking(plan.scanFolders);
    QSet<QString> groupsWithoutKeptCopy;
    for (const PlannedCopy &planned : plan.copies) {
        if (groupsWithoutKeptCopy.contains(planned.groupKey)) {
            outcome.skipped.append(
                {planned.copy.path, KSTDuplicateRemovalStep::keptCopyChangedReason()});
            continue;
        }
        const KSTDuplicateLinkStep::Outcome linked =
            step.replaceWithLink(planned.copy, planned.keptCopies);
        if (linked.result == Result::Linked) {
            ++outcome.itemsLinked;
            outcome.bytesFreed += linked.bytesFreed;
            outcome.linkedPaths << planned.copy.path;
            continue;
        }
        if (linked.result == Result::KeptCopyChanged)
            groupsWithoutKeptCopy.insert(planned.groupKey);
        outcome.skipped.append({planned.copy.path, linked.reason});
    }
    return outcome;
}

void KSTDuplicateReviewModel::runPlan(Plan plan,
                                      std::function<void(const KSTDuplicateRemovalOutcome &)> done)
{
    m_removing = true;
    updateActionButtons();
    std::weak_ptr<KSTDuplicateReviewModel *> self = m_self;
    KSTDispatch::globalAsync(KSTQualityOfService::UserInitiated,
                             [self, step = m_step, plan = std::move(plan), done = std::move(done)] {
                                 KSTDuplicateRemovalOutcome outcome = executePlan(plan, *step);
                                 KSTDispatch::mainAsync([self, outcome = std::move(outcome), done] {
                                     if (const auto model = self.lock()) {
                                         (*model)->m_removing = false;
                                         done(outcome);
                                     }
                                 });
                             });
}

KSTDuplicateRemovalOutcome KSTDuplicateReviewModel::executePlan(const Plan &plan,
                                                                KSTDuplicateRemovalStep &step)
{
    using Result = KSTDuplicateRemovalStep::Result;
    KSTDuplicateRemovalOutcome outcome;
    outcome.skipped = plan.skipped;
    if (!plan.copies.isEmpty())
        step.beginRemoval(plan.scanFolders);
    QSet<QString> groupsWithoutKeptCopy;
    for (const PlannedCopy &planned : plan.copies) {
        if (groupsWithoutKeptCopy.contains(planned.groupKey)) {
            outcome.skipped.append(
                {planned.copy.path, KSTDuplicateRemovalStep::keptCopyChangedReason()});
            continue;
        }
        const KSTDuplicateRemovalStep::Outcome moved =
            step.moveToTrash(planned.copy, planned.keptCopies);
        switch (moved.result) {
        case Result::Moved:
            ++outcome.itemsRemoved;
            outcome.bytesRemoved += planned.copy.bytes;
            outcome.removedPaths << planned.copy.path;
            continue;
        case Result::KeptCopyChanged:
            groupsWithoutKeptCopy.insert(planned.groupKey);
            outcome.skipped.append(
                {planned.copy.path, moved.reason.isEmpty()
                                        ? KSTDuplicateRemovalStep::keptCopyChangedReason()
                                        : moved.reason});
            continue;
        case Result::FileChanged:
            outcome.skipped.append(
                {planned.copy.path, moved.reason.isEmpty()
                                        ? KSTDuplicateRemovalStep::fileChangedReason()
                                        : moved.reason});
            continue;
        case Result::Refused:
        case Result::Failed:
            outcome.skipped.append({planned.copy.path, moved.reason});
            continue;
        }
    }
    return outcome;
}

void KSTDuplicateReviewModel::removeDuplicateGroupFromSnapshot(const KSTDuplicateGroup &group)
{
    if (!m_snapshot)
        return;
    auto edited = std::make_shared<KSTDuplicateSnapshot>(*m_snapshot);
    for (KSTDuplicateCategorySummary &category : edited->categories) {
        const auto sameKey = [&group](const KSTDuplicateGroup &candidate) {
            return candidate.hashKey == group.hashKey;
        };
        if (std::none_of(category.groups.cbegin(), category.groups.cend(), sameKey))
            continue;
        category.groups.removeIf(sameKey);
        category.groupCount = static_cast<quint64>(category.groups.size());
        category.reclaimableBytes = 0;
        for (const KSTDuplicateGroup &remaining : std::as_const(category.groups))
            category.reclaimableBytes += remaining.reclaimableBytes;
        break;
    }
    m_keptPathsByGroupKey.remove(group.hashKey);
    m_selectedGroupKeys.remove(group.hashKey);
    replaceSnapshot(std::move(edited));
    recalculateDuplicateSnapshotTotals();
}

void KSTDuplicateReviewModel::recalculateDuplicateSnapshotTotals()
{
    if (!m_snapshot)
        return;
    auto edited = std::make_shared<KSTDuplicateSnapshot>(*m_snapshot);
    edited->totalGroupCount = 0;
    edited->totalReclaimableBytes = 0;
    for (const KSTDuplicateCategorySummary &category : std::as_const(edited->categories)) {
        edited->totalGroupCount += category.groupCount;
        edited->totalReclaimableBytes += category.reclaimableBytes;
    }
    if (edited->totalGroupCount == 0)
        edited->statusText = QStringLiteral("No duplicate files found");
    replaceSnapshot(std::move(edited));
}

void KSTDuplicateReviewModel::selectNextGroupAfterRemovingAtIndex(qsizetype index)
{
    QList<KSTDuplicateGroup> groups = groupsForSelectedCategory();
    if (!groups.isEmpty()) {
        m_selectedGroup = groups.at(std::clamp<qsizetype>(index, 0, groups.size() - 1));
        return;
    }
    m_selectedGroup.reset();
    if (!m_snapshot)
        return;
    const QString next = firstCategoryTypeWithGroupsInSnapshot(*m_snapshot);
    if (next.isEmpty())
        return;
    m_selectedCategoryType = next;
    groups = groupsForSelectedCategory();
    m_selectedGroup = groups.first();
}
