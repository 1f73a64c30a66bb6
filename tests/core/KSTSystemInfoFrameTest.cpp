// The scan-service frame driven by build routines the tests supply: cancellation between
// start and delivery, cache rules, delivery queues and the placeholder snapshots.
#include "KSTSystemInfo.h"

#include "KSTAppInventorySnapshot.h"
#include "KSTCleanUpSnapshot.h"
#include "KSTDuplicateSnapshot.h"
#include "KSTReporterSnapshot.h"
#include "KSTSystemSnapshot.h"

#include "KSTDispatch.h"
#include "KSTTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <semaphore>

using KSTTestSupport::pumpFor;
using KSTTestSupport::pumpUntil;
using Frame = KSTSystemInfo;

namespace {

// Holds a build routine until the test lets it go.
struct Gate
{
    void waitUntilOpen()
    {
        entered.release();
        opened.acquire();
    }
    bool waitUntilEntered() { return entered.try_acquire_for(std::chrono::seconds(10)); }
    void open() { opened.release(); }

    std::binary_semaphore entered{0};
    std::binary_semaphore opened{0};
};

std::shared_ptr<KSTCleanUpSnapshot> cleanUpSnapshot(quint64 total)
{
    auto snapshot = std::make_shared<KSTCleanUpSnapshot>();
    snapshot->totalReclaimableBytes = total;
    snapshot->isPartial = true; // the frame must clear it
    return snapshot;
}

// Builders that count their runs (from any thread).
struct Builders
{
    explicit Builders(Frame &info)
    {
        info.setOverviewSnapshotBuilder([this] {
            ++builds;
            auto snapshot = std::make_shared<KSTSystemSnapshot>();
            snapshot->machineTitle = QStringLiteral("Mac");
            return snapshot;
        });
        info.setCleanUpSnapshotBuilder([this](quint64) {
            ++builds;
            return cleanUpSnapshot(1);
        });
        info.setReporterSnapshotBuilder([this](quint64) {
            ++builds;
            return std::make_shared<KSTReporterSnapshot>();
        });
    }
    std::atomic<int> builds{0};
};

TEST(SystemInfoFrameTest, HashWorkerIndexIsMasked)
{
    Frame info;
    const struct
    {
        qint32 index;
        int worker;
    } cases[] = {{0, 0}, {3, 3}, {5, 1}, {-1, 3}, {std::numeric_limits<qint32>::min(), 0}};
    for (const auto &c : cases) {
        EXPECT_EQ(info.duplicateHashWorkerQueueForIndex(c.index).label(),
                  QStringLiteral("com.kestrel.duplicates.hash.%1").arg(c.worker))
            << c.index;
    }
    EXPECT_EQ(&info.duplicateHashWorkerQueueForIndex(5), &info.duplicateHashWorkerQueueForIndex(1));
}

TEST(SystemInfoFrameTest, OverviewDeliversOnTheMainThreadAndCaches)
{
    Frame info;
    Builders builders(info);
    Frame::SystemSnapshotPtr first;
    bool onMainThread = false;
    info.fetchSnapshotAsync([&](Frame::SystemSnapshotPtr snapshot) {
        onMainThread = KSTDispatch::isMainThread();
        first = snapshot;
    });
    ASSERT_TRUE(pumpUntil([&] { return first != nullptr; }));
    EXPECT_TRUE(onMainThread);
    EXPECT_EQ(first->machineTitle, QStringLiteral("Mac"));

    Frame::SystemSnapshotPtr second;
    info.fetchSnapshotAsync([&](Frame::SystemSnapshotPtr snapshot) { second = snapshot; });
    ASSERT_TRUE(pumpUntil([&] { return second != nullptr; }));
    EXPECT_EQ(second, first);
    EXPECT_EQ(builders.builds.load(), 1);

    info.invalidateOverviewCache();
    EXPECT_EQ(info.cachedOverviewSnapshotIfAvailable(), nullptr);
}

// Cancelling, or invalidating the cache, while the build runs: nothing is delivered or stored.
class OverviewInterruptTest : public ::testing::TestWithParam<bool>
{
};

TEST_P(OverviewInterruptTest, NothingDeliveredNothingCached)
{
    Frame info;
    Gate gate;
    info.setOverviewSnapshotBuilder([&] {
        gate.waitUntilOpen();
        return std::make_shared<KSTSystemSnapshot>();
    });
    std::atomic<int> delivered{0};
    info.fetchSnapshotAsync([&](Frame::SystemSnapshotPtr) { ++delivered; });
    ASSERT_TRUE(gate.waitUntilEntered());
    if (GetParam())
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
    Frame info;
    Builders builders(info);
    const quint64 cleanUpGeneration = info.cleanUpScanGeneration();
    info.fetchSnapshotAsync(nullptr);
    info.fetchCleanUpSnapshotAsync(nullptr);
    info.fetchReporterSnapshotAsync(nullptr);
    info.scanInstalledApplicationsWithProgress(nullptr, nullptr);
    info.scanDuplicatesInPaths({}, nullptr, nullptr);
    pumpFor(100);
    EXPECT_EQ(builders.builds.load(), 0);
    EXPECT_EQ(info.cleanUpScanGeneration(), cleanUpGeneration);
    EXPECT_EQ(info.duplicateScanGeneration(), 0u);
}

TEST(SystemInfoFrameTest, ReporterPlaceholderThenFullOnItsOwnQueue)
{
    Frame info;
    info.setReporterSnapshotBuilder([](quint64) {
        auto snapshot = std::make_shared<KSTReporterSnapshot>();
        snapshot->isPartial = true; // the frame marks it complete
        return snapshot;
    });
    std::mutex mutex;
    QStringList deliveries;
    info.fetchReporterSnapshotAsync([&](Frame::ReporterSnapshotPtr snapshot) {
        std::lock_guard lock(mutex);
        deliveries << (snapshot->isPartial ? "partial on " : "full on ") +
                          KSTDispatchQueue::currentLabel();
    });
    ASSERT_TRUE(pumpUntil([&] {
        std::lock_guard lock(mutex);
        return deliveries.size() == 2;
    }));
    std::lock_guard lock(mutex);
    EXPECT_EQ(deliveries,
              (QStringList{"partial on com.kestrel.reporter", "full on com.kestrel.reporter"}));
    EXPECT_TRUE(info.cachedReporterSnapshotDate().isValid());
}

TEST(SystemInfoFrameTest, ReporterCancelledAtOnceStillDeliversThePlaceholder)
{
    Frame info;
    Builders builders(info);
    std::mutex mutex;
    QList<bool> partialFlags;
    // Block the queue so the cancel lands before the scan begins.
    Gate gate;
    info.reporterQueue().async([&] { gate.waitUntilOpen(); });
    info.fetchReporterSnapshotAsync([&](Frame::ReporterSnapshotPtr snapshot) {
        std::lock_guard lock(mutex);
        partialFlags << snapshot->isPartial;
    });
    info.cancelReporterScan();
    gate.open();
    info.reporterQueue().sync([] {});
    std::lock_guard lock(mutex);
    EXPECT_EQ(partialFlags, QList<bool>{true});
    EXPECT_EQ(builders.builds.load(), 0);
    EXPECT_EQ(info.cachedReporterSnapshot(), nullptr);
}

// A snapshot stored 599 s ago is still served; at 600 s a new scan starts.
class ReporterCacheAgeTest : public ::testing::TestWithParam<std::pair<int, bool>>
{
};

TEST_P(ReporterCacheAgeTest, SixHundredSecondBoundary)
{
    const auto [ageSeconds, expectCached] = GetParam();
    Frame info;
    Builders builders(info);
    auto cached = std::make_shared<KSTReporterSnapshot>();
    info.setCachedReporterSnapshot(cached);
    info.setCachedReporterSnapshotDate(QDateTime::currentDateTimeUtc().addSecs(-ageSeconds));

    std::mutex mutex;
    QList<Frame::ReporterSnapshotPtr> received;
    info.fetchReporterSnapshotAsync([&](Frame::ReporterSnapshotPtr snapshot) {
        std::lock_guard lock(mutex);
        received << snapshot;
    });
    info.reporterQueue().sync([] {});
    std::lock_guard lock(mutex);
    ASSERT_EQ(received.size(), expectCached ? 1 : 2); // a placeholder before a new scan
    EXPECT_EQ(received.last() == cached, expectCached);
    EXPECT_EQ(builders.builds.load(), expectCached ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(Ages, ReporterCacheAgeTest,
                         ::testing::Values(std::pair{10, true}, std::pair{599, true},
                                           std::pair{600, false}, std::pair{601, false}));

TEST(SystemInfoFrameTest, CleanUpPlaceholderFirstThenCompleteFromItsQueue)
{
    Frame info;
    QString builderLabel;
    std::mutex mutex;
    info.setCleanUpSnapshotBuilder([&](quint64) {
        std::lock_guard lock(mutex);
        builderLabel = KSTDispatchQueue::currentLabel();
        return cleanUpSnapshot(4096);
    });
    QList<Frame::CleanUpSnapshotPtr> received;
    info.fetchCleanUpSnapshotAsync(
        [&](Frame::CleanUpSnapshotPtr snapshot) { received << snapshot; });
    ASSERT_TRUE(pumpUntil([&] { return received.size() == 2; }));

    EXPECT_TRUE(received[0]->isPartial);
    QStringList placeholder;
    for (const KSTCleanUpCategory &category : received[0]->categories) {
        placeholder << category.categoryType;
        EXPECT_EQ(category.items.size(), 1); // "Scanning in background…"
        EXPECT_FALSE(category.allItems.has_value());
    }
    EXPECT_EQ(placeholder, (QStringList{"systemJunk", "trashes", "largeFiles", "removable"}));

    EXPECT_FALSE(received[1]->isPartial);
    EXPECT_EQ(received[1]->totalReclaimableBytes, 4096u);
    EXPECT_EQ(info.cachedCleanUpSnapshotIfComplete(), received[1]);
    std::lock_guard lock(mutex);
    EXPECT_EQ(builderLabel, QStringLiteral("com.kestrel.cleanup"));
}

TEST(SystemInfoFrameTest, PartialCleanUpSnapshotIsNeverServedFromTheCache)
{
    Frame info;
    Builders builders(info);
    info.setCachedCleanUpSnapshot(Frame::fetchCleanUpSnapshotPartial());
    EXPECT_EQ(info.cachedCleanUpSnapshotIfComplete(), nullptr);

    int deliveries = 0;
    info.fetchCleanUpSnapshotAsync([&](Frame::CleanUpSnapshotPtr) { ++deliveries; });
    ASSERT_TRUE(pumpUntil([&] { return deliveries == 2; }));
    EXPECT_EQ(builders.builds.load(), 1);

    // Now a complete snapshot is cached and served as it is, without a placeholder.
    QList<Frame::CleanUpSnapshotPtr> cached;
    info.fetchCleanUpSnapshotAsync([&](Frame::CleanUpSnapshotPtr s) { cached << s; });
    ASSERT_TRUE(pumpUntil([&] { return !cached.isEmpty(); }));
    pumpFor(50);
    ASSERT_EQ(cached.size(), 1);
    EXPECT_FALSE(cached.first()->isPartial);
    EXPECT_EQ(builders.builds.load(), 1);
}

TEST(SystemInfoFrameTest, InvalidatingCleanUpStopsTheScanInFlight)
{
    Frame info;
    Gate gate;
    info.setCleanUpSnapshotBuilder([&](quint64) {
        gate.waitUntilOpen();
        return cleanUpSnapshot(9);
    });
    QList<Frame::CleanUpSnapshotPtr> received;
    info.fetchCleanUpSnapshotAsync(
        [&](Frame::CleanUpSnapshotPtr snapshot) { received << snapshot; });
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
    Frame info;
    info.setCleanUpSnapshotBuilder([&](quint64 generation) -> std::shared_ptr<KSTCleanUpSnapshot> {
        if (info.isCleanUpScanCancelled(generation))
            return nullptr;
        return cleanUpSnapshot(generation);
    });
    Gate gate;
    info.cleanUpQueue().async([&] { gate.waitUntilOpen(); });
    QList<quint64> completeTotals;
    auto collect = [&](Frame::CleanUpSnapshotPtr snapshot) {
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
    Frame info;
    Gate gate;
    info.setAppInventoryScanRoutine([&](quint64, Frame::AppInventorySnapshotHandler,
                                        Frame::AppInventorySnapshotHandler completion) {
        gate.waitUntilOpen();
        auto snapshot = std::make_shared<KSTAppInventorySnapshot>();
        snapshot->isComplete = true;
        Frame::AppInventorySnapshotPtr result = snapshot;
        info.storeCachedAppInventorySnapshot(result);
        KSTDispatch::mainAsync([completion, result] { completion(result); });
    });
    QStringList progressTexts;
    Frame::AppInventorySnapshotPtr completed;
    info.scanInstalledApplicationsWithProgress(
        [&](Frame::AppInventorySnapshotPtr s) { progressTexts << s->statusText; },
        [&](Frame::AppInventorySnapshotPtr s) { completed = s; });
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
    Frame info;
    std::atomic<int> resumes{0};
    info.setAppInventorySizeResumeRoutine([&] { ++resumes; });
    auto cached = std::make_shared<KSTAppInventorySnapshot>();
    cached->isComplete = true;
    cached->isSizeCalculationComplete = false;
    info.storeCachedAppInventorySnapshot(cached);

    QStringList order;
    info.scanInstalledApplicationsWithProgress(
        [&](Frame::AppInventorySnapshotPtr) { order << QStringLiteral("progress"); },
        [&](Frame::AppInventorySnapshotPtr) { order << QStringLiteral("completion"); });
    ASSERT_TRUE(pumpUntil([&] { return order.size() == 2; }));
    EXPECT_EQ(order, (QStringList{"progress", "completion"}));
    EXPECT_EQ(resumes.load(), 1);
}

TEST(SystemInfoFrameTest, UpdatingTheInventoryKeepsItsScanDateOnlyWhenComplete)
{
    Frame info;
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
    EXPECT_EQ(updated->scannedCount, 2u);
    EXPECT_EQ(updated->totalCount, 2u);
    EXPECT_EQ(updated->statusText, QStringLiteral("Scan complete"));
    EXPECT_TRUE(updated->isSizeCalculationComplete);
    EXPECT_EQ(updated->scanDate, complete->scanDate);
}

TEST(SystemInfoFrameTest, DuplicateGenerationAndFirstSnapshot)
{
    Frame info;
    info.setDuplicateSnapshotBuilder([](const QStringList &paths, quint64, const QString &status) {
        auto snapshot = std::make_shared<KSTDuplicateSnapshot>();
        snapshot->scanPaths = paths;
        snapshot->statusText = status;
        return snapshot;
    });
    std::mutex mutex;
    QString routine;
    info.setDuplicateScanRoutine([&](const QStringList &, quint64 generation,
                                     Frame::DuplicateSnapshotHandler,
                                     Frame::DuplicateSnapshotHandler) {
        std::lock_guard lock(mutex);
        routine = QStringLiteral("%1 on %2").arg(generation).arg(KSTDispatchQueue::currentLabel());
    });
    Frame::DuplicateSnapshotPtr first;
    info.scanDuplicatesInPaths(
        {QStringLiteral("/tmp")}, [&](Frame::DuplicateSnapshotPtr s) { first = s; },
        [](Frame::DuplicateSnapshotPtr) {});
    ASSERT_TRUE(pumpUntil([&] { return first != nullptr; }));
    EXPECT_EQ(first->statusText, QStringLiteral("Preparing scan…"));
    EXPECT_DOUBLE_EQ(first->scanProgress, 0.01);
    info.duplicateQueue().sync([] {});
    {
        std::lock_guard lock(mutex);
        EXPECT_EQ(routine, QStringLiteral("1 on com.kestrel.duplicates"));
    }
    EXPECT_FALSE(info.isDuplicateScanCancelled(1));
    info.cancelDuplicateScan();
    EXPECT_TRUE(info.isDuplicateScanCancelled(1));
    EXPECT_EQ(info.duplicateScanGeneration(), 2u);
}

TEST(SystemInfoFrameTest, GenerationsAreCheckedFromManyThreads)
{
    // Hash workers read the generations while the main thread cancels.
    Frame info;
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
