// `kestrel --root R overview` run as the real program against a fixture Mac: the figures
// the volume gives are compared with a golden document; the host's own live figures are
// checked for shape and masked.
#include "KSTFixtureMac.h"
#include "KSTTestSupport.h"
#include "KSTToolRunner.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

// Through the tool runner rather than QProcess: QProcess starts children in a way that
// ThreadSanitizer cannot follow, which corrupts its view of the test process.
KSTProgramRun runOverviewCommand(const QStringList &arguments)
{
    KSTScopedEnvironment host(KSTEnvironment::hostDefault()); // the program's path as it is
    const KSTToolResult result = KSTToolRunner::run(QStringLiteral(KESTREL_EXECUTABLE), arguments,
                                                    KSTToolRunner::Channels::Separate, 120'000);
    return {result.started && !result.timedOut ? result.exitCode : -1,
            QString::fromUtf8(result.standardOutput), QString::fromUtf8(result.standardError)};
}

class OverviewCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.addRecordedTool("/usr/sbin/system_profiler",
                            "system_profiler-SPHardware.apple-M3-Mac15,3.txt");
        const struct
        {
            const char *name;
            const char *location;
            bool inHome;
            qint64 bytes;
            const char *recordedInfoPlist;
        } apps[] = {
            {"GarageBand", "Applications", false, 3'000'000, "Info.plist.GarageBand.bplist"},
            {"Safari", "Applications", false, 1'000'000, "Info.plist.Safari.xml"},
            {"Notes", "System/Applications", false, 200'000, ""},
            {"Tool", "Applications", true, 50'000, ""},
            {"Old", "Downloads/Archive", true, 10'000, ""},
            {"Tiny", "Desktop", true, 0, ""},
        };
        for (const auto &a : apps) {
            KSTFixtureMac::App app;
            app.name = QString::fromUtf8(a.name);
            app.location = QString::fromUtf8(a.location);
            app.inHome = a.inHome;
            app.resourceBytes = a.bytes;
            app.bundleIdentifier = QStringLiteral("com.example.") + app.name;
            app.recordedInfoPlist = QString::fromUtf8(a.recordedInfoPlist);
            mac.addApp(app);
        }
    }

    KSTFixtureMac mac;
};

// Replaces what belongs to the host or to the file system's block size.
QJsonObject masked(QJsonObject snapshot, const QString &root)
{
    for (const char *key :
         {"batteryText", "cpuCoreCount", "cpuUsageFraction", "hasBattery", "memoryTotalBytes",
          "memoryUsedBytes", "memoryUsedFraction", "networkInterfaceName", "storageTotalBytes",
          "storageUsedBytes", "storageUsedFraction", "uptimeText"})
        snapshot.insert(QLatin1String(key), QStringLiteral("<host>"));
    static const QRegularExpression sizes(QStringLiteral("\\d+(\\.\\d)? [KMGT]?B"));
    snapshot.insert(
        "specsLine",
        snapshot.value("specsLine").toString().replace(sizes, QStringLiteral("<host>")));

    QJsonArray categories;
    for (const QJsonValue &value : snapshot.value("storageCategories").toArray()) {
        QJsonObject category = value.toObject();
        if (category.value("bytes").toInteger() != 0)
            category.insert("bytes", QStringLiteral("<size>"));
        categories.append(category);
    }
    snapshot.insert("storageCategories", categories);
    QJsonArray apps;
    for (const QJsonValue &value : snapshot.value("topApps").toArray()) {
        QJsonObject app = value.toObject();
        app.insert("sizeBytes", QStringLiteral("<size>"));
        app.insert("bundlePath",
                   app.value("bundlePath").toString().replace(root, QStringLiteral("<root>")));
        apps.append(app);
    }
    snapshot.insert("topApps", apps);
    return snapshot;
}

TEST_F(OverviewCommandTest, JsonShowsTheVolumesMachineAndApplications)
{
    const KSTProgramRun run = runOverviewCommand({"--root", mac.root(), "overview", "--json"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject snapshot = run.json().object();

    // The host's figures have the right shape before they are masked.
    EXPECT_TRUE(snapshot.value("uptimeText").toString().startsWith(QLatin1String("Uptime ")));
    EXPECT_GE(snapshot.value("cpuCoreCount").toInteger(), 1);
    EXPECT_GT(snapshot.value("memoryTotalBytes").toInteger(), 0);
    EXPECT_EQ(snapshot.value("hasBattery").toBool(), snapshot.value("batteryText").isString());

    QFile golden(KSTTestSupport::testDataPath("overview/fixture-mac-overview.json"));
    ASSERT_TRUE(golden.open(QIODevice::ReadOnly));
    const QJsonObject actual = masked(snapshot, mac.root());
    EXPECT_EQ(actual, QJsonDocument::fromJson(golden.readAll()).object())
        << QJsonDocument(actual).toJson().toStdString();
}

TEST_F(OverviewCommandTest, SummaryAndLiveSamples)
{
    const KSTProgramRun summary = runOverviewCommand({"--root", mac.root(), "overview"});
    ASSERT_EQ(summary.status, 0) << summary.err.toStdString();
    const QStringList lines = summary.out.split(QLatin1Char('\n'));
    ASSERT_GT(lines.size(), 3);
    EXPECT_EQ(lines[0], QStringLiteral("MacBook Pro · Apple M3"));
    EXPECT_TRUE(lines[1].startsWith(QStringLiteral("macOS Sonoma 14.5 · ")))
        << summary.out.toStdString();
    EXPECT_TRUE(summary.out.contains(QLatin1String("Applications  6 installed; the largest:")));
    EXPECT_TRUE(summary.out.contains(QLatin1String("  System & Other  ")));

    const KSTProgramRun live = runOverviewCommand({"--json", "overview", "--live", "2"});
    ASSERT_EQ(live.status, 0) << live.err.toStdString();
    const QJsonArray samples = live.json().array();
    ASSERT_EQ(samples.size(), 2);
    EXPECT_EQ(samples[0].toObject().value("cpuUsageFraction").toDouble(), 0.0);
    EXPECT_EQ(samples[0].toObject().value("networkDownloadMBps").toDouble(), 0.0);
}

} // namespace
