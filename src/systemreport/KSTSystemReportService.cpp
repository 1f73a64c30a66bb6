#include "KSTSystemReportService.h"

#include "KSTDispatch.h"
#include "KSTDispatchQueue.h"
#include "KSTReportMetricsStore.h"
#include "KSTReporterEngine.h"
#include "KSTSystemInfo.h"
#include "KSTSystemReportBuilder.h"
#include "KSTSystemReportCollectors.h"
#include "KSTSystemReportCommandRunner.h"
#include "KSTSystemReportLayout.h"
#include "KSTSystemReportLocations.h"
#include "KSTSystemReportParsers.h"
#include "KSTSystemSnapshot.h"

namespace C = KSTSystemReportCollectors;
namespace L = KSTSystemReportLocations;

struct KSTSystemReportService::Fetch
{
    quint64 generation = 0;
    Progress progress;
    Completion completion;
    KSTReportContext context; // touched only on the report queue
};

KSTSystemReportService &KSTSystemReportService::shared()
{
    static KSTSystemReportService service(KSTSystemInfo::shared());
    return service;
}

KSTSystemReportService::KSTSystemReportService(KSTSystemInfo &systemInfo)
    : m_systemInfo(systemInfo),
      m_queue(std::make_unique<KSTDispatchQueue>(QStringLiteral("com.kestrel.systemreport"),
                                                 KSTQualityOfService::Utility)),
      m_context(std::make_unique<QObject>())
{
}

KSTSystemReportService::~KSTSystemReportService()
{
    m_generation.fetch_add(1);
    m_queue->sync([] {});
}

KSTSystemReportSnapshot KSTSystemReportService::placeholderSnapshot()
{
    return KSTSystemReportLayout::placeholderSnapshot();
}

KSTReportContext KSTSystemReportService::createEmptyContext() const
{
    KSTReportContext context;
    context.sys = &m_systemInfo;
    context.weekly.isPartial = true;
    return context;
}

KSTSystemReportSnapshot
KSTSystemReportService::buildSnapshotFromContext(const KSTReportContext &context,
                                                 const QString &chipHint)
{
    return KSTSystemReportBuilder::buildSnapshotFromContext(context, chipHint);
}

KSTSystemReportService::SnapshotPtr
KSTSystemReportService::prefillSnapshotFromOverview(const KSTSystemSnapshot *overview)
{
    KSTReportContext context = createEmptyContext();
    C::collectInstant(context);
    if (overview) {
        if (!overview->macOSVersionLine.isEmpty())
            context.osName = overview->macOSVersionLine;
        context.storageTotal = overview->storageTotalBytes;
        context.storageUsed = overview->storageUsedBytes;
        context.storageFree = context.storageTotal > context.storageUsed
                                  ? context.storageTotal - context.storageUsed
                                  : 0;
    }
    C::collectBuildNumber(context);
    return std::make_shared<const KSTSystemReportSnapshot>(buildSnapshotFromContext(context));
}

void KSTSystemReportService::prefillSnapshotFromOverviewAsync(
    std::shared_ptr<const KSTSystemSnapshot> overview, Completion completion)
{
    m_queue->async([this, overview, completion = std::move(completion)] {
        SnapshotPtr snapshot = prefillSnapshotFromOverview(overview.get());
        KSTDispatch::mainAsync(m_context.get(), [completion, snapshot] {
            if (completion)
                completion(snapshot);
        });
    });
}

bool KSTSystemReportService::fetchReportAsync(Completion completion)
{
    return fetchReportProgressive({}, std::move(completion));
}

bool KSTSystemReportService::fetchReportProgressive(Progress progress, Completion completion)
{
    bool expected = false;
    if (!m_scanInProgress.compare_exchange_strong(expected, true))
        return false;
    auto fetch = std::make_shared<Fetch>();
    fetch->generation = m_generation.fetch_add(1) + 1;
    fetch->progress = std::move(progress);
    fetch->completion = std::move(completion);
    {
        const std::lock_guard lock(m_mutex);
        m_cachedProfilerOutput.clear();
        m_profilerLoaded = false;
    }
    m_queue->async([this, fetch] { runStages(fetch); });
    return true;
}

void KSTSystemReportService::cancelProgressiveFetch()
{
    m_generation.fetch_add(1);
    m_scanInProgress.store(false);
    m_systemInfo.cancelReporterScan();
}

void KSTSystemReportService::invalidateReportCache()
{
    {
        const std::lock_guard lock(m_mutex);
        m_cachedCompleteReportSnapshot.reset();
    }
    cancelProgressiveFetch();
}

KSTSystemReportService::SnapshotPtr KSTSystemReportService::cachedReportSnapshotIfComplete() const
{
    const std::lock_guard lock(m_mutex);
    return m_cachedCompleteReportSnapshot;
}

QString KSTSystemReportService::metricsPath()
{
    return KSTReportMetricsStore::metricsPath();
}

QVariantMap KSTSystemReportService::loadPreviousBootMetrics()
{
    return KSTReportMetricsStore::loadPreviousBootMetrics();
}

void KSTSystemReportService::persistBootMetrics(const QVariantMap &bootMetrics)
{
    KSTReportMetricsStore::persistBootMetrics(bootMetrics);
}

QString KSTSystemReportService::loadProfilerCacheIfNeeded()
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_profilerLoaded)
            return m_cachedProfilerOutput;
    }
    const QString text = KSTSystemReportCommandRunner::shellOutputWithTimeout(
        L::ProfilerTimeoutSeconds, L::SystemProfiler, L::ProfilerDataTypes);
    const std::lock_guard lock(m_mutex);
    m_cachedProfilerOutput = text;
    m_profilerLoaded = true;
    return text;
}

QString KSTSystemReportService::profilerValueForKey(const QString &key)
{
    return KSTSystemReportParsers::profilerValueForKey(loadProfilerCacheIfNeeded(), key);
}

void KSTSystemReportService::post(const std::shared_ptr<Fetch> &fetch, SnapshotPtr snapshot,
                                  UpdateKind kind)
{
    if (!fetch->progress)
        return;
    KSTDispatch::mainAsync(m_context.get(), [this, fetch, snapshot, kind] {
        if (isCurrent(fetch->generation))
            fetch->progress(snapshot, kind);
    });
}

void KSTSystemReportService::runStages(const std::shared_ptr<Fetch> &fetch)
{
    const quint64 generation = fetch->generation;
    fetch->context = createEmptyContext();
    KSTReportContext &context = fetch->context;
    const std::function<void(KSTReportContext &)> stages[] = {
        [](KSTReportContext &c) { C::collectInstant(c); },
        [](KSTReportContext &c) { C::collectBuildNumber(c); },
        [](KSTReportContext &c) {
            C::collectMedium(c);
            C::collectCrashStats(c, QDateTime::currentDateTime());
            C::collectBrowserExtensions(c);
        },
        [](KSTReportContext &c) { C::collectSecurity(c); },
        [this](KSTReportContext &c) {
            if (const auto partial = KSTReporterEngine(KSTReporterEngine::hooksOf(m_systemInfo))
                                         .fetchReporterSnapshotPartial())
                c.weekly = *partial;
            c.weekly.isPartial = true;
            C::collectNetworkWeek(c, QDateTime::currentDateTime());
        },
        [](KSTReportContext &c) { C::collectAppSignatures(c, QDateTime::currentDateTime()); },
    };
    for (const auto &stage : stages) {
        if (!isCurrent(generation))
            return;
        stage(context);
        post(fetch,
             std::make_shared<const KSTSystemReportSnapshot>(buildSnapshotFromContext(context)),
             Partial);
    }
    if (!isCurrent(generation))
        return;
    m_systemInfo.fetchReporterSnapshotAsync(
        [this, fetch](std::shared_ptr<const KSTReporterSnapshot> weekly) {
            m_queue->async([this, fetch, weekly] { handleWeeklyAnswer(fetch, weekly); });
        });
}

void KSTSystemReportService::handleWeeklyAnswer(const std::shared_ptr<Fetch> &fetch,
                                                std::shared_ptr<const KSTReporterSnapshot> weekly)
{
    if (!isCurrent(fetch->generation) || !weekly)
        return;
    KSTReportContext &context = fetch->context;
    context.weekly = *weekly;
    C::collectNetworkWeek(context, QDateTime::currentDateTime());
    if (weekly->isPartial) {
        post(fetch,
             std::make_shared<const KSTSystemReportSnapshot>(buildSnapshotFromContext(context)),
             Partial);
        return;
    }
    C::adoptProfilerText(context, loadProfilerCacheIfNeeded());
    const QString chipHint = KSTSystemReportParsers::profilerValueForKey(
        KSTSystemReportParsers::profilerPart(context.machine.profilerText,
                                             QStringLiteral("Hardware")),
        QStringLiteral("Chip"));
    C::collectFullDiskHealth(context);
    C::collectAppSignatures(context, QDateTime::currentDateTime(), true);
    persistBootMetrics(context.bootMetrics);
    if (!isCurrent(fetch->generation))
        return;
    auto final = std::make_shared<const KSTSystemReportSnapshot>(
        buildSnapshotFromContext(context, chipHint));
    {
        const std::lock_guard lock(m_mutex);
        m_cachedCompleteReportSnapshot = final;
    }
    post(fetch, final, Final);
    KSTDispatch::mainAsync(m_context.get(), [this, fetch, final] {
        if (!isCurrent(fetch->generation))
            return;
        m_scanInProgress.store(false);
        if (fetch->completion)
            fetch->completion(final);
    });
}
