// The machine description and the snapshot: what the host says on its own root, what a
// Mac volume says under another root, and the fallbacks when nobody says anything.
#include "KSTOverviewEngine.h"

#include "KSTFakeHostInfo.h"
#include "KSTFixtureMac.h"
#include "KSTPermissionChecker.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDateTime>

#include <gtest/gtest.h>

using Engine = KSTOverviewEngine;
using Figures = KSTFakeHostInfo::Figures;

namespace {

constexpr quint64 GiB = 1024ull * 1024 * 1024;
const QString SystemProfiler = QStringLiteral("/usr/sbin/system_profiler");

// The host's own machine (root "/") with a fake host behind it.
class HostOverviewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        KSTEnvironment environment = KSTEnvironment::hostDefault();
        ASSERT_TRUE(environment.isHostRoot());
        hostEnvironment = std::make_unique<KSTScopedEnvironment>(environment);
        KSTPermissionChecker::resetForTesting();
        host->with([](Figures &f) {
            f.physicalMemoryBytes = 16 * GiB;
            f.volumeUsage = KSTVolumeUsage{500 * GiB, 200 * GiB};
            f.operatingSystemVersion = {12, 0, 0, QStringLiteral("Debian GNU/Linux 12 (bookworm)")};
        });
    }

    KSTScopedFakeHost host;
    std::unique_ptr<KSTScopedEnvironment> hostEnvironment;
};

TEST_F(HostOverviewTest, SpecsLineMasksLongSerialNumbers)
{
    const struct
    {
        const char *serial;
        const char *expected;
    } cases[] = {
        {"", "Debian GNU/Linux 12 (bookworm) · 16 GB RAM · 500 GB SSD"},
        {"C02XK1AB", "Debian GNU/Linux 12 (bookworm) · 16 GB RAM · 500 GB SSD · Serial C02XK1AB"},
        {"C02XK1ABC", "Debian GNU/Linux 12 (bookworm) · 16 GB RAM · 500 GB SSD · Serial C02XK1AB…"},
        {"C02XK1ABCDEF",
         "Debian GNU/Linux 12 (bookworm) · 16 GB RAM · 500 GB SSD · Serial C02XK1AB…"},
    };
    for (const auto &c : cases) {
        host->with([&](Figures &f) { f.serialNumber = QString::fromUtf8(c.serial); });
        EXPECT_EQ(Engine::specsLine(), QString::fromUtf8(c.expected));
    }
    // An unknown capacity leaves the disk out rather than claiming "0 B SSD".
    host->with([](Figures &f) {
        f.serialNumber.clear();
        f.volumeUsage.reset();
    });
    EXPECT_EQ(Engine::specsLine(), QStringLiteral("Debian GNU/Linux 12 (bookworm) · 16 GB RAM"));
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
        {"", "", "", "", "This Mac"},
    };
    for (const auto &c : cases) {
        host->with([&](Figures &f) {
            f.hardwareModel = QString::fromUtf8(c.model);
            f.cpuBrandString = QString::fromUtf8(c.brand);
            f.computerName = QString::fromUtf8(c.computerName);
            f.localizedHostName = QString::fromUtf8(c.hostName);
        });
        EXPECT_EQ(Engine::machineTitle(), QString::fromUtf8(c.title));
    }
}

TEST_F(HostOverviewTest, LinuxVersionNeverGetsAMacName)
{
    // Debian 12 shares its major number with Monterey; Ubuntu 14.04 with Sonoma.
    for (const auto &version :
         {KSTOperatingSystemVersion{12, 0, 0, QStringLiteral("Debian GNU/Linux 12 (bookworm)")},
          KSTOperatingSystemVersion{14, 4, 0, QStringLiteral("Ubuntu 14.04.6 LTS")}}) {
        host->with([&](Figures &f) { f.operatingSystemVersion = version; });
        EXPECT_EQ(Engine::macOSVersionLine(), version.versionString);
    }
}

TEST_F(HostOverviewTest, UptimeFromBootTime)
{
    host->with([](Figures &f) { f.bootTimeSeconds.reset(); });
    EXPECT_EQ(Engine::uptimeText(), QStringLiteral("Uptime unavailable"));
    host->with(
        [](Figures &f) { f.bootTimeSeconds = QDateTime::currentSecsSinceEpoch() - 59 * 60; });
    EXPECT_EQ(Engine::uptimeText(), QStringLiteral("Uptime 59m"));

    const struct
    {
        qint64 seconds;
        const char *text;
    } cases[] = {
        {0, "Uptime 0m"},
        {59 * 60, "Uptime 59m"},
        {3599, "Uptime 59m"},
        {3600, "Uptime 1h 0m"},
        {86399, "Uptime 23h 59m"},
        {86400, "Uptime 1d 0h"},
        {25 * 3600, "Uptime 1d 1h"},
        {2 * 86400 + 5 * 3600 + 1800, "Uptime 2d 5h"},
        {-30, "Uptime 0m"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Engine::uptimeTextForSeconds(c.seconds), QString::fromUtf8(c.text)) << c.seconds;
}

TEST_F(HostOverviewTest, BatteryIsTheFirstPresentSourceWithACapacity)
{
    const QVariantMap charging = {{QStringLiteral("Current Capacity"), 80},
                                  {QStringLiteral("Is Charging"), true}};
    const QVariantMap absent = {{QStringLiteral("Current Capacity"), 50},
                                {QStringLiteral("Is Present"), false}};
    const QVariantMap noCapacity = {{QStringLiteral("Is Present"), true}};
    const QVariantMap present = {{QStringLiteral("Current Capacity"), 7},
                                 {QStringLiteral("Is Present"), true},
                                 {QStringLiteral("Is Charging"), false}};
    const struct
    {
        std::optional<QList<QVariantMap>> sources;
        std::optional<QString> text;
    } cases[] = {
        {std::nullopt, std::nullopt},
        {QList<QVariantMap>(), std::nullopt},
        {QList<QVariantMap>{absent, noCapacity, QVariantMap()}, std::nullopt},
        {QList<QVariantMap>{charging}, QStringLiteral("Battery 80% · Charging")},
        {QList<QVariantMap>{absent, noCapacity, present, charging}, QStringLiteral("Battery 7%")},
    };
    for (const auto &c : cases) {
        host->with([&](Figures &f) { f.powerSourceDescriptions = c.sources; });
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
    host->with([](Figures &f) {
        f.interfaceDisplayNames = {{QStringLiteral("eth0"), QStringLiteral("Ethernet")},
                                   {QStringLiteral("wlan0"), QStringLiteral("Wi-Fi")}};
    });
    for (const auto &c : cases) {
        host->with([&](Figures &f) { f.interfaceAddresses = c.addresses; });
        EXPECT_EQ(Engine::primaryNetworkInterfaceBSDName(), QString::fromUtf8(c.bsdName));
        EXPECT_EQ(Engine::primaryNetworkInterfaceName(), QString::fromUtf8(c.displayName));
    }
}

TEST_F(HostOverviewTest, MemoryFiguresFollowTheUsedFraction)
{
    host->with([](Figures &f) { f.usedMemoryBytes = 6 * GiB; });
    KSTSystemSnapshot snapshot;
    Engine::populateMemoryMetrics(snapshot);
    EXPECT_EQ(snapshot.memoryTotalBytes, 16 * GiB);
    EXPECT_EQ(snapshot.memoryUsedBytes, 6 * GiB);
    EXPECT_DOUBLE_EQ(snapshot.memoryUsedFraction, 0.375);

    host->with([](Figures &f) { f.physicalMemoryBytes = 0; });
    Engine::populateMemoryMetrics(snapshot);
    EXPECT_EQ(snapshot.memoryUsedBytes, 0u);
    EXPECT_EQ(snapshot.memoryUsedFraction, 0.0);
}

TEST(MarketingNameTest, OnlyElevenToFifteenHaveNames)
{
    const char *names[] = {"", "Big Sur", "Monterey", "Ventura", "Sonoma", "Sequoia", ""};
    for (qint64 major = 10; major <= 16; ++major)
        EXPECT_EQ(Engine::macOSMarketingNameForMajorVersion(major),
                  QString::fromUtf8(names[major - 10]))
            << major;
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
        {m3, "Chip", "Apple M3"},
        {m3, "Serial Number (system)", "FC4PK6W1J4"},
        {m3, "Processor Name", ""},
        {intel, "Processor Name", "Intel Core i7"},
        {intel, "Chip", ""},
        {intel, "Computer Name", "Test1’s MacBook Pro"},
        {QByteArray(), "Model Name", ""},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Engine::systemProfilerValueInOutput(c.output, QString::fromUtf8(c.key)),
                  QString::fromUtf8(c.value))
            << c.key;
}

// A Mac volume under a temporary root, analysed from this host.
class MacRootOverviewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
        // The host knows all about itself; none of it describes the analysed Mac.
        host->with([](Figures &f) {
            f.hardwareModel = QStringLiteral("ThinkPad X1");
            f.cpuBrandString = QStringLiteral("AMD EPYC");
            f.serialNumber = QStringLiteral("PF0ABCDEFG");
            f.computerName = QStringLiteral("linux-box");
            f.operatingSystemVersion = {12, 0, 0, QStringLiteral("Debian GNU/Linux 12 (bookworm)")};
            f.physicalMemoryBytes = 8 * GiB;
        });
    }

    KSTFixtureMac mac;
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
    QFile::remove(mac.path(QStringLiteral("System/Library/CoreServices/SystemVersion.plist")));
    EXPECT_EQ(Engine::macOSVersionLine(), QString());
    EXPECT_EQ(Engine::specsLine(), QStringLiteral("8 GB RAM"));
}

TEST_F(MacRootOverviewTest, DescriptionComesFromTheRecordedProfilerOrFallsBack)
{
    // No profiler and no stored name: nothing of the host leaks in.
    EXPECT_EQ(Engine::machineTitle(), QStringLiteral("This Mac"));
    EXPECT_EQ(Engine::serialNumber(), QString());
    EXPECT_FALSE(Engine::specsLine().contains(QLatin1String("Serial")));

    mac.writePlist(QStringLiteral("Library/Preferences/SystemConfiguration/preferences.plist"),
                   QVariantMap{{QStringLiteral("System"),
                                QVariantMap{{QStringLiteral("System"),
                                             QVariantMap{{QStringLiteral("ComputerName"),
                                                          QStringLiteral("Alice’s MacBook")}}}}}});
    EXPECT_EQ(Engine::machineTitle(), QStringLiteral("Alice’s MacBook"));

    mac.addRecordedTool(SystemProfiler,
                        QStringLiteral("system_profiler-SPHardware-SPSoftware.intel-MacBookPro11,"
                                       "4.macos10.15.2.txt"));
    EXPECT_EQ(Engine::machineTitle(), QStringLiteral("MacBook Pro · Intel Core i7"));
    mac.addRecordedTool(SystemProfiler,
                        QStringLiteral("system_profiler-SPHardware.apple-M3-Mac15,3.txt"));
    const qsizetype before = mac.toolCalls(SystemProfiler).size();
    EXPECT_EQ(Engine::machineTitle(), QStringLiteral("MacBook Pro · Apple M3"));
    // Asked anew for the model and for the chip.
    EXPECT_EQ(mac.toolCalls(SystemProfiler).size(), before + 2);
    EXPECT_EQ(mac.toolCalls(SystemProfiler).last(), QStringLiteral("SPHardwareDataType"));
}

TEST_F(MacRootOverviewTest, SnapshotThroughTheFrame)
{
    mac.addRecordedTool(SystemProfiler,
                        QStringLiteral("system_profiler-SPHardware.apple-M3-Mac15,3.txt"));
    KSTFixtureMac::App app;
    app.name = QStringLiteral("Safari");
    app.bundleIdentifier = QStringLiteral("com.apple.Safari");
    app.resourceBytes = 300'000;
    mac.addApp(app);
    app.name = QStringLiteral("Notes");
    app.resourceBytes = 1'000;
    app.location = QStringLiteral("System/Applications");
    mac.addApp(app);
    host->with([](Figures &f) {
        f.volumeUsage = KSTVolumeUsage{100 * GiB, 40 * GiB};
        f.usedMemoryBytes = 2 * GiB;
        f.logicalCpuCount = 8;
        f.cpuTickTotals = KSTCpuTickTotals{100, 50, 800, 0};
        f.interfaceByteCounts =
            QList<KSTInterfaceByteCounts>{{QStringLiteral("en0"), false, 5'000'000, 1'000'000}};
    });

    KSTSystemInfo info;
    Engine::install(info);
    info.setHasNetworkBaseline(true);
    info.setPreviousNetworkInputBytes(1);
    KSTSystemInfo::SystemSnapshotPtr snapshot;
    info.fetchSnapshotAsync([&](KSTSystemInfo::SystemSnapshotPtr s) { snapshot = s; });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return snapshot != nullptr; }));

    EXPECT_EQ(snapshot->machineTitle, QStringLiteral("MacBook Pro · Apple M3"));
    EXPECT_EQ(snapshot->specsLine, QStringLiteral("macOS Sonoma 14.5 · 8 GB RAM · 100 GB SSD"));
    EXPECT_EQ(snapshot->storageUsedBytes, 60 * GiB);
    EXPECT_EQ(snapshot->memoryUsedBytes, 2 * GiB);
    EXPECT_EQ(snapshot->cpuCoreCount, 8);
    EXPECT_EQ(snapshot->cpuUsageFraction, 0.0); // the first processor sample is the baseline
    EXPECT_EQ(snapshot->installedAppCount, 2);
    ASSERT_EQ(snapshot->topApps.size(), 2);
    EXPECT_EQ(snapshot->topApps[0].name, QStringLiteral("Safari"));
    EXPECT_EQ(snapshot->topApps[1].name, QStringLiteral("Notes"));
    ASSERT_EQ(snapshot->storageCategories.size(), 4);
    EXPECT_EQ(snapshot->storageCategories[0].bytes,
              snapshot->topApps[0].sizeBytes + snapshot->topApps[1].sizeBytes);
    // The fetch laid a fresh network baseline and reported no throughput.
    EXPECT_EQ(info.previousNetworkInputBytes(), 5'000'000u);
    EXPECT_EQ(snapshot->networkDownloadMBps, 0.0);
    EXPECT_EQ(info.cachedOverviewSnapshotIfAvailable(), snapshot);
}

} // namespace
