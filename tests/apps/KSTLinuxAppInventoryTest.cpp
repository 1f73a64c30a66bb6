// App Manage on a Linux desktop: the fixture Debian desktop's records kind by kind, one fixture
// variant per hostile or missing source, the pure readers of ELF headers, snap.yaml, AppStream
// files and Exec lines, and the engine's scan on the desktop.
#include "KSTAppInventoryEngine.h"
#include "KSTDebianDesktop.h"
#include "KSTDesktopAppRecords.h"
#include "KSTFixtureLinux.h"
#include "KSTHostileFiles.h"
#include "KSTPermissionChecker.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"
#include "linux/KSTAppStreamMetadata.h"
#include "linux/KSTDesktopAppDetails.h"
#include "linux/KSTElfHeader.h"
#include "linux/KSTSnapYaml.h"

#include <QFile>

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::StringLiterals;
using Place = KSTFixtureLinux::EntryPlace;

namespace {

constexpr quint16 X86_64 = 62;
constexpr quint16 AArch64 = 183;

std::optional<KSTInstalledAppRecord> recordNamed(const QList<KSTInstalledAppRecord> &records,
                                                 const QString &name)
{
    for (const KSTInstalledAppRecord &record : records) {
        if (record.name == name)
            return record;
    }
    return std::nullopt;
}

struct DesktopCase
{
    const char *name;
    const char *identifier;
    const char *version;
    const char *developer;
    const char *category;
    const char *architecture;
    quint64 source;
};

TEST(KSTLinuxAppInventoryTest, DebianDesktopRecordsTakeEachKindsOwnSources)
{
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    KSTDebianDesktop::populate(machine);
    const QList<KSTInstalledAppRecord> records =
        KSTDesktopAppRecords::records(machine.environment());
    ASSERT_EQ(records.size(), 10);

    const DesktopCase cases[] = {
        {"Firefox (private)", "firefox-esr", "1.0-1", "Debian GNU/Linux", "Productivity", "x86-64",
         2},
        {"Files", "org.gnome.Nautilus", "1.0-1", "Debian GNU/Linux", "Utilities", "ARM64", 2},
        // A shell script is no ELF program; Writer's program is not installed at all.
        {"Text Editor", "org.gnome.TextEditor", "1.0-1", "Debian GNU/Linux", "Utilities", "—", 2},
        {"LibreOffice Writer", "libreoffice-writer", "1.0-1", "Debian GNU/Linux", "Productivity",
         "—", 2},
        // The newest release by date, not the first listed; the untranslated developer.
        {"Calculator", "org.gnome.Calculator", "45.0.2", "The GNOME Project", "Utilities", "x86-64",
         0},
        {"VLC media player", "org.videolan.VLC", "3.0.20", "VideoLAN", "Video", "x86-64", 0},
        // The top-level version only; a snap names no developer, so the name stands in.
        {"Visual Studio Code", "code_code", "1.95.3", "Visual Studio Code", "Developer Tools",
         "x86-64", 0},
        {"Obsidian-1.5.3", "Obsidian-1.5.3.AppImage", "—", "Obsidian-1.5.3", "Other", "ARM64", 1},
        {"krita-5.2.2-x86_64", "krita-5.2.2-x86_64.appimage", "—", "krita-5.2.2-x86_64", "Other",
         "x86-64", 1},
    };
    for (const DesktopCase &expected : cases) {
        SCOPED_TRACE(expected.name);
        const std::optional<KSTInstalledAppRecord> record =
            recordNamed(records, QString::fromUtf8(expected.name));
        ASSERT_TRUE(record.has_value());
        EXPECT_EQ(record->bundleIdentifier, QString::fromUtf8(expected.identifier));
        EXPECT_EQ(record->version, QString::fromUtf8(expected.version));
        EXPECT_EQ(record->developer, QString::fromUtf8(expected.developer));
        EXPECT_EQ(record->category, QString::fromUtf8(expected.category));
        EXPECT_EQ(record->architectureLabel, QString::fromUtf8(expected.architecture));
        EXPECT_EQ(record->source, expected.source);
        EXPECT_TRUE(record->bundlePath.startsWith(machine.root() + u'/'));
        EXPECT_TRUE(record->bundleIdentity.has_value());
    }

    // GNOME Shell's last-seen wins over the program's access time; without it the access
    // time of the program stands.
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const std::optional<KSTInstalledAppRecord> firefox =
        recordNamed(records, u"Firefox (private)"_s);
    ASSERT_TRUE(firefox && firefox->lastOpenedDate);
    EXPECT_NEAR(double(firefox->lastOpenedDate->secsTo(now)), 86400.0, 120.0);
    EXPECT_FALSE(firefox->isUnused(now));
    const std::optional<KSTInstalledAppRecord> calculator = recordNamed(records, u"Calculator"_s);
    ASSERT_TRUE(calculator && calculator->lastOpenedDate);
    EXPECT_TRUE(calculator->isUnused(now));
    const std::optional<KSTInstalledAppRecord> files = recordNamed(records, u"Files"_s);
    ASSERT_TRUE(files && files->lastOpenedDate);
    EXPECT_LT(std::abs(files->lastOpenedDate->secsTo(now)), 3600);
    // A Flatpak not seen by GNOME Shell was never opened as far as anything can tell: the
    // launcher's access time is every Flatpak's.
    const std::optional<KSTInstalledAppRecord> vlc = recordNamed(records, u"VLC media player"_s);
    ASSERT_TRUE(vlc);
    EXPECT_FALSE(vlc->lastOpenedDate.has_value());
    // Sizes are the payloads the Overview counts.
    EXPECT_EQ(firefox->bundleSizeBytes, 258312u * 1024);
}

// A machine with one packaged application, "Base" (usr/bin/base), changed by a row.
struct VariantCase
{
    const char *name;
    std::function<void(KSTFixtureLinux &)> change;
    const char *version;
    const char *developer;
    const char *architecture;
};

void addBase(KSTFixtureLinux &machine, const QString &exec = u"base %F"_s)
{
    KSTFixtureLinux::DesktopEntry entry;
    entry.fileName = u"base.desktop"_s;
    entry.name = u"Base"_s;
    entry.exec = exec;
    machine.addDesktopEntry(entry);
    machine.addDebPackage({u"base"_s,
                           u"2:115.5.0esr-1~deb12u1"_s,
                           100,
                           u"amd64"_s,
                           {u"/usr/share/applications/base.desktop"_s}});
}

QString addUserFlatpak(KSTFixtureLinux &machine)
{
    return machine.addFlatpak({u"org.example.Base"_s, u"Base"_s, true, 4096});
}

TEST(KSTLinuxAppInventoryTest, HostileOrMissingSourcesGiveTheDefaults)
{
    const QByteArray elf = [] {
        KSTFixtureLinux scratch;
        return KSTTestSupport::readFile(scratch.addElfProgram(u"usr/bin/x"_s, X86_64));
    }();
    const VariantCase cases[] = {
        {"an ELF program and its package's version",
         [](KSTFixtureLinux &m) { m.addElfProgram(u"usr/bin/base"_s, X86_64); },
         "2:115.5.0esr-1~deb12u1", "Debian GNU/Linux", "x86-64"},
        // Followed on the host, either link would reach the host's own /bin/sh, an ELF file.
        {"Exec an absolute link out of the root",
         [](KSTFixtureLinux &m) { m.makeSymlink(u"usr/bin/base"_s, u"/bin/sh"_s); },
         "2:115.5.0esr-1~deb12u1", "Debian GNU/Linux", "—"},
        {"Exec a relative link climbing out of the root",
         [](KSTFixtureLinux &m) {
             m.makeSymlink(u"usr/bin/base"_s, u"../../../../../../../../../../bin/sh"_s);
         },
         "2:115.5.0esr-1~deb12u1", "Debian GNU/Linux", "—"},
        {"a truncated ELF header",
         [elf](KSTFixtureLinux &m) {
             m.writeFile(u"usr/bin/base"_s, elf.left(KSTElfHeader::HeaderBytes - 1));
         },
         "2:115.5.0esr-1~deb12u1", "Debian GNU/Linux", "—"},
        {"a FIFO as the program",
         [](KSTFixtureLinux &m) {
             m.makeDirectory(u"usr/bin"_s);
             ASSERT_TRUE(KSTHostileFiles::makeFifo(m.path(u"usr/bin/base"_s)));
         },
         "2:115.5.0esr-1~deb12u1", "Debian GNU/Linux", "—"},
        {"a package that is not installed",
         [](KSTFixtureLinux &m) {
             QFile status(m.path(u"var/lib/dpkg/status"_s));
             ASSERT_TRUE(status.open(QIODevice::ReadWrite));
             QByteArray text = status.readAll();
             text.replace("install ok installed", "deinstall ok config-files");
             status.resize(0);
             status.write(text);
         },
         "—", "Debian GNU/Linux", "—"},
    };
    for (const VariantCase &variant : cases) {
        SCOPED_TRACE(variant.name);
        KSTFixtureLinux machine;
        addBase(machine);
        variant.change(machine);
        const QList<KSTInstalledAppRecord> records =
            KSTDesktopAppRecords::records(machine.environment());
        ASSERT_EQ(records.size(), 1);
        EXPECT_EQ(records[0].version, QString::fromUtf8(variant.version));
        EXPECT_EQ(records[0].developer, QString::fromUtf8(variant.developer));
        EXPECT_EQ(records[0].architectureLabel, QString::fromUtf8(variant.architecture));
    }
}

TEST(KSTLinuxAppInventoryTest, FlatpakAndSnapFilesThatCannotBeBelievedAreIgnored)
{
    const QByteArray release = "<component><developer><name>Example</name></developer>"
                               "<releases><release version=\"1.2\"/></releases></component>";
    const struct
    {
        const char *name;
        std::function<void(KSTFixtureLinux &, const QString &deployment)> change;
        const char *version;
        const char *developer;
    } cases[] = {
        {"a metainfo file",
         [&](KSTFixtureLinux &m, const QString &d) {
             m.writeFlatpakMetainfo(d, u"org.example.Base"_s, release);
         },
         "1.2", "Example"},
        {"a huge metainfo file",
         [&](KSTFixtureLinux &m, const QString &d) {
             m.writeFlatpakMetainfo(d, u"org.example.Base"_s,
                                    release +
                                        QByteArray(KSTAppStreamMetadata::maximumFileBytes, ' '));
         },
         "—", "Base"},
        {"a metainfo file that is a link out of the root",
         [&](KSTFixtureLinux &m, const QString &d) {
             const QString outside = m.path(u"../outside.xml"_s);
             QFile file(outside);
             ASSERT_TRUE(file.open(QIODevice::WriteOnly));
             file.write(release);
             file.close();
             m.makeSymlink(m.environment().pathRelativeToRoot(d).mid(1) +
                               u"/files/share/metainfo/org.example.Base.metainfo.xml"_s,
                           outside);
         },
         "—", "Base"},
        {"a metainfo FIFO",
         [&](KSTFixtureLinux &m, const QString &d) {
             m.makeDirectory(m.environment().pathRelativeToRoot(d).mid(1) +
                             u"/files/share/metainfo"_s);
             ASSERT_TRUE(KSTHostileFiles::makeFifo(
                 d + u"/files/share/metainfo/org.example.Base.metainfo.xml"_s));
         },
         "—", "Base"},
    };
    for (const auto &variant : cases) {
        SCOPED_TRACE(variant.name);
        KSTFixtureLinux machine;
        const QString deployment = addUserFlatpak(machine);
        variant.change(machine, deployment);
        const QList<KSTInstalledAppRecord> records =
            KSTDesktopAppRecords::records(machine.environment());
        ASSERT_EQ(records.size(), 1);
        EXPECT_EQ(records[0].version, QString::fromUtf8(variant.version));
        EXPECT_EQ(records[0].developer, QString::fromUtf8(variant.developer));
        EXPECT_EQ(records[0].source, 0u);
    }
}

TEST(KSTLinuxAppInventoryTest, ElfHeadersGiveTheirMachineInEitherByteOrder)
{
    QByteArray little(KSTElfHeader::HeaderBytes, '\0');
    little.replace(0, 6,
                   QByteArray("\x7f"
                              "ELF\x02\x01",
                              6));
    little[18] = char(183);
    QByteArray big = little;
    big[5] = 2;
    big[18] = 0;
    big[19] = 62;
    const struct
    {
        const char *name;
        QByteArray header;
        std::optional<quint16> machine;
    } cases[] = {
        {"little-endian AArch64", little, AArch64},
        {"big-endian x86-64", big, X86_64},
        {"one byte short", little.left(KSTElfHeader::HeaderBytes - 1), std::nullopt},
        {"an unknown class", QByteArray(little).replace(4, 1, "\x03"), std::nullopt},
        {"an unknown byte order", QByteArray(little).replace(5, 1, "\x00"), std::nullopt},
        {"a script", QByteArray("#!/bin/sh\nexec /usr/lib/app/app \"$@\"\n"), std::nullopt},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(KSTElfHeader::machine(row.header), row.machine);
    }
    EXPECT_EQ(KSTDesktopAppRecords::architectureLabel(X86_64, {}), u"x86-64"_s);
    EXPECT_EQ(KSTDesktopAppRecords::architectureLabel(AArch64, {}), u"ARM64"_s);
    EXPECT_EQ(KSTDesktopAppRecords::architectureLabel(std::nullopt, {}), u"—"_s);
    EXPECT_EQ(KSTDesktopAppRecords::architectureLabel(X86_64, u"aarch64"_s), u"ARM64"_s);
    EXPECT_EQ(KSTDesktopAppRecords::architectureLabel(std::nullopt, u"riscv64"_s), u"—"_s);
}

TEST(KSTLinuxAppInventoryTest, SnapYamlGivesOnlyItsTopLevelVersion)
{
    const struct
    {
        QByteArray yaml;
        const char *version;
    } cases[] = {
        {"name: code\nversion: 1.95.3\n", "1.95.3"},
        {"version: \"2.0 beta\" # quoted\n", "2.0 beta"},
        {"version: '3.1'\n", "3.1"},
        {"version: 4.0 # a comment\n", "4.0"},
        {"apps:\n  code:\n    version: nested\n", ""},
        {"version: \"unterminated\n", ""},
        {"version: " + QByteArray(KSTSnapYaml::maximumVersionCharacters + 1, '9') + "\n", ""},
        {QByteArray(KSTSnapYaml::maximumLineBytes + 1, '#') + "\nversion: 5\n", "5"},
        {"version: " + QByteArray(KSTSnapYaml::maximumLineBytes, '1') + "\nversion: 6\n", "6"},
        {QByteArray(KSTSnapYaml::maximumFileBytes, '\n') + "version: 7\n", ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.yaml.left(60).toStdString());
        EXPECT_EQ(KSTSnapYaml::version(row.yaml), QString::fromUtf8(row.version));
    }
}

TEST(KSTLinuxAppInventoryTest, AppStreamGivesTheNewestReleaseAndTheDeveloper)
{
    const struct
    {
        const char *name;
        QByteArray xml;
        const char *version;
        const char *developer;
    } cases[] = {
        {"listed newest first without dates",
         "<component><releases><release version=\"2\"/><release version=\"1\"/></releases>"
         "<developer_name>Legacy</developer_name></component>",
         "2", "Legacy"},
        {"timestamps beat listing order",
         "<component><releases><release version=\"1\" timestamp=\"100\"/>"
         "<release version=\"3\" timestamp=\"300\"/><release version=\"2\" timestamp=\"200\"/>"
         "</releases></component>",
         "3", ""},
        {"a translated developer name is skipped; <developer> wins over developer_name",
         "<component><developer_name>Old</developer_name><developer id=\"x\">"
         "<name xml:lang=\"fr\">Nouveau</name><name>New</name></developer></component>",
         "", "New"},
        {"a component's own name is no developer",
         "<component><name>App</name><developer><url>https://x</url></developer></component>", "",
         ""},
        {"malformed after the release", "<component><releases><release version=\"9\"/><oops", "9",
         ""},
        {"too large",
         "<component><releases><release version=\"9\"/></releases></component>" +
             QByteArray(KSTAppStreamMetadata::maximumFileBytes, ' '),
         "", ""},
        {"an entity expanding out of bounds",
         "<!DOCTYPE c [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
         "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;\">"
         "<!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">]>"
         "<component><developer_name>&e;&e;&e;&e;&e;&e;</developer_name></component>",
         "", ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.name);
        const KSTAppStreamMetadata metadata = KSTAppStreamMetadata::parse(row.xml);
        EXPECT_EQ(metadata.releaseVersion, QString::fromUtf8(row.version));
        EXPECT_EQ(metadata.developerName, QString::fromUtf8(row.developer));
    }
}

TEST(KSTLinuxAppInventoryTest, ExecLinesNameTheirProgramAndCategoriesTheirLabel)
{
    const struct
    {
        const char *exec;
        const char *program;
    } programs[] = {
        {"firefox-esr %U", "firefox-esr"},
        {"\"/opt/My App/app\" --new-window", "/opt/My App/app"},
        {"env BAMF_DESKTOP_FILE_HINT=/x.desktop /snap/bin/code --force-user-env %F",
         "/snap/bin/code"},
        {"/usr/bin/env A=1 B=2", ""},
        {"   ", ""},
    };
    for (const auto &row : programs)
        EXPECT_EQ(KSTDesktopAppDetailsReader::programOfExec(QString::fromUtf8(row.exec)),
                  QString::fromUtf8(row.program))
            << row.exec;

    const struct
    {
        QStringList categories;
        const char *label;
    } labels[] = {
        {{u"AudioVideo"_s, u"Audio"_s, u"Player"_s}, "Audio"},
        {{u"Graphics"_s, u"Photography"_s}, "Photography"},
        {{u"Network"_s, u"InstantMessaging"_s}, "Social"},
        {{u"Development"_s, u"IDE"_s}, "Developer Tools"},
        {{u"Game"_s, u"ArcadeGame"_s}, "Games"},
        {{u"X-Vendor"_s}, "Other"},
        {{}, "Other"},
    };
    for (const auto &row : labels)
        EXPECT_EQ(KSTDesktopAppRecords::categoryLabel(row.categories), QString::fromUtf8(row.label))
            << row.categories.join(u';').toStdString();
}

TEST(KSTLinuxAppInventoryTest, EngineScansTheDesktopAndKeepsItsPayloadSizes)
{
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    KSTDebianDesktop::populate(machine);
    machine.activate();
    KSTPermissionChecker::resetForTesting();
    KSTSystemInfo info;
    KSTAppInventoryEngine::Options options;
    options.metadataThrottle = std::chrono::milliseconds(1);
    options.sizeThrottle = std::chrono::milliseconds(1);
    const auto engine = KSTAppInventoryEngine::install(info, options);

    KSTSystemInfo::AppInventorySnapshotPtr complete;
    info.scanInstalledApplicationsWithProgress(
        nullptr, [&complete](KSTSystemInfo::AppInventorySnapshotPtr s) { complete = s; });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&complete] { return complete != nullptr; }, 60'000));
    ASSERT_EQ(complete->apps.size(), 10);
    EXPECT_EQ(complete->apps.first().name, u"Calculator"_s); // sorted by name
    KSTSystemInfo::AppInventorySnapshotPtr done;
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [&] {
            const auto cached = info.cachedAppInventorySnapshotIfComplete();
            if (cached && cached->statusText == QLatin1String("Scan complete"))
                done = cached;
            return done != nullptr;
        },
        60'000));
    // Largest payload first: Firefox's package.
    EXPECT_EQ(done->apps.first().bundleIdentifier, u"firefox-esr"_s);
    EXPECT_EQ(done->apps.first().bundleSizeBytes, 258312u * 1024);
    // The metadata pass has no bundle to read: the discovery's records stand.
    const auto snap = std::find_if(done->apps.cbegin(), done->apps.cend(),
                                   [](const auto &app) { return app.source == 0; });
    ASSERT_NE(snap, done->apps.cend());
    EXPECT_TRUE(snap->icon.isEmpty());
    info.cancelAppInventoryScan();
    info.appInventoryQueue().sync([] {});
    KSTPermissionChecker::resetForTesting();
}

} // namespace
