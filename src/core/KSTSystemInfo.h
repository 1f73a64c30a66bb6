#pragma once

#include "KSTDispatchGroup.h"
#include "KSTDispatchQueue.h"
#include "KSTScanSlot.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <memory>
#include <mutex>

// Each engine's records live in its own folder; the frame only holds and delivers them.
struct KSTAppInventorySnapshot;
struct KSTCleanUpSnapshot;
struct KSTDuplicateSnapshot;
struct KSTInstalledAppRecord;
struct KSTRelatedPathScanIndex;
struct KSTReporterSnapshot;
struct KSTSystemSnapshot;

/// The scanning service behind the Overview, Clean Up, Duplicates, App Manage and Reporter
/// screens.
///
/// This class is the frame: per-engine serial queues and one KSTScanSlot per engine
/// (generation counter, cached result, installed routine, and the shared fetch state machine:
/// a cached result at once, else a placeholder first and the complete result later, on a
/// stated queue). The engines plug in the routines that build a snapshot for a generation
/// (set*Builder / set*Routine); the frame holds no scanning logic. Each engine's operations
/// below are thin wrappers of its slot, defined in that engine's folder
/// (src/<engine>/KSTSystemInfo<Engine>.cpp), so the frame includes none of their records.
///
/// Generation rule: starting a scan or cancelling it increments the engine's generation; a
/// build routine receives the generation G it runs for and checks is…Cancelled(G) between
/// steps; a routine whose G is stale stops quietly and nothing more is delivered for it.
///
/// Thread safety: every operation may be called from any thread. One lock (the object's
/// monitor, recursive) guards every cache and every compound step on a generation; it is
/// never held while a build routine or a completion runs. Asking whether a generation is
/// cancelled takes no lock.
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
    template <typename Snapshot> using GenerationBuilder = typename KSTScanSlot<Snapshot>::Builder;
    /// Runs the inventory scan for G on the inventory queue, reporting through the handlers,
    /// which it calls there: the frame delivers them on the main queue while G is current.
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
    /// Builds the Reporter's placeholder, shown while the report is built; without one it is
    /// an empty snapshot.
    void setReporterPartialSnapshotBuilder(
        std::function<std::shared_ptr<KSTReporterSnapshot>()> builder);
    void setAppInventoryScanRoutine(AppInventoryScanRoutine routine);
    void setAppInventorySizeResumeRoutine(std::function<void()> routine);
    void setDuplicateSnapshotBuilder(DuplicateSnapshotBuilder builder);
    void setDuplicateScanRoutine(DuplicateScanRoutine routine);

    // ---- Overview (src/overview/KSTSystemInfoOverview.cpp) ----

    /// Delivers the cached snapshot (main queue) when there is one; otherwise fetches on the
    /// utility pool inside granted home-folder access, caches the result and delivers it on
    /// the main queue unless cancelled meanwhile. A null completion does nothing.
    void fetchSnapshotAsync(SystemSnapshotCompletion completion);
    /// The installed overview builder, run synchronously; nullptr when none is installed.
    std::shared_ptr<KSTSystemSnapshot> fetchSnapshot();
    void cancelOverviewSnapshotFetch();
    /// Increments the generation and clears the cache in one step, so that a fetch in flight
    /// neither stores nor delivers.
    void invalidateOverviewCache();
    /// The cached snapshot; it stays valid until invalidateOverviewCache().
    SystemSnapshotPtr cachedOverviewSnapshotIfAvailable();
    quint64 overviewFetchGeneration() const;

    // ---- Reporter (src/reporter/KSTSystemInfoReporter.cpp; completions run on
    // reporterQueue, not on the main queue) ----

    /// A snapshot cached less than 600 seconds ago is delivered (on reporterQueue); otherwise
    /// the placeholder is delivered at once with isPartial, then the full snapshot unless
    /// cancelled. A null completion does nothing.
    void fetchReporterSnapshotAsync(ReporterSnapshotCompletion completion);
    void cancelReporterScan();
    /// Whether a report for @p generation should stop: a newer fetch or a cancel came since.
    bool isReporterScanCancelled(quint64 generation) const;
    quint64 reporterScanGeneration() const;
    static constexpr qint64 ReporterCacheLifetimeSeconds = 600;
    ReporterSnapshotPtr cachedReporterSnapshot() const;
    void setCachedReporterSnapshot(ReporterSnapshotPtr snapshot);
    QDateTime cachedReporterSnapshotDate() const;
    void setCachedReporterSnapshotDate(QDateTime date);

    // ---- Clean Up (src/cleanup/KSTSystemInfoCleanUp.cpp) ----

    /// A cached complete snapshot is delivered (main queue); otherwise the placeholder is
    /// delivered first, then the full snapshot from cleanUpQueue unless cancelled.
    void fetchCleanUpSnapshotAsync(CleanUpSnapshotCompletion completion);
    /// The build routine for @p generation, synchronously.
    std::shared_ptr<KSTCleanUpSnapshot> fetchCleanUpSnapshotWithGeneration(quint64 generation);
    /// Scan date now, isPartial, zero totals, four "Scanning…" placeholder categories.
    static std::shared_ptr<KSTCleanUpSnapshot> fetchCleanUpSnapshotPartial();
    void cancelCleanUpScan();
    bool isCleanUpScanCancelled(quint64 generation) const;
    /// Increments the generation and clears snapshot and date together.
    void invalidateCleanUpCache();
    /// The cached snapshot only when it is complete (not partial).
    CleanUpSnapshotPtr cachedCleanUpSnapshotIfComplete();
    quint64 cleanUpScanGeneration() const;
    CleanUpSnapshotPtr cachedCleanUpSnapshot() const;
    void setCachedCleanUpSnapshot(CleanUpSnapshotPtr snapshot);
    QDateTime cachedCleanUpSnapshotDate() const;

    // ---- App Manage (src/apps/KSTSystemInfoAppInventory.cpp) ----

    /// Delivers a cached complete inventory (progress, then completion, main queue), or hands
    /// a "Discovering applications…" snapshot to @p progress and runs the installed scan
    /// routine on the inventory queue. A null completion does nothing; progress may be null.
    void scanInstalledApplicationsWithProgress(AppInventorySnapshotHandler progress,
                                               AppInventorySnapshotHandler completion);
    /// Clears the inventory, the bundle paths and the related-path index, leaving the generation
    /// unchanged: a scan in flight goes on and may store its result.
    void invalidateAppInventoryCache();
    void storeCachedAppInventorySnapshot(AppInventorySnapshotPtr snapshot);
    /// Replaces a complete cached inventory with one of @p apps ("Scan complete", sizes
    /// complete, every app scanned), keeping its scan date; does nothing when the cache is not
    /// complete.
    void updateCachedAppInventoryWithApps(const QList<KSTInstalledAppRecord> &apps);
    /// The same keeping the cached status text ("Scan complete" when it has none) and size
    /// flag.
    void refreshCachedAppInventoryAfterMetadataUpdate(const QList<KSTInstalledAppRecord> &apps);
    /// In one locked step, only when the cached inventory exists and is complete: replaces it
    /// with a complete snapshot of @p apps (total = their count) with these status, size flag
    /// and scanned count, keeping its scan date (now when it had none).
    void refreshCachedAppInventoryAfterMetadataUpdate(const QList<KSTInstalledAppRecord> &apps,
                                                      const QString &statusText,
                                                      bool isSizeCalculationComplete,
                                                      quint64 scannedCount);
    /// Increments the App Manage generation and returns the new value in one locked step: a
    /// pass started this way cancels every older one.
    quint64 nextAppInventoryScanGeneration();
    void cancelAppInventoryScan();
    bool isAppInventoryScanCancelled(quint64 generation) const;
    void resumeAppInventorySizeCalculationIfNeeded();
    quint64 appInventoryScanGeneration() const;
    AppInventorySnapshotPtr cachedAppInventorySnapshot() const;
    AppInventorySnapshotPtr cachedAppInventorySnapshotIfComplete() const;
    /// The application bundles the last search found (the Overview's count, App Manage's list).
    QStringList cachedApplicationBundlePaths() const;
    void setCachedApplicationBundlePaths(QStringList paths);
    /// App Manage's index of the places related files are looked for, kept with the inventory.
    std::shared_ptr<const KSTRelatedPathScanIndex> cachedRelatedPathScanIndex() const;
    void setCachedRelatedPathScanIndex(std::shared_ptr<const KSTRelatedPathScanIndex> index);

    // ---- Duplicates (src/duplicates/KSTSystemInfoDuplicates.cpp) ----

    /// Takes G, hands a "Preparing scan…" snapshot (progress 0.01) to @p progress on the main
    /// queue and runs the installed scan routine on duplicateQueue.
    void scanDuplicatesInPaths(const QStringList &paths, DuplicateSnapshotHandler progress,
                               DuplicateSnapshotHandler completion);
    std::shared_ptr<KSTDuplicateSnapshot> buildDuplicateSnapshotFromPaths(const QStringList &paths,
                                                                          quint64 generation,
                                                                          const QString &status);
    void cancelDuplicateScan();
    bool isDuplicateScanCancelled(quint64 generation) const;
    quint64 duplicateScanGeneration() const;

    /// Runs @p block on the main queue, unless this instance has been destroyed by then. For
    /// routines that deliver their own results (the Duplicates scan routine).
    void onMain(std::function<void()> block);

private:
    using Lock = std::lock_guard<std::recursive_mutex>;

    // Runs @p block on a global pool; the destructor waits for such blocks to end.
    void onGlobalPool(KSTQualityOfService quality, std::function<void()> block);

    mutable std::recursive_mutex m_monitor;

    std::unique_ptr<KSTDispatchQueue> m_reporterQueue;
    std::unique_ptr<KSTDispatchQueue> m_cleanUpQueue;
    std::unique_ptr<KSTDispatchQueue> m_duplicateQueue;
    std::unique_ptr<KSTDispatchQueue> m_appInventoryQueue;
    std::array<std::unique_ptr<KSTDispatchQueue>, 4> m_duplicateHashWorkers;

    KSTScanSlot<KSTSystemSnapshot> m_overview{m_monitor};
    KSTScanSlot<KSTReporterSnapshot> m_reporter{m_monitor};
    KSTScanSlot<KSTCleanUpSnapshot> m_cleanUp{m_monitor};
    KSTScanSlot<KSTAppInventorySnapshot> m_appInventory{m_monitor};
    KSTScanSlot<KSTDuplicateSnapshot> m_duplicates{m_monitor};

    // Routines that do not fit a slot's builder; guarded by the monitor and copied out
    // before they run.
    AppInventoryScanRoutine m_appInventoryScanRoutine;
    std::function<std::shared_ptr<KSTReporterSnapshot>()> m_reporterPartialBuilder;
    std::function<void()> m_appInventorySizeResumeRoutine;
    QStringList m_cachedApplicationBundlePaths;
    std::shared_ptr<const KSTRelatedPathScanIndex> m_cachedRelatedPathScanIndex;
    DuplicateSnapshotBuilder m_duplicateSnapshotBuilder;
    DuplicateScanRoutine m_duplicateScanRoutine;

    // The context of this instance's main-queue hops: they are dropped once it is gone.
    std::unique_ptr<QObject> m_context;
    std::unique_ptr<KSTDispatchGroup> m_poolWork;
};
