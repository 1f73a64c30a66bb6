#include "KSTHostInfo.h"
#include "KSTSecurityScopedBookmark.h"
#include "KSTTestSupport.h"
#include "linux/KSTLinuxHostInfo.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

using KSTTestSupport::testDataPath;

std::string str(const QString &text)
{
    return text.toStdString();
}

template <typename T> std::string text(const std::optional<T> &value)
{
    return value ? std::to_string(*value) : "-";
}

KSTLinuxHostInfo hostInfoUnder(const QString &machineRoot)
{
    return KSTLinuxHostInfo(machineRoot + "/proc"_L1, machineRoot + "/sys"_L1,
                            machineRoot + "/etc"_L1);
}

// Every figure of a host in a few lines, so a failing comparison shows what differs. An
// interface's display name follows its link-layer address, in quotes.
std::string describe(KSTLinuxHostInfo &host)
{
    std::ostringstream out;
    const KSTOperatingSystemVersion os = host.operatingSystemVersion();
    out << "model=" << str(host.hardwareModel()) << " serial=" << str(host.serialNumber())
        << " cpu=" << str(host.cpuBrandString()) << " x" << host.logicalCpuCount()
        << "\nos=" << str(os.versionString) << ' ' << os.major << '.' << os.minor << '.' << os.patch
        << " name=" << str(host.computerName()) << " host=" << str(host.localizedHostName())
        << "\nticks=";
    if (const std::optional<KSTCpuTickTotals> t = host.cpuTickTotals())
        out << t->user << ' ' << t->system << ' ' << t->idle << ' ' << t->nice;
    out << " memory=" << host.physicalMemoryBytes() << " used=" << text(host.usedMemoryBytes())
        << " boot=" << text(host.bootTimeSeconds()) << "\ncounts=";
    const std::optional<QList<KSTInterfaceByteCounts>> counts = host.interfaceByteCounts();
    for (const KSTInterfaceByteCounts &c : counts.value_or(QList<KSTInterfaceByteCounts>()))
        out << ' ' << str(c.name) << (c.isLoopback ? "(loopback)" : "") << ' ' << c.receivedBytes
            << '/' << c.sentBytes;
    out << (counts ? "" : "unreadable") << "\npower=";
    const std::optional<QList<QVariantMap>> sources = host.powerSourceDescriptions();
    for (const QVariantMap &source : sources.value_or(QList<QVariantMap>())) {
        for (auto it = source.begin(); it != source.end(); ++it)
            out << ' ' << str(it.key()) << '=' << str(it.value().toString()) << ';';
    }
    out << (sources ? "" : "unreadable");
    for (const KSTInterfaceAddress &a : host.interfaceAddresses()) {
        out << '\n'
            << (a.isLinkLayer ? "link " : "") << (a.isIPv4 ? "ipv4 " : "") << str(a.name)
            << (a.isUp ? " up" : "") << (a.isRunning ? " running" : "")
            << (a.isLoopback ? " loopback" : "");
        if (a.isLinkLayer)
            out << " '" << str(host.interfaceDisplayName(a.name)) << '\'';
    }
    return out.str();
}

// The expected figures were worked out by hand from the recorded files.
const std::pair<const char *, const char *> recordedMachines[] = {
    {"debian-vm", R"(model= serial= cpu=AMD EPYC x2
os=Debian GNU/Linux 12 (bookworm) 12.0.0 name=vm host=vm
ticks=4918 4126 112485 0 memory=25276026880 used=302772224 boot=1795387901
counts= eth0 52397410/83975 ifb0 0/0 ifb1 0/0 lo(loopback) 3267/3267
power=
link lo up running loopback ''
link ifb0 'Ethernet'
link ifb1 'Ethernet'
link eth0 up running 'Ethernet'
ipv4 lo up running loopback
ipv4 eth0 up running)"},
    // The user ticks have passed 2^32 and wrapped.
    {"latitude-laptop",
     R"(model=Latitude 7420 serial=7XJ2K93 cpu=11th Gen Intel(R) Core(TM) i7-1185G7 @ 3.00GHz x8
os=Ubuntu 22.04.3 LTS 22.4.0 name=Anna’s "Work" Latitude host=anna-latitude
ticks=2032704 915802467 3125802467 51234 memory=16458502144 used=6344921088 boot=1731312000
counts= docker0 0/0 enp0s31f6 0/0 lo(loopback) 98233412/98233412 wlp0s20f3 48318382080/2147484025
power= Current Capacity=67; Is Charging=true; Is Present=true; Name=BAT0; Type=InternalBattery;
link lo up running loopback ''
link enp0s31f6 up 'Ethernet'
link wlp0s20f3 up running 'Wi-Fi'
link docker0 up 'Ethernet'
ipv4 lo up running loopback
ipv4 wlp0s20f3 up running
ipv4 docker0 up)"},
    // A wireless mouse's battery is not the machine's own.
    {"ryzen-desktop", R"(model= serial= cpu=AMD Ryzen 7 5800X 8-Core Processor x16
os=Fedora Linux 39 (Workstation Edition) 39.0.0 name=ryzen-box host=ryzen-box
ticks=18234567 6876542 987777777 12345 memory=33569288192 used=5818568704 boot=1732000123
counts= enp5s0 912345678901/45678901234 lo(loopback) 3412034/3412034
power=
link lo up running loopback ''
link enp5s0 up running 'Ethernet'
ipv4 lo up running loopback
ipv4 enp5s0 up running)"},
    {"raspberrypi", R"(model=Raspberry Pi 4 Model B Rev 1.4 serial=10000000a1b2c3d4 cpu=BCM2835 x4
os=Debian GNU/Linux 11 (bullseye) 11.0.0 name=raspberrypi host=raspberrypi
ticks=1234567 351356 98811110 2345 memory=3977584640 used=802947072 boot=1733100000
counts= eth0 0/0 lo(loopback) 1204/1204 wlan0 734003200/98304000
power=
link lo up running loopback ''
link eth0 up 'Ethernet'
link wlan0 up running 'Wi-Fi'
ipv4 lo up running loopback
ipv4 wlan0 up running)"},
};

class KSTLinuxHostInfoRecordedTest
    : public ::testing::TestWithParam<std::pair<const char *, const char *>>
{
};

TEST_P(KSTLinuxHostInfoRecordedTest, ReadsEveryFigureAsRecorded)
{
    KSTLinuxHostInfo host =
        hostInfoUnder(testDataPath(u"linux/"_s + QLatin1String(GetParam().first)));
    EXPECT_EQ(describe(host), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Machines, KSTLinuxHostInfoRecordedTest,
                         ::testing::ValuesIn(recordedMachines), [](const auto &info) {
                             std::string name = info.param.first;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

// Broken and missing inputs, written into a scratch machine: every figure degrades to
// empty/0/nothing instead of a wrong number.
struct DamagedMachine
{
    const char *name;
    std::vector<std::pair<const char *, QByteArray>> files;
    const char *differences; ///< lines of describe() other than a machine with nothing readable
};

void PrintTo(const DamagedMachine &machine, std::ostream *out)
{
    *out << machine.name;
}

// What describe() gives for a machine where nothing can be read, with each line of
// @p differences in place of the line of the same key (the text up to its first '='); lines
// without a key, the interfaces, come at the end.
std::string nothingReadableExcept(const char *differences)
{
    QStringList lines{u"model= serial= cpu= x1"_s, u"os= 0.0.0 name= host="_s,
                      u"ticks= memory=0 used=- boot=-"_s, u"counts=unreadable"_s, u"power="_s};
    for (const QString &line : QString::fromUtf8(differences).split(u'\n', Qt::SkipEmptyParts)) {
        const QString key = line.left(line.indexOf(u'=') + 1);
        const auto same = std::find_if(lines.begin(), lines.end(), [&](const QString &blank) {
            return !key.isEmpty() && blank.startsWith(key);
        });
        if (same != lines.end())
            *same = line;
        else
            lines.append(line);
    }
    return str(lines.join(u'\n'));
}

const DamagedMachine damagedMachines[] = {
    // No power supply class at all is a machine without a battery: an empty list.
    {"NothingRecorded", {}, ""},
    // The net folder lists, but an interface with an unreadable counter has no counts.
    {"GarbageNumbers",
     {{"proc/stat", "cpu  12 x 3 4 5\ncpu0 12 x 3 4 5\nbtime soon\n"},
      {"proc/meminfo", "MemTotal: lots kB\nMemAvailable: 100 kB\n"},
      {"proc/cpuinfo", QByteArray("\x00\xff\xfe:::\n\n", 7)},
      {"sys/class/net/eth0/statistics/rx_bytes", "n/a\n"},
      {"sys/class/net/eth0/statistics/tx_bytes", "12\n"}},
     "counts=\nlink eth0 'Ethernet'"},
    // Before 2.6 the cpu line stops after idle; before 3.14 there is no MemAvailable.
    {"OldKernelFormats",
     {{"proc/stat", "cpu  100 5 50 1000\ncpu0 100 5 50 1000\n"},
      {"proc/meminfo", "MemTotal:  2048 kB\nMemFree:  1024 kB\n"}},
     "ticks=100 50 1000 5 memory=2097152 used=- boot=-"},
    {"InconsistentMemoryAndShortCpuLine",
     {{"proc/stat", "cpu  1 2 3\n"}, {"proc/meminfo", "MemTotal: 10 kB\nMemAvailable: 20 kB\n"}},
     "ticks= memory=10240 used=- boot=-"},
    // Without a flags file, loopback is known by its name.
    {"SparseBatteryAndInterfaces",
     {{"sys/class/power_supply/CMB0/type", "Battery\n"},
      {"sys/class/power_supply/CMB0/capacity", "unknown\n"},
      {"sys/class/power_supply/CMB0/status", "Discharging\n"},
      {"sys/class/net/lo/statistics/rx_bytes", "18446744073709551615\n"},
      {"sys/class/net/lo/statistics/tx_bytes", "7\n"},
      {"sys/class/net/wlan1/wireless/.keep", ""},
      {"sys/class/net/wlan1/flags", "0x1002\n"}},
     R"(counts= lo(loopback) 18446744073709551615/7
power= Is Charging=false; Name=CMB0; Type=InternalBattery;
link lo ''
link wlan1 'Wi-Fi')"},
    {"PlaceholderFirmwareAndTerseOsRelease",
     {{"sys/class/dmi/id/product_name", "  System Product Name \n"},
      {"sys/class/dmi/id/product_serial", "Default string\n"},
      {"etc/os-release", "NAME='Arch Linux'\nBUILD_ID=rolling\nVERSION_ID=rolling\n"},
      {"etc/machine-info", "PRETTY_HOSTNAME=\"  \"\n"},
      {"etc/hostname", "archbox\n"}},
     "os=Arch Linux 0.0.0 name=archbox host=archbox"},
    {"EmptyOsRelease",
     {{"etc/os-release", "# nothing but a comment\n"}},
     "os=Linux 0.0.0 name= host="},
    {"ThreePartVersion",
     {{"etc/os-release", "PRETTY_NAME=\"Alpine Linux v3.18\"\nVERSION_ID=3.18.4\n"}},
     "os=Alpine Linux v3.18 3.18.4 name= host="},
};

class KSTLinuxHostInfoDamagedTest : public ::testing::TestWithParam<DamagedMachine>
{
};

TEST_P(KSTLinuxHostInfoDamagedTest, DegradesWithoutInventing)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    for (const auto &[path, contents] : GetParam().files)
        ASSERT_TRUE(KSTTestSupport::writeFile(root.filePath(QString::fromLatin1(path)), contents));
    KSTLinuxHostInfo host = hostInfoUnder(root.path());
    EXPECT_EQ(describe(host), nothingReadableExcept(GetParam().differences));
}

INSTANTIATE_TEST_SUITE_P(Inputs, KSTLinuxHostInfoDamagedTest, ::testing::ValuesIn(damagedMachines),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(KSTLinuxHostInfoTest, DisplayNamesOfOddInterfaces)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    ASSERT_TRUE(QDir().mkpath(root.filePath(u"sys/class/net/wlp2s0"_s)));
    ASSERT_TRUE(QDir().mkpath(root.filePath(u"sys/class/ieee80211"_s)));
    // A dangling phy80211 link still means Wi-Fi.
    ASSERT_TRUE(
        QFile::link(u"../../ieee80211/phy7"_s, root.filePath(u"sys/class/net/wlp2s0/phy80211"_s)));
    KSTLinuxHostInfo host = hostInfoUnder(root.path());
    const std::pair<QString, const char *> cases[] = {
        {u"wlp2s0"_s, "Wi-Fi"}, {u"eth0"_s, ""}, {u"../ieee80211"_s, ""}, {u".."_s, ""}, {{}, ""}};
    for (const auto &[interface, displayName] : cases)
        EXPECT_EQ(str(host.interfaceDisplayName(interface)), displayName) << str(interface);
}

TEST(KSTLinuxHostInfoTest, LiveHostAnswersPlausibly)
{
    KSTLinuxHostInfo host;
    EXPECT_GT(host.physicalMemoryBytes(), 0u);
    EXPECT_LE(host.usedMemoryBytes().value_or(~0ull), host.physicalMemoryBytes());
    EXPECT_TRUE(host.cpuTickTotals().has_value());
    EXPECT_LT(host.bootTimeSeconds().value_or(0), QDateTime::currentSecsSinceEpoch());
    EXPECT_GT(host.bootTimeSeconds().value_or(0), 0);
    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    EXPECT_EQ(str(host.localizedHostName()), std::string(name));
    // Every Linux host has a loopback interface, with counters and a link-layer address.
    const std::string figures = describe(host);
    EXPECT_NE(figures.find("(loopback)"), std::string::npos) << figures;
    EXPECT_NE(figures.find("\nlink lo up running loopback"), std::string::npos) << figures;

    const std::optional<KSTVolumeUsage> volume = host.volumeUsage(QDir::tempPath());
    ASSERT_TRUE(volume.has_value());
    EXPECT_GT(volume->totalBytes, 0u);
    EXPECT_LE(volume->freeBytes, volume->totalBytes);
    EXPECT_FALSE(host.volumeUsage(u"/no/such/kestrel/path"_s).has_value());
}

// Readers on other threads while a test installs and removes its own host, and a reference
// handed out before a replacement outlives the replacement.
TEST(KSTHostInfoTest, InstallingAHostIsSafeWhileOtherThreadsRead)
{
    KSTHostInfo &platform = KSTHostInfo::current();
    std::atomic<bool> stop = false;
    std::atomic<int> readings = 0;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!stop)
                readings += KSTHostInfo::current().logicalCpuCount() >= 1 ? 1 : 0;
        });
    }
    const QString machine = testDataPath(u"linux/latitude-laptop"_s);
    for (int i = 0; i < 50; ++i) {
        KSTHostInfo::setCurrentForTesting(
            std::make_shared<KSTLinuxHostInfo>(hostInfoUnder(machine)));
        KSTHostInfo &held = KSTHostInfo::current();
        KSTHostInfo::setCurrentForTesting(nullptr);
        EXPECT_EQ(str(held.hardwareModel()), "Latitude 7420");
    }
    while (readings < 100)
        std::this_thread::yield();
    stop = true;
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(&KSTHostInfo::current(), &platform);
}

TEST(KSTSecurityScopedBookmarkTest, RoundTripsAnExistingFolderOnly)
{
    QTemporaryDir scratch;
    ASSERT_TRUE(scratch.isValid());
    const QString folder = scratch.filePath(u"Fotos – Ärger"_s);
    ASSERT_TRUE(QDir().mkpath(folder));
    // An unclean spelling of the folder still records the clean absolute path.
    const QByteArray data = KSTSecurityScopedBookmark::create(folder + u"/../Fotos – Ärger/"_s);
    bool stale = true;
    EXPECT_EQ(str(KSTSecurityScopedBookmark::resolve(data, &stale)), str(folder));
    EXPECT_FALSE(stale);
    EXPECT_TRUE(KSTSecurityScopedBookmark::create(folder + "-missing"_L1).isEmpty());
    EXPECT_TRUE(KSTSecurityScopedBookmark::resolve(folder.toUtf8()).isEmpty());
    ASSERT_TRUE(QDir(folder).removeRecursively());
    EXPECT_TRUE(KSTSecurityScopedBookmark::resolve(data, &stale).isEmpty());
    EXPECT_FALSE(KSTSecurityScopedBookmark::startAccessing(folder));
}

} // namespace
