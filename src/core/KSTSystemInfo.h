#pragma once

#include "KSTAppInventorySnapshot.h"
#include "KSTCleanUpSnapshot.h"
#include "KSTDispatchGroup.h"
#include "KSTDispatchQueue.h"
#include "KSTDuplicateSnapshot.h"
#include "KSTReporterSnapshot.h"
#include "KSTSystemSnapshot.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

/// The scanning service behind the Overview, Clean Up, Duplicates, App Manage and Reporter
/// screens, and the formatting of every size, rate, count, duration and date they show.
///
/// This class is the frame: per-engine serial queues, generation counters by which a scan is
/// cancelled or superseded, the cached results, and the rule by which results reach the
/// caller (a partial result first, then the complete one, on a stated queue). The engines
/// plug in the routines that build a snapshot for a generation (set*Builder / set*Routine);
/// the frame holds no scanning logic.
///
/// Generation rule: starting a scan or cancelling it increments the engine's generation; a
/// build routine receives the generation G it runs for and checks is…Cancelled(G) between
/// steps; a routine whose G is stale stops quietly and nothing more is delivered for it.
///
/// Thread safety: every operation may be called from any thread. One lock (the object's
/// monitor, recursive) guards all generations but the Duplicates one (an atomic) and all
/// caches; it is never held while a build routine or a completion runs.
class KSTSystemInfo
{
public:
    /// The program's one instance, made on first call; its queues are created with it.
    static KSTSystemInfo &shared();

    /// A separate instance with its own queues and caches; for tests. Destroying it waits
    /// for blocks already queued on its queues.
    KSTSystemInfo();
    ~KSTSystemInfo();
    KSTSystemInfo(const KSTSystemInfo &) = delete;
    KSTSystemInfo &operator=(const KSTSystemInfo &) = delete;

    // ---- Queues ----

    KSTDispatchQueue &reporterQueue() { return *m_reporterQueue; }
    KSTDispatchQueue &cleanUpQueue() { return *m_cleanUpQueue; }
    KSTDispatchQueue &duplicateQueue() { return *m_duplicateQueue; }
    KSTDispatchQueue &appInventoryQueue() { return *m_appInventoryQueue; }
    /// Hash worker index & 3: any integer maps onto one of the four workers.
    KSTDispatchQueue &duplicateHashWorkerQueueForIndex(qint32 index);

    // ---- Build routines, installed by the engines ----

    using SystemSnapshotPtr = std::shared_ptr<const KSTSystemSnapshot>;
    using CleanUpSnapshotPtr = std::shared_ptr<const KSTCleanUpSnapshot>;
    using ReporterSnapshotPtr = std::shared_ptr<const KSTReporterSnapshot>;
    using AppInventorySnapshotPtr = std::shared_ptr<const KSTAppInventorySnapshot>;
    using DuplicateSnapshotPtr = std::shared_ptr<const KSTDuplicateSnapshot>;

    using SystemSnapshotCompletion = std::function<void(SystemSnapshotPtr)>;
    using CleanUpSnapshotCompletion = std::function<void(CleanUpSnapshotPtr)>;
    using ReporterSnapshotCompletion = std::function<void(ReporterSnapshotPtr)>;
    using AppInventorySnapshotHandler = std::function<void(AppInventorySnapshotPtr)>;
    using DuplicateSnapshotHandler = std::function<void(DuplicateSnapshotPtr)>;

    /// Builds a complete overview snapshot (blocking).
    using SystemSnapshotBuilder = std::function<std::shared_ptr<KSTSystemSnapshot>()>;
    /// Builds a snapshot for generation G; nullptr when G was cancelled (or on failure).
    template <typename Snapshot>
    using GenerationBuilder = std::function<std::shared_ptr<Snapshot>(quint64 generation)>;
    /// Runs the inventory scan for G on appInventoryQueue, reporting through the handlers
    /// (which the routine calls on the main queue).
    using AppInventoryScanRoutine =
        std::function<void(quint64 generation, AppInventorySnapshotHandler progress,
                           AppInventorySnapshotHandler completion)>;
    /// Builds a duplicate snapshot of @p paths for G with a status text.
    using DuplicateSnapshotBuilder = std::function<std::shared_ptr<KSTDuplicateSnapshot>(
        const QStringList &paths, quint64 generation, const QString &status)>;
    /// Runs the duplicate scan for G on duplicateQueue.
    using DuplicateScanRoutine =
        std::function<void(const QStringList &paths, quint64 generation,
                           DuplicateSnapshotHandler progress, DuplicateSnapshotHandler completion)>;

    void setOverviewSnapshotBuilder(SystemSnapshotBuilder builder);
    void setCleanUpSnapshotBuilder(GenerationBuilder<KSTCleanUpSnapshot> builder);
    void setReporterSnapshotBuilder(GenerationBuilder<KSTReporterSnapshot> builder);
    void setReporterPartialSnapshotBuilder(
        std::function<std::shared_ptr<KSTReporterSnapshot>()> builder);
    void setAppInventoryScanRoutine(AppInventoryScanRoutine routine);
    void setAppInventorySizeResumeRoutine(std::function<void()> routine);
    void setDuplicateSnapshotBuilder(DuplicateSnapshotBuilder builder);
    void setDuplicateScanRoutine(DuplicateScanRoutine routine);

    // ---- Overview ----

    /// Delivers the cached snapshot (main queue) when there is one; otherwise fetches on the
    /// utility pool inside granted home-folder access, caches the result and delivers it on
    /// the main queue unless cancelled meanwhile. A null completion does nothing.
    void fetchSnapshotAsync(SystemSnapshotCompletion completion);
    /// The installed overview builder, run synchronously; nullptr when none is installed.
    std::shared_ptr<KSTSystemSnapshot> fetchSnapshot();
    void cancelOverviewSnapshotFetch();
    bool isOverviewFetchCancelled(quint64 generation);
    /// Increments the generation and clears the cache in one step, so that a fetch in flight
    /// neither stores nor delivers.
    void invalidateOverviewCache();
    /// The cached snapshot; it stays valid until invalidateOverviewCache().
    SystemSnapshotPtr cachedOverviewSnapshotIfAvailable();

    // ---- Reporter (completions run on reporterQueue, not on the main queue) ----

    /// A snapshot cached less than 600 seconds ago is delivered (on reporterQueue); otherwise
    /// the placeholder is delivered at once with isPartial, then the full snapshot unless
    /// cancelled. A null completion does nothing.
    void fetchReporterSnapshotAsync(ReporterSnapshotCompletion completion);
    /// The build routine for the current generation, synchronously.
    std::shared_ptr<KSTReporterSnapshot> fetchReporterSnapshot();
    std::shared_ptr<KSTReporterSnapshot> fetchReporterSnapshotWithGeneration(quint64 generation);
    std::shared_ptr<KSTReporterSnapshot> fetchReporterSnapshotPartial();
    void cancelReporterScan();
    bool isReporterScanCancelled(quint64 generation);
    static constexpr qint64 ReporterCacheLifetimeSeconds = 600;

    // ---- Clean Up ----

    /// A cached complete snapshot is delivered (main queue); otherwise the placeholder is
    /// delivered first, then the full snapshot from cleanUpQueue unless cancelled.
    void fetchCleanUpSnapshotAsync(CleanUpSnapshotCompletion completion);
    /// The build routine for the current generation, synchronously.
    std::shared_ptr<KSTCleanUpSnapshot> fetchCleanUpSnapshot();
    std::shared_ptr<KSTCleanUpSnapshot> fetchCleanUpSnapshotWithGeneration(quint64 generation);
    /// Scan date now, isPartial, zero totals, four "Scanning…" placeholder categories.
    static std::shared_ptr<KSTCleanUpSnapshot> fetchCleanUpSnapshotPartial();
    static KSTCleanUpCategory placeholderCategory(const QString &categoryType, const QString &name);
    void cancelCleanUpScan();
    bool isCleanUpScanCancelled(quint64 generation);
    /// Increments the generation and clears snapshot and date together.
    void invalidateCleanUpCache();
    /// The cached snapshot only when it is complete (not partial).
    CleanUpSnapshotPtr cachedCleanUpSnapshotIfComplete();

    // ---- App Manage ----

    /// Delivers a cached complete inventory (progress, then completion, main queue), or hands
    /// a "Discovering applications…" snapshot to @p progress and runs the installed scan
    /// routine on appInventoryQueue. A null completion does nothing; progress may be null.
    void scanInstalledApplicationsWithProgress(AppInventorySnapshotHandler progress,
                                               AppInventorySnapshotHandler completion);
    void cancelAppInventoryScan();
    bool isAppInventoryScanCancelled(quint64 generation);
    /// Clears the inventory, the bundle paths and the related-path index, leaving the
    /// generation unchanged: a scan in flight goes on and may store its result.
    void invalidateAppInventoryCache();
    AppInventorySnapshotPtr cachedAppInventorySnapshotIfComplete();
    void storeCachedAppInventorySnapshot(AppInventorySnapshotPtr snapshot);
    /// Replaces a complete cached inventory with one of @p apps ("Scan complete"), keeping its
    /// scan date; does nothing when the cache is not complete.
    void updateCachedAppInventoryWithApps(const QList<KSTInstalledAppRecord> &apps);
    void resumeAppInventorySizeCalculationIfNeeded();

    // ---- Duplicates ----

    /// Takes G atomically, hands a "Preparing scan…" snapshot (progress 0.01) to @p progress on
    /// the main queue and runs the installed scan routine on duplicateQueue.
    void scanDuplicatesInPaths(const QStringList &paths, DuplicateSnapshotHandler progress,
                               DuplicateSnapshotHandler completion);
    std::shared_ptr<KSTDuplicateSnapshot> buildDuplicateSnapshotFromPaths(const QStringList &paths,
                                                                          quint64 generation,
                                                                          const QString &status);
    void cancelDuplicateScan();
    bool isDuplicateScanCancelled(quint64 generation) const;

    // ---- Properties (each read and written under the lock) ----

    quint64 overviewFetchGeneration() const;
    void setOverviewFetchGeneration(quint64 generation);
    SystemSnapshotPtr cachedOverviewSnapshot() const;
    void setCachedOverviewSnapshot(SystemSnapshotPtr snapshot);

    quint64 reporterScanGeneration() const;
    void setReporterScanGeneration(quint64 generation);
    ReporterSnapshotPtr cachedReporterSnapshot() const;
    void setCachedReporterSnapshot(ReporterSnapshotPtr snapshot);
    QDateTime cachedReporterSnapshotDate() const;
    void setCachedReporterSnapshotDate(QDateTime date);

    quint64 cleanUpScanGeneration() const;
    void setCleanUpScanGeneration(quint64 generation);
    CleanUpSnapshotPtr cachedCleanUpSnapshot() const;
    void setCachedCleanUpSnapshot(CleanUpSnapshotPtr snapshot);
    QDateTime cachedCleanUpSnapshotDate() const;
    void setCachedCleanUpSnapshotDate(QDateTime date);

    quint64 appInventoryScanGeneration() const;
    void setAppInventoryScanGeneration(quint64 generation);
    AppInventorySnapshotPtr cachedAppInventorySnapshot() const;
    void setCachedAppInventorySnapshot(AppInventorySnapshotPtr snapshot);
    QStringList cachedApplicationBundlePaths() const;
    void setCachedApplicationBundlePaths(QStringList paths);
    std::shared_ptr<const KSTRelatedPathScanIndex> cachedRelatedPathScanIndex() const;
    void setCachedRelatedPathScanIndex(std::shared_ptr<const KSTRelatedPathScanIndex> index);

    quint64 duplicateScanGeneration() const;
    void setDuplicateScanGeneration(quint64 generation);

    // ---- Live-sampling state of the Overview (under the lock) ----

    std::array<quint32, 4> cpuLoadPreviousTotals() const;
    void setCpuLoadPreviousTotals(std::array<quint32, 4> totals);
    bool hasCPUBaseline() const;
    void setHasCPUBaseline(bool has);
    bool hasNetworkBaseline() const;
    void setHasNetworkBaseline(bool has);
    quint64 previousNetworkInputBytes() const;
    void setPreviousNetworkInputBytes(quint64 bytes);
    quint64 previousNetworkOutputBytes() const;
    void setPreviousNetworkOutputBytes(quint64 bytes);
    double previousNetworkSampleTime() const;
    void setPreviousNetworkSampleTime(double seconds);

    /// Runs @p block on the main queue, unless this instance has been destroyed by then. For
    /// routines that deliver their own results (the Duplicates scan routine).
    void onMain(std::function<void()> block);

private:
    using Lock = std::lock_guard<std::recursive_mutex>;

    // Runs @p block on a global pool; the destructor waits for such blocks to end.
    void onGlobalPool(KSTQualityOfService quality, std::function<void()> block);
    void runOverviewFetch(quint64 generation, const SystemSnapshotCompletion &completion);
    void runCleanUpScan(quint64 generation, const CleanUpSnapshotCompletion &completion);
    void runReporterScan(quint64 generation, const ReporterSnapshotCompletion &completion);

    mutable std::recursive_mutex m_monitor;

    std::array<quint32, 4> m_cpuLoadPreviousTotals{};
    std::atomic<quint64> m_duplicateScanGeneration{0};
    std::array<std::unique_ptr<KSTDispatchQueue>, 4> m_duplicateHashWorkers;
    bool m_hasNetworkBaseline = false;
    bool m_hasCPUBaseline = false;
    quint64 m_previousNetworkInputBytes = 0;
    quint64 m_previousNetworkOutputBytes = 0;
    double m_previousNetworkSampleTime = 0;
    std::unique_ptr<KSTDispatchQueue> m_reporterQueue;
    quint64 m_reporterScanGeneration = 0;
    ReporterSnapshotPtr m_cachedReporterSnapshot;
    QDateTime m_cachedReporterSnapshotDate;
    quint64 m_overviewFetchGeneration = 0;
    SystemSnapshotPtr m_cachedOverviewSnapshot;
    std::unique_ptr<KSTDispatchQueue> m_cleanUpQueue;
    quint64 m_cleanUpScanGeneration = 0;
    CleanUpSnapshotPtr m_cachedCleanUpSnapshot;
    QDateTime m_cachedCleanUpSnapshotDate;
    std::unique_ptr<KSTDispatchQueue> m_duplicateQueue;
    std::unique_ptr<KSTDispatchQueue> m_appInventoryQueue;
    quint64 m_appInventoryScanGeneration = 0;
    AppInventorySnapshotPtr m_cachedAppInventorySnapshot;
    QStringList m_cachedApplicationBundlePaths;
    std::shared_ptr<const KSTRelatedPathScanIndex> m_cachedRelatedPathScanIndex;

    // Installed routines; guarded by the monitor and copied out before they run.
    SystemSnapshotBuilder m_overviewBuilder;
    GenerationBuilder<KSTCleanUpSnapshot> m_cleanUpBuilder;
    GenerationBuilder<KSTReporterSnapshot> m_reporterBuilder;
    std::function<std::shared_ptr<KSTReporterSnapshot>()> m_reporterPartialBuilder;
    AppInventoryScanRoutine m_appInventoryScanRoutine;
    std::function<void()> m_appInventorySizeResumeRoutine;
    DuplicateSnapshotBuilder m_duplicateSnapshotBuilder;
    DuplicateScanRoutine m_duplicateScanRoutine;

    // Main-queue blocks hold a weak reference and skip themselves once this is gone.
    std::shared_ptr<char> m_alive = std::make_shared<char>();
    std::unique_ptr<KSTDispatchGroup> m_poolWork;
};
