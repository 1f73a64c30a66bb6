// A Linux desktop's applications as the Overview counts them: the lived-in Debian desktop,
// then one fixture variant per rule of what a menu shows and what an application occupies.
#include "KSTDebianDesktop.h"
#include "KSTFakeHostInfo.h"
#include "KSTFixtureLinux.h"
#include "KSTHostileFiles.h"
#include "KSTInstalledApplications.h"
#include "KSTOverviewEngine.h"
#include "KSTPermissionChecker.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"
#include "linux/KSTDesktopEntry.h"
#include "linux/KSTDesktopEntryCatalog.h"

#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <ostream>

#include <functional>
#include <map>

using namespace Qt::StringLiterals;
using Place = KSTFixtureLinux::EntryPlace;
using Kind = KSTDesktopApplication::Kind;

namespace {

quint64 allocatedBelow(const QString &path)
{
    if (QFileInfo(path).isFile())
        return KSTTestSupport::allocatedBytesOf(path);
    quint64 total = 0;
    QDirIterator it(path, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        total += KSTTestSupport::allocatedBytesOf(it.next());
    return total;
}

std::map<QString, quint64> sizesByName(const QList<KSTDesktopApplication> &applications)
{
    std::map<QString, quint64> sizes;
    for (const KSTDesktopApplication &application : applications)
        sizes[application.name] = application.payloadBytes;
    return sizes;
}

TEST(KSTLinuxApplicationsTest, DebianDesktopListsItsTenApplicationsWithTheirPayloads)
{
    KSTFixtureLinux machine;
    const QList<KSTDebianDesktop::VisibleApp> visible = KSTDebianDesktop::populate(machine);
    std::map<QString, quint64> expected;
    for (const KSTDebianDesktop::VisibleApp &app : visible)
        expected[app.name] = app.installedSizeKiB > 0 ? quint64(app.installedSizeKiB) * 1024
                                                      : allocatedBelow(app.payloadPath);
    ASSERT_EQ(expected.size(), 10u);

    const QList<KSTDesktopApplication> found =
        KSTDesktopEntryCatalog(machine.environment()).applications();
    EXPECT_EQ(sizesByName(found), expected);
    std::map<Kind, int> kinds;
    for (const KSTDesktopApplication &application : found)
        ++kinds[application.kind];
    EXPECT_EQ(kinds,
              (std::map<Kind, int>{
                  {Kind::Package, 5}, {Kind::Flatpak, 2}, {Kind::Snap, 1}, {Kind::AppImage, 2}}));
}

// A fresh machine with one packaged application ("Base", 100 KiB), changed by a row.
struct VariantCase
{
    const char *name;
    std::function<void(KSTFixtureLinux &)> change;
    std::map<QString, quint64> expected; // every application's payload bytes by name
};

// Failures name the row rather than dumping its bytes.
void PrintTo(const VariantCase &row, std::ostream *out)
{
    *out << row.name;
}

void addPackaged(KSTFixtureLinux &machine, const QString &package, const QString &fileName,
                 const QString &name, qint64 sizeKiB, const QByteArray &extra = {})
{
    KSTFixtureLinux::DesktopEntry entry;
    entry.fileName = fileName;
    entry.name = name;
    entry.exec = package;
    entry.extraLines = extra;
    machine.addDesktopEntry(entry);
    machine.addDebPackage(
        {package, u"1.0-1"_s, sizeKiB, u"amd64"_s, {u"/usr/share/applications/"_s + fileName}});
}

// lo-writer and lo-calc, two menu entries of one 2000 KiB package.
void addOnePackageWithTwoEntries(KSTFixtureLinux &machine)
{
    for (const char *id : {"lo-writer", "lo-calc"})
        machine.addDesktopEntry({QLatin1String(id) + u".desktop"_s,
                                 QLatin1String(id),
                                 u"lo"_s,
                                 {},
                                 u"Application"_s,
                                 false,
                                 false,
                                 {},
                                 Place::System});
    machine.addDebPackage({u"libreoffice"_s,
                           u"1"_s,
                           2000,
                           u"amd64"_s,
                           {u"/usr/share/applications/lo-writer.desktop"_s,
                            u"/usr/share/applications/lo-calc.desktop"_s}});
}

KSTFixtureLinux::DesktopEntry userEntry(const QString &fileName, const QString &name)
{
    KSTFixtureLinux::DesktopEntry entry;
    entry.fileName = fileName;
    entry.name = name;
    entry.exec = u"app"_s;
    entry.place = Place::User;
    return entry;
}

const std::map<QString, quint64> baseOnly{{u"Base"_s, 100 * 1024}};

class KSTLinuxApplicationVariantTest : public ::testing::TestWithParam<VariantCase>
{
};

TEST_P(KSTLinuxApplicationVariantTest, MenuRulesAndPayloads)
{
    const VariantCase &row = GetParam();
    KSTFixtureLinux machine;
    addPackaged(machine, u"base"_s, u"base.desktop"_s, u"Base"_s, 100);
    row.change(machine);
    EXPECT_EQ(sizesByName(KSTDesktopEntryCatalog(machine.environment()).applications()),
              row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KSTLinuxApplicationVariantTest,
    ::testing::Values(
        VariantCase{"UserHidesSystemEntry",
                    [](KSTFixtureLinux &m) {
                        addPackaged(m, u"gimp"_s, u"gimp.desktop"_s, u"GIMP"_s, 5000);
                        auto hidden = userEntry(u"gimp.desktop"_s, u"GIMP"_s);
                        hidden.hidden = true;
                        m.addDesktopEntry(hidden);
                    },
                    baseOnly},
        VariantCase{"UserCopyRenamesButKeepsThePackage",
                    [](KSTFixtureLinux &m) {
                        addPackaged(m, u"gimp"_s, u"gimp.desktop"_s, u"GIMP"_s, 5000);
                        m.addDesktopEntry(userEntry(u"gimp.desktop"_s, u"My GIMP"_s));
                    },
                    {{u"Base"_s, 100 * 1024}, {u"My GIMP"_s, 5000 * 1024}}},
        VariantCase{"NoDisplay",
                    [](KSTFixtureLinux &m) {
                        addPackaged(m, u"nm"_s, u"nm.desktop"_s, u"NM"_s, 10, "NoDisplay=true\n");
                    },
                    baseOnly},
        VariantCase{"TryExecMissingEvenIfTheHostHasIt",
                    [](KSTFixtureLinux &m) {
                        addPackaged(m, u"shell"_s, u"sh.desktop"_s, u"Shell"_s, 10,
                                    "TryExec=/bin/sh\n");
                        addPackaged(m, u"vim"_s, u"vim.desktop"_s, u"Vim"_s, 10, "TryExec=sh\n");
                    },
                    baseOnly},
        VariantCase{"TryExecFoundInPathOrAbsolute",
                    [](KSTFixtureLinux &m) {
                        m.addExecutable(u"usr/bin/vim"_s);
                        m.addExecutable(u"opt/tool/run"_s);
                        addPackaged(m, u"vim"_s, u"vim.desktop"_s, u"Vim"_s, 10,
                                    "TryExec=vim\n"); // through the bin → usr/bin link
                        addPackaged(m, u"tool"_s, u"tool.desktop"_s, u"Tool"_s, 20,
                                    "TryExec=/opt/tool/run\n");
                        // Present but not executable: not installed.
                        m.writeFile(u"usr/bin/notes"_s, "text");
                        addPackaged(m, u"notes"_s, u"notes.desktop"_s, u"Notes"_s, 30,
                                    "TryExec=notes\n");
                    },
                    {{u"Base"_s, 100 * 1024}, {u"Vim"_s, 10 * 1024}, {u"Tool"_s, 20 * 1024}}},
        VariantCase{
            "TwoEntriesOfOnePackage",
            [](KSTFixtureLinux &m) { addOnePackageWithTwoEntries(m); },
            {{u"Base"_s, 100 * 1024}, {u"lo-writer"_s, 2000 * 1024}, {u"lo-calc"_s, 2000 * 1024}}},
        VariantCase{"SubfolderIdHiddenByUserFile",
                    [](KSTFixtureLinux &m) {
                        m.addDesktopEntry({u"kde4/okular.desktop"_s,
                                           u"Okular"_s,
                                           u"okular"_s,
                                           {},
                                           u"Application"_s,
                                           false,
                                           false,
                                           {},
                                           Place::System});
                        m.addDesktopEntry({u"kde4/kate.desktop"_s,
                                           u"Kate"_s,
                                           u"kate"_s,
                                           {},
                                           u"Application"_s,
                                           false,
                                           false,
                                           {},
                                           Place::System});
                        auto hidden = userEntry(u"kde4-okular.desktop"_s, u"Okular"_s);
                        hidden.hidden = true;
                        m.addDesktopEntry(hidden);
                    },
                    {{u"Base"_s, 100 * 1024}, {u"Kate"_s, 0}}},
        VariantCase{"LinkOutOfTheRootIsNotFollowed",
                    [](KSTFixtureLinux &m) {
                        // A real entry on the host; under the root its path names nothing.
                        static QTemporaryDir host;
                        const QString hostEntry = host.path() + u"/host.desktop"_s;
                        KSTTestSupport::writeFile(hostEntry,
                                                  "[Desktop Entry]\nType=Application\nName=Host\n");
                        m.makeSymlink(u"usr/share/applications/host.desktop"_s, hostEntry);
                        m.makeSymlink(u"usr/share/applications/up.desktop"_s,
                                      u"../../../../../../../../"_s + hostEntry);
                    },
                    baseOnly},
        VariantCase{"LinkInsideTheRootIsFollowed",
                    [](KSTFixtureLinux &m) {
                        m.writeFile(u"opt/app/app.desktop"_s,
                                    "[Desktop Entry]\nType=Application\nName=Opt\n");
                        m.makeSymlink(u"usr/share/applications/opt.desktop"_s,
                                      u"/opt/app/app.desktop"_s);
                    },
                    {{u"Base"_s, 100 * 1024}, {u"Opt"_s, 0}}},
        VariantCase{"OversizedFifoAndFolderEntries",
                    [](KSTFixtureLinux &m) {
                        m.writeFile(u"usr/share/applications/big.desktop"_s,
                                    "[Desktop Entry]\nType=Application\nName=Big\n" +
                                        QByteArray(KSTDesktopEntry::maximumFileBytes, '#'));
                        KSTHostileFiles::makeFifo(m.path(u"usr/share/applications/fifo.desktop"_s));
                        m.makeDirectory(u"usr/share/applications/dir.desktop"_s);
                    },
                    baseOnly},
        VariantCase{"LocalisedName",
                    [](KSTFixtureLinux &m) {
                        m.setLocale(u"de_DE.UTF-8"_s);
                        addPackaged(m, u"calc"_s, u"calc.desktop"_s, u"Calculator"_s, 10,
                                    "Name[de]=Rechner\n");
                    },
                    {{u"Base"_s, 100 * 1024}, {u"Rechner"_s, 10 * 1024}}},
        VariantCase{"SnapCurrentRevisionWinsOverAHigherOne",
                    [](KSTFixtureLinux &m) {
                        m.addSnap({u"code"_s, u"code"_s, u"Code"_s, u"9"_s, 8192});
                        m.writeSizedFile(u"var/lib/snapd/snaps/code_10.snap"_s, 16384);
                    },
                    {{u"Base"_s, 100 * 1024}, {u"Code"_s, 8192}}},
        VariantCase{"SnapWithoutCurrentTakesTheHighestRevision",
                    [](KSTFixtureLinux &m) {
                        m.addSnap({u"code"_s, u"code"_s, u"Code"_s, u"9"_s, 8192});
                        m.writeSizedFile(u"var/lib/snapd/snaps/code_10.snap"_s, 16384);
                        QFile::remove(m.path(u"snap/code/current"_s));
                    },
                    {{u"Base"_s, 100 * 1024}, {u"Code"_s, 16384}}},
        VariantCase{"FlatpakNamingAWayOut",
                    [](KSTFixtureLinux &m) {
                        m.writeFile(u"var/lib/flatpak/exports/share/applications/evil.desktop"_s,
                                    "[Desktop Entry]\nType=Application\nName=Evil\n"
                                    "X-Flatpak=..\n");
                    },
                    {{u"Base"_s, 100 * 1024}, {u"Evil"_s, 0}}},
        VariantCase{"OnlyRealAppImagesCount",
                    [](KSTFixtureLinux &m) {
                        m.addAppImage(u"Applications/Real.AppImage"_s, 8192);
                        QByteArray elf = KSTFixtureLinux::appImageBytes(8192);
                        elf[8] = 0;
                        m.writeHomeFile(u"Applications/Plain.AppImage"_s, elf);
                        m.makeSymlink(u"home/alice/Downloads/Linked.AppImage"_s,
                                      m.homePath(u"Applications/Real.AppImage"_s));
                        m.addAppImage(u".hidden/Secret.AppImage"_s, 4096);
                    },
                    {{u"Base"_s, 100 * 1024}, {u"Real"_s, 8192}}}),
    [](const auto &info) { return std::string(info.param.name); });

// The snapshot counts every application once and their shared payloads once.
TEST(KSTLinuxOverviewSnapshotTest, CountsApplicationsAndDistinctPayloads)
{
    KSTFixtureLinux machine;
    addPackaged(machine, u"base"_s, u"base.desktop"_s, u"Base"_s, 100);
    addOnePackageWithTwoEntries(machine);
    machine.writeSizedHomeFile(u"Videos/a.mp4"_s, 8192);
    machine.writeSizedHomeFile(u"Bilder/b.jpg"_s, 4096);
    machine.writeSizedHomeFile(u"Pictures/not-pictures.jpg"_s, 65536);
    machine.writeUserDirs({{u"PICTURES"_s, u"$HOME/Bilder"_s}, {u"DOCUMENTS"_s, u"$HOME/"_s}});
    machine.writeSizedHomeFile(u"Documents/c.odt"_s, 4096);
    machine.activate();
    KSTPermissionChecker::resetForTesting();
    KSTScopedFakeHost host;

    KSTSystemInfo info;
    KSTLiveBaselines baselines;
    const auto snapshot =
        KSTOverviewEngine(KSTApplicationBundleCatalog::PathCache::of(info), baselines)
            .fetchSnapshot();
    KSTPermissionChecker::resetForTesting();
    EXPECT_EQ(snapshot->installedAppCount, 3);
    ASSERT_EQ(snapshot->topApps.size(), 3);
    EXPECT_EQ(snapshot->topApps[0].name, u"lo-calc"_s); // equal sizes by name
    EXPECT_EQ(snapshot->topApps[1].name, u"lo-writer"_s);
    EXPECT_EQ(snapshot->topApps[2].name, u"Base"_s);
    ASSERT_EQ(snapshot->storageCategories.size(), 4);
    EXPECT_EQ(snapshot->storageCategories[0].bytes, (2000 + 100) * 1024u);
    // Videos and the localised pictures folder; documents are switched off.
    EXPECT_EQ(snapshot->storageCategories[1].bytes,
              KSTTestSupport::allocatedBytesOf(machine.homePath(u"Videos/a.mp4"_s)) +
                  KSTTestSupport::allocatedBytesOf(machine.homePath(u"Bilder/b.jpg"_s)));
    EXPECT_EQ(snapshot->storageCategories[2].bytes, 0u);
    EXPECT_EQ(snapshot->macOSVersionLine, u"Debian GNU/Linux 12 (bookworm)"_s);
}

// A Linux root describes itself from its own DMI, cpuinfo, hostname and os-release; the host
// running the program, which knows all about itself, never stands in.
struct DescriptionCase
{
    const char *name;
    std::function<void(KSTFixtureLinux &)> change;
    const char *title;
    const char *version;
};

void PrintTo(const DescriptionCase &row, std::ostream *out)
{
    *out << row.name;
}

class KSTLinuxMachineDescriptionTest : public ::testing::TestWithParam<DescriptionCase>
{
};

TEST_P(KSTLinuxMachineDescriptionTest, TitleAndVersionComeFromTheRoot)
{
    const DescriptionCase &row = GetParam();
    KSTFixtureLinux machine;
    machine.setDmi(u"Dell Inc."_s, u"XPS 13 9320"_s);
    machine.writeCpuInfo(u"12th Gen Intel(R) Core(TM) i7-1260P"_s);
    machine.writeFile(u"etc/hostname"_s, "alice-xps\n");
    row.change(machine);
    machine.activate();
    KSTScopedFakeHost host;
    host->with([](KSTFakeHostInfo::Figures &f) {
        f.hardwareModel = u"Host Model"_s;
        f.cpuBrandString = u"Host CPU"_s;
        f.computerName = u"host-box"_s;
        f.operatingSystemVersion = {13, 0, 0, u"Host OS 13"_s};
    });
    EXPECT_EQ(KSTOverviewEngine::machineTitle(), QString::fromUtf8(row.title));
    EXPECT_EQ(KSTOverviewEngine::macOSVersionLine(), QString::fromUtf8(row.version));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KSTLinuxMachineDescriptionTest,
    ::testing::Values(
        DescriptionCase{"Everything", [](KSTFixtureLinux &) {},
                        "XPS 13 9320 · 12th Gen Intel(R) Core(TM) i7-1260P",
                        "Debian GNU/Linux 12 (bookworm)"},
        DescriptionCase{
            "NoDmiTakesTheHostName",
            [](KSTFixtureLinux &m) { QFile::remove(m.path(u"sys/class/dmi/id/product_name"_s)); },
            "alice-xps · 12th Gen Intel(R) Core(TM) i7-1260P", "Debian GNU/Linux 12 (bookworm)"},
        DescriptionCase{"FirmwarePlaceholderIsNoModel",
                        [](KSTFixtureLinux &m) {
                            m.setDmi(u"System manufacturer"_s, u"System Product Name"_s);
                            QFile::remove(m.path(u"proc/cpuinfo"_s));
                        },
                        "alice-xps", "Debian GNU/Linux 12 (bookworm)"},
        DescriptionCase{"VendorOsRelease",
                        [](KSTFixtureLinux &m) {
                            QFile::remove(m.path(u"etc/os-release"_s));
                            m.writeFile(u"usr/lib/os-release"_s,
                                        "NAME=\"Ubuntu\"\nVERSION_ID=\"24.04\"\n"
                                        "PRETTY_NAME=\"Ubuntu 24.04.1 LTS\"\n");
                        },
                        "XPS 13 9320 · 12th Gen Intel(R) Core(TM) i7-1260P", "Ubuntu 24.04.1 LTS"},
        DescriptionCase{"NoVersionAtAll",
                        [](KSTFixtureLinux &m) { QFile::remove(m.path(u"etc/os-release"_s)); },
                        "XPS 13 9320 · 12th Gen Intel(R) Core(TM) i7-1260P", ""}),
    [](const auto &info) { return std::string(info.param.name); });

} // namespace
