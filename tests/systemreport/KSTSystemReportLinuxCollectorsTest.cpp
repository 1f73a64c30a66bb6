// The report's collectors on a fixture Debian machine: each kernel file, configuration file
// and tool present, absent and hostile (oversized, a link out of the root, a FIFO, a failing
// tool), and the whole machine read into a report.
#include "KSTSystemReportLinuxCollectors.h"
#include "KSTFixtureLinux.h"
#include "KSTLinuxReportSources.h"
#include "KSTSystemReportBuilder.h"
#include "KSTSystemReportCollectors.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cctype>
#include <functional>

#include <sys/stat.h>

namespace LC = KSTSystemReportLinuxCollectors;
namespace S = KSTLinuxReportSources;

namespace {

using Collect = void (*)(KSTReportContext &);
using Answered = std::function<bool(const KSTReportContext &)>;

struct Source
{
    const char *name;
    QString path; ///< root-relative
    QByteArray contents;
    Collect collect;
    Answered answered;
};

const QList<Source> &fileSources()
{
    static const QList<Source> sources = {
        {"os-release", "etc/os-release", KSTFixtureLinux::debianOsRelease(), LC::collectInstant,
         [](const KSTReportContext &c) { return !c.machine.osFamilyName.isEmpty(); }},
        {"cmdline", "proc/cmdline", "BOOT_IMAGE=/vmlinuz ro quiet\n", LC::collectInstant,
         [](const KSTReportContext &c) { return !c.machine.nvramBootArgs.isEmpty(); }},
        {"lockdown", "sys/kernel/security/lockdown", "none [integrity] confidentiality\n",
         LC::collectSecurity,
         [](const KSTReportContext &c) { return !c.machine.lockdownMode.isEmpty(); }},
        {"apparmor", "sys/module/apparmor/parameters/enabled", "Y\n", LC::collectSecurity,
         [](const KSTReportContext &c) { return c.machine.accessControlOn.has_value(); }},
        {"selinux", "sys/fs/selinux/enforce", "1", LC::collectSecurity,
         [](const KSTReportContext &c) { return c.machine.accessControlOn.has_value(); }},
        {"ufw", "etc/ufw/ufw.conf", "ENABLED=yes\n", LC::collectSecurity,
         [](const KSTReportContext &c) { return c.machine.firewallOn.has_value(); }},
        {"secure boot", "sys/firmware/efi/efivars/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c",
         QByteArray("\x06\0\0\0\x01", 5), LC::collectSecurity,
         [](const KSTReportContext &c) { return c.machine.secureBootOn.has_value(); }},
        {"modules", "proc/modules", S::builtOutput("proc-modules.thinkpad.txt"), LC::collectMedium,
         [](const KSTReportContext &c) { return c.machine.loadedModules >= 0; }},
        {"wireless", "proc/net/wireless", S::builtOutput("proc-net-wireless.thinkpad.txt"),
         LC::collectMedium,
         [](const KSTReportContext &c) { return !c.machine.wirelessQuality.isEmpty(); }},
    };
    return sources;
}

enum class Shape { Present, Absent, Oversized, LinkInside, LinkOut, FolderLinkOut, Fifo };

struct FileCase
{
    Source source;
    Shape shape;
};

std::string caseName(const ::testing::TestParamInfo<FileCase> &info)
{
    static const char *const shapes[] = {
        "Present", "Absent", "Oversized", "LinkInside", "LinkOutOfRoot", "FolderLinkOut", "Fifo"};
    std::string name = std::string(info.param.source.name) + "_" + shapes[int(info.param.shape)];
    for (char &c : name)
        c = std::isalnum(uchar(c)) ? c : '_';
    return name;
}

QList<FileCase> allFileCases()
{
    QList<FileCase> cases;
    for (const Source &source : fileSources())
        for (Shape shape : {Shape::Present, Shape::Absent, Shape::Oversized, Shape::LinkInside,
                            Shape::LinkOut, Shape::FolderLinkOut, Shape::Fifo})
            cases.append({source, shape});
    return cases;
}

class LinuxReportFileSourceTest : public ::testing::TestWithParam<FileCase>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid() && outside.isValid());
        QFile::remove(machine.path("etc/os-release")); // only the case's own source is there
        machine.activate();
    }

    KSTFixtureLinux machine;
    QTemporaryDir outside; // the host, as far as the analysed root is concerned
};

} // namespace

TEST_P(LinuxReportFileSourceTest, IsReadOnlyWhenItIsTheRootsOwnRegularFile)
{
    const FileCase &c = GetParam();
    const QString target = machine.path(c.source.path);
    const QString hostCopy = outside.filePath(QStringLiteral("host/") + c.source.path);
    ASSERT_TRUE(KSTTestSupport::writeFile(hostCopy, c.source.contents));
    switch (c.shape) {
    case Shape::Present:
        machine.writeFile(c.source.path, c.source.contents);
        break;
    case Shape::Absent:
        break;
    case Shape::Oversized:
        machine.writeFile(c.source.path,
                          c.source.contents + QByteArray(4 * LC::SmallFileBytes, '\n'));
        break;
    case Shape::LinkInside: // as Debian links etc/os-release to ../usr/lib/os-release
        machine.writeFile(QStringLiteral("usr/lib/kestrel-linked"), c.source.contents);
        QDir().mkpath(QFileInfo(target).path());
        ASSERT_TRUE(QFile::link(
            QDir(QFileInfo(target).path()).relativeFilePath(machine.path("usr/lib/kestrel-linked")),
            target));
        break;
    case Shape::LinkOut:
        QDir().mkpath(QFileInfo(target).path());
        ASSERT_TRUE(QFile::link(hostCopy, target));
        break;
    case Shape::FolderLinkOut: {
        const QString folder = QFileInfo(target).path();
        QDir().mkpath(QFileInfo(folder).path());
        QDir(folder).removeRecursively();
        ASSERT_TRUE(QFile::link(QFileInfo(hostCopy).path(), folder));
        break;
    }
    case Shape::Fifo:
        QDir().mkpath(QFileInfo(target).path());
        ASSERT_EQ(::mkfifo(QFile::encodeName(target).constData(), 0644), 0);
        break;
    }
    KSTReportContext context;
    c.source.collect(context); // a FIFO never blocks it
    EXPECT_EQ(c.source.answered(context),
              c.shape == Shape::Present || c.shape == Shape::LinkInside);
}

INSTANTIATE_TEST_SUITE_P(Sources, LinuxReportFileSourceTest, ::testing::ValuesIn(allFileCases()),
                         caseName);

namespace {

struct Tool
{
    const char *name;
    QString path;
    QByteArray output;
    Collect collect;
    Answered answered;
};

class LinuxReportToolTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        machine.activate();
    }

    KSTFixtureLinux machine;
};

} // namespace

// A tool counts only when it is there and succeeds: a missing one and one that fails with
// its complaint (recorded from this machine's systemctl) leave the rows at "—".
TEST_F(LinuxReportToolTest, ToolsPresentMissingAndFailing)
{
    const QByteArray complaint = S::recordedOutput("systemctl-list-units.no-systemd.stderr.txt");
    const Tool tools[] = {
        {"findmnt", "/usr/bin/findmnt", S::builtOutput("findmnt-J.thinkpad-luks-lvm.json"),
         LC::collectInstant,
         [](const KSTReportContext &c) { return c.machine.mountedVolumeCount >= 0; }},
        {"lsblk", "/usr/bin/lsblk", S::builtOutput("lsblk-J.thinkpad-luks-lvm.json"),
         LC::collectSecurity,
         [](const KSTReportContext &c) { return c.machine.rootEncrypted.has_value(); }},
        {"systemctl", "/usr/bin/systemctl",
         S::builtOutput("systemctl-list-units-running.thinkpad.txt"), LC::collectMedium,
         [](const KSTReportContext &c) {
             return c.machine.runningSystemUnits >= 0 && c.machine.runningUserUnits >= 0;
         }},
        {"systemd-analyze", "/usr/bin/systemd-analyze",
         S::builtOutput("systemd-analyze.thinkpad.txt"), LC::collectMedium,
         [](const KSTReportContext &c) { return c.machine.startupSeconds.has_value(); }},
        {"nmcli", "/usr/bin/nmcli", "", LC::collectMedium, // nothing active is an answer
         [](const KSTReportContext &c) { return !c.machine.vpnName.isEmpty(); }},
        {"coredumpctl", "/usr/bin/coredumpctl", "[]",
         [](KSTReportContext &c) { LC::collectCrashStats(c, QDateTime::currentDateTime()); },
         [](const KSTReportContext &c) { return !c.crashStats.isEmpty(); }},
    };
    for (const Tool &tool : tools) {
        KSTReportContext missing;
        tool.collect(missing);
        EXPECT_FALSE(tool.answered(missing)) << tool.name;

        machine.addTool(tool.path, complaint, 1);
        KSTReportContext failing;
        tool.collect(failing);
        EXPECT_FALSE(tool.answered(failing)) << tool.name;

        machine.addTool(tool.path, tool.output);
        KSTReportContext present;
        tool.collect(present);
        EXPECT_TRUE(tool.answered(present)) << tool.name;
        QFile::remove(machine.path(tool.path.mid(1)));
    }
}

TEST_F(LinuxReportToolTest, TheWholeMachineReadsAsItsReport)
{
    const QDateTime now = QDateTime::currentDateTime();
    S::install(machine, now);
    KSTReportContext context;
    LC::collectInstant(context);
    LC::collectMedium(context);
    LC::collectSecurity(context);
    LC::collectCrashStats(context, now);
    KSTSystemReportCollectors::collectBrowserExtensions(context);
    const KSTReportMachineFacts &m = context.machine;
    EXPECT_EQ(m.osFamilyName, QStringLiteral("Debian GNU/Linux"));
    EXPECT_EQ(m.bootVolumeName, S::RootDevice);
    EXPECT_EQ(m.fileSystem, QStringLiteral("ext4"));
    EXPECT_EQ(m.mountedVolumeCount, S::DeviceVolumes);
    EXPECT_EQ(m.nvramBootArgs, QStringLiteral("normal"));
    EXPECT_EQ(m.lockdownMode, QStringLiteral("integrity"));
    EXPECT_EQ(m.rootEncrypted, true);
    EXPECT_EQ(m.accessControlOn, true);
    EXPECT_EQ(m.firewallOn, true);
    EXPECT_EQ(m.secureBootOn, true);
    EXPECT_EQ(m.runningSystemUnits, S::RunningSystemServices);
    EXPECT_EQ(m.runningUserUnits, S::RunningUserServices);
    EXPECT_EQ(m.outOfTreeModules, S::OutOfTreeModules);
    ASSERT_TRUE(m.startupSeconds.has_value());
    EXPECT_NEAR(*m.startupSeconds, 14.776, 1e-9);
    EXPECT_EQ(m.vpnName, S::VpnName);
    EXPECT_EQ(m.wirelessQuality, S::Wireless);
    EXPECT_EQ(context.crashStats.value("recent").toString(), S::RecentCrashes);
    EXPECT_EQ(context.crashStats.value("kernelPanic").toString(), QStringLiteral("1"));
    EXPECT_EQ(context.crashStats.value("lastPanic").toString(),
              now.addDays(-S::KernelCrashAgeDays).toString(QStringLiteral("yyyy-MM-dd")));
    EXPECT_FALSE(context.crashStats.contains("hangs")); // no counterpart: "—"
    EXPECT_EQ(context.browserExtensions.value("safari").toString(), S::FirefoxExtensions);
    EXPECT_EQ(context.browserExtensions.value("chrome").toString(), S::ChromiumExtensions);
    EXPECT_EQ(context.browserExtensions.value("suspicious").toLongLong(), 1);
    EXPECT_TRUE(machine.toolCalls("/usr/bin/systemctl")
                    .contains(QStringLiteral(
                        "--user list-units --type=service --state=running --no-legend --plain "
                        "--no-pager")));
}

// Each protection off, and firewall units enabled by a link rather than by ufw.
TEST_F(LinuxReportToolTest, ProtectionsOffAndFirewallUnits)
{
    machine.writeFile("sys/kernel/security/lockdown", "[none] integrity confidentiality\n");
    machine.writeFile("sys/module/apparmor/parameters/enabled", "N\n");
    machine.writeFile("sys/fs/selinux/enforce", "0");
    machine.writeFile("sys/firmware/efi/efivars/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c",
                      QByteArray("\x06\0\0\0\0", 5));
    machine.addTool("/usr/bin/lsblk", S::recordedOutput("lsblk-J.debian12-vm.json"));
    machine.writeFile("etc/ufw/ufw.conf", "ENABLED=no\n");
    KSTReportContext off;
    LC::collectSecurity(off);
    EXPECT_EQ(off.machine.lockdownMode, QStringLiteral("none"));
    EXPECT_FALSE(off.sipEnabled);
    EXPECT_EQ(off.machine.rootEncrypted, false);
    EXPECT_EQ(off.machine.accessControlOn, false);
    EXPECT_EQ(off.machine.secureBootOn, false);
    EXPECT_EQ(off.machine.firewallOn, false);

    QFile::remove(machine.path("etc/ufw/ufw.conf"));
    machine.writeFile("usr/lib/systemd/system/nftables.service", "[Unit]\n");
    KSTReportContext installed;
    LC::collectSecurity(installed);
    EXPECT_EQ(installed.machine.firewallOn, false); // installed, not enabled
    machine.makeSymlink("etc/systemd/system/sysinit.target.wants/nftables.service",
                        "/usr/lib/systemd/system/nftables.service");
    KSTReportContext enabled;
    LC::collectSecurity(enabled);
    EXPECT_EQ(enabled.machine.firewallOn, true);
}

// Crash files and kernel crash folders by age; a browser folder that is a link out of the
// home lists nothing.
TEST_F(LinuxReportToolTest, CrashFolderAndLinkedBrowserProfiles)
{
    const QDateTime now = QDateTime::currentDateTime();
    machine.writeFile("var/crash/_usr_bin_gedit.1000.crash", "ProblemType: Crash\n",
                      now.addDays(-1));
    machine.writeFile("var/crash/_usr_bin_gedit.1000.upload", "", now.addDays(-1));
    machine.writeFile("var/crash/_usr_bin_totem.1000.crash", "x", now.addDays(-9));
    machine.writeFile("var/crash/202601010000/dmesg.202601010000", "x");
    KSTFixtureMachine::setModified(machine.path("var/crash/202601010000"), now.addDays(-120));
    KSTReportContext context;
    LC::collectCrashStats(context, now);
    EXPECT_EQ(context.crashStats.value("recent").toString(), QStringLiteral("1 (gedit)"));
    EXPECT_EQ(context.crashStats.value("kernelPanic").toString(),
              QStringLiteral("None in 90 days"));

    QTemporaryDir outside;
    ASSERT_TRUE(KSTTestSupport::writeFile(
        outside.filePath("Default/Extensions/abc/1.0_0/manifest.json"), "{\"name\":\"Host's\"}"));
    machine.makeDirectory(QStringLiteral("home/alice/.config"));
    ASSERT_TRUE(QFile::link(outside.path(), machine.homePath(".config/chromium")));
    KSTReportContext browsers;
    KSTSystemReportCollectors::collectBrowserExtensions(browsers);
    EXPECT_FALSE(browsers.browserExtensions.value("chrome").toString().contains("Host"));
}

// The kernel command line says how the machine started: a rescue start is the Mac's safe boot.
TEST_F(LinuxReportToolTest, BootModeFromTheKernelCommandLine)
{
    const struct
    {
        QByteArray commandLine;
        const char *mode;
    } cases[] = {
        {"BOOT_IMAGE=/vmlinuz-6.1.0-28-amd64 root=/dev/sda1 ro quiet\n", "normal"},
        {"BOOT_IMAGE=/vmlinuz root=/dev/sda1 ro single\n", "safe"},
        {"root=/dev/sda1 ro systemd.unit=rescue.target\n", "safe"},
        {"root=/dev/sda1 ro systemd.unit=emergency.target\n", "safe"},
        {"root=/dev/sda1 ro singleuser=no\n", "normal"}, // a word, not a part of one
        {"\n", ""},
    };
    for (const auto &c : cases) {
        machine.writeFile("proc/cmdline", c.commandLine);
        KSTReportContext context;
        LC::collectInstant(context);
        EXPECT_EQ(context.machine.nvramBootArgs, QString::fromUtf8(c.mode))
            << c.commandLine.constData();
    }
}
