// `kestrel --root R reporter` run as the real program against a fixture Mac: the JSON keys,
// today's record, damaged histories, empty sources and usage errors.
#include "KSTFixtureMac.h"
#include "KSTReporterTestSupport.h"
#include "KSTToolRunner.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

// Through the tool runner rather than QProcess: QProcess starts children in a way that
// ThreadSanitizer cannot follow.
KSTProgramRun runKestrel(const QStringList &arguments)
{
    KSTScopedEnvironment host(KSTEnvironment::hostDefault());
    const KSTToolResult result = KSTToolRunner::run(QStringLiteral(KESTREL_EXECUTABLE), arguments,
                                                    KSTToolRunner::Channels::Separate, 120'000);
    return {result.started && !result.timedOut ? result.exitCode : -1,
            QString::fromUtf8(result.standardOutput), QString::fromUtf8(result.standardError)};
}

class ReporterCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        historyPath = mac.homePath("Library/Application Support/Kestrel/reporter-history.plist");
    }

    KSTProgramRun reporter(QStringList arguments)
    {
        return runKestrel(QStringList{"--root", mac.root()} + arguments);
    }

    QStringList historyFolderEntries() const
    {
        return QDir(QFileInfo(historyPath).path()).entryList(QDir::Files | QDir::Hidden);
    }

    KSTFixtureMac mac;
    QString historyPath;
};

TEST_F(ReporterCommandTest, JsonHasThePropertyNamesAndTodayIsRecordedOnce)
{
    KSTFixtureMac::App app;
    app.name = "Atlas";
    app.bundleIdentifier = "com.example.atlas";
    mac.addApp(app);
    mac.writeFile("var/log/install.log",
                  "installd: Removed Gone.app\ninstalld: REMOVED Gone.APP\n");
    ASSERT_TRUE(writeKnowledgeDatabase(
        mac.homePath("Library/Application Support/Knowledge/knowledgeC.db"),
        {{QStringLiteral("com.example.atlas"), QDateTime::currentDateTime().addSecs(-600), 300}}));

    for (int run = 0; run < 2; ++run) {
        const KSTProgramRun result = reporter({"reporter", "--json"});
        ASSERT_EQ(result.status, 0) << qPrintable(result.err);
        EXPECT_EQ(result.err, "");
        const QJsonObject report = result.json().object();
        EXPECT_EQ(report.keys(), (QStringList{"appUsageEntries",
                                              "appsInstalledCount",
                                              "appsInstalledSummary",
                                              "appsRemovedCount",
                                              "appsRemovedSummary",
                                              "dateRangeText",
                                              "diskDailyFractions",
                                              "diskDayLabels",
                                              "diskNetChangeBytes",
                                              "filesAddedCount",
                                              "filesAddedDeltaText",
                                              "filesRemovedCount",
                                              "filesRemovedDeltaText",
                                              "isPartial",
                                              "networkDailyDownloadFractions",
                                              "networkDailyUploadFractions",
                                              "networkDayLabels",
                                              "networkDownloadBytes",
                                              "networkPeriodText",
                                              "networkUploadBytes",
                                              "topFolders"}));
        EXPECT_EQ(report.value("isPartial"), false);
        EXPECT_EQ(report.value("appsInstalledSummary").toString(), "Atlas");
        EXPECT_EQ(report.value("appsRemovedSummary").toString(), "Gone");
        EXPECT_EQ(report.value("diskDailyFractions").toArray().size(), 7);
        const QJsonArray usage = report.value("appUsageEntries").toArray();
        ASSERT_EQ(usage.size(), 1);
        EXPECT_EQ(usage[0].toObject().keys(),
                  (QStringList{"barFraction", "bundleIdentifier", "bundlePath", "detailText",
                               "name", "usageSeconds"}));
        EXPECT_EQ(usage[0].toObject().value("bundlePath"), mac.path("Applications/Atlas.app"));
        EXPECT_EQ(usage[0].toObject().value("detailText"), "5 minutes this week");
    }

    const KSTProgramRun history = reporter({"reporter", "history", "--json"});
    ASSERT_EQ(history.status, 0) << qPrintable(history.err);
    const QJsonArray records = history.json().array();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(
        records[0].toObject().keys(),
        (QStringList{"day", "filesAdded", "networkIn", "networkOut", "storageUsed", "trashCount"}));
    EXPECT_EQ(records[0].toObject().value("day"), QDate::currentDate().toString(Qt::ISODate));

    const KSTProgramRun csv = reporter({"reporter", "history", "--csv"});
    ASSERT_EQ(csv.status, 0);
    const QStringList lines = csv.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(lines[0], "day,storageUsed,networkIn,networkOut,filesAdded,trashCount,downloaded,"
                        "uploaded");
    EXPECT_TRUE(lines[1].startsWith(QDate::currentDate().toString(Qt::ISODate) + ','));
}

TEST_F(ReporterCommandTest, ReadableReportWithoutAnySource)
{
    mac.writeHomeFile("Library/Application Support/Knowledge/knowledgeC.db", "corrupt");
    const KSTProgramRun result = reporter({"reporter"});
    ASSERT_EQ(result.status, 0) << qPrintable(result.err);
    for (const char *text : {"No new installs this week", "No removals detected this week",
                             "Downloaded", "no usage recorded this week"})
        EXPECT_TRUE(result.out.contains(QString::fromUtf8(text))) << text << qPrintable(result.out);
    EXPECT_EQ(result.out.count('%'), 21); // seven days of three shares
}

struct DamagedCase
{
    const char *name;
    QByteArray contents;
    const char *problem;
};

class DamagedHistoryCommandTest : public ReporterCommandTest,
                                  public ::testing::WithParamInterface<DamagedCase>
{
};

TEST_P(DamagedHistoryCommandTest, HistoryFailsAndChangesNothingThenTheReportKeepsItAside)
{
    const QByteArray original = GetParam().contents;
    ASSERT_TRUE(KSTTestSupport::writeFile(historyPath, original));

    const KSTProgramRun history = reporter({"reporter", "history"});
    EXPECT_EQ(history.status, 1);
    EXPECT_TRUE(history.err.contains(historyPath)) << qPrintable(history.err);
    EXPECT_TRUE(history.err.contains(GetParam().problem)) << qPrintable(history.err);
    EXPECT_EQ(KSTTestSupport::readFile(historyPath), original);
    EXPECT_EQ(historyFolderEntries(), QStringList{"reporter-history.plist"});

    const KSTProgramRun report = reporter({"reporter", "--json"});
    ASSERT_EQ(report.status, 0) << qPrintable(report.err);
    const QStringList entries = historyFolderEntries();
    ASSERT_EQ(entries.size(), 2) << qPrintable(entries.join(' '));
    const QStringList damaged = entries.filter("reporter-history.plist.damaged-");
    ASSERT_EQ(damaged.size(), 1) << qPrintable(entries.join(' '));
    const QString kept = QFileInfo(historyPath).path() + '/' + damaged.first();
    EXPECT_TRUE(report.err.contains(kept)) << qPrintable(report.err);
    EXPECT_EQ(KSTTestSupport::readFile(kept), original);
    EXPECT_EQ(reporter({"reporter", "history", "--json"}).json().array().size(), 1);
}

QByteArray oversized()
{
    QByteArray padded("<array>");
    padded.append(QByteArray(1024 * 1024 + 1, '\n'));
    return QByteArray("<?xml version=\"1.0\"?><plist version=\"1.0\">") + padded +
           "</array></plist>";
}

INSTANTIATE_TEST_SUITE_P(
    Files, DamagedHistoryCommandTest,
    ::testing::Values(DamagedCase{"NotAPropertyList", "{ broken", "not a property list"},
                      DamagedCase{"NonArrayRoot",
                                  "<?xml version=\"1.0\"?><plist version=\"1.0\"><string>x"
                                  "</string></plist>",
                                  "root is not an array"},
                      DamagedCase{"Oversized", oversized(), "larger than 1 MiB"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(ReporterCommandTest, AnUnwritableHistoryIsSaidButTheReportStillPrints)
{
    // A file where the history's folder should be: nothing can be written there.
    mac.writeHomeFile("Library/Application Support/Kestrel", "in the way");
    const KSTProgramRun result = reporter({"reporter"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.err.contains("history not recorded: ")) << qPrintable(result.err);
    EXPECT_TRUE(result.out.contains("Downloaded"));
}

TEST_F(ReporterCommandTest, HistoryOfAFreshMacCreatesNothing)
{
    const KSTProgramRun result = reporter({"reporter", "history"});
    EXPECT_EQ(result.status, 0) << qPrintable(result.err);
    EXPECT_TRUE(result.out.contains("No days recorded yet.")) << qPrintable(result.out);
    EXPECT_FALSE(QFileInfo::exists(QFileInfo(historyPath).path()));
    EXPECT_EQ(reporter({"reporter", "history", "--json"}).json().array().size(), 0);
}

TEST_F(ReporterCommandTest, UsageErrors)
{
    const QList<QStringList> cases = {{"reporter", "weekly"},
                                      {"reporter", "history", "extra"},
                                      {"reporter", "history", "--csv", "--json"},
                                      {"reporter", "--csv"}};
    for (const QStringList &arguments : cases) {
        const KSTProgramRun result = reporter(arguments);
        EXPECT_EQ(result.status, 2) << qPrintable(arguments.join(' '));
        EXPECT_FALSE(QFileInfo::exists(historyPath)) << qPrintable(arguments.join(' '));
    }
}

} // namespace
