#include "KSTSystemInfo.h"

#include "KSTDispatch.h"

KSTSystemInfo &KSTSystemInfo::shared()
{
    // Never destroyed: scans may still be running on its queues when the process exits.
    static KSTSystemInfo *const instance = new KSTSystemInfo;
    return *instance;
}

KSTSystemInfo::KSTSystemInfo()
    : m_context(std::make_unique<QObject>()), m_poolWork(std::make_unique<KSTDispatchGroup>())
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
    // Queued blocks read the slots and routines below: finish them while those still exist.
    m_poolWork->wait();
    m_reporterQueue.reset();
    m_cleanUpQueue.reset();
    m_duplicateQueue.reset();
    m_appInventoryQueue.reset();
    for (auto &worker : m_duplicateHashWorkers)
        worker.reset();
    m_context.reset();
}

KSTDispatchQueue &KSTSystemInfo::duplicateHashWorkerQueueForIndex(qint32 index)
{
    return *m_duplicateHashWorkers[static_cast<quint32>(index) & 3u];
}

void KSTSystemInfo::onMain(std::function<void()> block)
{
    KSTDispatch::mainAsync(m_context.get(), std::move(block));
}

void KSTSystemInfo::onGlobalPool(KSTQualityOfService quality, std::function<void()> block)
{
    m_poolWork->async(quality, std::move(block));
}

// ---- Routine installation ----

void KSTSystemInfo::setOverviewSnapshotBuilder(SystemSnapshotBuilder builder)
{
    // The Overview's build takes no generation: it is short and not cancelled midway.
    if (!builder) {
        m_overview.setBuilder({});
        return;
    }
    m_overview.setBuilder([builder = std::move(builder)](quint64) { return builder(); });
}

void KSTSystemInfo::setCleanUpSnapshotBuilder(GenerationBuilder<KSTCleanUpSnapshot> builder)
{
    m_cleanUp.setBuilder(std::move(builder));
}

void KSTSystemInfo::setReporterSnapshotBuilder(GenerationBuilder<KSTReporterSnapshot> builder)
{
    m_reporter.setBuilder(std::move(builder));
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

// ---- The bundle search's cache, shared by the Overview and App Manage ----

QStringList KSTSystemInfo::cachedApplicationBundlePaths() const
{
    Lock lock(m_monitor);
    return m_cachedApplicationBundlePaths;
}

void KSTSystemInfo::setCachedApplicationBundlePaths(QStringList paths)
{
    Lock lock(m_monitor);
    m_cachedApplicationBundlePaths = std::move(paths);
}
