// Icon files of applications on a fixture machine: a Mac bundle's CFBundleIconFile and a
// desktop entry's Icon= looked up in the icon themes and pixmaps below the analysed root.
// Names an author wrote that lead elsewhere (links, "..", absolute paths off the root, a
// FIFO) find nothing.
#include "KSTApplicationIconFile.h"
#include "KSTUtilitiesTestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

class ApplicationIconFileTest : public KSTUtilitiesTest
{
};

TEST_F(ApplicationIconFileTest, BundleIconsAreFilesInTheBundlesResources)
{
    const QString bundle = mac.path("Applications/Reader.app");
    mac.writeFile("Applications/Reader.app/Contents/Resources/Reader.icns", "icns");
    mac.writeFile("Applications/Reader.app/Contents/Resources/Shot.png", "png");
    mac.writeFile("Outside/secret.icns", "secret");
    mac.makeSymlink("Applications/Reader.app/Contents/Resources/Linked.icns",
                    mac.path("Outside/secret.icns"));
    ::mkfifo(QFile::encodeName(mac.path("Applications/Reader.app/Contents/Resources/Pipe.icns"))
                 .constData(),
             0644);
    const struct
    {
        QVariant iconFile;
        const char *expected; ///< bundle-relative, "" for none
    } cases[] = {
        {"Reader", "Contents/Resources/Reader.icns"}, // ".icns" added
        {"Reader.icns", "Contents/Resources/Reader.icns"},
        {"Shot.png", "Contents/Resources/Shot.png"},
        {"Missing", ""},
        {"Linked", ""}, // a link, even to a real icon
        {"Pipe", ""},   // never opened, never waited on
        {"../../../Outside/secret.icns", ""},
        {"..", ""},
        {QVariant(42), ""}, // not a string
        {QVariant(), ""},
    };
    for (const auto &row : cases) {
        const QVariantMap info{{"CFBundleIconFile", row.iconFile}};
        const QString expected =
            *row.expected ? bundle + '/' + QString::fromUtf8(row.expected) : QString();
        EXPECT_EQ(KSTApplicationIconFile::forApplication(bundle, info), expected)
            << row.iconFile.toString().toStdString();
    }
}

TEST_F(ApplicationIconFileTest, DesktopEntriesFindTheirIconBelowTheRoot)
{
    mac.writeFile("usr/share/icons/hicolor/16x16/apps/editor.png", "small");
    mac.writeFile("usr/share/icons/hicolor/48x48/apps/editor.png", "right size");
    mac.writeFile("usr/share/icons/hicolor/scalable/apps/vector.svg", "<svg/>");
    mac.writeFile("usr/share/icons/hicolor/256x256/apps/mine.png", "system");
    mac.writeHomeFile(".local/share/icons/hicolor/256x256/apps/mine.png", "home");
    mac.writeFile("usr/share/pixmaps/old.xpm", "xpm");
    mac.writeFile("usr/share/pixmaps/named.png", "png");
    mac.writeFile("opt/tool/tool.png", "absolute");
    mac.writeFile("Outside/secret.png", "secret");
    mac.makeSymlink("usr/share/icons/hicolor/48x48/apps/linked.png",
                    mac.path("Outside/secret.png"));
    mac.makeSymlink("usr/share/pixmaps/linked.png", mac.path("Outside/secret.png"));
    mac.makeSymlink("opt/link", mac.path("Outside"));

    const struct
    {
        const char *icon;
        const char *expected; ///< root-relative, "~/" for the home, "" for none
    } cases[] = {
        {"editor", "usr/share/icons/hicolor/48x48/apps/editor.png"}, // 48 before 16
        {"vector", "usr/share/icons/hicolor/scalable/apps/vector.svg"},
        {"mine", "~/.local/share/icons/hicolor/256x256/apps/mine.png"}, // the home's theme first
        {"old", "usr/share/pixmaps/old.xpm"},
        {"named.png", "usr/share/pixmaps/named.png"},
        {"/opt/tool/tool.png", "opt/tool/tool.png"}, // the machine's path, under the root
        {"linked", ""},
        {"/opt/link/secret.png", ""},
        {"/../Outside/secret.png", ""},
        {"../../../Outside/secret", ""},
        {"apps/editor", ""},
        {"missing", ""},
        {"", ""},
    };
    for (const auto &row : cases) {
        const QString entry = mac.writeFile("usr/share/applications/app.desktop",
                                            QByteArray("[Desktop Entry]\nName=App\nIcon=") +
                                                row.icon + "\nExec=app\n");
        QString expected = QString::fromUtf8(row.expected);
        if (expected.startsWith("~/"))
            expected = mac.homePath(expected.mid(2));
        else if (!expected.isEmpty())
            expected = mac.path(expected);
        EXPECT_EQ(KSTApplicationIconFile::forApplication(entry, {}), expected) << row.icon;
    }
}

TEST_F(ApplicationIconFileTest, OnlyTheEntrysOwnIconKeyCounts)
{
    const struct
    {
        const char *contents;
        const char *icon;
    } cases[] = {
        {"[Desktop Entry]\nIcon=editor\n", "editor"},
        {"[Desktop Entry]\r\nIcon = spaced \r\n", "spaced"},
        {"[Desktop Entry]\nIcon[de]=german\nIcon=plain\n", "plain"},
        {"[Desktop Action New]\nIcon=action\n[Desktop Entry]\nName=x\n", ""},
        {"[Desktop Entry]\n#Icon=comment\nIconic=no\n", ""},
        {"Icon=before any group\n", ""},
        {"", ""},
    };
    for (const auto &row : cases)
        EXPECT_EQ(KSTApplicationIconFile::iconValueOfDesktopEntry(row.contents),
                  QString::fromUtf8(row.icon))
            << row.contents;

    // An entry past the size cap or that is a link is not read at all.
    mac.writeFile("usr/share/icons/hicolor/48x48/apps/editor.png", "png");
    const QString large =
        mac.writeFile("usr/share/applications/large.desktop",
                      "[Desktop Entry]\nIcon=editor\n" +
                          QByteArray(KSTApplicationIconFile::MaximumDesktopEntryBytes, '#'));
    EXPECT_EQ(KSTApplicationIconFile::iconFromDesktopEntry(large), QString());
    const QString real =
        mac.writeFile("usr/share/applications/real.desktop", "[Desktop Entry]\nIcon=editor\n");
    EXPECT_EQ(KSTApplicationIconFile::iconFromDesktopEntry(real),
              mac.path("usr/share/icons/hicolor/48x48/apps/editor.png"));
    mac.makeSymlink("usr/share/applications/linked.desktop", real);
    EXPECT_EQ(KSTApplicationIconFile::iconFromDesktopEntry(
                  mac.path("usr/share/applications/linked.desktop")),
              QString());
}

} // namespace
