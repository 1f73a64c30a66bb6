#pragma once

#include "KSTReportContext.h"
#include "KSTSystemReportSnapshot.h"

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

class KSTDispatchQueue;
class KSTSystemInfo;
struct KSTSystemSnapshot;

/// Gathers the System Report progressively: a placeholder at once, then six stages on the
/// serial queue "com.kestrel.systemreport" (instant figures, build number, startup items and
/// light tools, security, the weekly snapshot's network totals, app signatures), each
/// republishing the whole snapshot as a partial update, then the Reporter's weekly answers; the
/// final one adds the profiler's facts, full disk health and the boot metrics, and is cached.
///
/// Generation rule: every fetch and every cancel moves the generation on; each stage and each
/// main-queue delivery compares its generation and quietly drops stale work, so after a
/// cancel nothing more arrives. Callbacks run on the main queue. Snapshots are handed over as
/// pointers to const and never change afterwards.
///
/// Thread safety: every operation may be called from any thread.
class KSTSystemReportService
{
public:
    using SnapshotPtr = std::shared_ptr<const KSTSystemReportSnapshot>;
    enum UpdateKind { Partial = 1, Final = 2 };
    using Progress = std::function<void(SnapshotPtr, UpdateKind)>;
    using Completion = std::function<void(SnapshotPtr)>;

    /// The program's instance, working for KSTSystemInfo::shared().
    static KSTSystemReportService &shared();
    /// An instance for @p systemInfo (which must outlive it), with its own queue; for tests.
    /// Destroying it waits for work already on its queue.
    explicit KSTSystemReportService(KSTSystemInfo &systemInfo);
    ~KSTSystemReportService();
    KSTSystemReportService(const KSTSystemReportService &) = delete;
    KSTSystemReportService &operator=(const KSTSystemReportService &) = delete;

    static KSTSystemReportSnapshot placeholderSnapshot();
    /// The report from the overview's figures alone (system name, boot volume, memory,
    /// peripherals, build number); runs a tool, so not on the main thread.
    SnapshotPtr prefillSnapshotFromOverview(const KSTSystemSnapshot *overview);
    /// The same on the report queue, delivered on the main queue.
    void prefillSnapshotFromOverviewAsync(std::shared_ptr<const KSTSystemSnapshot> overview,
                                          Completion completion);

    /// Starts a fetch; false, and nothing happens, while one runs.
    bool fetchReportProgressive(Progress progress, Completion completion);
    /// The same without progress updates.
    bool fetchReportAsync(Completion completion);
    /// Moves the generation on, clears scanInProgress and cancels the Reporter's scan.
    void cancelProgressiveFetch();
    /// Drops the cached report, then cancels.
    void invalidateReportCache();
    /// The last final report, or nullptr.
    SnapshotPtr cachedReportSnapshotIfComplete() const;
    bool scanInProgress() const { return m_scanInProgress.load(); }
    quint64 reportFetchGeneration() const { return m_generation.load(); }

    /// An empty context of this service: its KSTSystemInfo, a partial weekly snapshot.
    KSTReportContext createEmptyContext() const;
    static KSTSystemReportSnapshot buildSnapshotFromContext(const KSTReportContext &context,
                                                            const QString &chipHint = {});

    // The metrics file (see KSTReportMetricsStore).
    static QString metricsPath();
    static QVariantMap loadPreviousBootMetrics();
    static void persistBootMetrics(const QVariantMap &bootMetrics);

    /// The system profiler's text of the current fetch, run at most once per fetch.
    QString loadProfilerCacheIfNeeded();
    /// The first profiler line containing "<key>:" (see KSTSystemReportParsers).
    QString profilerValueForKey(const QString &key);

private:
    struct Fetch;
    void runStages(const std::shared_ptr<Fetch> &fetch);
    void handleWeeklyAnswer(const std::shared_ptr<Fetch> &fetch,
                            std::shared_ptr<const KSTReporterSnapshot> weekly);
    void post(const std::shared_ptr<Fetch> &fetch, SnapshotPtr snapshot, UpdateKind kind);
    bool isCurrent(quint64 generation) const { return m_generation.load() == generation; }

    KSTSystemInfo &m_systemInfo;
    std::unique_ptr<KSTDispatchQueue> m_queue;
    std::atomic<quint64> m_generation{0};
    std::atomic<bool> m_scanInProgress{false};
    mutable std::mutex m_mutex; // guards the cache and the profiler text
    SnapshotPtr m_cachedCompleteReportSnapshot;
    QString m_cachedProfilerOutput;
    bool m_profilerLoaded = false;
    std::unique_ptr<QObject> m_context; // main-queue hops are dropped once it is gone
};
