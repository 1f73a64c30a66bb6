#include "KSTHostInfo.h"
#include "KSTApplicationInfo.h"
#include "KSTSecurityScopedBookmark.h"
#include "KSTTestSupport.h"
#include "linux/KSTLinuxHostInfo.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <unistd.h>

namespace {

using KSTTestSupport::testDataPath;
using KSTTestSupport::writeFile;

std::string str(const QString &text)
{
    return text.toStdString();
}

KSTLinuxHostInfo hostInfoUnder(const QString &machineRoot)
{
    return KSTLinuxHostInfo(machineRoot + QLatin1String("/proc"),
                            machineRoot + QLatin1String("/sys"),
                            machineRoot + QLatin1String("/etc"));
}

// One line per entry, so a failing comparison shows the whole list side by side.
std::vector<std::string> describe(const QList<KSTInterfaceAddress> &addresses)
{
    std::vector<std::string> lines;
    for (const KSTInterfaceAddress &a : addresses) {
        std::string line = str(a.name) + (a.isLinkLayer ? " link" : "") + (a.isIPv4 ? " ipv4" : "");
        line += std::string(a.isUp ? " up" : "") + (a.isRunning ? " running" : "") +
                (a.isLoopback ? " loopback" : "");
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> describe(const QList<KSTInterfaceByteCounts> &counts)
{
    std::vector<std::string> lines;
    for (const KSTInterfaceByteCounts &c : counts) {
        lines.push_back(str(c.name) + " rx=" + std::to_string(c.receivedBytes) +
                        " tx=" + std::to_string(c.sentBytes) + (c.isLoopback ? " loopback" : ""));
    }
    return lines;
}

std::vector<std::string> describe(const QList<QVariantMap> &sources)
{
    std::vector<std::string> lines;
    for (const QVariantMap &source : sources) {
        std::string line;
        for (auto it = source.begin(); it != source.end(); ++it)
            line += str(it.key()) + "=" + str(it.value().toString()) + ";";
        lines.push_back(line);
    }
    return lines;
}

struct RecordedMachine
{
    // Members a machine leaves out are empty: that is the expectation, not an omission.
    const char *name = "";
    QString model = {}, cpu = {}, serial = {}, computerName = {}, hostName = {}, osLine = {};
    std::array<int, 3> osVersion = {};
    int cpuCount = 0;
    KSTCpuTickTotals ticks = {};
    quint64 memory = 0, usedMemory = 0;
    qint64 bootTime = 0;
    std::vector<std::string> byteCounts = {}, addresses = {};
    std::vector<std::pair<QString, QString>> displayNames = {};
    std::vector<std::string> batteries = {};
};

// The expected figures were worked out by hand from the recorded files.
const RecordedMachine recordedMachines[] = {
    {.name = "debian-vm",
     .cpu = "AMD EPYC",
     .computerName = "vm",
     .hostName = "vm",
     .osLine = "Debian GNU/Linux 12 (bookworm)",
     .osVersion = {12, 0, 0},
     .cpuCount = 2,
     .ticks = {.user = 4918, .system = 4126, .idle = 112485, .nice = 0},
     .memory = 25276026880,
     .usedMemory = 302772224,
     .bootTime = 1795387901,
     .byteCounts = {"eth0 rx=52397410 tx=83975", "ifb0 rx=0 tx=0", "ifb1 rx=0 tx=0",
                    "lo rx=3267 tx=3267 loopback"},
     .addresses = {"lo link up running loopback", "ifb0 link", "ifb1 link", "eth0 link up running",
                   "lo ipv4 up running loopback", "eth0 ipv4 up running"},
     .displayNames = {{"eth0", "Ethernet"}, {"ifb0", "Ethernet"}, {"lo", ""}, {"wlan0", ""}}},
    {.name = "latitude-laptop",
     .model = "Latitude 7420",
     .cpu = "11th Gen Intel(R) Core(TM) i7-1185G7 @ 3.00GHz",
     .serial = "7XJ2K93",
     .computerName = "Anna’s \"Work\" Latitude",
     .hostName = "anna-latitude",
     .osLine = "Ubuntu 22.04.3 LTS",
     .osVersion = {22, 4, 0},
     .cpuCount = 8,
     // user has passed 2^32 ticks and wraps
     .ticks = {.user = 2032704, .system = 915802467, .idle = 3125802467u, .nice = 51234},
     .memory = 16458502144,
     .usedMemory = 6344921088,
     .bootTime = 1731312000,
     .byteCounts = {"docker0 rx=0 tx=0", "enp0s31f6 rx=0 tx=0",
                    "lo rx=98233412 tx=98233412 loopback",
                    "wlp0s20f3 rx=48318382080 tx=2147484025"},
     .addresses = {"lo link up running loopback", "enp0s31f6 link up", "wlp0s20f3 link up running",
                   "docker0 link up", "lo ipv4 up running loopback", "wlp0s20f3 ipv4 up running",
                   "docker0 ipv4 up"},
     .displayNames =
         {{"wlp0s20f3", "Wi-Fi"}, {"enp0s31f6", "Ethernet"}, {"docker0", "Ethernet"}, {"lo", ""}},
     .batteries = {"Current Capacity=67;Is Charging=true;Is Present=true;Name=BAT0;"
                   "Type=InternalBattery;"}},
    {.name = "ryzen-desktop",
     .cpu = "AMD Ryzen 7 5800X 8-Core Processor",
     .computerName = "ryzen-box",
     .hostName = "ryzen-box",
     .osLine = "Fedora Linux 39 (Workstation Edition)",
     .osVersion = {39, 0, 0},
     .cpuCount = 16,
     .ticks = {.user = 18234567, .system = 6876542, .idle = 987777777, .nice = 12345},
     .memory = 33569288192,
     .usedMemory = 5818568704,
     .bootTime = 1732000123,
     .byteCounts = {"enp5s0 rx=912345678901 tx=45678901234", "lo rx=3412034 tx=3412034 loopback"},
     .addresses = {"lo link up running loopback", "enp5s0 link up running",
                   "lo ipv4 up running loopback", "enp5s0 ipv4 up running"},
     .displayNames = {{"enp5s0", "Ethernet"}, {"../net", ""}}},
    {.name = "raspberrypi",
     .model = "Raspberry Pi 4 Model B Rev 1.4",
     .cpu = "BCM2835",
     .serial = "10000000a1b2c3d4",
     .computerName = "raspberrypi",
     .hostName = "raspberrypi",
     .osLine = "Debian GNU/Linux 11 (bullseye)",
     .osVersion = {11, 0, 0},
     .cpuCount = 4,
     .ticks = {.user = 1234567, .system = 351356, .idle = 98811110, .nice = 2345},
     .memory = 3977584640,
     .usedMemory = 802947072,
     .bootTime = 1733100000,
     .byteCounts = {"eth0 rx=0 tx=0", "lo rx=1204 tx=1204 loopback",
                    "wlan0 rx=734003200 tx=98304000"},
     .addresses = {"lo link up running loopback", "eth0 link up", "wlan0 link up running",
                   "lo ipv4 up running loopback", "wlan0 ipv4 up running"},
     .displayNames = {{"wlan0", "Wi-Fi"}, {"eth0", "Ethernet"}}},
};

class KSTLinuxHostInfoRecordedTest : public ::testing::TestWithParam<RecordedMachine>
{
protected:
    KSTLinuxHostInfo host = hostInfoUnder(
        testDataPath(QStringLiteral("linux/") + QString::fromLatin1(GetParam().name)));
};

TEST_P(KSTLinuxHostInfoRecordedTest, NamesTheMachine)
{
    const RecordedMachine &m = GetParam();
    EXPECT_EQ(str(host.hardwareModel()), str(m.model));
    EXPECT_EQ(str(host.cpuBrandString()), str(m.cpu));
    EXPECT_EQ(str(host.serialNumber()), str(m.serial));
    EXPECT_EQ(str(host.computerName()), str(m.computerName));
    EXPECT_EQ(str(host.localizedHostName()), str(m.hostName));
    const KSTOperatingSystemVersion os = host.operatingSystemVersion();
    EXPECT_EQ(str(os.versionString), str(m.osLine));
    EXPECT_EQ((std::array<int, 3>{os.major, os.minor, os.patch}), m.osVersion);
}

TEST_P(KSTLinuxHostInfoRecordedTest, ReadsProcessorAndMemory)
{
    const RecordedMachine &m = GetParam();
    EXPECT_EQ(host.logicalCpuCount(), m.cpuCount);
    const std::optional<KSTCpuTickTotals> ticks = host.cpuTickTotals();
    ASSERT_TRUE(ticks.has_value());
    EXPECT_EQ(ticks->user, m.ticks.user);
    EXPECT_EQ(ticks->system, m.ticks.system);
    EXPECT_EQ(ticks->idle, m.ticks.idle);
    EXPECT_EQ(ticks->nice, m.ticks.nice);
    EXPECT_EQ(host.physicalMemoryBytes(), m.memory);
    EXPECT_EQ(host.usedMemoryBytes(), m.usedMemory);
    EXPECT_EQ(host.bootTimeSeconds(), m.bootTime);
}

TEST_P(KSTLinuxHostInfoRecordedTest, ReadsNetworkInterfaces)
{
    const RecordedMachine &m = GetParam();
    const std::optional<QList<KSTInterfaceByteCounts>> counts = host.interfaceByteCounts();
    ASSERT_TRUE(counts.has_value());
    EXPECT_EQ(describe(*counts), m.byteCounts);
    EXPECT_EQ(describe(host.interfaceAddresses()), m.addresses);
    for (const auto &[interface, displayName] : m.displayNames)
        EXPECT_EQ(str(host.interfaceDisplayName(interface)), str(displayName)) << str(interface);
}

TEST_P(KSTLinuxHostInfoRecordedTest, ListsOnlyTheMachinesOwnBatteries)
{
    const std::optional<QList<QVariantMap>> sources = host.powerSourceDescriptions();
    ASSERT_TRUE(sources.has_value());
    EXPECT_EQ(describe(*sources), GetParam().batteries);
}

INSTANTIATE_TEST_SUITE_P(Machines, KSTLinuxHostInfoRecordedTest,
                         ::testing::ValuesIn(recordedMachines), [](const auto &info) {
                             std::string name = info.param.name;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

// Broken and missing inputs, written into a scratch machine: every figure degrades to
// empty/0/nothing instead of a wrong number.
struct DamagedMachine
{
    const char *name;
    std::vector<std::pair<const char *, QByteArray>> files;
    std::function<void(KSTLinuxHostInfo &)> check;
};

const DamagedMachine damagedMachines[] = {
    {"NothingRecorded",
     {},
     [](KSTLinuxHostInfo &host) {
         EXPECT_TRUE(host.hardwareModel().isEmpty());
         EXPECT_TRUE(host.cpuBrandString().isEmpty());
         EXPECT_EQ(host.logicalCpuCount(), 1);
         EXPECT_FALSE(host.cpuTickTotals().has_value());
         EXPECT_EQ(host.physicalMemoryBytes(), 0u);
         EXPECT_FALSE(host.usedMemoryBytes().has_value());
         EXPECT_FALSE(host.bootTimeSeconds().has_value());
         EXPECT_TRUE(host.interfaceAddresses().isEmpty());
         EXPECT_FALSE(host.interfaceByteCounts().has_value());
         EXPECT_TRUE(host.interfaceDisplayName(QStringLiteral("eth0")).isEmpty());
         // No power supply class at all: a machine without a battery.
         const std::optional<QList<QVariantMap>> sources = host.powerSourceDescriptions();
         ASSERT_TRUE(sources.has_value());
         EXPECT_TRUE(sources->isEmpty());
         EXPECT_TRUE(host.computerName().isEmpty());
         EXPECT_TRUE(host.serialNumber().isEmpty());
         const KSTOperatingSystemVersion os = host.operatingSystemVersion();
         EXPECT_TRUE(os.versionString.isEmpty());
         EXPECT_EQ(os.major + os.minor + os.patch, 0);
     }},
    {"GarbageNumbers",
     {{"proc/stat", "cpu  12 x 3 4 5\ncpu0 12 x 3 4 5\nbtime soon\n"},
      {"proc/meminfo", "MemTotal: lots kB\nMemAvailable: 100 kB\n"},
      {"proc/cpuinfo", QByteArray("\x00\xff\xfe:::\n\n", 7)},
      {"sys/class/net/eth0/statistics/rx_bytes", "n/a\n"},
      {"sys/class/net/eth0/statistics/tx_bytes", "12\n"}},
     [](KSTLinuxHostInfo &host) {
         EXPECT_FALSE(host.cpuTickTotals().has_value());
         EXPECT_FALSE(host.bootTimeSeconds().has_value());
         EXPECT_EQ(host.logicalCpuCount(), 1);
         EXPECT_EQ(host.physicalMemoryBytes(), 0u);
         EXPECT_FALSE(host.usedMemoryBytes().has_value());
         EXPECT_TRUE(host.cpuBrandString().isEmpty());
         // The folder lists, but an interface with an unreadable counter is left out.
         const std::optional<QList<KSTInterfaceByteCounts>> counts = host.interfaceByteCounts();
         ASSERT_TRUE(counts.has_value());
         EXPECT_TRUE(counts->isEmpty());
     }},
    {"OldKernelFormats",
     // Before 2.6 the cpu line stops after idle; before 3.14 there is no MemAvailable.
     {{"proc/stat", "cpu  100 5 50 1000\ncpu0 100 5 50 1000\n"},
      {"proc/meminfo", "MemTotal:  2048 kB\nMemFree:  1024 kB\n"}},
     [](KSTLinuxHostInfo &host) {
         const std::optional<KSTCpuTickTotals> ticks = host.cpuTickTotals();
         ASSERT_TRUE(ticks.has_value());
         EXPECT_EQ(std::make_tuple(ticks->user, ticks->nice, ticks->system, ticks->idle),
                   std::make_tuple(100u, 5u, 50u, 1000u));
         EXPECT_EQ(host.physicalMemoryBytes(), 2048u * 1024u);
         EXPECT_FALSE(host.usedMemoryBytes().has_value());
     }},
    {"InconsistentMemoryAndShortCpuLine",
     {{"proc/stat", "cpu  1 2 3\n"}, {"proc/meminfo", "MemTotal: 10 kB\nMemAvailable: 20 kB\n"}},
     [](KSTLinuxHostInfo &host) {
         EXPECT_FALSE(host.cpuTickTotals().has_value());
         EXPECT_FALSE(host.usedMemoryBytes().has_value());
     }},
    {"SparseBatteryAndInterfaces",
     {{"sys/class/power_supply/CMB0/type", "Battery\n"},
      {"sys/class/power_supply/CMB0/capacity", "unknown\n"},
      {"sys/class/power_supply/CMB0/status", "Discharging\n"},
      {"sys/class/net/lo/statistics/rx_bytes", "18446744073709551615\n"},
      {"sys/class/net/lo/statistics/tx_bytes", "7\n"},
      {"sys/class/net/wlan1/wireless/.keep", ""},
      {"sys/class/net/wlan1/flags", "0x1002\n"}},
     [](KSTLinuxHostInfo &host) {
         EXPECT_EQ(describe(host.powerSourceDescriptions().value()),
                   std::vector<std::string>{"Is Charging=false;Name=CMB0;Type=InternalBattery;"});
         // Without a flags file, loopback is known by its name.
         EXPECT_EQ(describe(host.interfaceByteCounts().value()),
                   std::vector<std::string>{"lo rx=18446744073709551615 tx=7 loopback"});
         EXPECT_EQ(str(host.interfaceDisplayName(QStringLiteral("wlan1"))), "Wi-Fi");
         EXPECT_EQ(describe(host.interfaceAddresses()),
                   (std::vector<std::string>{"lo link", "wlan1 link"}));
         EXPECT_TRUE(host.interfaceDisplayName(QStringLiteral("..")).isEmpty());
         EXPECT_TRUE(host.interfaceDisplayName(QString()).isEmpty());
     }},
    {"PlaceholderFirmwareAndTerseOsRelease",
     {{"sys/class/dmi/id/product_name", "  System Product Name \n"},
      {"sys/class/dmi/id/product_serial", "Default string\n"},
      {"etc/os-release", "NAME='Arch Linux'\nBUILD_ID=rolling\nVERSION_ID=rolling\n"},
      {"etc/machine-info", "PRETTY_HOSTNAME=\"  \"\n"},
      {"etc/hostname", "archbox\n"}},
     [](KSTLinuxHostInfo &host) {
         EXPECT_TRUE(host.hardwareModel().isEmpty());
         EXPECT_TRUE(host.serialNumber().isEmpty());
         const KSTOperatingSystemVersion os = host.operatingSystemVersion();
         EXPECT_EQ(str(os.versionString), "Arch Linux");
         EXPECT_EQ(os.major + os.minor + os.patch, 0);
         EXPECT_EQ(str(host.computerName()), "archbox");
     }},
    {"EmptyOsRelease",
     {{"etc/os-release", "# nothing but a comment\n"}},
     [](KSTLinuxHostInfo &host) {
         EXPECT_EQ(str(host.operatingSystemVersion().versionString), "Linux");
     }},
    {"ThreePartVersion",
     {{"etc/os-release", "PRETTY_NAME=\"Alpine Linux v3.18\"\nVERSION_ID=3.18.4\n"}},
     [](KSTLinuxHostInfo &host) {
         const KSTOperatingSystemVersion os = host.operatingSystemVersion();
         EXPECT_EQ(std::make_tuple(os.major, os.minor, os.patch), std::make_tuple(3, 18, 4));
     }},
};

class KSTLinuxHostInfoDamagedTest : public ::testing::TestWithParam<DamagedMachine>
{
};

TEST_P(KSTLinuxHostInfoDamagedTest, DegradesWithoutInventing)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    for (const auto &[path, contents] : GetParam().files)
        ASSERT_TRUE(writeFile(root.filePath(QString::fromLatin1(path)), contents));
    KSTLinuxHostInfo host = hostInfoUnder(root.path());
    GetParam().check(host);
}

INSTANTIATE_TEST_SUITE_P(Inputs, KSTLinuxHostInfoDamagedTest, ::testing::ValuesIn(damagedMachines),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(KSTLinuxHostInfoTest, DanglingPhyLinkStillMeansWiFi)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    ASSERT_TRUE(QDir().mkpath(root.filePath(QStringLiteral("sys/class/net/wlp2s0"))));
    ASSERT_TRUE(QFile::link(QStringLiteral("../../ieee80211/phy7"),
                            root.filePath(QStringLiteral("sys/class/net/wlp2s0/phy80211"))));
    KSTLinuxHostInfo host = hostInfoUnder(root.path());
    EXPECT_EQ(str(host.interfaceDisplayName(QStringLiteral("wlp2s0"))), "Wi-Fi");
}

TEST(KSTLinuxHostInfoTest, LiveHostAnswersPlausibly)
{
    KSTLinuxHostInfo host;
    EXPECT_GT(host.physicalMemoryBytes(), 0u);
    const std::optional<quint64> used = host.usedMemoryBytes();
    ASSERT_TRUE(used.has_value());
    EXPECT_LE(*used, host.physicalMemoryBytes());
    EXPECT_GE(host.logicalCpuCount(), 1);
    EXPECT_TRUE(host.cpuTickTotals().has_value());
    const std::optional<qint64> boot = host.bootTimeSeconds();
    ASSERT_TRUE(boot.has_value());
    EXPECT_GT(*boot, 0);
    EXPECT_LT(*boot, QDateTime::currentSecsSinceEpoch());
    EXPECT_FALSE(host.operatingSystemVersion().versionString.isEmpty());

    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    EXPECT_EQ(str(host.localizedHostName()), std::string(name));
    EXPECT_FALSE(host.computerName().isEmpty());

    // Every Linux host has a loopback interface, with counters and a link-layer address.
    const std::optional<QList<KSTInterfaceByteCounts>> counts = host.interfaceByteCounts();
    ASSERT_TRUE(counts.has_value());
    EXPECT_TRUE(std::any_of(counts->begin(), counts->end(),
                            [](const KSTInterfaceByteCounts &c) { return c.isLoopback; }));
    const QList<KSTInterfaceAddress> addresses = host.interfaceAddresses();
    EXPECT_TRUE(std::any_of(addresses.begin(), addresses.end(), [](const KSTInterfaceAddress &a) {
        return a.isLoopback && a.isLinkLayer;
    }));

    const std::optional<KSTVolumeUsage> volume = host.volumeUsage(QDir::tempPath());
    ASSERT_TRUE(volume.has_value());
    EXPECT_GT(volume->totalBytes, 0u);
    EXPECT_LE(volume->freeBytes, volume->totalBytes);
    EXPECT_FALSE(host.volumeUsage(QStringLiteral("/no/such/kestrel/path")).has_value());
    EXPECT_FALSE(host.volumeUsage(QString()).has_value());
}

TEST(KSTHostInfoTest, InstalledHostReplacesAndRestoresThePlatformOne)
{
    KSTHostInfo &platform = KSTHostInfo::current();
    auto recorded = std::make_shared<KSTLinuxHostInfo>(
        hostInfoUnder(testDataPath(QStringLiteral("linux/latitude-laptop"))));
    KSTHostInfo::setCurrentForTesting(recorded);
    EXPECT_EQ(&KSTHostInfo::current(), recorded.get());
    EXPECT_EQ(str(KSTHostInfo::current().hardwareModel()), "Latitude 7420");

    // A reference handed out before a replacement outlives the test's own handle.
    KSTHostInfo &held = KSTHostInfo::current();
    recorded.reset();
    KSTHostInfo::setCurrentForTesting(nullptr);
    EXPECT_EQ(str(held.hardwareModel()), "Latitude 7420");
    EXPECT_EQ(&KSTHostInfo::current(), &platform);
    EXPECT_EQ(KSTHostInfo::current().logicalCpuCount(), KSTLinuxHostInfo().logicalCpuCount());
}

TEST(KSTHostInfoTest, CurrentIsSafeFromManyThreads)
{
    std::atomic<bool> stop = false;
    std::atomic<int> readings = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!stop) {
                if (KSTHostInfo::current().logicalCpuCount() >= 1)
                    ++readings;
            }
        });
    }
    const QString machine = testDataPath(QStringLiteral("linux/raspberrypi"));
    for (int i = 0; i < 50; ++i) {
        KSTHostInfo::setCurrentForTesting(
            std::make_shared<KSTLinuxHostInfo>(hostInfoUnder(machine)));
        KSTHostInfo::setCurrentForTesting(nullptr);
    }
    while (readings < 100)
        std::this_thread::yield();
    stop = true;
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_GE(readings.load(), 100);
}

TEST(KSTApplicationInfoTest, DescribesTheRunningProgram)
{
    EXPECT_EQ(str(KSTApplicationInfo::bundleIdentifier()), "com.kestrel.Kestrel");
    EXPECT_TRUE(KSTApplicationInfo::bundlePath().isEmpty());
    EXPECT_TRUE(KSTApplicationInfo::bundleName().isEmpty());
    const QString executable = KSTApplicationInfo::executablePath();
    EXPECT_EQ(str(QFileInfo(executable).canonicalFilePath()),
              str(QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath()));
    EXPECT_EQ(str(KSTApplicationInfo::shortVersion()), KESTREL_VERSION);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d+\\.\\d+\\.\\d+$"))
                    .match(KSTApplicationInfo::shortVersion())
                    .hasMatch());
    EXPECT_FALSE(KSTApplicationInfo::buildVersion().isEmpty());
}

TEST(KSTSecurityScopedBookmarkTest, RoundTripsAnExistingFolderOnly)
{
    QTemporaryDir scratch;
    ASSERT_TRUE(scratch.isValid());
    const QString folder = scratch.filePath(QStringLiteral("Fotos – Ärger"));
    ASSERT_TRUE(QDir().mkpath(folder));

    // An unclean spelling of the folder still records the clean absolute path.
    const QByteArray data =
        KSTSecurityScopedBookmark::create(folder + QStringLiteral("/../Fotos – Ärger/"));
    ASSERT_FALSE(data.isEmpty());
    bool stale = true;
    EXPECT_EQ(str(KSTSecurityScopedBookmark::resolve(data, &stale)), str(folder));
    EXPECT_FALSE(stale);
    EXPECT_TRUE(KSTSecurityScopedBookmark::startAccessing(folder));
    KSTSecurityScopedBookmark::stopAccessing(folder);

    EXPECT_TRUE(KSTSecurityScopedBookmark::create(QString()).isEmpty());
    EXPECT_TRUE(KSTSecurityScopedBookmark::create(folder + QLatin1String("-missing")).isEmpty());
    EXPECT_TRUE(KSTSecurityScopedBookmark::resolve(folder.toUtf8()).isEmpty());
    EXPECT_TRUE(KSTSecurityScopedBookmark::resolve(QByteArray()).isEmpty());

    ASSERT_TRUE(QDir(folder).removeRecursively());
    EXPECT_TRUE(KSTSecurityScopedBookmark::resolve(data, &stale).isEmpty());
    EXPECT_FALSE(KSTSecurityScopedBookmark::startAccessing(folder));
    EXPECT_FALSE(kstOpenSystemSettingsURL(
        QStringLiteral("x-apple.systempreferences:com.apple.preference.security")));
}

} // namespace
