// App Manage's operations of the scan-service frame. The inventory routine delivers its own
// progress and result; the frame keeps the generation and the cache in the App Manage slot.
// Invalidating drops the cache but leaves the generation: a scan in flight still completes.
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
    if (routine) {
        m_appInventoryQueue->async(
            [routine = std::move(routine), generation, progress,
             completion = std::move(completion)] { routine(generation, progress, completion); });
    }
}

void KSTSystemInfo::invalidateAppInventoryCache()
{
    Lock lock(m_monitor);
    m_appInventory.setCached(nullptr);
    m_cachedApplicationBundlePaths.clear();
}

void KSTSystemInfo::storeCachedAppInventorySnapshot(AppInventorySnapshotPtr snapshot)
{
    m_appInventory.setCached(std::move(snapshot));
}

void KSTSystemInfo::updateCachedAppInventoryWithApps(const QList<KSTInstalledAppRecord> &apps)
{
    Lock lock(m_monitor);
    const AppInventorySnapshotPtr previous = m_appInventory.cached();
    if (!previous || !previous->isComplete)
        return;
    auto updated = std::make_shared<KSTAppInventorySnapshot>();
    updated->apps = apps;
    updated->scannedCount = apps.size();
    updated->totalCount = apps.size();
    updated->statusText = QStringLiteral("Scan complete");
    updated->isComplete = true;
    updated->isSizeCalculationComplete = true;
    updated->scanDate =
        previous->scanDate.isValid() ? previous->scanDate : QDateTime::currentDateTimeUtc();
    m_appInventory.setCached(std::move(updated));
}

quint64 KSTSystemInfo::appInventoryScanGeneration() const
{
    return m_appInventory.generation();
}

KSTSystemInfo::AppInventorySnapshotPtr KSTSystemInfo::cachedAppInventorySnapshot() const
{
    return m_appInventory.cached();
}
