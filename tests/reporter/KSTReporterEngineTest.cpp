// The weekly report built on a fixture Mac with a fake host: the placeholder writes nothing,
// a cancelled build returns nothing and writes nothing, a full build fills every figure and
// records today, and the frame delivers both on the Reporter queue.
#include "KSTReporterEngine.h"
#include "KSTDebianDesktop.h"
#include "KSTFakeHostInfo.h"
#include "KSTFixtureLinux.h"
#include "KSTFixtureMac.h"
#include "KSTPermissionChecker.h"
#include "KSTPropertyList.h"
#include "KSTQuietFiles.h"
#include "KSTReporterHistory.h"
#include "KSTReporterTestSupport.h"
#include "KSTSystemInfo.h"

#include <gtest/gtest.h>

#include <mutex>

namespace {

constexpr quint64 GiB = 1024ull * 1024 * 1024;

class ReporterEngineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
        host->with([](KSTFakeHostInfo::Figures &figures) {
            figures.volumeUsage = KSTVolumeUsage{100 * GiB, 40 * GiB}; // total, free
            figures.interfaceByteCounts = QList<KSTInterfaceByteCounts>{
                {"en0", false, 5000, 700}, {"lo", true, 1'000'000, 1'000'000}};
            figures.bootTimeSeconds = QDateTime::currentSecsSinceEpoch() - 3 * 86'400 - 60;
        });
        historyPath = mac.homePath(
            QStringLiteral("Library/Application Support/Kestrel/reporter-history.plist"));
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    QString addApp(const QString &name, const QVariantMap &extraInfo = {})
    {
        KSTFixtureMac::App app;
        app.name = name;
        app.bundleIdentifier = QStringLiteral("com.example.") + name;
        app.extraInfo = extraInfo;
        return mac.addApp(app);
    }

    KSTFixtureMac mac;
    KSTScopedFakeHost host;
    KSTSystemInfo info;
    QString historyPath;
};

TEST_F(ReporterEngineTest, ThePlaceholderChartsTheHistoryAndWritesNothing)
{
    const auto snapshot =
        KSTReporterEngine(KSTReporterEngine::hooksOf(info)).fetchReporterSnapshotPartial();
    ASSERT_TRUE(snapshot);
    EXPECT_TRUE(snapshot->isPartial);
    EXPECT_EQ(snapshot->appsInstalledSummary, "Scanning in background…");
    EXPECT_EQ(snapshot->appsRemovedSummary, "Scanning in background…");
    EXPECT_EQ(snapshot->filesAddedDeltaText, "—");
    EXPECT_EQ(snapshot->networkDownloadBytes, 5000u); // loopback left out
    EXPECT_EQ(snapshot->networkUploadBytes, 700u);
    EXPECT_EQ(snapshot->networkPeriodText, "Since last boot · 3d");
    // No history yet: every storage bar is the current use, every network bar empty.
    EXPECT_EQ(snapshot->diskDailyFractions, QList<double>(7, 0.6));
    EXPECT_EQ(snapshot->networkDailyDownloadFractions, QList<double>(7, 0.0));
    EXPECT_EQ(snapshot->diskDayLabels.size(), 7);
    EXPECT_EQ(snapshot->networkDayLabels, snapshot->diskDayLabels);
    EXPECT_TRUE(snapshot->appUsageEntries.isEmpty());
    EXPECT_FALSE(QFileInfo::exists(historyPath));
}

TEST_F(ReporterEngineTest, ACancelledBuildReturnsNothingAndRecordsNothing)
{
    const quint64 generation = info.reporterScanGeneration();
    info.cancelReporterScan();
    EXPECT_EQ(KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                  .fetchReporterSnapshotWithGeneration(generation),
              nullptr);
    EXPECT_FALSE(QFileInfo::exists(historyPath));
}

// The engine needs nothing of the frame but its hooks: it asks only about the generation it
// builds, stops before writing anything once told to, and counts the bundles its cache keeps.
TEST_F(ReporterEngineTest, RunsWithItsHooksAndNoFrame)
{
    const QString atlas = addApp("Atlas");
    addApp("Zebra"); // on disk, but not in the kept list
    constexpr quint64 Generation = 7;
    const struct
    {
        const char *name;
        bool cancelled;
    } cases[] = {{"cancelled", true}, {"current", false}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        QList<quint64> askedAbout;
        QStringList kept{atlas};
        KSTReporterEngine::Hooks hooks;
        hooks.isCancelled = [&](quint64 generation) {
            askedAbout << generation;
            return c.cancelled;
        };
        hooks.bundlePaths = {[&] { return kept; }, [&](const QStringList &paths) { kept = paths; }};
        const auto snapshot =
            KSTReporterEngine(hooks).fetchReporterSnapshotWithGeneration(Generation);
        ASSERT_FALSE(askedAbout.isEmpty());
        EXPECT_EQ(askedAbout.count(Generation), askedAbout.size());
        if (c.cancelled) {
            EXPECT_EQ(snapshot, nullptr);
            EXPECT_FALSE(QFileInfo::exists(historyPath));
            continue;
        }
        ASSERT_TRUE(snapshot);
        EXPECT_FALSE(snapshot->isPartial);
        EXPECT_EQ(snapshot->appsInstalledCount, 1u);
        EXPECT_EQ(snapshot->appsInstalledSummary, "Atlas");
        EXPECT_TRUE(QFileInfo::exists(historyPath));
    }
}

TEST_F(ReporterEngineTest, AFullBuildFillsTheWeekAndRecordsToday)
{
    addApp("Zebra");
    addApp("Atlas", {{"CFBundleDisplayName", "Atlas Pro"}});
    addApp("Mango");
    addApp("Kiwi");
    mac.writeFile("var/log/install.log",
                  "installd: Removed Old One.app\ninstalld: Removed Gone.app\n"
                  "installd: Removed Third.app\n");
    const QDateTime inWeek = QDateTime::currentDateTime().addSecs(-60);
    ASSERT_TRUE(writeKnowledgeDatabase(
        mac.homePath("Library/Application Support/Knowledge/knowledgeC.db"),
        {{QStringLiteral("com.example.Atlas"), inWeek.addSecs(-7200), 7200},
         {QStringLiteral("com.example.Unknown"), inWeek.addSecs(-3600), 1800}}));
    // Yesterday's record: today's download is the difference.
    ASSERT_TRUE(KSTTestSupport::writeFile(
        historyPath,
        KSTPropertyList::toXml(QVariantList{historyRecord(
            QDate::currentDate().addDays(-1).toString(Qt::ISODate), 50 * GiB, 4000, 600)})));

    const auto snapshot = KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                              .fetchReporterSnapshotWithGeneration(info.reporterScanGeneration());
    ASSERT_TRUE(snapshot);
    EXPECT_FALSE(snapshot->isPartial);
    EXPECT_EQ(snapshot->appsInstalledCount, 4u);
    EXPECT_EQ(snapshot->appsInstalledSummary, "Atlas, Kiwi, Mango"); // by name, three shown
    EXPECT_EQ(snapshot->appsRemovedCount, 3u);
    EXPECT_EQ(snapshot->appsRemovedSummary, "Old One, Gone");
    EXPECT_EQ(snapshot->filesAddedCount, 0u);
    EXPECT_EQ(snapshot->filesRemovedDeltaText, "—");
    EXPECT_EQ(snapshot->diskNetChangeBytes, 0);
    EXPECT_TRUE(snapshot->topFolders.isEmpty());
    EXPECT_EQ(snapshot->diskDailyFractions.last(), 0.6); // today, just recorded
    EXPECT_EQ(snapshot->diskDailyFractions[5], 0.5);     // yesterday
    EXPECT_EQ(snapshot->networkDailyDownloadFractions.last(), 1000.0 / 4000.0);
    EXPECT_EQ(snapshot->networkDailyDownloadFractions[5], 1.0); // oldest known counter whole

    ASSERT_EQ(snapshot->appUsageEntries.size(), 2);
    const KSTReporterAppUsageEntry &top = snapshot->appUsageEntries[0];
    EXPECT_EQ(top.name, "Atlas Pro");
    EXPECT_EQ(top.bundlePath, mac.path("Applications/Atlas.app"));
    EXPECT_EQ(top.barFraction, 1.0);
    EXPECT_EQ(top.detailText, "2 hours this week");
    EXPECT_EQ(snapshot->appUsageEntries[1].bundlePath, "");
    EXPECT_EQ(snapshot->appUsageEntries[1].barFraction, 0.25);

    const QVariantList records = KSTReporterHistory::reporterHistoryRecords();
    ASSERT_EQ(records.size(), 2);
    const QVariantMap today = records.last().toMap();
    EXPECT_EQ(today.value("day"), QDate::currentDate().toString(Qt::ISODate));
    EXPECT_EQ(today.value("storageUsed").toULongLong(), 60 * GiB);
    EXPECT_EQ(today.value("networkIn").toULongLong(), 5000u);
    EXPECT_EQ(today.value("networkOut").toULongLong(), 700u);
}

TEST_F(ReporterEngineTest, NothingToReportIsNotAFailure)
{
    mac.writeHomeFile("Library/Application Support/Knowledge/knowledgeC.db", "not a database");
    const auto snapshot = KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                              .fetchReporterSnapshotWithGeneration(info.reporterScanGeneration());
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(snapshot->appsInstalledSummary, "No new installs this week");
    EXPECT_EQ(snapshot->appsRemovedSummary, "No removals detected this week");
    EXPECT_TRUE(snapshot->appUsageEntries.isEmpty());
    EXPECT_TRUE(KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                    .applicationsInstalledSince(QDateTime::currentDateTime().addDays(1))
                    .isEmpty());
}

TEST_F(ReporterEngineTest, AModifiedBundleCountsFromItsLaterDate)
{
    const QString path = addApp("Old");
    // Made long ago and changed this week, or only made long ago (where the file system
    // keeps no birth time the modification date is all there is).
    const QDateTime longAgo = QDateTime::currentDateTime().addDays(-40);
    ASSERT_TRUE(KSTFixtureMac::setModified(path, longAgo));
    const std::optional<QDateTime> date = KSTReporterEngine::installDateOfBundle(path);
    ASSERT_TRUE(date);
    const std::optional<KSTQuietFiles::Times> times = KSTQuietFiles::timesOf(path);
    ASSERT_TRUE(times);
    EXPECT_EQ(*date, times->birth.value_or(longAgo) > longAgo ? *times->birth : longAgo);
    EXPECT_EQ(KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                  .applicationsInstalledSince(longAgo.addSecs(-1))
                  .size(),
              1);
}

TEST_F(ReporterEngineTest, TheFrameDeliversPlaceholderThenFullOnTheReporterQueue)
{
    KSTReporterEngine::install(info);
    std::mutex mutex;
    QList<KSTSystemInfo::ReporterSnapshotPtr> delivered;
    info.fetchReporterSnapshotAsync([&](KSTSystemInfo::ReporterSnapshotPtr snapshot) {
        std::lock_guard lock(mutex);
        delivered.append(snapshot);
    });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] {
        std::lock_guard lock(mutex);
        return delivered.size() == 2;
    }));
    std::lock_guard lock(mutex);
    EXPECT_TRUE(delivered[0]->isPartial);
    EXPECT_FALSE(delivered[1]->isPartial);
    EXPECT_EQ(info.cachedReporterSnapshot(), delivered[1]);
    EXPECT_EQ(KSTReporterHistory::reporterHistoryRecords().size(), 1);
}

TEST_F(ReporterEngineTest, AnIdentifierNamesTheFirstCollectedBundle)
{
    KSTFixtureMac::App system;
    system.name = "Editor";
    system.bundleIdentifier = "com.example.editor";
    KSTFixtureMac::App home = system;
    home.inHome = true;
    const QString first = mac.addApp(system);
    mac.addApp(home);
    EXPECT_EQ(KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                  .bundlePathForIdentifier("com.example.editor"),
              first);
    EXPECT_EQ(KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                  .bundlePathForIdentifier("com.example.none"),
              "");
    EXPECT_EQ(KSTReporterEngine(KSTReporterEngine::hooksOf(info)).bundlePathForIdentifier(""), "");
}

TEST_F(ReporterEngineTest, ShortensPathsInTheHome)
{
    EXPECT_EQ(KSTReporterEngine::shortenHomePath(mac.home() + "/Documents/x"), "~/Documents/x");
    EXPECT_EQ(KSTReporterEngine::shortenHomePath("/Applications/x"), "/Applications/x");
}

} // namespace

// On a Linux desktop the week's installs are its menu applications, dated by their entries,
// and the packages dpkg installed: a package whose entry is listed counts once, by the entry's
// name.
TEST(ReporterLinuxDesktopTest, InstallsAreTheMenusApplicationsAndTheWeeksPackages)
{
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    QStringList expected;
    for (const KSTDebianDesktop::VisibleApp &app : KSTDebianDesktop::populate(machine))
        expected << app.name;
    machine.activate();
    const QDateTime now = QDateTime::currentDateTime();
    const QByteArray yesterday = now.addDays(-1).toString("yyyy-MM-dd HH:mm:ss").toUtf8();
    machine.writeFile("var/log/dpkg.log", yesterday + " install nautilus:amd64 <none> 43.2-1\n" +
                                              yesterday + " install libgtk-4-1:amd64 <none> 4.8\n");
    expected << QStringLiteral("libgtk-4-1");
    std::sort(expected.begin(), expected.end());

    KSTSystemInfo info;
    QStringList names;
    QStringList paths;
    for (const KSTAppUsageInfo &app : KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                                          .applicationsInstalledSince(now.addDays(-7))) {
        names << app.name;
        if (!app.bundlePath.isEmpty())
            paths << app.bundlePath;
    }
    EXPECT_EQ(names, expected);
    EXPECT_EQ(paths.size(), expected.size() - 1);
    // Nothing dated after the week's start is older than it: a later start leaves them out.
    EXPECT_TRUE(KSTReporterEngine(KSTReporterEngine::hooksOf(info))
                    .applicationsInstalledSince(now.addDays(1))
                    .isEmpty());
}
