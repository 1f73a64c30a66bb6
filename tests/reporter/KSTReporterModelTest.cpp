// The Reporter screen's model without widgets: one build per fetch however often it is asked,
// a fresh fetch once the service dropped the one under way, a rebuild that really rebuilds,
// and the figures behind each charted day.
#include "KSTReporterModel.h"
#include "KSTFixtureMac.h"
#include "KSTPermissionChecker.h"
#include "KSTReporterCharts.h"
#include "KSTReporterSnapshot.h"
#include "KSTReporterTestSupport.h"
#include "KSTSystemInfo.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

class ReporterModelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
        info.setReporterPartialSnapshotBuilder([] {
            auto placeholder = std::make_shared<KSTReporterSnapshot>();
            placeholder->appsInstalledSummary = QStringLiteral("Scanning in background…");
            return placeholder;
        });
        info.setReporterSnapshotBuilder([this](quint64 generation) {
            ++builds;
            while (hold)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            if (info.isReporterScanCancelled(generation))
                return std::shared_ptr<KSTReporterSnapshot>();
            auto full = std::make_shared<KSTReporterSnapshot>();
            full->appsInstalledCount = quint64(builds.load());
            return full;
        });
    }
    void TearDown() override
    {
        hold = false;
        info.reporterQueue().sync([] {});
        KSTTestSupport::pumpFor(10);
        KSTPermissionChecker::resetForTesting();
    }

    KSTFixtureMac mac;
    KSTSystemInfo info;
    std::atomic<bool> hold{false};
    std::atomic<int> builds{0};
};

TEST_F(ReporterModelTest, AskingAgainWhileBuildingStartsNothingNew)
{
    KSTReporterModel model(info);
    hold = true;
    model.refresh();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&model] { return model.snapshot() != nullptr; }));
    EXPECT_TRUE(model.snapshot()->isPartial);
    EXPECT_TRUE(model.isBuilding());
    EXPECT_FALSE(model.hasCompleteSnapshot());
    model.refresh();
    model.rebuild();
    hold = false;
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&model] { return model.hasCompleteSnapshot(); }));
    EXPECT_FALSE(model.isBuilding());
    EXPECT_EQ(builds, 1);

    model.refresh(); // the cached report
    KSTTestSupport::pumpFor(30);
    EXPECT_EQ(builds, 1);
    model.rebuild();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&model] {
        return model.hasCompleteSnapshot() && model.snapshot()->appsInstalledCount == 2;
    }));
    EXPECT_EQ(builds, 2);
}

TEST_F(ReporterModelTest, AFetchTheServiceDroppedNoLongerHoldsTheGuard)
{
    KSTReporterModel model(info);
    hold = true;
    model.refresh();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([this] { return builds == 1; }));
    info.cancelReporterScan(); // someone else's fetch or a cancel: this one never delivers
    model.refresh();
    hold = false;
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&model] { return model.hasCompleteSnapshot(); }));
    EXPECT_EQ(builds, 2);
    EXPECT_FALSE(model.isBuilding());
}

TEST(ReporterModelDayFiguresTest, EachDayCarriesItsRecordAndTheChartsAmounts)
{
    const QDateTime end = QDateTime::currentDateTime();
    const auto key = [&end](int daysBack) {
        return KSTReporterCharts::historyDayKeyForDate(end.addDays(-daysBack));
    };
    const QVariantList records = {historyRecord(key(3), 5000, 1000, 100),
                                  historyRecord(key(1), std::nullopt, 500, 300),
                                  historyRecord(key(0), 7000, 3000, 200)};
    const QList<KSTReporterModel::DayFigures> days =
        KSTReporterModel::dayFiguresFromHistory(records, 4, end);
    ASSERT_EQ(days.size(), 4);
    const struct
    {
        bool recorded;
        std::optional<quint64> storage;
        quint64 downloaded;
        quint64 uploaded;
    } expected[] = {
        {true, 5000, 1000, 100},        // the oldest day: its whole counter
        {false, std::nullopt, 0, 0},    // no scan: counts 0, below the day before
        {true, std::nullopt, 500, 300}, // after a missing day: against 0
        {true, 7000, 2500, 0},          // the upload counter went down: a restart
    };
    for (int index = 0; index < 4; ++index) {
        SCOPED_TRACE(index);
        EXPECT_EQ(days[index].day, end.date().addDays(index - 3));
        EXPECT_EQ(days[index].recorded, expected[index].recorded);
        EXPECT_EQ(days[index].storageUsed, expected[index].storage);
        EXPECT_EQ(days[index].downloaded, expected[index].downloaded);
        EXPECT_EQ(days[index].uploaded, expected[index].uploaded);
    }
    EXPECT_TRUE(KSTReporterModel::dayFiguresFromHistory(records, 0, end).isEmpty());
}

} // namespace
