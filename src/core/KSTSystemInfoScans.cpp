// Start, cancel and cache rules of the five engines. Every stage re-checks the generation
// it started with; a stale stage stops quietly. Checks that must not race an invalidation
// (store-if-current) happen in the same locked step as the store.
#include "KSTSystemInfo.h"

#include "KSTPermissionChecker.h"

namespace {

bool isStale(quint64 current, quint64 generation)
{
    return current != generation;
}

} // namespace

// ---- Overview ----

void KSTSystemInfo::fetchSnapshotAsync(SystemSnapshotCompletion completion)
{
    if (!completion)
        return;
    if (SystemSnapshotPtr cached = cachedOverviewSnapshotIfAvailable()) {
        onMain([completion = std::move(completion), cached] { completion(cached); });
        return;
    }
    quint64 generation = 0;
    {
        Lock lock(m_monitor);
        generation = ++m_overviewFetchGeneration;
    }
    onGlobalPool(KSTQualityOfService::Utility,
                 [this, generation, completion = std::move(completion)] {
                     runOverviewFetch(generation, completion);
                 });
}

void KSTSystemInfo::runOverviewFetch(quint64 generation, const SystemSnapshotCompletion &completion)
{
    if (isOverviewFetchCancelled(generation))
        return;
    std::shared_ptr<KSTSystemSnapshot> result;
    KSTPermissionChecker::performWithGrantedHomeFolderAccess([&] {
        if (!isOverviewFetchCancelled(generation))
            result = fetchSnapshot();
    });
    if (!result)
        return;
    SystemSnapshotPtr snapshot = std::move(result);
    {
        Lock lock(m_monitor);
        if (isStale(m_overviewFetchGeneration, generation))
            return;
        m_cachedOverviewSnapshot = snapshot;
    }
    onMain([this, generation, completion, snapshot] {
        if (!isOverviewFetchCancelled(generation))
            completion(snapshot);
    });
}

std::shared_ptr<KSTSystemSnapshot> KSTSystemInfo::fetchSnapshot()
{
    SystemSnapshotBuilder builder;
    {
        Lock lock(m_monitor);
        builder = m_overviewBuilder;
    }
    return builder ? builder() : nullptr;
}

void KSTSystemInfo::cancelOverviewSnapshotFetch()
{
    Lock lock(m_monitor);
    ++m_overviewFetchGeneration;
}

bool KSTSystemInfo::isOverviewFetchCancelled(quint64 generation)
{
    Lock lock(m_monitor);
    return isStale(m_overviewFetchGeneration, generation);
}

void KSTSystemInfo::invalidateOverviewCache()
{
    Lock lock(m_monitor);
    ++m_overviewFetchGeneration;
    m_cachedOverviewSnapshot.reset();
}

KSTSystemInfo::SystemSnapshotPtr KSTSystemInfo::cachedOverviewSnapshotIfAvailable()
{
    Lock lock(m_monitor);
    return m_cachedOverviewSnapshot;
}

// ---- Reporter ----

void KSTSystemInfo::fetchReporterSnapshotAsync(ReporterSnapshotCompletion completion)
{
    if (!completion)
        return;
    ReporterSnapshotPtr cached;
    quint64 generation = 0;
    {
        Lock lock(m_monitor);
        const bool fresh = m_cachedReporterSnapshot && m_cachedReporterSnapshotDate.isValid() &&
                           m_cachedReporterSnapshotDate.msecsTo(QDateTime::currentDateTimeUtc()) <
                               ReporterCacheLifetimeSeconds * 1000;
        if (fresh)
            cached = m_cachedReporterSnapshot;
        else
            generation = ++m_reporterScanGeneration;
    }
    if (cached) {
        m_reporterQueue->async(
            [completion = std::move(completion), cached] { completion(cached); });
        return;
    }
    m_reporterQueue->async([this, generation, completion = std::move(completion)] {
        runReporterScan(generation, completion);
    });
}

void KSTSystemInfo::runReporterScan(quint64 generation,
                                    const ReporterSnapshotCompletion &completion)
{
    // The placeholder goes out even when the scan was cancelled meanwhile: the screen shows
    // it at once and the caller moves it to the main queue itself.
    std::shared_ptr<KSTReporterSnapshot> placeholder = fetchReporterSnapshotPartial();
    placeholder->isPartial = true;
    completion(placeholder);

    if (isReporterScanCancelled(generation))
        return;
    std::shared_ptr<KSTReporterSnapshot> result = fetchReporterSnapshotWithGeneration(generation);
    if (!result)
        return;
    result->isPartial = false;
    ReporterSnapshotPtr snapshot = std::move(result);
    {
        Lock lock(m_monitor);
        if (isStale(m_reporterScanGeneration, generation))
            return;
        m_cachedReporterSnapshot = snapshot;
        m_cachedReporterSnapshotDate = QDateTime::currentDateTimeUtc();
    }
    if (!isReporterScanCancelled(generation))
        completion(snapshot);
}

std::shared_ptr<KSTReporterSnapshot> KSTSystemInfo::fetchReporterSnapshot()
{
    return fetchReporterSnapshotWithGeneration(reporterScanGeneration());
}

std::shared_ptr<KSTReporterSnapshot>
KSTSystemInfo::fetchReporterSnapshotWithGeneration(quint64 generation)
{
    GenerationBuilder<KSTReporterSnapshot> builder;
    {
        Lock lock(m_monitor);
        builder = m_reporterBuilder;
    }
    return builder ? builder(generation) : nullptr;
}

std::shared_ptr<KSTReporterSnapshot> KSTSystemInfo::fetchReporterSnapshotPartial()
{
    std::function<std::shared_ptr<KSTReporterSnapshot>()> builder;
    {
        Lock lock(m_monitor);
        builder = m_reporterPartialBuilder;
    }
    std::shared_ptr<KSTReporterSnapshot> snapshot = builder ? builder() : nullptr;
    if (!snapshot)
        snapshot = std::make_shared<KSTReporterSnapshot>();
    snapshot->isPartial = true;
    return snapshot;
}

void KSTSystemInfo::cancelReporterScan()
{
    Lock lock(m_monitor);
    ++m_reporterScanGeneration;
}

bool KSTSystemInfo::isReporterScanCancelled(quint64 generation)
{
    Lock lock(m_monitor);
    return isStale(m_reporterScanGeneration, generation);
}

// ---- Clean Up ----

void KSTSystemInfo::fetchCleanUpSnapshotAsync(CleanUpSnapshotCompletion completion)
{
    if (!completion)
        return;
    if (KSTPermissionChecker::isRunningSandboxed())
        KSTPermissionChecker::restoreStoredHomeFolderAccess();

    CleanUpSnapshotPtr cached;
    quint64 generation = 0;
    {
        Lock lock(m_monitor);
        if (m_cachedCleanUpSnapshot && !m_cachedCleanUpSnapshot->isPartial)
            cached = m_cachedCleanUpSnapshot;
        else
            generation = ++m_cleanUpScanGeneration;
    }
    if (cached) {
        onMain([completion = std::move(completion), cached] { completion(cached); });
        return;
    }
    CleanUpSnapshotPtr placeholder = fetchCleanUpSnapshotPartial();
    onMain([completion, placeholder] { completion(placeholder); });
    m_cleanUpQueue->async([this, generation, completion = std::move(completion)] {
        runCleanUpScan(generation, completion);
    });
}

void KSTSystemInfo::runCleanUpScan(quint64 generation, const CleanUpSnapshotCompletion &completion)
{
    if (isCleanUpScanCancelled(generation))
        return;
    // Without the home grant a sandboxed scan would find nothing; the placeholder stays and
    // the screen asks for access.
    if (KSTPermissionChecker::isRunningSandboxed() && !KSTPermissionChecker::hasHomeFolderAccess())
        return;
    std::shared_ptr<KSTCleanUpSnapshot> result;
    KSTPermissionChecker::performWithGrantedHomeFolderAccess([&] {
        if (!isCleanUpScanCancelled(generation))
            result = fetchCleanUpSnapshotWithGeneration(generation);
    });
    if (!result)
        return;
    result->isPartial = false;
    CleanUpSnapshotPtr snapshot = std::move(result);
    {
        Lock lock(m_monitor);
        if (isStale(m_cleanUpScanGeneration, generation))
            return;
        m_cachedCleanUpSnapshot = snapshot;
        m_cachedCleanUpSnapshotDate = QDateTime::currentDateTimeUtc();
    }
    onMain([this, generation, completion, snapshot] {
        if (!isCleanUpScanCancelled(generation))
            completion(snapshot);
    });
}

std::shared_ptr<KSTCleanUpSnapshot> KSTSystemInfo::fetchCleanUpSnapshot()
{
    return fetchCleanUpSnapshotWithGeneration(cleanUpScanGeneration());
}

std::shared_ptr<KSTCleanUpSnapshot>
KSTSystemInfo::fetchCleanUpSnapshotWithGeneration(quint64 generation)
{
    GenerationBuilder<KSTCleanUpSnapshot> builder;
    {
        Lock lock(m_monitor);
        builder = m_cleanUpBuilder;
    }
    return builder ? builder(generation) : nullptr;
}

std::shared_ptr<KSTCleanUpSnapshot> KSTSystemInfo::fetchCleanUpSnapshotPartial()
{
    auto snapshot = std::make_shared<KSTCleanUpSnapshot>();
    snapshot->scanDate = QDateTime::currentDateTimeUtc();
    snapshot->isPartial = true;
    snapshot->categories = {
        placeholderCategory(QStringLiteral("systemJunk"), QStringLiteral("System Junks")),
        placeholderCategory(QStringLiteral("trashes"), QStringLiteral("Trashes")),
        placeholderCategory(QStringLiteral("largeFiles"), QStringLiteral("Large Files")),
        placeholderCategory(QStringLiteral("removable"), QStringLiteral("Removable Data")),
    };
    return snapshot;
}

KSTCleanUpCategory KSTSystemInfo::placeholderCategory(const QString &categoryType,
                                                      const QString &name)
{
    KSTCleanUpCategory category;
    category.categoryType = categoryType;
    category.name = name;
    category.categoryDescription = QStringLiteral("Scanning…");
    KSTCleanUpItem item;
    item.name = QStringLiteral("Scanning in background…");
    category.items = {item};
    return category;
}

void KSTSystemInfo::cancelCleanUpScan()
{
    Lock lock(m_monitor);
    ++m_cleanUpScanGeneration;
}

bool KSTSystemInfo::isCleanUpScanCancelled(quint64 generation)
{
    Lock lock(m_monitor);
    return isStale(m_cleanUpScanGeneration, generation);
}

void KSTSystemInfo::invalidateCleanUpCache()
{
    Lock lock(m_monitor);
    ++m_cleanUpScanGeneration;
    m_cachedCleanUpSnapshot.reset();
    m_cachedCleanUpSnapshotDate = QDateTime();
}

KSTSystemInfo::CleanUpSnapshotPtr KSTSystemInfo::cachedCleanUpSnapshotIfComplete()
{
    Lock lock(m_monitor);
    if (m_cachedCleanUpSnapshot && !m_cachedCleanUpSnapshot->isPartial)
        return m_cachedCleanUpSnapshot;
    return nullptr;
}

// ---- App Manage ----

void KSTSystemInfo::scanInstalledApplicationsWithProgress(AppInventorySnapshotHandler progress,
                                                          AppInventorySnapshotHandler completion)
{
    if (!completion)
        return;
    if (AppInventorySnapshotPtr cached = cachedAppInventorySnapshotIfComplete()) {
        if (progress)
            onMain([progress, cached] { progress(cached); });
        onMain([this, completion = std::move(completion), cached] {
            completion(cached);
            if (!cached->isSizeCalculationComplete)
                resumeAppInventorySizeCalculationIfNeeded();
        });
        return;
    }

    quint64 generation = 0;
    AppInventoryScanRoutine routine;
    {
        Lock lock(m_monitor);
        generation = ++m_appInventoryScanGeneration;
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

void KSTSystemInfo::cancelAppInventoryScan()
{
    Lock lock(m_monitor);
    ++m_appInventoryScanGeneration;
}

bool KSTSystemInfo::isAppInventoryScanCancelled(quint64 generation)
{
    Lock lock(m_monitor);
    return isStale(m_appInventoryScanGeneration, generation);
}

void KSTSystemInfo::invalidateAppInventoryCache()
{
    Lock lock(m_monitor);
    m_cachedAppInventorySnapshot.reset();
    m_cachedApplicationBundlePaths.clear();
    m_cachedRelatedPathScanIndex.reset();
}

KSTSystemInfo::AppInventorySnapshotPtr KSTSystemInfo::cachedAppInventorySnapshotIfComplete()
{
    Lock lock(m_monitor);
    if (m_cachedAppInventorySnapshot && m_cachedAppInventorySnapshot->isComplete)
        return m_cachedAppInventorySnapshot;
    return nullptr;
}

void KSTSystemInfo::storeCachedAppInventorySnapshot(AppInventorySnapshotPtr snapshot)
{
    Lock lock(m_monitor);
    m_cachedAppInventorySnapshot = std::move(snapshot);
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
    if (!m_cachedAppInventorySnapshot || !m_cachedAppInventorySnapshot->isComplete)
        return;
    const QString status = m_cachedAppInventorySnapshot->statusText.isEmpty()
                               ? QStringLiteral("Scan complete")
                               : m_cachedAppInventorySnapshot->statusText;
    refreshCachedAppInventoryAfterMetadataUpdate(
        apps, status, m_cachedAppInventorySnapshot->isSizeCalculationComplete,
        quint64(apps.size()));
}

void KSTSystemInfo::refreshCachedAppInventoryAfterMetadataUpdate(
    const QList<KSTInstalledAppRecord> &apps, const QString &statusText,
    bool isSizeCalculationComplete, quint64 scannedCount)
{
    Lock lock(m_monitor);
    if (!m_cachedAppInventorySnapshot || !m_cachedAppInventorySnapshot->isComplete)
        return;
    auto updated = std::make_shared<KSTAppInventorySnapshot>(
        KSTAppInventorySnapshot::inventorySnapshotWithApps(apps, scannedCount, quint64(apps.size()),
                                                           statusText, true));
    updated->isSizeCalculationComplete = isSizeCalculationComplete;
    const std::optional<QDateTime> previousDate = m_cachedAppInventorySnapshot->scanDate;
    if (previousDate && previousDate->isValid())
        updated->scanDate = previousDate;
    m_cachedAppInventorySnapshot = std::move(updated);
}

quint64 KSTSystemInfo::nextAppInventoryScanGeneration()
{
    Lock lock(m_monitor);
    return ++m_appInventoryScanGeneration;
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

// ---- Duplicates ----

void KSTSystemInfo::scanDuplicatesInPaths(const QStringList &paths,
                                          DuplicateSnapshotHandler progress,
                                          DuplicateSnapshotHandler completion)
{
    if (!completion)
        return;
    const quint64 generation = m_duplicateScanGeneration.fetch_add(1) + 1;
    if (progress) {
        if (std::shared_ptr<KSTDuplicateSnapshot> first = buildDuplicateSnapshotFromPaths(
                paths, generation, QStringLiteral("Preparing scan…"))) {
            first->scanProgress = 0.01;
            onMain([progress, first = DuplicateSnapshotPtr(std::move(first))] { progress(first); });
        }
    }
    DuplicateScanRoutine routine;
    {
        Lock lock(m_monitor);
        routine = m_duplicateScanRoutine;
    }
    if (routine) {
        m_duplicateQueue->async([routine = std::move(routine), paths, generation, progress,
                                 completion = std::move(completion)] {
            routine(paths, generation, progress, completion);
        });
    }
}

std::shared_ptr<KSTDuplicateSnapshot>
KSTSystemInfo::buildDuplicateSnapshotFromPaths(const QStringList &paths, quint64 generation,
                                               const QString &status)
{
    DuplicateSnapshotBuilder builder;
    {
        Lock lock(m_monitor);
        builder = m_duplicateSnapshotBuilder;
    }
    return builder ? builder(paths, generation, status) : nullptr;
}

void KSTSystemInfo::cancelDuplicateScan()
{
    m_duplicateScanGeneration.fetch_add(1);
}

bool KSTSystemInfo::isDuplicateScanCancelled(quint64 generation) const
{
    return isStale(m_duplicateScanGeneration.load(), generation);
}
