// The collectors that walk the analysed user's folders, on fixture Macs: crash, hang and panic
// reports by name and age, Safari and Chrome extensions (localised names included), the host's
// memory figures, and the boot metrics with last week's figure.
#include "KSTSystemReportCollectors.h"
#include "KSTMachineTest.h"
#include "KSTTestSupport.h"

#include <QtEndian>

namespace C = KSTSystemReportCollectors;

namespace {

class SystemReportCollectorsTest : public KSTMachineTest
{
protected:
    void addReport(const QString &path, qint64 daysAgo)
    {
        const QString written = path.startsWith(QLatin1Char('/')) ? mac.writeFile(path.mid(1), "{}")
                                                                  : mac.writeHomeFile(path, "{}");
        ASSERT_TRUE(KSTTestSupport::setModificationTime(written, now.toSecsSinceEpoch() -
                                                                     daysAgo * 86'400 - 60));
    }

    const QDateTime now = QDateTime::currentDateTime();
};

} // namespace

TEST_F(SystemReportCollectorsTest, CrashesHangsAndPanicsByNameAndAge)
{
    const QString user = QStringLiteral("Library/Logs/DiagnosticReports/");
    const QString system = QStringLiteral("/Library/Logs/DiagnosticReports/");
    addReport(user + "Safari_2026-11-13-101010_Mac.crash", 1);
    addReport(system + "Mail-2026-11-12-101010.ips", 2);
    addReport(user + "Safari_2026-11-10-101010_Mac.ips", 4); // the same process again
    addReport(user + "Old_2026-10-01-101010_Mac.crash", 30); // older than a week
    addReport(user + "Notes.ips.txt", 1);                    // not a report
    addReport(user + "Finder_2026-11-13.hang.ips", 1);
    addReport(system + "Kernel-2026-10-20-101010.panic.ips", 25);
    addReport(system + "Sleep Wake Failure-2026-11-01.ips", 13);
    addReport(system + "Kernel-2026-01-01-101010.panic.ips", 200); // beyond 90 days

    KSTReportContext context;
    C::collectCrashStats(context, now);
    const QVariantMap &stats = context.crashStats;
    EXPECT_EQ(stats.value("recent").toString(), QStringLiteral("3 (Safari, Mail)"));
    EXPECT_EQ(stats.value("hangs").toString(), QStringLiteral("1"));
    EXPECT_EQ(stats.value("kernelPanic").toString(), QStringLiteral("1"));
    EXPECT_EQ(stats.value("kernelPanicStyle").toInt(), 3);
    EXPECT_EQ(stats.value("sleepPanic").toString(), QStringLiteral("1"));
    EXPECT_EQ(stats.value("gpuPanic").toString(), QStringLiteral("None in 90 days"));
    EXPECT_EQ(stats.value("gpuPanicStyle").toInt(), 1);
    EXPECT_EQ(stats.value("lastPanic").toString(),
              now.addDays(-13).addSecs(-60).toString(QStringLiteral("yyyy-MM-dd")));
}

TEST_F(SystemReportCollectorsTest, NoReportsAndTheLinuxLayout)
{
    KSTReportContext context;
    C::collectCrashStats(context, now);
    EXPECT_EQ(context.crashStats.value("recent").toString(), QStringLiteral("0"));
    EXPECT_EQ(context.crashStats.value("lastPanic").toString(), QStringLiteral("None in 90 days"));

    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment scoped(linux);
    KSTReportContext onLinux;
    C::collectCrashStats(onLinux, now);
    C::collectBrowserExtensions(onLinux);
    C::collectAppSignatures(onLinux, now);
    C::collectFullDiskHealth(onLinux);
    EXPECT_TRUE(onLinux.crashStats.isEmpty()); // shown as "—", not as "none found"
    EXPECT_TRUE(onLinux.browserExtensions.isEmpty());
    EXPECT_TRUE(onLinux.appSignatures.isEmpty()); // not "0 apps"
    EXPECT_TRUE(onLinux.diskHealth.isEmpty());    // not "0" disk errors
}

TEST_F(SystemReportCollectorsTest, BrowserExtensionsWithLocalisedChromeNames)
{
    KSTReportContext context;
    C::collectBrowserExtensions(context);
    EXPECT_EQ(context.browserExtensions.value("safari").toString(), QStringLiteral("None"));
    EXPECT_EQ(context.browserExtensions.value("chrome").toString(), QStringLiteral("None"));
    EXPECT_EQ(context.browserExtensions.value("suspicious").toLongLong(), 0);

    mac.writeHomeFile("Library/Safari/Extensions/zeta.safariextz", "x");
    mac.writeHomeFile("Library/Safari/Extensions/Extensions.plist", "x");
    mac.writeHomeFile(
        "Library/Containers/com.apple.Safari/Data/Library/Safari/AppExtensions/Extensions.plist",
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>com.example.Alpha (TEAM1)"
        "</key><dict/></dict></plist>");
    const QString chrome = QStringLiteral("Library/Application Support/Google/Chrome/");
    mac.writeHomeFile(chrome + "Default/Extensions/aaa/1.0/manifest.json",
                      R"({"name": "uBlock Origin", "version": "1.0"})");
    mac.writeHomeFile(chrome + "Profile 1/Extensions/bbb/2.1_0/manifest.json",
                      R"({"name": "__MSG_appName__", "default_locale": "en"})");
    mac.writeHomeFile(chrome + "Profile 1/Extensions/bbb/2.1_0/_locales/en/messages.json",
                      R"({"APPNAME": {"message": "adblock helper"}})");
    mac.writeHomeFile(chrome + "Profile 2/Extensions/ccc/3/manifest.json",
                      R"({"name": "__MSG_missing__", "default_locale": "en"})");
    mac.writeHomeFile(chrome + "Profile 3/Extensions/ddd/1/manifest.json",
                      R"({"name": "Not read: a fourth profile"})");
    C::collectBrowserExtensions(context);
    EXPECT_EQ(context.browserExtensions.value("safari").toString(),
              QStringLiteral("com.example.Alpha, zeta"));
    EXPECT_EQ(context.browserExtensions.value("chrome").toString(),
              QStringLiteral("adblock helper, uBlock Origin"));
    EXPECT_EQ(context.browserExtensions.value("suspicious").toLongLong(), 1);
}

TEST(SystemReportMemoryTest, LevelsFromTheHostsMeminfo)
{
    const QByteArray meminfo = "MemTotal:       16000000 kB\nActive:          8000000 kB\n"
                               "Unevictable:      2000000 kB\nZswap:             200000 kB\n"
                               "SwapTotal:        4000000 kB\nSwapFree:         3000000 kB\n";
    const QVariantMap stats = C::memoryStatsFromMeminfo(meminfo, 0);
    // (8 + 2 + 0.2) / 16 = 63.75 %: fair.
    EXPECT_EQ(stats.value("pressure").toString(), QStringLiteral("Fair (63%)"));
    EXPECT_EQ(stats.value("pressureLevel").toInt(), 1);
    EXPECT_EQ(stats.value("swap").toString(), QStringLiteral("977 MB"));
    QByteArray noSwap = meminfo;
    EXPECT_EQ(C::memoryStatsFromMeminfo(
                  noSwap.replace("SwapFree:         3000000", "SwapFree:         4000000"), 0)
                  .value("swap")
                  .toString(),
              QStringLiteral("0 bytes"));
    EXPECT_TRUE(C::memoryStatsFromMeminfo("garbage", 0).isEmpty());
}

TEST(SystemReportBootMetricsTest, ComparesWithLastWeek)
{
    KSTStartupItemRecord heavy;
    heavy.impact = QStringLiteral("High");
    const QVariantMap first = C::bootMetrics({heavy}, 1000, 0);
    EXPECT_EQ(first.value("bootToLogin").toString(), QStringLiteral("25 s"));
    EXPECT_DOUBLE_EQ(first.value("totalDesktopSeconds").toDouble(), 27.5);
    EXPECT_EQ(first.value("deltaText").toString(), QStringLiteral("No prior data"));
    EXPECT_FALSE(first.contains("deltaSeconds"));
    const QVariantMap later = C::bootMetrics({heavy}, 1000, 27.0);
    EXPECT_DOUBLE_EQ(later.value("deltaSeconds").toDouble(), 0.5);
    EXPECT_EQ(later.value("deltaText").toString(), QStringLiteral("+0.5 s"));
    EXPECT_EQ(C::bootMetrics({}, 3, 10).value("deltaText").toString(),
              QStringLiteral("\u22127.0 s"));
}

TEST_F(SystemReportCollectorsTest, InstalledAppsBySignatureKindAndAge)
{
    auto add = [&](const char *name, const char *identifier, const char *location, bool inHome,
                   bool signedByDeveloper, qint64 daysAgo) {
        KSTFixtureMac::App app;
        app.name = QString::fromUtf8(name);
        app.bundleIdentifier = QString::fromUtf8(identifier);
        app.location = QString::fromUtf8(location);
        app.inHome = inHome;
        const QString bundle = mac.addApp(app);
        if (signedByDeveloper)
            mac.writeFile(mac.environment().pathRelativeToRoot(bundle).mid(1) +
                              "/Contents/_CodeSignature/CodeResources",
                          "x");
        ASSERT_TRUE(KSTTestSupport::setModificationTime(bundle, now.toSecsSinceEpoch() -
                                                                    daysAgo * 86'400 - 60));
    };
    add("Safari", "com.apple.Safari", "Applications", false, true, 2);
    add("Notes", "com.example.notes-clone", "System/Applications", false, false, 400);
    add("Editor", "com.example.editor", "Applications", false, true, 100);
    add("Tool", "com.example.tool", "Applications/Utilities", false, false, 3);
    add("Mine", "org.example.mine", "Applications", true, false, 500);
    add("TooDeep", "com.example.deep", "Applications/A/B", false, true, 1); // two folders down

    KSTReportContext context;
    C::collectAppSignatures(context, now);
    const QVariantMap &apps = context.appSignatures;
    EXPECT_EQ(apps.value("apple").toLongLong(), 2); // by identifier, by place
    EXPECT_EQ(apps.value("dev").toLongLong(), 1);
    EXPECT_EQ(apps.value("unsigned").toLongLong(), 2);
    EXPECT_EQ(apps.value("recent").toLongLong(), 2);
    EXPECT_EQ(apps.value("outdated").toLongLong(), 2);
}

TEST_F(SystemReportCollectorsTest, TheLinuxLayoutReadsItsOwnPlaces)
{
    mac.writeFile("etc/os-release", "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux 12 "
                                    "(bookworm)\"\nID=debian\n");
    mac.writeFile("proc/sys/kernel/osrelease", "6.1.0-26-amd64\n");
    mac.writeFile("proc/self/mountinfo",
                  "22 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw\n"
                  "23 22 0:21 / /proc rw shared:12 - proc proc rw\n"
                  "40 22 259:1 / /boot/efi rw - vfat /dev/nvme0n1p1 rw\n");
    mac.writeFile("sys/class/dmi/id/product_name", "ThinkPad X1 Carbon Gen 11\n");
    mac.addTool(QStringLiteral("/usr/bin/sw_vers"), "99Z99\n"); // never asked on Linux
    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment scoped(linux);

    KSTReportContext context;
    C::collectInstant(context);
    C::collectBuildNumber(context);
    EXPECT_EQ(context.osName, QStringLiteral("Debian GNU/Linux 12 (bookworm)"));
    EXPECT_EQ(context.buildNumber, QStringLiteral("6.1.0-26-amd64"));
    EXPECT_EQ(context.machine.fileSystem, QStringLiteral("ext4"));
    EXPECT_EQ(context.machine.bootVolumeName, QStringLiteral("/dev/nvme0n1p2"));
    EXPECT_EQ(context.machine.hardwareModel, QStringLiteral("ThinkPad X1 Carbon Gen 11"));
    EXPECT_EQ(context.machine.mountedVolumeCount, 2);
    EXPECT_TRUE(mac.toolCalls(QStringLiteral("/usr/bin/sw_vers")).isEmpty());
}

TEST_F(SystemReportCollectorsTest, TheFullCountReadsTheExecutablesSignature)
{
    // Signature blobs as the linker and codesign write them: a super-blob whose code
    // directory has the ad hoc flag (0x2) or not.
    auto machO = [](quint32 flags) -> QByteArray {
        QByteArray bytes(64, '\0');
        auto little = [&](int at, quint32 v) { qToLittleEndian(v, bytes.data() + at); };
        little(0, 0xFEEDFACF);
        little(4, 0x0100000C);
        little(16, 1);
        little(20, 16);
        little(32, 0x1D);
        little(36, 16);
        little(40, 64);
        little(44, 40);
        QByteArray blob(40, '\0');
        auto big = [&](int at, quint32 v) { qToBigEndian(v, blob.data() + at); };
        big(0, 0xFADE0CC0);
        big(8, 1);
        big(16, 20);
        big(20, 0xFADE0C02);
        big(32, flags);
        return bytes + blob;
    };
    auto add = [&](const char *name, const QByteArray &executable, bool codeSignatureFolder) {
        KSTFixtureMac::App app;
        app.name = QString::fromUtf8(name);
        app.bundleIdentifier = QStringLiteral("com.example.") + app.name;
        const QString bundle = mac.addApp(app);
        const QString relative = mac.environment().pathRelativeToRoot(bundle).mid(1);
        mac.writeFile(relative + "/Contents/MacOS/" + app.name, executable);
        if (codeSignatureFolder)
            mac.writeFile(relative + "/Contents/_CodeSignature/CodeResources", "x");
    };
    add("Signed", machO(0), true);
    add("AdHoc", machO(0x2), true);   // the folder alone would count it as signed
    add("Unsigned", machO(0), false); // no folder, yet its executable is signed
    add("Script", "#!/bin/sh\n", true);

    KSTReportContext fast;
    C::collectAppSignatures(fast, now);
    EXPECT_EQ(fast.appSignatures.value("dev").toLongLong(), 3);
    KSTReportContext full;
    C::collectAppSignatures(full, now, true);
    EXPECT_EQ(full.appSignatures.value("dev").toLongLong(), 2);
    EXPECT_EQ(full.appSignatures.value("unsigned").toLongLong(), 2);
}

// A link someone left in a walked folder, or in place of the folder itself, leads elsewhere:
// nothing behind it is counted, while the real entries beside it still are.
TEST_F(SystemReportCollectorsTest, LinkedFoldersAreNotFollowed)
{
    auto app = [&](const char *name, const char *location, bool inHome = false) {
        KSTFixtureMac::App bundle;
        bundle.name = QString::fromUtf8(name);
        bundle.bundleIdentifier = QStringLiteral("com.example.") + bundle.name;
        bundle.location = QString::fromUtf8(location);
        bundle.inHome = inHome;
        return mac.addApp(bundle);
    };
    const QString real = app("Real", "Applications");
    mac.writeFile(mac.environment().pathRelativeToRoot(real).mid(1) +
                      "/Contents/_CodeSignature/CodeResources",
                  "x");
    // A signature folder that is a link is no sign of a developer's signature.
    const QString faked = app("Faked", "Applications");
    mac.writeFile("Elsewhere/Signature/CodeResources", "x");
    mac.makeSymlink(mac.environment().pathRelativeToRoot(faked).mid(1) + "/Contents/_CodeSignature",
                    mac.path("Elsewhere/Signature"));
    const QString outsideApp = app("Outside", "Elsewhere/Apps");
    app("Nested", "Elsewhere/Apps/Suite");
    mac.makeSymlink("Applications/Linked", mac.path("Elsewhere/Apps"));
    mac.makeSymlink("Applications/Linked.app", outsideApp);
    mac.makeSymlink("Users/" + mac.login() + "/Applications", mac.path("Elsewhere/Apps"));

    const QString user = QStringLiteral("Library/Logs/DiagnosticReports");
    addReport("/Elsewhere/Reports/Safari_2026-11-13-101010_Mac.crash", 1);
    addReport("/Elsewhere/Reports/Kernel-2026-11-13-101010.panic.ips", 1);
    addReport("/Library/Logs/DiagnosticReports/Mail-2026-11-12-101010.ips", 1);
    mac.makeSymlink("Users/" + mac.login() + "/" + user, mac.path("Elsewhere/Reports"));
    mac.makeSymlink("Library/Logs/DiagnosticReports/Notes_2026-11-13-101010_Mac.crash",
                    mac.path("Elsewhere/Reports/Safari_2026-11-13-101010_Mac.crash"));

    const QString chrome = QStringLiteral("Elsewhere/Chrome/aaa/1.0/manifest.json");
    mac.writeFile(chrome, R"({"name": "Behind a link"})");
    mac.makeHomeDirectory("Library/Application Support/Google/Chrome");
    mac.makeSymlink("Users/" + mac.login() +
                        "/Library/Application Support/Google/Chrome/Default/Extensions",
                    mac.path("Elsewhere/Chrome"));
    mac.makeSymlink("Users/" + mac.login() + "/Library/Safari/Extensions",
                    mac.path("Elsewhere/Reports"));

    KSTReportContext context;
    C::collectAppSignatures(context, now);
    C::collectCrashStats(context, now);
    C::collectBrowserExtensions(context);
    const QVariantMap &apps = context.appSignatures;
    EXPECT_EQ(apps.value("apple").toLongLong(), 0);
    EXPECT_EQ(apps.value("dev").toLongLong(), 1);      // Real.app
    EXPECT_EQ(apps.value("unsigned").toLongLong(), 1); // Faked.app
    EXPECT_EQ(context.crashStats.value("recent").toString(), QStringLiteral("1 (Mail)"));
    EXPECT_EQ(context.crashStats.value("kernelPanic").toString(),
              QStringLiteral("None in 90 days"));
    EXPECT_EQ(context.browserExtensions.value("chrome").toString(), QStringLiteral("None"));
    EXPECT_EQ(context.browserExtensions.value("safari").toString(), QStringLiteral("None"));
}
