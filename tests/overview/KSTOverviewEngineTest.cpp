// The machine description and the snapshot: what the host says on its own root, what a
// Mac volume says under another root, and the fallbacks when nobody says anything.
#include "KSTOverviewEngine.h"

#include "KSTFakeHostInfo.h"
#include "KSTMachineTest.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDateTime>
#include <QFile>

#include <gtest/gtest.h>

using Engine = KSTOverviewEngine;
using FakeFigures = KSTFakeHostInfo::Figures;

namespace {

constexpr quint64 GiB = 1024ull * 1024 * 1024;
const QString SystemProfiler = QStringLiteral("/usr/sbin/system_profiler");
const KSTOperatingSystemVersion Debian{12, 0, 0, QStringLiteral("Debian GNU/Linux 12 (bookworm)")};

// The host's own machine (root "/") with a fake host behind it.
class HostOverviewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(hostEnvironment.isHostRoot());
        scopedEnvironment.emplace(hostEnvironment);
        KSTPermissionChecker::resetForTesting();
        host->with([](FakeFigures &f) {
            f.physicalMemoryBytes = 16 * GiB;
            f.volumeUsage = KSTVolumeUsage{500 * GiB, 200 * GiB};
            f.operatingSystemVersion = Debian;
        });
    }

    KSTScopedFakeHost host;
    const KSTEnvironment hostEnvironment = KSTEnvironment::hostDefault();
    std::optional<KSTScopedEnvironment> scopedEnvironment;
};

TEST_F(HostOverviewTest, SpecsLineMasksLongSerialNumbers)
{
    const QString specs = QStringLiteral("Debian GNU/Linux 12 (bookworm) · 16 GB RAM");
    const struct
    {
        const char *serial;
        const char *suffix;
    } cases[] = {
        {"", " · 500 GB SSD"},
        {"C02XK1AB", " · 500 GB SSD · Serial C02XK1AB"},
        {"C02XK1ABC", " · 500 GB SSD · Serial C02XK1AB…"},
    };
    for (const auto &c : cases) {
        host->with([&](FakeFigures &f) { f.serialNumber = QString::fromUtf8(c.serial); });
        EXPECT_EQ(Engine::specsLine(), specs + QString::fromUtf8(c.suffix));
    }
    // An unknown capacity leaves the disk out rather than claiming "0 B SSD".
    host->with([](FakeFigures &f) {
        f.serialNumber.clear();
        f.volumeUsage.reset();
    });
    EXPECT_EQ(Engine::specsLine(), specs);
}

TEST_F(HostOverviewTest, TitleComesFromModelAndChipWithFallbacks)
{
    const struct
    {
        const char *model;
        const char *brand;
        const char *computerName;
        const char *hostName;
        const char *title;
    } cases[] = {
        {"ThinkPad X1", "Intel(R) Core(TM) i7-8565U", "", "",
         "ThinkPad X1 · Intel(R) Core(TM) i7-8565U"},
        {"ThinkPad X1", "", "Desk", "", "ThinkPad X1"},
        {"", "AMD EPYC", "Studio", "", "Studio · AMD EPYC"},
        {"", "", "", "studio.local", "studio.local"},
    };
    for (const auto &c : cases) {
        host->with([&](FakeFigures &f) {
            f.hardwareModel = QString::fromUtf8(c.model);
            f.cpuBrandString = QString::fromUtf8(c.brand);
            f.computerName = QString::fromUtf8(c.computerName);
            f.localizedHostName = QString::fromUtf8(c.hostName);
        });
        EXPECT_EQ(Engine::machineTitle(), QString::fromUtf8(c.title));
    }
    // A machine without any name is named as its layout names a machine.
    host->with([](FakeFigures &f) {
        f.hardwareModel.clear();
        f.cpuBrandString.clear();
        f.computerName.clear();
        f.localizedHostName.clear();
    });
    for (const auto &[layout, title] :
         {std::pair{KSTLayout::Mac, "This Mac"}, std::pair{KSTLayout::Linux, "This computer"}}) {
        KSTEnvironment environment = KSTEnvironment::current();
        environment.setLayout(layout);
        const KSTScopedEnvironment scoped(environment);
        EXPECT_EQ(Engine::machineTitle(), QString::fromUtf8(title));
    }
}

TEST_F(HostOverviewTest, LinuxVersionNeverGetsAMacName)
{
    // Debian 12 shares its major number with Monterey; Ubuntu 14.04 with Sonoma.
    for (const KSTOperatingSystemVersion &version :
         {Debian, KSTOperatingSystemVersion{14, 4, 0, QStringLiteral("Ubuntu 14.04.6 LTS")}}) {
        host->with([&](FakeFigures &f) { f.operatingSystemVersion = version; });
        EXPECT_EQ(Engine::macOSVersionLine(), version.versionString);
    }
}

TEST_F(HostOverviewTest, UptimeFromBootTime)
{
    host->with([](FakeFigures &f) { f.bootTimeSeconds.reset(); });
    EXPECT_EQ(Engine::uptimeText(), QStringLiteral("Uptime unavailable"));
    host->with(
        [](FakeFigures &f) { f.bootTimeSeconds = QDateTime::currentSecsSinceEpoch() - 59 * 60; });
    EXPECT_EQ(Engine::uptimeText(), QStringLiteral("Uptime 59m"));

    const struct
    {
        qint64 seconds;
        const char *text;
    } cases[] = {
        {-30, "Uptime 0m"},      {3599, "Uptime 59m"},
        {3600, "Uptime 1h 0m"},  {86399, "Uptime 23h 59m"},
        {86400, "Uptime 1d 0h"}, {2 * 86400 + 5 * 3600 + 1800, "Uptime 2d 5h"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Engine::uptimeTextForSeconds(c.seconds), QString::fromUtf8(c.text)) << c.seconds;
}

TEST_F(HostOverviewTest, BatteryIsTheFirstPresentSourceWithACapacity)
{
    const QVariantMap charging = {{"Current Capacity", 80}, {"Is Charging", true}};
    const QVariantMap absent = {{"Current Capacity", 50}, {"Is Present", false}};
    const QVariantMap noCapacity = {{"Is Present", true}};
    const QVariantMap present = {
        {"Current Capacity", 7}, {"Is Present", true}, {"Is Charging", false}};
    const struct
    {
        std::optional<QList<QVariantMap>> sources;
        std::optional<QString> text;
    } cases[] = {
        {std::nullopt, std::nullopt},
        {QList<QVariantMap>{absent, noCapacity, QVariantMap()}, std::nullopt},
        {QList<QVariantMap>{charging}, QStringLiteral("Battery 80% · Charging")},
        {QList<QVariantMap>{absent, noCapacity, present, charging}, QStringLiteral("Battery 7%")},
    };
    for (const auto &c : cases) {
        host->with([&](FakeFigures &f) { f.powerSourceDescriptions = c.sources; });
        bool hasBattery = !c.text;
        EXPECT_EQ(Engine::batteryTextHasBattery(&hasBattery), c.text);
        EXPECT_EQ(hasBattery, c.text.has_value());
    }
}

TEST_F(HostOverviewTest, PrimaryInterfacePrefersEnAndFallsBack)
{
    auto address = [](const char *name, bool ipv4 = true, bool running = true,
                      bool loopback = false) {
        KSTInterfaceAddress a;
        a.name = QString::fromUtf8(name);
        a.isUp = true;
        a.isRunning = running;
        a.isLoopback = loopback;
        a.isIPv4 = ipv4;
        a.isLinkLayer = !ipv4;
        return a;
    };
    const struct
    {
        QList<KSTInterfaceAddress> addresses;
        const char *bsdName;
        const char *displayName;
    } cases[] = {
        {{address("lo", true, true, true), address("eth0"), address("en1", true, false),
          address("en2", false)},
         "eth0",
         "Ethernet"},
        {{address("eth0"), address("wlan0")}, "wlan0", "Wi-Fi"},
        {{address("wlan0"), address("enp3s0"), address("en9")}, "enp3s0", "enp3s0"},
        {{}, "en0", "en0"},
    };
    host->with([](FakeFigures &f) {
        f.interfaceDisplayNames = {{QStringLiteral("eth0"), QStringLiteral("Ethernet")},
                                   {QStringLiteral("wlan0"), QStringLiteral("Wi-Fi")}};
    });
    for (const auto &c : cases) {
        host->with([&](FakeFigures &f) { f.interfaceAddresses = c.addresses; });
        EXPECT_EQ(Engine::primaryNetworkInterfaceBSDName(), QString::fromUtf8(c.bsdName));
        EXPECT_EQ(Engine::primaryNetworkInterfaceName(), QString::fromUtf8(c.displayName));
    }
}

TEST(SystemProfilerOutputTest, ReadsKeysFromRecordedReports)
{
    auto recorded = [](const char *name) {
        QFile file(KSTTestSupport::recordedMacFile(QString::fromUtf8(name)));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
        return file.readAll();
    };
    const QByteArray m3 = recorded("system_profiler-SPHardware.apple-M3-Mac15,3.txt");
    const QByteArray intel =
        recorded("system_profiler-SPHardware-SPSoftware.intel-MacBookPro11,4.macos10.15.2.txt");
    const struct
    {
        const QByteArray &output;
        const char *key;
        const char *value;
    } cases[] = {
        {m3, "Model Name", "MacBook Pro"},
        {m3, "Serial Number (system)", "FC4PK6W1J4"},
        {m3, "Processor Name", ""},
        {intel, "Processor Name", "Intel Core i7"},
        {intel, "Computer Name", "Test1’s MacBook Pro"},
        {QByteArray(), "Model Name", ""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Engine::systemProfilerValueInOutput(c.output, QString::fromUtf8(c.key)),
                  QString::fromUtf8(c.value))
            << c.key;
}

// A Mac volume under a temporary root, analysed from this host.
class MacRootOverviewTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        // The host knows all about itself; none of it describes the analysed Mac.
        host->with([](FakeFigures &f) {
            f.hardwareModel = QStringLiteral("ThinkPad X1");
            f.cpuBrandString = QStringLiteral("AMD EPYC");
            f.serialNumber = QStringLiteral("PF0ABCDEFG");
            f.computerName = QStringLiteral("linux-box");
            f.operatingSystemVersion = Debian;
            f.physicalMemoryBytes = 8 * GiB;
        });
    }

    KSTScopedFakeHost host;
};

TEST_F(MacRootOverviewTest, VersionLineComesFromTheVolume)
{
    const struct
    {
        const char *productVersion;
        const char *line;
    } cases[] = {
        {"14.5", "macOS Sonoma 14.5"},
        {"11.7.10", "macOS Big Sur 11.7"},
        {"15.0.1", "macOS Sequoia 15.0"},
        {"16.0", "Version 16.0 (Build 23F79)"},
        {"10.15.7", "Version 10.15.7 (Build 23F79)"},
    };
    for (const auto &c : cases) {
        mac.setSystemVersion(QString::fromUtf8(c.productVersion));
        EXPECT_EQ(Engine::macOSVersionLine(), QString::fromUtf8(c.line));
    }
    // A volume without a version record says nothing; the host's version is not the Mac's.
    QFile::remove(mac.path("System/Library/CoreServices/SystemVersion.plist"));
    EXPECT_EQ(Engine::macOSVersionLine(), QString());
    EXPECT_EQ(Engine::specsLine(), QStringLiteral("8 GB RAM"));
}

TEST_F(MacRootOverviewTest, DescriptionComesFromTheRecordedProfilerOrFallsBack)
{
    // No profiler and no stored name: nothing of the host leaks in.
    EXPECT_EQ(Engine::machineTitle(), QStringLiteral("This Mac"));
    EXPECT_EQ(Engine::serialNumber(), QString());
    EXPECT_FALSE(Engine::specsLine().contains(QLatin1String("Serial")));

    mac.writePlist(
        "Library/Preferences/SystemConfiguration/preferences.plist",
        QVariantMap{
            {"System", QVariantMap{{"System", QVariantMap{{"ComputerName", "Alice’s MacBook"}}}}}});
    EXPECT_EQ(Engine::machineTitle(), QStringLiteral("Alice’s MacBook"));

    mac.addRecordedTool(
        SystemProfiler,
        "system_profiler-SPHardware-SPSoftware.intel-MacBookPro11,4.macos10.15.2.txt");
    EXPECT_EQ(Engine::machineTitle(), QStringLiteral("MacBook Pro · Intel Core i7"));
    mac.addRecordedTool(SystemProfiler, "system_profiler-SPHardware.apple-M3-Mac15,3.txt");
    const qsizetype before = mac.toolCalls(SystemProfiler).size();
    EXPECT_EQ(Engine::machineTitle(), QStringLiteral("MacBook Pro · Apple M3"));
    // Asked anew for each title, once for the model and the chip together.
    EXPECT_EQ(mac.toolCalls(SystemProfiler).size(), before + 1);
    EXPECT_EQ(mac.toolCalls(SystemProfiler).last(), QStringLiteral("SPHardwareDataType"));
}

// A profiler that hangs or prints without end costs at most its time-out and leaves the
// title to the fallbacks; one that fails after printing its report is still read.
TEST_F(MacRootOverviewTest, AHangingOrFloodingProfilerLeavesTheTitleToTheFallbacks)
{
    const KSTScopedEnvironmentVariable timeout("KESTREL_TOOL_TIMEOUT_MS", "500");
    const struct
    {
        const char *script;
        const char *title;
    } cases[] = {
        {"echo '      Model Name: MacBook Pro'\nexec sleep 60\n", "This Mac"},
        {"exec yes '      Model Name: MacBook Pro'\n", "This Mac"},
        {"echo '      Model Name: MacBook Pro'\necho '      Chip: Apple M3'\nexit 1\n",
         "MacBook Pro · Apple M3"},
    };
    for (const auto &c : cases) {
        mac.addToolScript(SystemProfiler, c.script);
        EXPECT_EQ(Engine::machineTitle(), QString::fromUtf8(c.title)) << c.script;
    }
}

// Without a frame the engine keeps its application search in the cache it is given: a kept
// list is used as it stands, an empty one is searched for and stored.
TEST_F(MacRootOverviewTest, RunsWithItsOwnBundleCacheAndNoFrame)
{
    mac.addRecordedTool(SystemProfiler, "system_profiler-SPHardware.apple-M3-Mac15,3.txt");
    KSTFixtureMac::App app;
    app.name = QStringLiteral("Atlas");
    app.bundleIdentifier = QStringLiteral("com.example.Atlas");
    const QString atlas = mac.addApp(app);
    QStringList kept;
    int stores = 0;
    KSTLiveBaselines baselines;
    const Engine engine({[&] { return kept; },
                         [&](const QStringList &paths) {
                             kept = paths;
                             ++stores;
                         }},
                        baselines);

    const auto searched = engine.fetchSnapshot();
    ASSERT_TRUE(searched);
    EXPECT_EQ(kept, QStringList{atlas});
    EXPECT_EQ(stores, 1);
    EXPECT_EQ(searched->installedAppCount, 1);

    app.name = QStringLiteral("Zebra");
    app.bundleIdentifier = QStringLiteral("com.example.Zebra");
    mac.addApp(app);
    const auto fromCache = engine.fetchSnapshot();
    ASSERT_TRUE(fromCache);
    EXPECT_EQ(stores, 1);
    EXPECT_EQ(fromCache->installedAppCount, 1);

    kept.clear();
    const auto again = engine.fetchSnapshot();
    ASSERT_TRUE(again);
    EXPECT_EQ(stores, 2);
    EXPECT_EQ(again->installedAppCount, 2);
}

TEST_F(MacRootOverviewTest, SnapshotThroughTheFrameTakesTheHostsLiveFigures)
{
    host->with([](FakeFigures &f) {
        f.volumeUsage = KSTVolumeUsage{100 * GiB, 40 * GiB};
        f.usedMemoryBytes = 2 * GiB;
        f.logicalCpuCount = 8;
        f.cpuTickTotals = KSTCpuTickTotals{100, 50, 800, 0};
        f.interfaceByteCounts =
            QList<KSTInterfaceByteCounts>{{QStringLiteral("en0"), false, 5'000'000, 1'000'000}};
    });
    mac.addRecordedTool(SystemProfiler, "system_profiler-SPHardware.apple-M3-Mac15,3.txt");

    KSTSystemInfo info;
    KSTLiveBaselines baselines;
    Engine::install(info, baselines);
    baselines.setHasNetworkBaseline(true);
    baselines.setPreviousNetworkInputBytes(1);
    KSTSystemInfo::SystemSnapshotPtr snapshot;
    info.fetchSnapshotAsync([&](KSTSystemInfo::SystemSnapshotPtr s) { snapshot = s; });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return snapshot != nullptr; }));

    EXPECT_EQ(snapshot->machineTitle, QStringLiteral("MacBook Pro · Apple M3"));
    // One report serves the whole snapshot.
    EXPECT_EQ(mac.toolCalls(SystemProfiler), QStringList{QStringLiteral("SPHardwareDataType")});
    EXPECT_EQ(snapshot->specsLine, QStringLiteral("macOS Sonoma 14.5 · 8 GB RAM · 100 GB SSD"));
    EXPECT_EQ(snapshot->storageUsedBytes, 60 * GiB);
    EXPECT_EQ(snapshot->memoryUsedBytes, 2 * GiB);
    EXPECT_EQ(snapshot->cpuCoreCount, 8);
    EXPECT_EQ(snapshot->cpuUsageFraction, 0.0); // the first processor sample is the baseline
    EXPECT_TRUE(baselines.hasCPUBaseline());
    // The fetch laid a fresh network baseline and reported no throughput.
    EXPECT_EQ(baselines.previousNetworkInputBytes(), 5'000'000u);
    EXPECT_EQ(snapshot->networkDownloadMBps, 0.0);
    EXPECT_EQ(info.cachedOverviewSnapshotIfAvailable(), snapshot);
}

} // namespace
