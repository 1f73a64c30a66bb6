// The Reporter's operations of the scan-service frame: thin wrappers of its slot. Results
// reach the caller on com.kestrel.reporter (not the main queue); a report younger than
// ReporterCacheLifetimeSeconds is served from the cache.
#include "KSTSystemInfo.h"

#include "KSTReporterSnapshot.h"

void KSTSystemInfo::fetchReporterSnapshotAsync(ReporterSnapshotCompletion completion)
{
    KSTScanSlot<KSTReporterSnapshot>::Fetch how;
    how.reusable = [](const KSTReporterSnapshot &, const QDateTime &date) {
        return date.isValid() &&
               date.msecsTo(QDateTime::currentDateTimeUtc()) < ReporterCacheLifetimeSeconds * 1000;
    };
    how.placeholder = [this] {
        std::function<std::shared_ptr<KSTReporterSnapshot>()> builder;
        {
            std::lock_guard lock(m_monitor);
            builder = m_reporterPartialBuilder;
        }
        std::shared_ptr<KSTReporterSnapshot> placeholder = builder ? builder() : nullptr;
        if (!placeholder)
            placeholder = std::make_shared<KSTReporterSnapshot>();
        placeholder->isPartial = true;
        return ReporterSnapshotPtr(std::move(placeholder));
    };
    // The placeholder goes out even when the scan is cancelled at once: the screen shows it
    // and moves it to the main queue itself.
    how.run = [this](std::function<void()> block) { m_reporterQueue->async(std::move(block)); };
    how.deliver = how.run;
    // The report is handed over in the block that built it, on the same queue, so a caller
    // that waits for the queue to drain has it.
    how.deliverResult = [](std::function<void()> block) { block(); };
    how.finish = [](KSTReporterSnapshot &snapshot) { snapshot.isPartial = false; };
    m_reporter.fetch(how, std::move(completion));
}

void KSTSystemInfo::cancelReporterScan()
{
    m_reporter.cancel();
}

bool KSTSystemInfo::isReporterScanCancelled(quint64 generation) const
{
    return m_reporter.isCancelled(generation);
}

quint64 KSTSystemInfo::reporterScanGeneration() const
{
    return m_reporter.generation();
}

KSTSystemInfo::ReporterSnapshotPtr KSTSystemInfo::cachedReporterSnapshot() const
{
    return m_reporter.cached();
}

void KSTSystemInfo::setCachedReporterSnapshot(ReporterSnapshotPtr snapshot)
{
    m_reporter.setCached(std::move(snapshot));
}

QDateTime KSTSystemInfo::cachedReporterSnapshotDate() const
{
    return m_reporter.cachedDate();
}

void KSTSystemInfo::setCachedReporterSnapshotDate(QDateTime date)
{
    m_reporter.setCachedDate(std::move(date));
}
