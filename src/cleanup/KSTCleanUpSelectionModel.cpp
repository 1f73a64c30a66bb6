#include "KSTCleanUpSelectionModel.h"

#include "KSTCleanUpRemoval.h"
#include "KSTDispatch.h"
#include "KSTFormatting.h"
#include "KSTLayoutWords.h"
#include "KSTSystemInfo.h"

#include <QDir>

#include <algorithm>

namespace {

// The paths an item acts on: its targets, or its own path when the scan named none.
QStringList pathsActedOn(const KSTCleanUpItem &item)
{
    if (item.targets.isEmpty())
        return {item.filePath};
    QStringList paths;
    for (const KSTCleanUpTarget &target : item.targets)
        paths << target.path;
    return paths;
}

bool isCoveredBy(const QString &path, const QStringList &kept)
{
    return std::any_of(kept.cbegin(), kept.cend(), [&path](const QString &earlier) {
        return path == earlier || path.startsWith(earlier + QLatin1Char('/'));
    });
}

} // namespace

KSTCleanUpOutcome KSTCleanUpOutcome::fromResult(quint64 itemsRemoved, quint64 bytesRemoved,
                                                const std::optional<KSTError> &error,
                                                const QList<KSTCleanUpRemoval::Failure> &failures)
{
    KSTCleanUpOutcome outcome;
    outcome.itemsRemoved = itemsRemoved;
    outcome.bytesRemoved = bytesRemoved;
    outcome.error = error;
    outcome.failures = failures;
    if (itemsRemoved == 0) {
        outcome.alert = Alert::Failed;
        outcome.message = QStringLiteral("Clean failed");
        outcome.informativeText = error && !error->description.isEmpty()
                                      ? error->description
                                      : QStringLiteral("Could not remove the selected items.");
    } else if (error) {
        outcome.alert = Alert::PartlyCleaned;
        outcome.message = QStringLiteral("Cleaned %1 item(s)").arg(itemsRemoved);
        outcome.informativeText = error->description;
    }
    return outcome;
}

KSTCleanUpSelectionModel::KSTCleanUpSelectionModel(KSTSystemInfo &systemInfo, QObject *parent)
    : QObject(parent), m_systemInfo(&systemInfo)
{
}

KSTCleanUpSelectionModel::~KSTCleanUpSelectionModel() = default;

// ---- Snapshot ----

void KSTCleanUpSelectionModel::refresh()
{
    // A new fetch would supersede the scan under way and start its work over; only a scan
    // the service has since dropped (an invalidated cache, a removal) is replaced.
    if (m_fetchInFlight && m_systemInfo->cleanUpScanGeneration() == m_fetchGeneration)
        return;
    m_fetchInFlight = true;
    m_systemInfo->fetchCleanUpSnapshotAsync(
        KSTDispatch::onMainFor<KSTSystemInfo::CleanUpSnapshotPtr>(
            this, [this](KSTSystemInfo::CleanUpSnapshotPtr snapshot) {
                if (!snapshot)
                    return;
                if (!snapshot->isPartial)
                    m_fetchInFlight = false;
                // The cached scan handed out again on a later visit keeps the user's ticks.
                if (snapshot != m_snapshot)
                    setSnapshot(std::move(snapshot));
            }));
    m_fetchGeneration = m_systemInfo->cleanUpScanGeneration();
}

void KSTCleanUpSelectionModel::setSnapshot(std::shared_ptr<const KSTCleanUpSnapshot> snapshot)
{
    m_snapshot = std::move(snapshot);
    const bool hadSelection = !m_selected.isEmpty();
    m_selected.clear();
    Q_EMIT snapshotChanged();
    if (hadSelection)
        Q_EMIT selectionChanged();
}

bool KSTCleanUpSelectionModel::hasCompleteSnapshot() const
{
    return m_snapshot && !m_snapshot->isPartial;
}

qsizetype KSTCleanUpSelectionModel::categoryCount() const
{
    return m_snapshot ? m_snapshot->categories.size() : 0;
}

qsizetype KSTCleanUpSelectionModel::indexOfCategoryType(const QString &categoryType) const
{
    for (qsizetype index = 0; index < categoryCount(); ++index) {
        if (m_snapshot->categories.at(index).categoryType == categoryType)
            return index;
    }
    return -1;
}

QList<KSTCleanUpItem> KSTCleanUpSelectionModel::reviewItems(qsizetype category) const
{
    if (category < 0 || category >= categoryCount())
        return {};
    return m_snapshot->categories.at(category).reviewItems();
}

// ---- Selection ----

bool KSTCleanUpSelectionModel::isSelectable(const KSTCleanUpItem &item)
{
    // The volume itself (the local snapshots row) is shown and counted, never removed.
    return item.bytes != 0 && QDir::cleanPath(item.filePath) != QLatin1String("/");
}

bool KSTCleanUpSelectionModel::setItemSelected(qsizetype category, qsizetype index, bool selected)
{
    if (m_cleaning)
        return false;
    const QList<KSTCleanUpItem> items = reviewItems(category);
    if (index < 0 || index >= items.size() || !isSelectable(items.at(index)))
        return false;
    const Key key(category, index);
    if (m_selected.contains(key) == selected)
        return true;
    if (selected)
        m_selected.insert(key);
    else
        m_selected.remove(key);
    Q_EMIT selectionChanged();
    return true;
}

bool KSTCleanUpSelectionModel::isItemSelected(qsizetype category, qsizetype index) const
{
    return m_selected.contains(Key(category, index));
}

bool KSTCleanUpSelectionModel::setCategorySelected(qsizetype category, bool selected)
{
    if (m_cleaning || category < 0 || category >= categoryCount())
        return false;
    const QList<KSTCleanUpItem> items = reviewItems(category);
    bool changed = false;
    for (qsizetype index = 0; index < items.size(); ++index) {
        const Key key(category, index);
        if (!isSelectable(items.at(index)) || m_selected.contains(key) == selected)
            continue;
        if (selected)
            m_selected.insert(key);
        else
            m_selected.remove(key);
        changed = true;
    }
    if (changed)
        Q_EMIT selectionChanged();
    return true;
}

bool KSTCleanUpSelectionModel::selectItemWithFilePath(const QString &filePath)
{
    for (qsizetype category = 0; category < categoryCount(); ++category) {
        const QList<KSTCleanUpItem> items = reviewItems(category);
        for (qsizetype index = 0; index < items.size(); ++index) {
            if (items.at(index).filePath == filePath && isSelectable(items.at(index)))
                return setItemSelected(category, index, true);
        }
    }
    return false;
}

void KSTCleanUpSelectionModel::clearSelection()
{
    if (m_cleaning || m_selected.isEmpty())
        return;
    m_selected.clear();
    Q_EMIT selectionChanged();
}

QList<KSTCleanUpItem> KSTCleanUpSelectionModel::selectedItems() const
{
    QList<KSTCleanUpItem> selection;
    for (qsizetype category = 0; category < categoryCount(); ++category) {
        const KSTCleanUpCategory &record = m_snapshot->categories.at(category);
        const QList<KSTCleanUpItem> items = record.reviewItems();
        for (qsizetype index = 0; index < items.size(); ++index) {
            if (!m_selected.contains(Key(category, index)))
                continue;
            const KSTCleanUpItem &item = items.at(index);
            if (!KSTCleanUpRemoval::isFailedDownloadsSummaryItem(item)) {
                selection << item;
                continue;
            }
            // The summary row stands for the failed downloads listed with it.
            for (const KSTCleanUpItem &download : record.allItems.value_or(record.items)) {
                if (!KSTCleanUpRemoval::isFailedDownloadsSummaryItem(download) &&
                    !KSTCleanUpRemoval::isMacTrashCleanUpItem(download) && isSelectable(download))
                    selection << download;
            }
        }
    }
    return selection;
}

QList<KSTCleanUpItem> KSTCleanUpSelectionModel::itemsToRemove() const
{
    return reducedSelection(selectedItems());
}

quint64 KSTCleanUpSelectionModel::selectedBytes() const
{
    quint64 total = 0;
    for (const KSTCleanUpItem &item : itemsToRemove())
        total += item.bytes;
    return total;
}

QList<KSTCleanUpItem> KSTCleanUpSelectionModel::reducedSelection(QList<KSTCleanUpItem> items)
{
    std::stable_sort(items.begin(), items.end(),
                     [](const KSTCleanUpItem &a, const KSTCleanUpItem &b) {
                         return a.filePath.size() < b.filePath.size();
                     });
    QList<KSTCleanUpItem> kept;
    QStringList keptPaths;
    for (const KSTCleanUpItem &item : items) {
        if (item.filePath.isEmpty())
            continue;
        // An item goes when everything it would move is moved by one kept before it.
        const QStringList paths = pathsActedOn(item);
        const bool covered =
            std::all_of(paths.cbegin(), paths.cend(),
                        [&keptPaths](const QString &path) { return isCoveredBy(path, keptPaths); });
        if (covered)
            continue;
        kept << item;
        keptPaths << paths;
    }
    return kept;
}

// ---- Confirmation and removal ----

QString KSTCleanUpSelectionModel::confirmationMessage() const
{
    return QStringLiteral("Clean %1?").arg(KSTFormatting::formatBytesShort(selectedBytes()));
}

QString KSTCleanUpSelectionModel::confirmationInformativeText() const
{
    return QStringLiteral("%1 selected item(s) will be moved to the Trash or permanently removed "
                          "from the %2.")
        .arg(QString::number(itemsToRemove().size()), KSTLayoutWords::current().trash);
}

bool KSTCleanUpSelectionModel::canClean() const
{
    return !m_cleaning && !itemsToRemove().isEmpty();
}

bool KSTCleanUpSelectionModel::startCleaning(
    std::function<void(const KSTCleanUpOutcome &)> finished)
{
    const QList<KSTCleanUpItem> items = itemsToRemove();
    if (m_cleaning || items.isEmpty())
        return false;
    m_cleaning = true;
    Q_EMIT cleaningChanged(true);
    KSTSystemInfo *systemInfo = m_systemInfo;
    const auto report = KSTDispatch::onMainFor<KSTCleanUpOutcome>(
        this, [this, finished = std::move(finished)](const KSTCleanUpOutcome &outcome) {
            finishCleaning(outcome, finished);
        });
    KSTCleanUpRemoval::removeCleanUpItems(
        items, [systemInfo, report](const KSTCleanUpRemoval::Result &result) {
            // Even when the screen is gone, what it removed must not stay cached.
            systemInfo->invalidateCleanUpCache();
            report(KSTCleanUpOutcome::fromResult(result.itemsRemoved, result.bytesRemoved,
                                                 result.error, result.failures));
        });
    return true;
}

void KSTCleanUpSelectionModel::finishCleaning(
    const KSTCleanUpOutcome &outcome,
    const std::function<void(const KSTCleanUpOutcome &)> &finished)
{
    m_cleaning = false;
    m_systemInfo->invalidateCleanUpCache();
    Q_EMIT cleaningChanged(false);
    Q_EMIT cleanFinished(outcome);
    if (finished)
        finished(outcome);
}
