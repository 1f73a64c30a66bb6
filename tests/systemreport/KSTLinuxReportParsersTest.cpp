// The readers of a Linux machine's report sources, on recordings from this Debian machine,
// outputs built in each tool's format, and hostile text.
#include "KSTLinuxReportParsers.h"
#include "KSTLinuxReportSources.h"

#include <gtest/gtest.h>

namespace LP = KSTLinuxReportParsers;
namespace S = KSTLinuxReportSources;

namespace {

// A JSON array nested @p depth deep: the parser refuses it rather than recursing on.
QByteArray nested(int depth, const QByteArray &open, const QByteArray &close)
{
    return open.repeated(depth) + close.repeated(depth);
}

} // namespace

TEST(LinuxReportParsersTest, MountsOfRecordedAndBuiltFindmnt)
{
    struct Case
    {
        const char *name;
        QByteArray json;
        QString source, fileSystem;
        qint64 devices;
    } cases[] = {
        {"recorded vm", S::recordedOutput("findmnt-J.debian12-vm.json"), "/dev/vda", "ext4", 1},
        {"built luks", S::builtOutput("findmnt-J.thinkpad-luks-lvm.json"), S::RootDevice, "ext4",
         S::DeviceVolumes},
        {"no root", R"({"filesystems":[{"target":"/srv","source":"/dev/sdb1","fstype":"xfs"}]})",
         "", "", 1},
        {"empty list", R"({"filesystems":[]})", "", "", 0},
        {"not findmnt", R"({"blockdevices":[]})", "", "", -1},
        {"garbage", "findmnt: can't read /proc/self/mountinfo", "", "", -1},
        {"wrong types", R"({"filesystems":[{"target":7,"source":[1],"children":"x"}]})", "", "", 0},
        {"too deep", nested(5000, R"({"filesystems":[{"children":[)", "]}]}"), "", "", -1},
    };
    for (const Case &c : cases) {
        const LP::Mounts mounts = LP::findmntMounts(c.json);
        EXPECT_EQ(mounts.rootSource, c.source) << c.name;
        EXPECT_EQ(mounts.rootFileSystem, c.fileSystem) << c.name;
        EXPECT_EQ(mounts.deviceVolumes, c.devices) << c.name;
    }
}

TEST(LinuxReportParsersTest, RootOnLuksFollowsTheDeviceTree)
{
    struct Case
    {
        const char *name;
        QByteArray json;
        std::optional<bool> answer;
    } cases[] = {
        {"recorded plain vm", S::recordedOutput("lsblk-J.debian12-vm.json"), false},
        {"built luks and lvm", S::builtOutput("lsblk-J.thinkpad-luks-lvm.json"), true},
        {"older lsblk's mountpoint",
         R"({"blockdevices":[{"name":"sda","type":"disk","children":[{"name":"sda2",
            "type":"part","fstype":"crypto_LUKS","children":[{"name":"root","type":"crypt",
            "mountpoint":"/"}]}]}]})",
         true},
        // An encrypted disk beside the root one does not make the root encrypted.
        {"luks elsewhere",
         R"({"blockdevices":[{"name":"sda","type":"disk","mountpoints":["/"]},
            {"name":"sdb","type":"crypt","mountpoints":["/srv"]}]})",
         false},
        {"nothing at root", R"({"blockdevices":[{"name":"sda","mountpoints":[null]}]})",
         std::nullopt},
        {"not lsblk", "lsblk: failed to access sysfs directory", std::nullopt},
        {"too deep", nested(5000, R"({"blockdevices":[{"children":[)", "]}]}"), std::nullopt},
    };
    for (const Case &c : cases)
        EXPECT_EQ(LP::rootOnLuks(c.json), c.answer) << c.name;
}

TEST(LinuxReportParsersTest, KernelFilesAndSettings)
{
    EXPECT_EQ(LP::lockdownMode("none [integrity] confidentiality\n"), QStringLiteral("integrity"));
    EXPECT_EQ(LP::lockdownMode("[none] integrity confidentiality\n"), QStringLiteral("none"));
    EXPECT_EQ(LP::lockdownMode("none integrity confidentiality\n"), QString());
    EXPECT_EQ(LP::lockdownMode("[] x"), QString());
    EXPECT_EQ(LP::lockdownMode("]["), QString());
    EXPECT_EQ(LP::lockdownMode("[a [b] c]"), QString());         // not one word
    EXPECT_EQ(LP::lockdownMode("none\n[integrity]"), QString()); // not on its line

    EXPECT_EQ(LP::efiFlag(QByteArray("\x06\x00\x00\x00\x01", 5)), true);
    EXPECT_EQ(LP::efiFlag(QByteArray("\x06\x00\x00\x00\x00", 5)), false);
    EXPECT_EQ(LP::efiFlag(QByteArray("\x06\x00\x00\x00", 4)), std::nullopt);
    EXPECT_EQ(LP::efiFlag(QByteArray("\x06\x00\x00\x00\x02", 5)), false);

    struct Setting
    {
        QByteArray text;
        std::optional<QString> value;
    } settings[] = {
        {"# ENABLED=yes\nENABLED=no\n", QStringLiteral("no")},
        {"ENABLED=no\nENABLED=yes\n", QStringLiteral("yes")}, // the last one wins
        {"  ENABLED=\"yes\"  \n", QStringLiteral("yes")},
        {"ENABLED='yes\n", QStringLiteral("'yes")},
        {"ENABLEDX=yes\nLOGLEVEL=low\n", std::nullopt},
        {"", std::nullopt},
    };
    for (const Setting &s : settings)
        EXPECT_EQ(LP::shellSetting(s.text, "ENABLED"), s.value) << s.text.constData();
}

TEST(LinuxReportParsersTest, ServicesModulesAndStartup)
{
    EXPECT_EQ(LP::unitCount(S::builtOutput("systemctl-list-units-running.thinkpad.txt")),
              S::RunningSystemServices);
    EXPECT_EQ(LP::unitCount(S::builtOutput("systemctl-user-list-units-running.thinkpad.txt")),
              S::RunningUserServices);
    // The complaint of a machine without systemd is not a list of units.
    EXPECT_EQ(LP::unitCount(S::recordedOutput("systemctl-list-units.no-systemd.stderr.txt")), 0);
    EXPECT_EQ(LP::unitCount("\n\n.hidden x\n"), 0);

    const LP::Modules modules = LP::loadedModules(S::builtOutput("proc-modules.thinkpad.txt"));
    EXPECT_EQ(modules.loaded, 6);
    EXPECT_EQ(modules.outOfTree, S::OutOfTreeModules);
    const LP::Modules odd = LP::loadedModules("short line\nm 1 0 - Live 0x0 (P)\nm 1 0 - Live\n");
    EXPECT_EQ(odd.loaded, 1);
    EXPECT_EQ(odd.outOfTree, 0);

    struct Startup
    {
        QByteArray text;
        std::optional<double> seconds;
    } startups[] = {
        {S::builtOutput("systemd-analyze.thinkpad.txt"), 14.776},
        {"Startup finished in 1.5s (kernel) + 1min 2.5s (userspace) = 1min 4s\n", 64},
        {"Startup finished in 950ms (kernel) + 2.050s (userspace) = 3s\n", 3},
        {"Startup finished in 2.5s (kernel) + 1h 2min (userspace) = 1h 2min 2.5s\n", 3722.5},
        {"Bootup is not yet finished (org.freedesktop.systemd1.Manager.FinishTimestampMonotonic"
         "=0).\n",
         std::nullopt},
        {"Startup finished in 1s (kernel) = 3 fortnights\n", std::nullopt},
        {"Startup finished in 1s (kernel) = 1e400s\n", std::nullopt},
        {"", std::nullopt},
    };
    for (const Startup &s : startups) {
        const std::optional<double> seconds = LP::startupSeconds(s.text);
        ASSERT_EQ(seconds.has_value(), s.seconds.has_value()) << s.text.constData();
        if (seconds) {
            EXPECT_NEAR(*seconds, *s.seconds, 1e-9) << s.text.constData();
        }
    }
}

TEST(LinuxReportParsersTest, CoredumpsOfTheLastWeek)
{
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000);
    auto at = [&](qint64 secondsAgo, const char *fields) {
        return QStringLiteral("{\"time\":%1,%2}")
            .arg((now.toSecsSinceEpoch() - secondsAgo) * 1'000'000)
            .arg(QString::fromUtf8(fields))
            .toUtf8();
    };
    const QByteArray json = '[' + at(60, R"("exe":"/usr/bin/nautilus")") + ',' +
                            at(86'400, R"("exe":"/usr/bin/nautilus")") + ',' +
                            at(3 * 86'400, R"("comm":"gjs")") + ',' +
                            at(8 * 86'400, R"("exe":"/usr/bin/evince")") + ',' +
                            at(-600, R"("exe":"/usr/bin/future")") + ',' +
                            R"({"exe":"/usr/bin/untimed"},{"time":"soon"},{"time":-5},7])";
    const LP::Coredumps dumps = LP::recentCoredumps(json, now);
    EXPECT_EQ(dumps.recent, 3);
    EXPECT_EQ(dumps.names, (QStringList{"nautilus", "gjs"}));
    EXPECT_EQ(LP::recentCoredumps("No coredumps found.", now).recent, 0);
    EXPECT_EQ(LP::recentCoredumps(R"({"time":1})", now).recent, 0);
}

TEST(LinuxReportParsersTest, VpnWirelessAndFirefox)
{
    EXPECT_EQ(LP::activeVpn(S::builtOutput("nmcli-t-NAME-TYPE-active.thinkpad.txt")), S::VpnName);
    EXPECT_EQ(LP::activeVpn("wg0:wireguard\n"), QStringLiteral("wg0"));
    EXPECT_EQ(LP::activeVpn("Home\\\\:vpn\n"), QStringLiteral("Home\\"));
    EXPECT_EQ(LP::activeVpn("Wired connection 1:802-3-ethernet\n"),
              QStringLiteral("None detected"));
    EXPECT_EQ(LP::activeVpn(""), QStringLiteral("None detected"));
    EXPECT_EQ(LP::activeVpn("vpn\n"), QStringLiteral("None detected")); // a name alone

    EXPECT_EQ(LP::wirelessQuality(S::builtOutput("proc-net-wireless.thinkpad.txt")), S::Wireless);
    const QByteArray header =
        "Inter-| sta-|   Quality        |\n face | tus | link level noise |\n";
    EXPECT_EQ(LP::wirelessQuality(header + " wlan0: 0000   40.  -70.  -90.  0 0 0 0 0 0\n"),
              QStringLiteral("Good \u00b7 -70 dBm"));
    EXPECT_EQ(LP::wirelessQuality(header + " wlan0: 0000   10.  -85.  -256  0 0 0 0 0 0\n"),
              QStringLiteral("Fair \u00b7 -85 dBm"));
    EXPECT_EQ(LP::wirelessQuality(header), QStringLiteral("\u2014"));
    EXPECT_EQ(LP::wirelessQuality(header + " wlan0: 0000   0.  0.  0.\n"),
              QStringLiteral("\u2014"));
    EXPECT_EQ(LP::wirelessQuality(header + " wlan0: 0000 x y z\n"), QStringLiteral("\u2014"));

    EXPECT_EQ(LP::firefoxExtensions(S::builtOutput("firefox-extensions.thinkpad.json")),
              (QStringList{"uBlock Origin", "Bitwarden - Free Password Manager"}));
    EXPECT_EQ(LP::firefoxExtensions(
                  R"({"addons":[{"id":"x@y","type":"extension","location":"app-profile"}]})"),
              QStringList{"x@y"});
    EXPECT_TRUE(LP::firefoxExtensions(R"({"addons":{"a":1}})").isEmpty());
    EXPECT_TRUE(LP::firefoxExtensions("[1,2").isEmpty());
}

// Past the input cap nothing is read at all (JSON) or only the first part is (lines).
TEST(LinuxReportParsersTest, OversizedInputIsBounded)
{
    const QByteArray line = "m 1 0 - Live 0x0 (O)\n";
    const QByteArray many = line.repeated(LP::MaximumInputBytes / line.size() + 1000);
    const qint64 loaded = LP::loadedModules(many).loaded;
    EXPECT_GE(loaded, LP::MaximumInputBytes / line.size());
    EXPECT_LE(loaded, LP::MaximumInputBytes / line.size() + 1); // a cut last line may count
    QByteArray big = S::builtOutput("findmnt-J.thinkpad-luks-lvm.json");
    big += QByteArray(LP::MaximumInputBytes, ' ');
    EXPECT_EQ(LP::findmntMounts(big).deviceVolumes, -1);
    EXPECT_EQ(LP::rootOnLuks(S::builtOutput("lsblk-J.thinkpad-luks-lvm.json") +
                             QByteArray(LP::MaximumInputBytes, ' ')),
              std::nullopt);
}
