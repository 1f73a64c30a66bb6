// App Manage's operations of the scan-service frame. The frame keeps the generation and the
// cache in the App Manage slot and delivers the routine's progress and result on the main
// queue while their generation is current. Invalidating drops the cache but leaves the
// generation: a scan in flight still completes. A resumed size pass moves the generation on
// by itself (nextAppInventoryScanGeneration).
#include "KSTSystemInfo.h"

#include "KSTAppInventorySnapshot.h"

void KSTSystemInfo::scanInstalledApplicationsWithProgress(AppInventorySnapshotHandler progress,
                                                          AppInventorySnapshotHandler completion)
{
    if (!completion)
        return;
    const AppInventorySnapshotPtr cached =
        m_appInventory.cachedIf([](const KSTAppInventorySnapshot &snapshot, const QDateTime &) {
            return snapshot.isComplete;
        });
    if (cached) {
        if (progress)
            onMain([progress, cached] { progress(cached); });
        onMain([this, completion = std::move(completion), cached] {
            completion(cached);
            if (!cached->isSizeCalculationComplete) {
                std::function<void()> resume;
                {
                    Lock lock(m_monitor);
                    resume = m_appInventorySizeResumeRoutine;
                }
                if (resume)
                    resume();
            }
        });
        return;
    }

    quint64 generation = 0;
    AppInventoryScanRoutine routine;
    {
        Lock lock(m_monitor);
        generation = m_appInventory.start();
        routine = m_appInventoryScanRoutine;
    }
    if (progress) {
        auto first = std::make_shared<KSTAppInventorySnapshot>();
        first->statusText = QStringLiteral("Discovering applications…");
        onMain([progress, first = AppInventorySnapshotPtr(std::move(first))] { progress(first); });
    }
    if (!routine)
        return;
    // The routine hands its snapshots over on the inventory queue; they reach the caller on
    // the main queue, and not at all once a newer scan or a cancel has moved the generation on.
    const auto delivering = [this, generation](AppInventorySnapshotHandler handler) {
        return AppInventorySnapshotHandler(
            [this, generation, handler = std::move(handler)](AppInventorySnapshotPtr snapshot) {
                onMain([this, generation, handler, snapshot = std::move(snapshot)] {
                    if (!m_appInventory.isCancelled(generation))
                        handler(snapshot);
                });
            });
    };
    AppInventorySnapshotHandler deliverProgress = progress ? delivering(progress) : nullptr;
    m_appInventoryQueue->async([routine = std::move(routine), generation,
                                progress = std::move(deliverProgress),
                                completion = delivering(std::move(completion))] {
        routine(generation, progress, completion);
    });
}

void KSTSystemInfo::invalidateAppInventoryCache()
{
    Lock lock(m_monitor);
    m_appInventory.setCached(nullptr);
    m_cachedApplicationBundlePaths.clear();
    m_cachedRelatedPathScanIndex.reset();
}

void KSTSystemInfo::storeCachedAppInventorySnapshot(AppInventorySnapshotPtr snapshot)
{
    m_appInventory.setCached(std::move(snapshot));
}

void KSTSystemInfo::updateCachedAppInventoryWithApps(const QList<KSTInstalledAppRecord> &apps)
{
    refreshCachedAppInventoryAfterMetadataUpdate(apps, QStringLiteral("Scan complete"), true,
                                                 quint64(apps.size()));
}

void KSTSystemInfo::refreshCachedAppInventoryAfterMetadataUpdate(
    const QList<KSTInstalledAppRecord> &apps)
{
    Lock lock(m_monitor);
    const AppInventorySnapshotPtr previous = m_appInventory.cached();
    if (!previous || !previous->isComplete)
        return;
    const QString status =
        previous->statusText.isEmpty() ? QStringLiteral("Scan complete") : previous->statusText;
    refreshCachedAppInventoryAfterMetadataUpdate(apps, status, previous->isSizeCalculationComplete,
                                                 quint64(apps.size()));
}

void KSTSystemInfo::refreshCachedAppInventoryAfterMetadataUpdate(
    const QList<KSTInstalledAppRecord> &apps, const QString &statusText,
    bool isSizeCalculationComplete, quint64 scannedCount)
{
    Lock lock(m_monitor);
    const AppInventorySnapshotPtr previous = m_appInventory.cached();
    if (!previous || !previous->isComplete)
        return;
    auto updated = std::make_shared<KSTAppInventorySnapshot>(
        KSTAppInventorySnapshot::inventorySnapshotWithApps(apps, scannedCount, quint64(apps.size()),
                                                           statusText, true));
    updated->isSizeCalculationComplete = isSizeCalculationComplete;
    const std::optional<QDateTime> previousDate = previous->scanDate;
    if (previousDate && previousDate->isValid())
        updated->scanDate = previousDate;
    m_appInventory.setCached(std::move(updated));
}

quint64 KSTSystemInfo::nextAppInventoryScanGeneration()
{
    return m_appInventory.start();
}

void KSTSystemInfo::cancelAppInventoryScan()
{
    m_appInventory.cancel();
}

bool KSTSystemInfo::isAppInventoryScanCancelled(quint64 generation) const
{
    return m_appInventory.isCancelled(generation);
}

void KSTSystemInfo::resumeAppInventorySizeCalculationIfNeeded()
{
    std::function<void()> routine;
    {
        Lock lock(m_monitor);
        routine = m_appInventorySizeResumeRoutine;
    }
    if (routine)
        routine();
}

quint64 KSTSystemInfo::appInventoryScanGeneration() const
{
    return m_appInventory.generation();
}

KSTSystemInfo::AppInventorySnapshotPtr KSTSystemInfo::cachedAppInventorySnapshot() const
{
    return m_appInventory.cached();
}

KSTSystemInfo::AppInventorySnapshotPtr KSTSystemInfo::cachedAppInventorySnapshotIfComplete() const
{
    return m_appInventory.cachedIf([](const KSTAppInventorySnapshot &snapshot, const QDateTime &) {
        return snapshot.isComplete;
    });
}

std::shared_ptr<const KSTRelatedPathScanIndex> KSTSystemInfo::cachedRelatedPathScanIndex() const
{
    Lock lock(m_monitor);
    return m_cachedRelatedPathScanIndex;
}

void KSTSystemInfo::setCachedRelatedPathScanIndex(
    std::shared_ptr<const KSTRelatedPathScanIndex> index)
{
    Lock lock(m_monitor);
    m_cachedRelatedPathScanIndex = std::move(index);
}
