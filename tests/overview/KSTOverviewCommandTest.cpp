// `kestrel --root R overview` run as the real program against a fixture Mac: the figures
// the volume gives are compared with a golden document; the host's own live figures are
// checked for shape and masked.
#include "KSTFixtureMac.h"
#include "KSTTestSupport.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

struct ProgramRun
{
    int status = -1;
    QString out;
    QString err;
};

ProgramRun runKestrel(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(KESTREL_EXECUTABLE), arguments);
    ProgramRun run;
    if (!process.waitForFinished(120'000))
        return run;
    run.status = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

class OverviewCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.addRecordedTool(QStringLiteral("/usr/sbin/system_profiler"),
                            QStringLiteral("system_profiler-SPHardware.apple-M3-Mac15,3.txt"));
        addApp(QStringLiteral("GarageBand"), QStringLiteral("Applications"), false, 3'000'000,
               QStringLiteral("Info.plist.GarageBand.bplist"));
        addApp(QStringLiteral("Safari"), QStringLiteral("Applications"), false, 1'000'000,
               QStringLiteral("Info.plist.Safari.xml"));
        addApp(QStringLiteral("Notes"), QStringLiteral("System/Applications"), false, 200'000);
        addApp(QStringLiteral("Tool"), QStringLiteral("Applications"), true, 50'000);
        addApp(QStringLiteral("Old"), QStringLiteral("Downloads/Archive"), true, 10'000);
        addApp(QStringLiteral("Tiny"), QStringLiteral("Desktop"), true, 0);
    }

    void addApp(const QString &name, const QString &location, bool inHome, qint64 bytes,
                const QString &recordedInfoPlist = {})
    {
        KSTFixtureMac::App app;
        app.name = name;
        app.location = location;
        app.inHome = inHome;
        app.resourceBytes = bytes;
        app.bundleIdentifier = QStringLiteral("com.example.") + name;
        app.recordedInfoPlist = recordedInfoPlist;
        mac.addApp(app);
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
    snapshot.insert(QStringLiteral("specsLine"), snapshot.value(QStringLiteral("specsLine"))
                                                     .toString()
                                                     .replace(sizes, QStringLiteral("<host>")));

    QJsonArray categories;
    for (const QJsonValue &value : snapshot.value(QStringLiteral("storageCategories")).toArray()) {
        QJsonObject category = value.toObject();
        if (category.value(QStringLiteral("bytes")).toInteger() != 0)
            category.insert(QStringLiteral("bytes"), QStringLiteral("<size>"));
        categories.append(category);
    }
    snapshot.insert(QStringLiteral("storageCategories"), categories);
    QJsonArray apps;
    for (const QJsonValue &value : snapshot.value(QStringLiteral("topApps")).toArray()) {
        QJsonObject app = value.toObject();
        app.insert(QStringLiteral("sizeBytes"), QStringLiteral("<size>"));
        app.insert(QStringLiteral("bundlePath"), app.value(QStringLiteral("bundlePath"))
                                                     .toString()
                                                     .replace(root, QStringLiteral("<root>")));
        apps.append(app);
    }
    snapshot.insert(QStringLiteral("topApps"), apps);
    return snapshot;
}

TEST_F(OverviewCommandTest, JsonShowsTheVolumesMachineAndApplications)
{
    const ProgramRun run = runKestrel({QStringLiteral("--root"), mac.root(),
                                       QStringLiteral("overview"), QStringLiteral("--json")});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    QJsonParseError error;
    const QJsonObject snapshot = QJsonDocument::fromJson(run.out.toUtf8(), &error).object();
    ASSERT_EQ(error.error, QJsonParseError::NoError) << run.out.toStdString();

    // The host's figures have the right shape before they are masked.
    EXPECT_TRUE(snapshot.value(QStringLiteral("specsLine"))
                    .toString()
                    .contains(QRegularExpression(
                        QStringLiteral("^macOS Sonoma 14\\.5 · \\d+ [KMGT]?B RAM · \\d+ [KMGT]?B "
                                       "SSD$"))))
        << snapshot.value(QStringLiteral("specsLine")).toString().toStdString();
    EXPECT_TRUE(snapshot.value(QStringLiteral("uptimeText"))
                    .toString()
                    .startsWith(QLatin1String("Uptime ")));
    EXPECT_GE(snapshot.value(QStringLiteral("cpuCoreCount")).toInteger(), 1);
    EXPECT_GT(snapshot.value(QStringLiteral("memoryTotalBytes")).toInteger(), 0);
    EXPECT_EQ(snapshot.value(QStringLiteral("hasBattery")).toBool(),
              snapshot.value(QStringLiteral("batteryText")).isString());
    // Apps is the sum of the four bundles in the Applications folders.
    qint64 inApplicationFolders = 0;
    for (const QJsonValue &app : snapshot.value(QStringLiteral("topApps")).toArray()) {
        if (!app.toObject()
                 .value(QStringLiteral("bundlePath"))
                 .toString()
                 .contains(QLatin1String("/Downloads/")))
            inApplicationFolders += app.toObject().value(QStringLiteral("sizeBytes")).toInteger();
    }
    EXPECT_EQ(snapshot.value(QStringLiteral("storageCategories"))
                  .toArray()
                  .at(0)
                  .toObject()
                  .value(QStringLiteral("bytes"))
                  .toInteger(),
              inApplicationFolders);

    QFile golden(
        KSTTestSupport::testDataPath(QStringLiteral("overview/fixture-mac-overview.json")));
    ASSERT_TRUE(golden.open(QIODevice::ReadOnly));
    const QJsonObject expected = QJsonDocument::fromJson(golden.readAll()).object();
    const QJsonObject actual = masked(snapshot, mac.root());
    EXPECT_EQ(actual, expected) << QJsonDocument(actual).toJson().toStdString();
}

TEST_F(OverviewCommandTest, SummaryAndUsage)
{
    const ProgramRun summary =
        runKestrel({QStringLiteral("--root"), mac.root(), QStringLiteral("overview")});
    ASSERT_EQ(summary.status, 0) << summary.err.toStdString();
    const QStringList lines = summary.out.split(QLatin1Char('\n'));
    ASSERT_GT(lines.size(), 3);
    EXPECT_EQ(lines[0], QStringLiteral("MacBook Pro · Apple M3"));
    EXPECT_TRUE(lines[1].startsWith(QStringLiteral("macOS Sonoma 14.5 · ")))
        << summary.out.toStdString();
    EXPECT_TRUE(summary.out.contains(QLatin1String("Applications  6 installed; the largest:")));
    EXPECT_TRUE(summary.out.contains(QLatin1String("  System & Other  ")));

    const ProgramRun live = runKestrel({QStringLiteral("--json"), QStringLiteral("overview"),
                                        QStringLiteral("--live"), QStringLiteral("2")});
    ASSERT_EQ(live.status, 0) << live.err.toStdString();
    const QJsonArray samples = QJsonDocument::fromJson(live.out.toUtf8()).array();
    ASSERT_EQ(samples.size(), 2);
    EXPECT_EQ(samples[0].toObject().value(QStringLiteral("cpuUsageFraction")).toDouble(), 0.0);
    EXPECT_EQ(samples[0].toObject().value(QStringLiteral("networkDownloadMBps")).toDouble(), 0.0);

    for (const QStringList &bad :
         {QStringList{QStringLiteral("overview"), QStringLiteral("--live"), QStringLiteral("0")},
          QStringList{QStringLiteral("overview"), QStringLiteral("--live")},
          QStringList{QStringLiteral("overview"), QStringLiteral("extra")}}) {
        const ProgramRun run = runKestrel(bad);
        EXPECT_EQ(run.status, 2) << bad.join(QLatin1Char(' ')).toStdString();
        EXPECT_TRUE(run.out.isEmpty());
    }
}

} // namespace
