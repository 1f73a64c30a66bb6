#include "KSTSystemInfo.h"

#include "KSTDispatch.h"

KSTSystemInfo &KSTSystemInfo::shared()
{
    // Never destroyed: scans may still be running on its queues when the process exits.
    static KSTSystemInfo *const instance = new KSTSystemInfo;
    return *instance;
}

KSTSystemInfo::KSTSystemInfo() : m_poolWork(std::make_unique<KSTDispatchGroup>())
{
    using Quality = KSTQualityOfService;
    m_reporterQueue = std::make_unique<KSTDispatchQueue>(QStringLiteral("com.kestrel.reporter"),
                                                         Quality::Utility);
    m_cleanUpQueue =
        std::make_unique<KSTDispatchQueue>(QStringLiteral("com.kestrel.cleanup"), Quality::Utility);
    m_duplicateQueue = std::make_unique<KSTDispatchQueue>(QStringLiteral("com.kestrel.duplicates"),
                                                          Quality::Utility);
    m_appInventoryQueue = std::make_unique<KSTDispatchQueue>(
        QStringLiteral("com.kestrel.appinventory"), Quality::Utility);
    for (int index = 0; index < 4; ++index) {
        m_duplicateHashWorkers[index] = std::make_unique<KSTDispatchQueue>(
            QString::asprintf("com.kestrel.duplicates.hash.%d", index), Quality::Utility);
    }
}

KSTSystemInfo::~KSTSystemInfo()
{
    // Queued blocks read the caches and routines below: finish them while those still exist.
    m_poolWork->wait();
    m_reporterQueue.reset();
    m_cleanUpQueue.reset();
    m_duplicateQueue.reset();
    m_appInventoryQueue.reset();
    for (auto &worker : m_duplicateHashWorkers)
        worker.reset();
    m_alive.reset();
}

KSTDispatchQueue &KSTSystemInfo::duplicateHashWorkerQueueForIndex(qint32 index)
{
    return *m_duplicateHashWorkers[static_cast<quint32>(index) & 3u];
}

void KSTSystemInfo::onMain(std::function<void()> block)
{
    std::weak_ptr<char> alive = m_alive;
    KSTDispatch::mainAsync([alive = std::move(alive), block = std::move(block)] {
        if (alive.lock())
            block();
    });
}

void KSTSystemInfo::onGlobalPool(KSTQualityOfService quality, std::function<void()> block)
{
    m_poolWork->async(quality, std::move(block));
}

// ---- Routine installation ----

void KSTSystemInfo::setOverviewSnapshotBuilder(SystemSnapshotBuilder builder)
{
    Lock lock(m_monitor);
    m_overviewBuilder = std::move(builder);
}

void KSTSystemInfo::setCleanUpSnapshotBuilder(GenerationBuilder<KSTCleanUpSnapshot> builder)
{
    Lock lock(m_monitor);
    m_cleanUpBuilder = std::move(builder);
}

void KSTSystemInfo::setReporterSnapshotBuilder(GenerationBuilder<KSTReporterSnapshot> builder)
{
    Lock lock(m_monitor);
    m_reporterBuilder = std::move(builder);
}

void KSTSystemInfo::setReporterPartialSnapshotBuilder(
    std::function<std::shared_ptr<KSTReporterSnapshot>()> builder)
{
    Lock lock(m_monitor);
    m_reporterPartialBuilder = std::move(builder);
}

void KSTSystemInfo::setAppInventoryScanRoutine(AppInventoryScanRoutine routine)
{
    Lock lock(m_monitor);
    m_appInventoryScanRoutine = std::move(routine);
}

void KSTSystemInfo::setAppInventorySizeResumeRoutine(std::function<void()> routine)
{
    Lock lock(m_monitor);
    m_appInventorySizeResumeRoutine = std::move(routine);
}

void KSTSystemInfo::setDuplicateSnapshotBuilder(DuplicateSnapshotBuilder builder)
{
    Lock lock(m_monitor);
    m_duplicateSnapshotBuilder = std::move(builder);
}

void KSTSystemInfo::setDuplicateScanRoutine(DuplicateScanRoutine routine)
{
    Lock lock(m_monitor);
    m_duplicateScanRoutine = std::move(routine);
}

// ---- Properties ----

// A comma inside a macro argument would split it.
using CpuTotals = std::array<quint32, 4>;

#define KST_LOCKED_PROPERTY(Type, getter, setter, member)                                          \
    Type KSTSystemInfo::getter() const                                                             \
    {                                                                                              \
        Lock lock(m_monitor);                                                                      \
        return member;                                                                             \
    }                                                                                              \
    void KSTSystemInfo::setter(Type value)                                                         \
    {                                                                                              \
        Lock lock(m_monitor);                                                                      \
        member = std::move(value);                                                                 \
    }

KST_LOCKED_PROPERTY(quint64, overviewFetchGeneration, setOverviewFetchGeneration,
                    m_overviewFetchGeneration)
KST_LOCKED_PROPERTY(KSTSystemInfo::SystemSnapshotPtr, cachedOverviewSnapshot,
                    setCachedOverviewSnapshot, m_cachedOverviewSnapshot)
KST_LOCKED_PROPERTY(quint64, reporterScanGeneration, setReporterScanGeneration,
                    m_reporterScanGeneration)
KST_LOCKED_PROPERTY(KSTSystemInfo::ReporterSnapshotPtr, cachedReporterSnapshot,
                    setCachedReporterSnapshot, m_cachedReporterSnapshot)
KST_LOCKED_PROPERTY(quint64, cleanUpScanGeneration, setCleanUpScanGeneration,
                    m_cleanUpScanGeneration)
KST_LOCKED_PROPERTY(KSTSystemInfo::CleanUpSnapshotPtr, cachedCleanUpSnapshot,
                    setCachedCleanUpSnapshot, m_cachedCleanUpSnapshot)
KST_LOCKED_PROPERTY(quint64, appInventoryScanGeneration, setAppInventoryScanGeneration,
                    m_appInventoryScanGeneration)
KST_LOCKED_PROPERTY(KSTSystemInfo::AppInventorySnapshotPtr, cachedAppInventorySnapshot,
                    setCachedAppInventorySnapshot, m_cachedAppInventorySnapshot)
KST_LOCKED_PROPERTY(std::shared_ptr<const KSTRelatedPathScanIndex>, cachedRelatedPathScanIndex,
                    setCachedRelatedPathScanIndex, m_cachedRelatedPathScanIndex)
KST_LOCKED_PROPERTY(bool, hasCPUBaseline, setHasCPUBaseline, m_hasCPUBaseline)
KST_LOCKED_PROPERTY(bool, hasNetworkBaseline, setHasNetworkBaseline, m_hasNetworkBaseline)
KST_LOCKED_PROPERTY(quint64, previousNetworkInputBytes, setPreviousNetworkInputBytes,
                    m_previousNetworkInputBytes)
KST_LOCKED_PROPERTY(quint64, previousNetworkOutputBytes, setPreviousNetworkOutputBytes,
                    m_previousNetworkOutputBytes)
KST_LOCKED_PROPERTY(double, previousNetworkSampleTime, setPreviousNetworkSampleTime,
                    m_previousNetworkSampleTime)
KST_LOCKED_PROPERTY(QDateTime, cachedReporterSnapshotDate, setCachedReporterSnapshotDate,
                    m_cachedReporterSnapshotDate)
KST_LOCKED_PROPERTY(QDateTime, cachedCleanUpSnapshotDate, setCachedCleanUpSnapshotDate,
                    m_cachedCleanUpSnapshotDate)
KST_LOCKED_PROPERTY(QStringList, cachedApplicationBundlePaths, setCachedApplicationBundlePaths,
                    m_cachedApplicationBundlePaths)
KST_LOCKED_PROPERTY(CpuTotals, cpuLoadPreviousTotals, setCpuLoadPreviousTotals,
                    m_cpuLoadPreviousTotals)

#undef KST_LOCKED_PROPERTY

quint64 KSTSystemInfo::duplicateScanGeneration() const
{
    return m_duplicateScanGeneration.load();
}

void KSTSystemInfo::setDuplicateScanGeneration(quint64 generation)
{
    m_duplicateScanGeneration.store(generation);
}
