// The scan-service frame driven by build routines the tests supply: cancellation between
// start and delivery, cache rules, delivery queues and the placeholder snapshots.
#include "KSTSystemInfo.h"

#include "KSTDispatch.h"
#include "KSTTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

using KSTTestSupport::pumpFor;
using KSTTestSupport::pumpUntil;

namespace {

// Holds a build routine until the test lets it go.
class Gate
{
public:
    void waitUntilOpen()
    {
        std::unique_lock lock(m_mutex);
        m_entered = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_open; });
    }
    bool waitUntilEntered()
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10), [this] { return m_entered; });
    }
    void open()
    {
        std::lock_guard lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_entered = false;
    bool m_open = false;
};

std::shared_ptr<KSTSystemSnapshot> overviewSnapshot(const QString &title)
{
    auto snapshot = std::make_shared<KSTSystemSnapshot>();
    snapshot->machineTitle = title;
    return snapshot;
}

std::shared_ptr<KSTCleanUpSnapshot> cleanUpSnapshot(quint64 total)
{
    auto snapshot = std::make_shared<KSTCleanUpSnapshot>();
    snapshot->totalReclaimableBytes = total;
    snapshot->isPartial = true; // the frame must clear it
    return snapshot;
}

TEST(SystemInfoFrameTest, SharedInstanceAndQueueLabels)
{
    KSTSystemInfo &shared = KSTSystemInfo::shared();
    EXPECT_EQ(&shared, &KSTSystemInfo::shared());
    EXPECT_EQ(shared.reporterQueue().label(), QStringLiteral("com.kestrel.reporter"));
    EXPECT_EQ(shared.cleanUpQueue().label(), QStringLiteral("com.kestrel.cleanup"));
    EXPECT_EQ(shared.duplicateQueue().label(), QStringLiteral("com.kestrel.duplicates"));
    EXPECT_EQ(shared.appInventoryQueue().label(), QStringLiteral("com.kestrel.appinventory"));
}

TEST(SystemInfoFrameTest, HashWorkerIndexIsMasked)
{
    KSTSystemInfo info;
    const struct
    {
        qint32 index;
        const char *label;
    } cases[] = {{0, "com.kestrel.duplicates.hash.0"},
                 {3, "com.kestrel.duplicates.hash.3"},
                 {5, "com.kestrel.duplicates.hash.1"},
                 {-1, "com.kestrel.duplicates.hash.3"},
                 {std::numeric_limits<qint32>::min(), "com.kestrel.duplicates.hash.0"}};
    for (const auto &c : cases) {
        EXPECT_EQ(info.duplicateHashWorkerQueueForIndex(c.index).label(),
                  QString::fromLatin1(c.label))
            << c.index;
    }
    EXPECT_EQ(&info.duplicateHashWorkerQueueForIndex(5), &info.duplicateHashWorkerQueueForIndex(1));
}

TEST(SystemInfoFrameTest, OverviewDeliversOnTheMainThreadAndCaches)
{
    KSTSystemInfo info;
    std::atomic<int> builds{0};
    info.setOverviewSnapshotBuilder([&] {
        ++builds;
        return overviewSnapshot(QStringLiteral("Mac"));
    });

    KSTSystemInfo::SystemSnapshotPtr first;
    bool onMainThread = false;
    info.fetchSnapshotAsync([&](KSTSystemInfo::SystemSnapshotPtr snapshot) {
        onMainThread = KSTDispatch::isMainThread();
        first = snapshot;
    });
    ASSERT_TRUE(pumpUntil([&] { return first != nullptr; }));
    EXPECT_TRUE(onMainThread);
    EXPECT_EQ(first->machineTitle, QStringLiteral("Mac"));

    KSTSystemInfo::SystemSnapshotPtr second;
    info.fetchSnapshotAsync([&](KSTSystemInfo::SystemSnapshotPtr snapshot) { second = snapshot; });
    ASSERT_TRUE(pumpUntil([&] { return second != nullptr; }));
    EXPECT_EQ(second, first);
    EXPECT_EQ(builds.load(), 1);

    info.invalidateOverviewCache();
    EXPECT_EQ(info.cachedOverviewSnapshotIfAvailable(), nullptr);
}

// Cancelling, or invalidating the cache, while the build runs: nothing is delivered or stored.
class OverviewInterruptTest : public ::testing::TestWithParam<bool>
{
};

TEST_P(OverviewInterruptTest, NothingDeliveredNothingCached)
{
    const bool invalidate = GetParam();
    KSTSystemInfo info;
    Gate gate;
    info.setOverviewSnapshotBuilder([&] {
        gate.waitUntilOpen();
        return overviewSnapshot(QStringLiteral("late"));
    });
    std::atomic<int> delivered{0};
    info.fetchSnapshotAsync([&](KSTSystemInfo::SystemSnapshotPtr) { ++delivered; });
    ASSERT_TRUE(gate.waitUntilEntered());
    if (invalidate)
        info.invalidateOverviewCache();
    else
        info.cancelOverviewSnapshotFetch();
    gate.open();
    pumpFor(200);
    EXPECT_EQ(delivered.load(), 0);
    EXPECT_EQ(info.cachedOverviewSnapshotIfAvailable(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(CancelOrInvalidate, OverviewInterruptTest, ::testing::Bool());

TEST(SystemInfoFrameTest, NullCompletionsStartNothing)
{
    KSTSystemInfo info;
    std::atomic<int> builds{0};
    info.setOverviewSnapshotBuilder([&] {
        ++builds;
        return overviewSnapshot({});
    });
    info.setCleanUpSnapshotBuilder([&](quint64) {
        ++builds;
        return cleanUpSnapshot(1);
    });
    info.setReporterSnapshotBuilder([&](quint64) {
        ++builds;
        return std::make_shared<KSTReporterSnapshot>();
    });
    const quint64 cleanUpGeneration = info.cleanUpScanGeneration();
    info.fetchSnapshotAsync(nullptr);
    info.fetchCleanUpSnapshotAsync(nullptr);
    info.fetchReporterSnapshotAsync(nullptr);
    info.scanInstalledApplicationsWithProgress(nullptr, nullptr);
    info.scanDuplicatesInPaths({}, nullptr, nullptr);
    pumpFor(100);
    EXPECT_EQ(builds.load(), 0);
    EXPECT_EQ(info.cleanUpScanGeneration(), cleanUpGeneration);
    EXPECT_EQ(info.duplicateScanGeneration(), 0u);
}

TEST(SystemInfoFrameTest, ReporterPlaceholderThenFullOnItsOwnQueue)
{
    KSTSystemInfo info;
    info.setReporterSnapshotBuilder([](quint64) {
        auto snapshot = std::make_shared<KSTReporterSnapshot>();
        snapshot->isPartial = true; // the frame marks it complete
        return snapshot;
    });
    std::mutex mutex;
    QList<bool> partialFlags;
    QStringList labels;
    info.fetchReporterSnapshotAsync([&](KSTSystemInfo::ReporterSnapshotPtr snapshot) {
        std::lock_guard lock(mutex);
        partialFlags << snapshot->isPartial;
        labels << KSTDispatchQueue::currentLabel();
    });
    ASSERT_TRUE(pumpUntil([&] {
        std::lock_guard lock(mutex);
        return partialFlags.size() == 2;
    }));
    std::lock_guard lock(mutex);
    EXPECT_EQ(partialFlags, (QList<bool>{true, false}));
    EXPECT_EQ(labels, (QStringList{QStringLiteral("com.kestrel.reporter"),
                                   QStringLiteral("com.kestrel.reporter")}));
    EXPECT_TRUE(info.cachedReporterSnapshotDate().isValid());
}

TEST(SystemInfoFrameTest, ReporterCancelledAtOnceStillDeliversThePlaceholder)
{
    KSTSystemInfo info;
    std::atomic<int> fullBuilds{0};
    info.setReporterSnapshotBuilder([&](quint64) {
        ++fullBuilds;
        return std::make_shared<KSTReporterSnapshot>();
    });
    std::mutex mutex;
    QList<bool> partialFlags;
    // Block the queue so the cancel lands before the scan begins.
    Gate gate;
    info.reporterQueue().async([&] { gate.waitUntilOpen(); });
    info.fetchReporterSnapshotAsync([&](KSTSystemInfo::ReporterSnapshotPtr snapshot) {
        std::lock_guard lock(mutex);
        partialFlags << snapshot->isPartial;
    });
    info.cancelReporterScan();
    gate.open();
    info.reporterQueue().sync([] {});
    std::lock_guard lock(mutex);
    EXPECT_EQ(partialFlags, QList<bool>{true});
    EXPECT_EQ(fullBuilds.load(), 0);
    EXPECT_EQ(info.cachedReporterSnapshot(), nullptr);
}

// A snapshot stored 599 s ago is still served; at 600 s a new scan starts.
class ReporterCacheAgeTest : public ::testing::TestWithParam<std::pair<int, bool>>
{
};

TEST_P(ReporterCacheAgeTest, SixHundredSecondBoundary)
{
    const auto [ageSeconds, expectCached] = GetParam();
    KSTSystemInfo info;
    std::atomic<int> builds{0};
    info.setReporterSnapshotBuilder([&](quint64) {
        ++builds;
        return std::make_shared<KSTReporterSnapshot>();
    });
    auto cached = std::make_shared<KSTReporterSnapshot>();
    info.setCachedReporterSnapshot(cached);
    info.setCachedReporterSnapshotDate(QDateTime::currentDateTimeUtc().addSecs(-ageSeconds));

    std::mutex mutex;
    QList<KSTSystemInfo::ReporterSnapshotPtr> received;
    info.fetchReporterSnapshotAsync([&](KSTSystemInfo::ReporterSnapshotPtr snapshot) {
        std::lock_guard lock(mutex);
        received << snapshot;
    });
    info.reporterQueue().sync([] {});
    std::lock_guard lock(mutex);
    if (expectCached) {
        ASSERT_EQ(received.size(), 1);
        EXPECT_EQ(received.first(), cached);
        EXPECT_EQ(builds.load(), 0);
    } else {
        ASSERT_EQ(received.size(), 2);
        EXPECT_NE(received.last(), cached);
        EXPECT_EQ(builds.load(), 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Ages, ReporterCacheAgeTest,
                         ::testing::Values(std::pair{10, true}, std::pair{599, true},
                                           std::pair{600, false}, std::pair{601, false}));

TEST(SystemInfoFrameTest, CleanUpPlaceholderFirstThenCompleteFromItsQueue)
{
    KSTSystemInfo info;
    QString builderLabel;
    std::mutex mutex;
    info.setCleanUpSnapshotBuilder([&](quint64) {
        std::lock_guard lock(mutex);
        builderLabel = KSTDispatchQueue::currentLabel();
        return cleanUpSnapshot(4096);
    });
    QList<KSTSystemInfo::CleanUpSnapshotPtr> received;
    info.fetchCleanUpSnapshotAsync(
        [&](KSTSystemInfo::CleanUpSnapshotPtr snapshot) { received << snapshot; });
    ASSERT_TRUE(pumpUntil([&] { return received.size() == 2; }));

    const KSTCleanUpSnapshot &placeholder = *received[0];
    EXPECT_TRUE(placeholder.isPartial);
    QStringList types, names;
    for (const KSTCleanUpCategory &category : placeholder.categories) {
        types << category.categoryType;
        names << category.name;
        EXPECT_EQ(category.categoryDescription, QStringLiteral("Scanning…"));
        ASSERT_EQ(category.items.size(), 1);
        EXPECT_EQ(category.items.first().name, QStringLiteral("Scanning in background…"));
        EXPECT_FALSE(category.allItems.has_value());
    }
    EXPECT_EQ(types, (QStringList{"systemJunk", "trashes", "largeFiles", "removable"}));
    EXPECT_EQ(names, (QStringList{"System Junks", "Trashes", "Large Files", "Removable Data"}));

    EXPECT_FALSE(received[1]->isPartial);
    EXPECT_EQ(received[1]->totalReclaimableBytes, 4096u);
    EXPECT_EQ(info.cachedCleanUpSnapshotIfComplete(), received[1]);
    std::lock_guard lock(mutex);
    EXPECT_EQ(builderLabel, QStringLiteral("com.kestrel.cleanup"));
}

TEST(SystemInfoFrameTest, PartialCleanUpSnapshotIsNeverServedFromTheCache)
{
    KSTSystemInfo info;
    std::atomic<int> builds{0};
    info.setCleanUpSnapshotBuilder([&](quint64) {
        ++builds;
        return cleanUpSnapshot(1);
    });
    info.setCachedCleanUpSnapshot(KSTSystemInfo::fetchCleanUpSnapshotPartial());
    EXPECT_EQ(info.cachedCleanUpSnapshotIfComplete(), nullptr);

    int deliveries = 0;
    info.fetchCleanUpSnapshotAsync([&](KSTSystemInfo::CleanUpSnapshotPtr) { ++deliveries; });
    ASSERT_TRUE(pumpUntil([&] { return deliveries == 2; }));
    EXPECT_EQ(builds.load(), 1);

    // Now a complete snapshot is cached and served as it is, without a placeholder.
    KSTSystemInfo::CleanUpSnapshotPtr cached;
    info.fetchCleanUpSnapshotAsync([&](KSTSystemInfo::CleanUpSnapshotPtr s) { cached = s; });
    ASSERT_TRUE(pumpUntil([&] { return cached != nullptr; }));
    EXPECT_FALSE(cached->isPartial);
    EXPECT_EQ(builds.load(), 1);
}

TEST(SystemInfoFrameTest, InvalidatingCleanUpStopsTheScanInFlight)
{
    KSTSystemInfo info;
    Gate gate;
    info.setCleanUpSnapshotBuilder([&](quint64) {
        gate.waitUntilOpen();
        return cleanUpSnapshot(9);
    });
    QList<KSTSystemInfo::CleanUpSnapshotPtr> received;
    info.fetchCleanUpSnapshotAsync(
        [&](KSTSystemInfo::CleanUpSnapshotPtr snapshot) { received << snapshot; });
    ASSERT_TRUE(gate.waitUntilEntered());
    info.invalidateCleanUpCache();
    gate.open();
    info.cleanUpQueue().sync([] {});
    pumpFor(100);
    ASSERT_EQ(received.size(), 1); // the placeholder only
    EXPECT_TRUE(received.first()->isPartial);
    EXPECT_EQ(info.cachedCleanUpSnapshot(), nullptr);
    EXPECT_FALSE(info.cachedCleanUpSnapshotDate().isValid());
}

TEST(SystemInfoFrameTest, NewerCleanUpScanSupersedesTheOlder)
{
    KSTSystemInfo info;
    info.setCleanUpSnapshotBuilder([&](quint64 generation) -> std::shared_ptr<KSTCleanUpSnapshot> {
        if (info.isCleanUpScanCancelled(generation))
            return nullptr;
        return cleanUpSnapshot(generation);
    });
    Gate gate;
    info.cleanUpQueue().async([&] { gate.waitUntilOpen(); });
    QList<quint64> completeTotals;
    auto collect = [&](KSTSystemInfo::CleanUpSnapshotPtr snapshot) {
        if (!snapshot->isPartial)
            completeTotals << snapshot->totalReclaimableBytes;
    };
    info.fetchCleanUpSnapshotAsync(collect);
    info.fetchCleanUpSnapshotAsync(collect);
    const quint64 newest = info.cleanUpScanGeneration();
    gate.open();
    ASSERT_TRUE(pumpUntil([&] { return !completeTotals.isEmpty(); }));
    pumpFor(100);
    EXPECT_EQ(completeTotals, QList<quint64>{newest});
}

TEST(SystemInfoFrameTest, InvalidatedInventoryScanStillCompletes)
{
    KSTSystemInfo info;
    Gate gate;
    info.setAppInventoryScanRoutine([&](quint64, KSTSystemInfo::AppInventorySnapshotHandler,
                                        KSTSystemInfo::AppInventorySnapshotHandler completion) {
        gate.waitUntilOpen();
        auto snapshot = std::make_shared<KSTAppInventorySnapshot>();
        snapshot->isComplete = true;
        snapshot->statusText = QStringLiteral("Scan complete");
        KSTSystemInfo::AppInventorySnapshotPtr result = snapshot;
        info.storeCachedAppInventorySnapshot(result);
        KSTDispatch::mainAsync([completion, result] { completion(result); });
    });
    QStringList progressTexts;
    KSTSystemInfo::AppInventorySnapshotPtr completed;
    info.scanInstalledApplicationsWithProgress(
        [&](KSTSystemInfo::AppInventorySnapshotPtr s) { progressTexts << s->statusText; },
        [&](KSTSystemInfo::AppInventorySnapshotPtr s) { completed = s; });
    ASSERT_TRUE(gate.waitUntilEntered());
    const quint64 generation = info.appInventoryScanGeneration();
    info.setCachedApplicationBundlePaths({QStringLiteral("/Applications/A.app")});
    info.invalidateAppInventoryCache();
    EXPECT_EQ(info.appInventoryScanGeneration(), generation);
    EXPECT_TRUE(info.cachedApplicationBundlePaths().isEmpty());
    gate.open();
    ASSERT_TRUE(pumpUntil([&] { return completed != nullptr; }));
    EXPECT_EQ(progressTexts, QStringList{QStringLiteral("Discovering applications…")});
    EXPECT_TRUE(completed->isComplete);
}

TEST(SystemInfoFrameTest, CachedInventoryGoesToProgressThenCompletionAndResumesSizing)
{
    KSTSystemInfo info;
    std::atomic<int> resumes{0};
    info.setAppInventorySizeResumeRoutine([&] { ++resumes; });
    auto cached = std::make_shared<KSTAppInventorySnapshot>();
    cached->isComplete = true;
    cached->isSizeCalculationComplete = false;
    info.storeCachedAppInventorySnapshot(cached);

    QStringList order;
    info.scanInstalledApplicationsWithProgress(
        [&](KSTSystemInfo::AppInventorySnapshotPtr) { order << QStringLiteral("progress"); },
        [&](KSTSystemInfo::AppInventorySnapshotPtr) { order << QStringLiteral("completion"); });
    ASSERT_TRUE(pumpUntil([&] { return order.size() == 2; }));
    EXPECT_EQ(order, (QStringList{"progress", "completion"}));
    EXPECT_EQ(resumes.load(), 1);
}

TEST(SystemInfoFrameTest, UpdatingTheInventoryKeepsItsScanDateOnlyWhenComplete)
{
    KSTSystemInfo info;
    KSTInstalledAppRecord app;
    app.name = QStringLiteral("Notes");
    info.updateCachedAppInventoryWithApps({app});
    EXPECT_EQ(info.cachedAppInventorySnapshot(), nullptr);

    auto incomplete = std::make_shared<KSTAppInventorySnapshot>();
    info.storeCachedAppInventorySnapshot(incomplete);
    info.updateCachedAppInventoryWithApps({app});
    EXPECT_EQ(info.cachedAppInventorySnapshot(), incomplete);

    auto complete = std::make_shared<KSTAppInventorySnapshot>();
    complete->isComplete = true;
    complete->scanDate = QDateTime(QDate(2026, 1, 2), QTime(3, 4), Qt::UTC);
    info.storeCachedAppInventorySnapshot(complete);
    info.updateCachedAppInventoryWithApps({app, app});
    const auto updated = info.cachedAppInventorySnapshot();
    EXPECT_EQ(updated->apps.size(), 2);
    EXPECT_EQ(updated->scannedCount, 2);
    EXPECT_EQ(updated->totalCount, 2);
    EXPECT_EQ(updated->statusText, QStringLiteral("Scan complete"));
    EXPECT_TRUE(updated->isSizeCalculationComplete);
    EXPECT_EQ(updated->scanDate, complete->scanDate);
}

TEST(SystemInfoFrameTest, DuplicateGenerationAndFirstSnapshot)
{
    KSTSystemInfo info;
    info.setDuplicateSnapshotBuilder([](const QStringList &paths, quint64, const QString &status) {
        auto snapshot = std::make_shared<KSTDuplicateSnapshot>();
        snapshot->scannedPaths = paths;
        snapshot->statusText = status;
        return snapshot;
    });
    std::atomic<quint64> routineGeneration{0};
    QString routineLabel;
    std::mutex mutex;
    info.setDuplicateScanRoutine([&](const QStringList &, quint64 generation,
                                     KSTSystemInfo::DuplicateSnapshotHandler,
                                     KSTSystemInfo::DuplicateSnapshotHandler) {
        std::lock_guard lock(mutex);
        routineLabel = KSTDispatchQueue::currentLabel();
        routineGeneration = generation;
    });
    KSTSystemInfo::DuplicateSnapshotPtr first;
    info.scanDuplicatesInPaths(
        {QStringLiteral("/tmp")}, [&](KSTSystemInfo::DuplicateSnapshotPtr s) { first = s; },
        [](KSTSystemInfo::DuplicateSnapshotPtr) {});
    ASSERT_TRUE(pumpUntil([&] { return first != nullptr; }));
    EXPECT_EQ(first->statusText, QStringLiteral("Preparing scan…"));
    EXPECT_DOUBLE_EQ(first->scanProgress, 0.01);
    info.duplicateQueue().sync([] {});
    EXPECT_EQ(routineGeneration.load(), 1u);
    {
        std::lock_guard lock(mutex);
        EXPECT_EQ(routineLabel, QStringLiteral("com.kestrel.duplicates"));
    }
    EXPECT_FALSE(info.isDuplicateScanCancelled(1));
    info.cancelDuplicateScan();
    EXPECT_TRUE(info.isDuplicateScanCancelled(1));
    EXPECT_EQ(info.duplicateScanGeneration(), 2u);
}

TEST(SystemInfoFrameTest, GenerationsAreCheckedFromManyThreads)
{
    // Hash workers read the duplicate generation while the main thread cancels.
    KSTSystemInfo info;
    std::atomic<int> sawCancelled{0};
    for (int index = 0; index < 4; ++index) {
        info.duplicateHashWorkerQueueForIndex(index).async([&] {
            for (int spin = 0; spin < 1000; ++spin) {
                if (info.isDuplicateScanCancelled(0) || info.isCleanUpScanCancelled(0))
                    ++sawCancelled;
            }
        });
    }
    for (int round = 0; round < 100; ++round) {
        info.cancelDuplicateScan();
        info.cancelCleanUpScan();
    }
    for (int index = 0; index < 4; ++index)
        info.duplicateHashWorkerQueueForIndex(index).sync([] {});
    EXPECT_EQ(info.duplicateScanGeneration(), 100u);
    EXPECT_EQ(info.cleanUpScanGeneration(), 100u);
}

} // namespace
