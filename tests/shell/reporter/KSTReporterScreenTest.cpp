// The Mac Reporter screen inside the window, driving the real Reporter engine on fixture
// Macs: the placeholder drawn from the history, then the full week; refresh; the plain empty
// states; the damaged-history notice; the System Report request.
#include "KSTShellTestFixture.h"

#include "KSTElidedLabel.h"
#include "KSTFormatting.h"
#include "KSTObjectLookup.h"
#include "KSTReporterBarChart.h"
#include "KSTReporterBarList.h"
#include "KSTReporterCharts.h"
#include "KSTReporterEngine.h"
#include "KSTReporterHistory.h"
#include "KSTReporterScreen.h"
#include "KSTReporterSnapshot.h"
#include "KSTReporterStatCard.h"
#include "KSTReporterTestSupport.h"

#include <QDir>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <chrono>
#include <thread>

namespace {

using namespace Qt::StringLiterals;
using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;

const QString HistoryRelative =
    QStringLiteral("Library/Application Support/Kestrel/reporter-history.plist");
const QString KnowledgeRelative =
    QStringLiteral("Library/Application Support/Knowledge/knowledgeC.db");

class ReporterScreenTest : public ShellTest
{
protected:
    void SetUp() override
    {
        ShellTest::SetUp();
        grantFullDiskAccess();
        historyPath = mac.homePath(HistoryRelative);
        // The real engine, with a build that can be held back to look at the placeholder.
        KSTReporterEngine::install(systemInfo);
        systemInfo.setReporterSnapshotBuilder([this](quint64 generation) {
            ++builds;
            while (hold)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            return KSTReporterEngine(KSTReporterEngine::hooksOf(systemInfo))
                .fetchReporterSnapshotWithGeneration(generation);
        });
    }

    void TearDown() override
    {
        hold = false;
        systemInfo.reporterQueue().sync([] {});
        KSTTestSupport::pumpFor(20);
        ShellTest::TearDown();
    }

    KSTReporterScreen *showReporter(KSTMainWindowController &controller)
    {
        controller.showSection(1);
        return qobject_cast<KSTReporterScreen *>(controller.screenForSection(1));
    }

    // The six days before today, each with cumulative network counters.
    void writeWeekOfHistory(const QList<qint64> &received, const QList<qint64> &sent)
    {
        QVariantList records;
        const QDateTime now = QDateTime::currentDateTime();
        for (int day = 6; day >= 1; --day) {
            records << historyRecord(KSTReporterCharts::historyDayKeyForDate(now.addDays(-day)),
                                     qint64(100) << 30, received.at(6 - day), sent.at(6 - day));
        }
        mac.writeHomePlist(HistoryRelative, records);
    }

    static QString valueOf(QWidget *screen, const char *card)
    {
        return textNamed<QLabel>(childNamed<KSTReporterStatCard>(screen, QLatin1String(card)),
                                 u"statValue"_s);
    }

    // The whole detail line, also when it is shortened on screen.
    static QString detailOf(QWidget *screen, const char *card)
    {
        const auto *detail = childNamed<KSTElidedLabel>(
            childNamed<KSTReporterStatCard>(screen, QLatin1String(card)), u"statDetail"_s);
        return detail ? detail->fullText() : QString();
    }

    static QStringList usageTitles(QWidget *screen)
    {
        auto *list = childNamed<KSTReporterBarList>(screen, QStringLiteral("usageList"));
        return list ? list->shownTitles() : QStringList();
    }

    QString historyPath;
    std::atomic<bool> hold{false};
    std::atomic<int> builds{0};
};

TEST_F(ReporterScreenTest, DrawsTheHistoryAtOnceThenTheFullWeek)
{
    KSTFixtureMac::App atlas;
    atlas.name = QStringLiteral("Atlas");
    atlas.bundleIdentifier = QStringLiteral("com.example.atlas");
    mac.addApp(atlas);
    mac.writeFile(QStringLiteral("var/log/install.log"),
                  "installd: Removed Gone.app\ninstalld: REMOVED Gone.app\n"
                  "installd: Removed Old Tool.app\n");
    const QDateTime now = QDateTime::currentDateTime();
    QList<KSTKnowledgeUsageRow> usage;
    for (int app = 0; app < 7; ++app) // seven used applications, the most used first
        usage << KSTKnowledgeUsageRow{QStringLiteral("com.example.app%1").arg(app),
                                      now.addSecs(-7200), 3600.0 - app * 300};
    usage[0].bundleIdentifier = QStringLiteral("com.example.atlas");
    ASSERT_TRUE(writeKnowledgeDatabase(mac.homePath(KnowledgeRelative), usage));
    // Received: 1000 on the oldest day, then +2000, +1000, +4000, +1000, +500.
    writeWeekOfHistory({1000, 3000, 4000, 8000, 9000, 9500}, {400, 800, 800, 1000, 1100, 1200});

    hold = true;
    auto controller = makeShownWindow();
    KSTReporterScreen *screen = showReporter(*controller);
    ASSERT_NE(screen, nullptr);
    QSignalSpy ready(screen, &KSTToolScreen::contentReady);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] {
        return !textNamed<QLabel>(screen, QStringLiteral("dateRange")).isEmpty() &&
               textNamed<QLabel>(screen, QStringLiteral("dateRange")) != "This Week";
    }));

    // The placeholder: the range, and charts drawn from the history as it stands.
    EXPECT_FALSE(screen->isContentReady());
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("dateRange")),
              KSTReporterEngine::formattedDateRange(KSTReporterEngine::weekStartForDate(now), now));
    EXPECT_EQ(detailOf(screen, "appsInstalledCard"), "Scanning in background…");
    EXPECT_EQ(detailOf(screen, "appsRemovedCard"), "Scanning in background…");
    EXPECT_EQ(valueOf(screen, "appsInstalledCard"), "—");
    auto *network = childNamed<KSTReporterBarChart>(screen, QStringLiteral("networkChart"));
    ASSERT_NE(network, nullptr);
    ASSERT_EQ(network->series().size(), 2);
    // Today has no record yet: its counter reads 0, a drop, so it charts as nothing.
    EXPECT_EQ(network->series().at(0).fractions,
              (QList<double>{0.25, 0.5, 0.25, 1.0, 0.25, 0.125, 0.0}));
    EXPECT_EQ(network->series().at(1).fractions,
              (QList<double>{1.0, 1.0, 0.0, 0.5, 0.25, 0.25, 0.0}));
    EXPECT_EQ(network->labels(), KSTReporterCharts::dayLabelsForLastDays(7, now));
    auto *disk = childNamed<KSTReporterBarChart>(screen, QStringLiteral("diskChart"));
    ASSERT_NE(disk, nullptr);
    ASSERT_EQ(disk->series().size(), 1);
    EXPECT_EQ(disk->series().at(0).fractions.size(), 7);
    EXPECT_EQ(disk->labels(), network->labels());
    EXPECT_EQ(textNamed<QLabel>(screen->findChild<QWidget *>("usageList"), "emptyText"),
              "Scanning in background…");
    auto *refresh = childNamed<QPushButton>(screen, QStringLiteral("refreshButton"));
    ASSERT_NE(refresh, nullptr);
    EXPECT_FALSE(refresh->isEnabled());
    EXPECT_FALSE(QFileInfo::exists(historyPath + ".lock"));
    EXPECT_EQ(KSTReporterHistory::reporterHistoryRecords().size(), 6);

    // Visiting other tools meanwhile starts no second build.
    for (int visit = 0; visit < 3; ++visit) {
        controller->showSection(0);
        showReporter(*controller);
    }
    hold = false;
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    EXPECT_EQ(ready.count(), 1);
    EXPECT_EQ(builds, 1);

    const KSTSystemInfo::ReporterSnapshotPtr full = systemInfo.cachedReporterSnapshot();
    ASSERT_NE(full, nullptr);
    EXPECT_EQ(valueOf(screen, "appsInstalledCard"), "1");
    EXPECT_EQ(detailOf(screen, "appsInstalledCard"), "Atlas");
    EXPECT_EQ(valueOf(screen, "appsRemovedCard"), "2");
    EXPECT_EQ(detailOf(screen, "appsRemovedCard"), "Gone, Old Tool");
    EXPECT_EQ(valueOf(screen, "filesAddedCard"), "0");
    EXPECT_EQ(detailOf(screen, "filesAddedCard"), "—");
    EXPECT_EQ(detailOf(screen, "filesRemovedCard"), "—");
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("downloadTotal")),
              KSTFormatting::formatBytesShort(full->networkDownloadBytes) + " downloaded");
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("uploadTotal")),
              KSTFormatting::formatBytesShort(full->networkUploadBytes) + " uploaded");
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("networkPeriod")),
              KSTReporterEngine::networkPeriodDescription());
    // Five usage rows at most, the most used first, named from the bundle when there is one.
    EXPECT_EQ(usageTitles(screen), (QStringList{"Atlas", "com.example.app1", "com.example.app2",
                                                "com.example.app3", "com.example.app4"}));
    // Today is recorded, and the history charted again with it.
    EXPECT_EQ(KSTReporterHistory::reporterHistoryRecords().size(), 7);
    EXPECT_EQ(network->series().at(0).fractions.first(),
              full->networkDailyDownloadFractions.first());
    EXPECT_FALSE(
        childNamed<QWidget>(screen, QStringLiteral("damagedHistoryNotice"))->isVisibleTo(screen));
    EXPECT_TRUE(refresh->isEnabled());

    // Pointing at a day tells its figures in bytes, from the same records.
    ASSERT_TRUE(KSTTestSupport::pumpUntil([disk] { return disk->groupToolTips().size() == 7; }));
    const QString oldest = disk->groupToolTips().first();
    EXPECT_TRUE(oldest.startsWith(QLocale().toString(now.date().addDays(-6), "dddd, MMM d")))
        << qPrintable(oldest);
    EXPECT_TRUE(oldest.contains(KSTFormatting::formatCount(quint64(100) << 30) + " bytes"))
        << qPrintable(oldest);
    ASSERT_EQ(network->groupToolTips().size(), 7);
    const QString second = network->groupToolTips().at(1);
    EXPECT_TRUE(second.contains("(" + KSTFormatting::formatCount(2000) + " bytes)"))
        << qPrintable(second);
    EXPECT_TRUE(second.contains("(" + KSTFormatting::formatCount(400) + " bytes)"))
        << qPrintable(second);
}

TEST_F(ReporterScreenTest, RefreshBuildsTheReportAnewButAVisitDoesNot)
{
    auto controller = makeShownWindow();
    KSTReporterScreen *screen = showReporter(*controller);
    ASSERT_NE(screen, nullptr);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    controller->showSection(0);
    showReporter(*controller);
    KSTTestSupport::pumpFor(50);
    EXPECT_EQ(builds, 1); // the cached report of a few seconds ago

    KSTFixtureMac::App late;
    late.name = QStringLiteral("Latecomer");
    late.bundleIdentifier = QStringLiteral("com.example.late");
    mac.addApp(late);
    QTest::mouseClick(childNamed<QPushButton>(screen, QStringLiteral("refreshButton")),
                      Qt::LeftButton);
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [screen] { return detailOf(screen, "appsInstalledCard") == "Latecomer"; }));
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    EXPECT_EQ(builds, 2);
}

TEST_F(ReporterScreenTest, AQuietWeekSaysSoPlainly)
{
    mac.writeHomeFile(KnowledgeRelative, "not a database");
    auto controller = makeShownWindow();
    KSTReporterScreen *screen = showReporter(*controller);
    ASSERT_NE(screen, nullptr);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));

    EXPECT_EQ(valueOf(screen, "appsInstalledCard"), "0");
    EXPECT_EQ(detailOf(screen, "appsInstalledCard"), "No new installs this week");
    EXPECT_EQ(detailOf(screen, "appsRemovedCard"), "No removals detected this week");
    EXPECT_EQ(usageTitles(screen), QStringList());
    auto *usage = childNamed<QWidget>(screen, QStringLiteral("usageList"));
    auto *folders = childNamed<QWidget>(screen, QStringLiteral("folderList"));
    ASSERT_NE(usage, nullptr);
    ASSERT_NE(folders, nullptr);
    EXPECT_EQ(textNamed<QLabel>(usage, "emptyText"), "No app usage was recorded this week.");
    EXPECT_TRUE(childNamed<QLabel>(usage, "emptyText")->isVisibleTo(screen));
    EXPECT_EQ(textNamed<QLabel>(folders, "emptyText"),
              "No folder changes were measured this week.");
    EXPECT_TRUE(childNamed<QLabel>(folders, "emptyText")->isVisibleTo(screen));
    // A first week: only today's record, charted at full height on the network chart.
    auto *network = childNamed<KSTReporterBarChart>(screen, QStringLiteral("networkChart"));
    ASSERT_NE(network, nullptr);
    EXPECT_EQ(network->series().at(0).fractions.mid(0, 6), QList<double>(6, 0.0));
}

TEST_F(ReporterScreenTest, AHistoryThatCannotBeWrittenIsNotTheUsersConcernHere)
{
    // A file where the history's folder should be: today cannot be recorded.
    mac.writeHomeFile(QStringLiteral("Library/Application Support/Kestrel"), "in the way");
    auto controller = makeShownWindow();
    KSTReporterScreen *screen = showReporter(*controller);
    ASSERT_NE(screen, nullptr);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    KSTTestSupport::pumpFor(50); // anything the update announced has arrived
    EXPECT_FALSE(
        childNamed<QWidget>(screen, QStringLiteral("damagedHistoryNotice"))->isVisibleTo(screen));
    EXPECT_EQ(detailOf(screen, "appsRemovedCard"), "No removals detected this week");
    EXPECT_EQ(KSTTestSupport::readFile(mac.homePath("Library/Application Support/Kestrel")),
              "in the way");
}

TEST_F(ReporterScreenTest, SystemReportIsAskedForAndNothingElseHappens)
{
    auto controller = makeShownWindow();
    KSTReporterScreen *screen = showReporter(*controller);
    ASSERT_NE(screen, nullptr);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    QSignalSpy asked(screen, &KSTReporterScreen::didRequestSystemReport);
    QSignalSpy sections(screen, &KSTToolScreen::didRequestSection);
    QTest::mouseClick(childNamed<QPushButton>(screen, QStringLiteral("systemReportButton")),
                      Qt::LeftButton);
    EXPECT_EQ(asked.count(), 1);
    EXPECT_EQ(sections.count(), 0);
    EXPECT_EQ(controller->screenForSection(1), screen);
    EXPECT_EQ(builds, 1);
}

// Which files count as damaged is the history's; the screen names the copy it kept aside.
TEST_F(ReporterScreenTest, ADamagedHistoryIsKeptAsideAndTheKeptFileNamed)
{
    const QByteArray original("{ broken");
    ASSERT_TRUE(KSTTestSupport::writeFile(historyPath, original));
    auto controller = makeShownWindow();
    KSTReporterScreen *screen = showReporter(*controller);
    ASSERT_NE(screen, nullptr);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    auto *notice = childNamed<QWidget>(screen, QStringLiteral("damagedHistoryNotice"));
    ASSERT_NE(notice, nullptr);
    ASSERT_TRUE(
        KSTTestSupport::pumpUntil([notice, screen] { return notice->isVisibleTo(screen); }));

    const QStringList kept = QDir(QFileInfo(historyPath).path())
                                 .entryList({QStringLiteral("reporter-history.plist.damaged-*")});
    ASSERT_EQ(kept.size(), 1);
    EXPECT_EQ(KSTTestSupport::readFile(QFileInfo(historyPath).path() + '/' + kept.first()),
              original);
    const QString text = textNamed<QLabel>(screen, QStringLiteral("damagedHistoryNoticeText"));
    EXPECT_TRUE(text.contains(kept.first())) << qPrintable(text);
    EXPECT_FALSE(text.contains('\n'));
    EXPECT_EQ(KSTReporterHistory::reporterHistoryRecords().size(), 1);
}

} // namespace
