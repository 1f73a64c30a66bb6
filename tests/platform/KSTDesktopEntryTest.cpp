// The readers of a Linux desktop's own files: desktop entries, dpkg's status and lists, and
// paths resolved inside an analysed root.
#include "linux/KSTDesktopEntry.h"
#include "linux/KSTDpkgDatabase.h"
#include "linux/KSTRootedPath.h"

#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <ostream>

using namespace Qt::StringLiterals;

namespace {

struct EntryCase
{
    const char *name;
    QByteArray contents;
    const char *locale;
    bool valid;
    const char *expectedName;
    bool shown;
};

// Failures name the row rather than dumping its bytes.
void PrintTo(const EntryCase &row, std::ostream *out)
{
    *out << row.name;
}

class KSTDesktopEntryParseTest : public ::testing::TestWithParam<EntryCase>
{
};

TEST_P(KSTDesktopEntryParseTest, NameAndVisibility)
{
    const EntryCase &row = GetParam();
    const KSTDesktopEntry entry =
        KSTDesktopEntry::parse(row.contents, QString::fromUtf8(row.locale));
    EXPECT_EQ(entry.valid, row.valid);
    EXPECT_EQ(entry.name, QString::fromUtf8(row.expectedName));
    EXPECT_EQ(entry.isShownApplication(), row.shown);
}

const QByteArray localised = "[Desktop Entry]\nType=Application\nName=Files\n"
                             "Name[de]=Dateien\nName[de_AT]=Dateien (AT)\n"
                             "Name[sr@latin]=Datoteke\nName[sr]=Датотеке\n";

INSTANTIATE_TEST_SUITE_P(
    Rows, KSTDesktopEntryParseTest,
    ::testing::Values(
        EntryCase{"Plain", "[Desktop Entry]\nType=Application\nName=Calc\n", "", true, "Calc",
                  true},
        EntryCase{"LanguageOnly", localised, "de_DE.UTF-8", true, "Dateien", true},
        EntryCase{"LanguageAndCountry", localised, "de_AT.UTF-8", true, "Dateien (AT)", true},
        EntryCase{"Modifier", localised, "sr_RS.UTF-8@latin", true, "Datoteke", true},
        EntryCase{"NoModifierVariant", localised, "sr_RS.UTF-8", true, "Датотеке", true},
        EntryCase{"CLocale", localised, "C", true, "Files", true},
        EntryCase{"UnknownLanguage", localised, "fr_FR.UTF-8", true, "Files", true},
        EntryCase{"LocalisedBeforePlain",
                  "[Desktop Entry]\nName[de]=Rechner\nType=Application\nName=Calculator\n", "de_DE",
                  true, "Rechner", true},
        EntryCase{"ActionNameIsNotTheApps",
                  "[Desktop Entry]\nType=Application\n\n[Desktop Action new]\nName=New Window\n",
                  "", true, "", true},
        EntryCase{"OtherGroupFirst", "[Desktop Action x]\nName=X\n[Desktop Entry]\nName=Y\n", "",
                  false, "", false},
        EntryCase{"CommentsAndBlanksBeforeGroup",
                  "# written by hand\n\n[Desktop Entry]\r\nType=Application\r\nName = Spaced \r\n",
                  "", true, "Spaced", true},
        EntryCase{"FirstValueWins",
                  "[Desktop Entry]\nType=Application\nName=First\nName=Second\nNoDisplay=false\n"
                  "NoDisplay=true\n",
                  "", true, "First", true},
        EntryCase{"Escapes", "[Desktop Entry]\nType=Application\nName=A\\sB\\\\C\\tD\n", "", true,
                  "A B\\C\tD", true},
        EntryCase{"NoDisplay", "[Desktop Entry]\nType=Application\nName=N\nNoDisplay=true\n", "",
                  true, "N", false},
        EntryCase{"Hidden", "[Desktop Entry]\nType=Application\nName=H\nHidden=true\n", "", true,
                  "H", false},
        EntryCase{"HiddenNotTrueIsShown",
                  "[Desktop Entry]\nType=Application\nName=H\nHidden=TRUE\n", "", true, "H", true},
        EntryCase{"Link", "[Desktop Entry]\nType=Link\nName=Web\nURL=https://x\n", "", true, "Web",
                  false},
        EntryCase{"NoType", "[Desktop Entry]\nName=Untyped\n", "", true, "Untyped", false},
        EntryCase{"LongLineSkipped",
                  "[Desktop Entry]\nType=Application\nName=" +
                      QByteArray(KSTDesktopEntry::maximumLineBytes + 1, 'x') + "\nName=Short\n",
                  "", true, "Short", true},
        EntryCase{"NothingPastTheCap",
                  "[Desktop Entry]\nType=Application\n" +
                      QByteArray(KSTDesktopEntry::maximumFileBytes, '\n') + "Name=Late\n",
                  "", true, "", true},
        EntryCase{"Empty", "", "", false, "", false}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(KSTDesktopEntryTest, KeepsWhatThePayloadAndTryExecNeed)
{
    const KSTDesktopEntry entry = KSTDesktopEntry::parse(
        "[Desktop Entry]\nType=Application\nName=VLC\nExec=/usr/bin/flatpak run org.videolan.VLC\n"
        "TryExec=/usr/bin/flatpak\nX-Flatpak=org.videolan.VLC\nX-SnapInstanceName=vlc\n"
        "Categories=AudioVideo;;Player;\nCategories=Game;\n");
    EXPECT_EQ(entry.exec, u"/usr/bin/flatpak run org.videolan.VLC"_s);
    EXPECT_EQ(entry.tryExec, u"/usr/bin/flatpak"_s);
    EXPECT_EQ(entry.flatpakId, u"org.videolan.VLC"_s);
    EXPECT_EQ(entry.snapInstanceName, u"vlc"_s);
    // Empty items dropped; a repeated key is an error and the first one stands.
    EXPECT_EQ(entry.categories, (QStringList{u"AudioVideo"_s, u"Player"_s}));
}

TEST(KSTDpkgDatabaseTest, VersionsOfInstalledPackagesOnly)
{
    const QByteArray status =
        "Package: firefox-esr\nStatus: install ok installed\nVersion: 115.5.0esr-1~deb12u1\n"
        "Description: web browser\n Version: 1\n\n"
        "Package: removed\nStatus: deinstall ok config-files\nVersion: 2\n\n"
        "Package: epoch\nStatus: install ok installed\nVersion: 2:1.0-3\n\n"
        "Package: empty\nStatus: install ok installed\nVersion:\n\n"
        "Package: long\nStatus: install ok installed\nVersion: " +
        QByteArray(KSTDpkgDatabase::maximumVersionBytes + 1, '1') +
        "\n\n"
        "Package: epoch\nStatus: install ok installed\nVersion: 9\n\n"
        "Package: last\r\nStatus: install ok installed\r\nVersion: 7-1\r\n";
    const QHash<QString, QString> expected{{u"firefox-esr"_s, u"115.5.0esr-1~deb12u1"_s},
                                           {u"epoch"_s, u"2:1.0-3"_s},
                                           {u"last"_s, u"7-1"_s}};
    EXPECT_EQ(KSTDpkgDatabase::installedVersions(status), expected);
}

TEST(KSTDesktopEntryTest, MimeTypesAndTheAutostartSwitch)
{
    const struct
    {
        const char *what;
        QByteArray contents;
        QStringList mimeTypes;
        bool autostartEnabled;
    } cases[] = {
        {"a list with a final separator",
         "[Desktop Entry]\nMimeType=text/plain;text/x-csrc;\n",
         {"text/plain", "text/x-csrc"},
         true},
        {"no final separator, blanks and empty items",
         "[Desktop Entry]\nMimeType= text/plain ;;image/png\n",
         {"text/plain", "image/png"},
         true},
        {"the first key counts",
         "[Desktop Entry]\nMimeType=a/b;\nMimeType=c/d;\nX-GNOME-Autostart-enabled=false\n"
         "X-GNOME-Autostart-enabled=true\n",
         {"a/b"},
         false},
        {"only false switches it off", "[Desktop Entry]\nX-GNOME-Autostart-enabled=0\n", {}, true},
        {"an action's keys are not the entry's",
         "[Desktop Entry]\nName=A\n[Desktop Action x]\nMimeType=a/b;\n"
         "X-GNOME-Autostart-enabled=false\n",
         {},
         true},
    };
    for (const auto &row : cases) {
        const KSTDesktopEntry entry = KSTDesktopEntry::parse(row.contents);
        EXPECT_EQ(entry.mimeTypes, row.mimeTypes) << row.what;
        EXPECT_EQ(entry.autostartEnabled, row.autostartEnabled) << row.what;
    }
}

TEST(KSTDpkgDatabaseTest, InstalledSizesOfInstalledPackagesOnly)
{
    const QByteArray status =
        "Package: firefox-esr\nStatus: install ok installed\nInstalled-Size: 258312\n"
        "Description: web browser\n Installed-Size: 1\n\n"
        "Package: removed\nStatus: deinstall ok config-files\nInstalled-Size: 10\n\n"
        "Package: libc6\nStatus: install ok installed\nArchitecture: amd64\n"
        "Installed-Size: 12000\n\n"
        "Package: libc6\nStatus: install ok installed\nArchitecture: i386\n"
        "Installed-Size: 11000\n\n"
        "Package: negative\nStatus: install ok installed\nInstalled-Size: -5\n\n"
        "Package: huge\nStatus: install ok installed\nInstalled-Size: 99999999999999999999\n\n"
        "Package: words\nStatus: install ok installed\nInstalled-Size: 12 KiB\n\n"
        "Package: last\r\nStatus: install ok installed\r\nInstalled-Size: 7\r\n";
    const QHash<QString, qint64> sizes = KSTDpkgDatabase::installedSizes(status);
    const QHash<QString, qint64> expected{
        {u"firefox-esr"_s, 258312}, {u"libc6"_s, 12000}, {u"last"_s, 7}};
    EXPECT_EQ(sizes, expected);
}

TEST(KSTDpkgDatabaseTest, ListNamesAndListedPaths)
{
    const struct
    {
        const char *fileName;
        const char *package;
    } names[] = {{"nautilus.list", "nautilus"}, {"libfoo1:amd64.list", "libfoo1"},
                 {"nautilus.md5sums", ""},      {".list", ""},
                 {":amd64.list", ""},           {".hidden.list", ""}};
    for (const auto &row : names)
        EXPECT_EQ(KSTDpkgDatabase::packageOfListName(QString::fromUtf8(row.fileName)),
                  QString::fromUtf8(row.package))
            << row.fileName;

    const QSet<QString> wanted{u"/usr/share/applications/a.desktop"_s,
                               u"/usr/share/applications/b.desktop"_s};
    const QSet<QString> found = KSTDpkgDatabase::listedPaths(
        "/.\n/usr\n/usr/share/applications\n/usr/share/applications/a.desktop\n"
        "/usr/share/applications/a.desktop.bak\nusr/share/applications/b.desktop\n",
        wanted);
    EXPECT_EQ(found, QSet<QString>{u"/usr/share/applications/a.desktop"_s});
}

// A scratch machine root with links of every kind a hostile or merely unusual tree holds.
TEST(KSTRootedPathTest, LinksResolveInsideTheRoot)
{
    QTemporaryDir scratch;
    ASSERT_TRUE(scratch.isValid());
    const QString root = scratch.path() + u"/root"_s;
    const QString outside = scratch.path() + u"/outside"_s;
    ASSERT_TRUE(KSTTestSupport::writeFile(root + u"/usr/share/a.desktop"_s, "a"));
    ASSERT_TRUE(KSTTestSupport::writeFile(outside + u"/host.desktop"_s, "host"));
    ASSERT_TRUE(QDir().mkpath(root + u"/links"_s));
    const struct
    {
        const char *link;
        QString target;
        QString expected; // relative to the root; empty: no resolution
    } rows[] = {
        {"relative", u"../usr/share/a.desktop"_s, u"/usr/share/a.desktop"_s},
        {"absolute", u"/usr/share/a.desktop"_s, u"/usr/share/a.desktop"_s},
        {"climbs", u"../../../../../usr/share/a.desktop"_s, u"/usr/share/a.desktop"_s},
        {"host", outside + u"/host.desktop"_s, {}},
        {"escapes", u"../../outside/host.desktop"_s, {}},
        {"loop", u"loop"_s, {}},
        {"folder", u"/usr/share"_s, u"/usr/share"_s},
    };
    for (const auto &row : rows)
        ASSERT_TRUE(QFile::link(row.target, root + u"/links/"_s + QLatin1String(row.link)));
    for (const auto &row : rows) {
        const QString resolved =
            KSTRootedPath::resolve(root, root + u"/links/"_s + QLatin1String(row.link));
        EXPECT_EQ(resolved, row.expected.isEmpty() ? QString() : root + row.expected) << row.link;
    }
    // Through a linked folder, and not through a file as if it were a folder.
    EXPECT_EQ(KSTRootedPath::resolve(root, root + u"/links/folder/a.desktop"_s),
              root + u"/usr/share/a.desktop"_s);
    EXPECT_TRUE(KSTRootedPath::resolve(root, root + u"/usr/share/a.desktop/x"_s).isEmpty());
    EXPECT_TRUE(KSTRootedPath::resolve(root, outside + u"/host.desktop"_s).isEmpty());
}

} // namespace
