// The six rules on fixture Debian desktops: each rule's Linux place (user folders from
// user-dirs.dirs, the freedesktop Trash with its records, the browsers' XDG, Flatpak and snap
// caches, the X server's logs), switched-off folders, and links at those places.
#include "KSTAutoCleanManager.h"

#include "KSTFixtureLinux.h"
#include "KSTPermissionChecker.h"
#include "KSTPreferences.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <memory>

namespace {

class AutoCleanLinuxTest : public ::testing::Test
{
protected:
    static inline const QString Suite = QStringLiteral("com.kestrel.autoclean.linuxtest");

    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        KSTPreferences::suite(Suite)->clear();
        KSTPermissionChecker::resetForTesting();
        KSTTestSupport::pumpFor(20);
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    // The places are read when first asked for: a test writes user-dirs.dirs before this.
    std::unique_ptr<KSTAutoCleanManager> makeManager()
    {
        machine.activate();
        KSTAutoCleanManager::Options options;
        options.suiteName = Suite;
        options.clock = [now = now] { return now; };
        return std::make_unique<KSTAutoCleanManager>(options);
    }

    bool run(KSTAutoCleanManager &manager, qsizetype rule, quint64 *bytes = nullptr,
             quint64 *files = nullptr)
    {
        return manager.executeRule(manager.rules().at(rule), bytes, files);
    }

    QDateTime daysAgo(int days) const { return now.addSecs(-qint64(days) * 24 * 60 * 60); }
    QString old(const QString &homeRelative, qint64 bytes = 3000)
    {
        return machine.writeSizedHomeFile(homeRelative, bytes, daysAgo(400));
    }
    static bool exists(const QString &path)
    {
        return QFileInfo(path).exists() || QFileInfo(path).isSymLink();
    }

    KSTFixtureLinux machine;
    const QDateTime now = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch());
};

TEST_F(AutoCleanLinuxTest, AgeRulesActOnTheUserFolderAndTheXLogs)
{
    const struct
    {
        const char *name;
        qsizetype rule;
        const char *folder;
    } cases[] = {
        {"Downloads", 0, "Téléchargements"},
        {"Logs", 4, ".local/share/xorg"},
    };
    machine.writeUserDirs({{"DOWNLOAD", "$HOME/Téléchargements"}, {"PICTURES", "$HOME/Images"}});
    // The English folder is not the user's Downloads any more: it is left alone.
    const QString english = old("Downloads/old.bin");
    QList<QPair<QString, QString>> made;
    for (const auto &c : cases) {
        const QString folder = QString::fromUtf8(c.folder) + '/';
        made << qMakePair(old(folder + "old.bin"),
                          machine.writeHomeFile(folder + "new.txt", "x", daysAgo(1)));
    }
    const auto manager = makeManager();
    for (qsizetype index = 0; index < qsizetype(std::size(cases)); ++index) {
        quint64 bytes = 0;
        quint64 files = 0;
        EXPECT_TRUE(run(*manager, cases[index].rule, &bytes, &files)) << cases[index].name;
        EXPECT_EQ(bytes, 3000u) << cases[index].name;
        EXPECT_EQ(files, 1u) << cases[index].name;
        EXPECT_FALSE(exists(made.at(index).first)) << cases[index].name;
        EXPECT_TRUE(exists(made.at(index).second)) << cases[index].name;
    }
    EXPECT_TRUE(exists(english));
}

TEST_F(AutoCleanLinuxTest, SwitchedOffFoldersGiveTheRulesNothing)
{
    // Downloads and Pictures name the home itself: never the home in their place.
    machine.writeUserDirs({{"DOWNLOAD", "$HOME/"}, {"PICTURES", "$HOME"}, {"DESKTOP", "/usr"}});
    const QList<QString> kept = {old("old-in-home.bin"), old("Screenshot 2020.png"),
                                 old("Downloads/old.bin"), old("Desktop/Screenshot 1.png")};
    const auto manager = makeManager();
    EXPECT_EQ(manager->rules().at(2).detail, QStringLiteral("Pictures folder switched off"));
    for (const qsizetype rule : {0, 2}) {
        EXPECT_FALSE(run(*manager, rule)) << rule;
    }
    for (const QString &path : kept)
        EXPECT_TRUE(exists(path)) << path.toStdString();
    EXPECT_FALSE(exists(machine.homePath("Screenshots Archive")));
}

TEST_F(AutoCleanLinuxTest, EmptyingTheTrashTakesEachEntryWithItsRecord)
{
    const QDateTime deleted = daysAgo(3);
    machine.addTrashItem("notes.txt", QByteArray(3000, 'n'), "/home/alice/notes.txt", deleted);
    machine.addTrashItem("kept.txt", QByteArray(100, 'k'), "/home/alice/kept.txt", deleted);
    machine.addTrashItem("Folder", QByteArray(), "/home/alice/Folder", deleted);
    QFile::remove(machine.homePath(".local/share/Trash/files/Folder"));
    machine.writeSizedHomeFile(".local/share/Trash/files/Folder/inner.bin", 2000);
    // A record whose item is gone is bookkeeping the rule leaves to the file manager.
    const QString orphan =
        machine.writeHomeFile(".local/share/Trash/info/orphan.trashinfo", "[Trash Info]\n");
    const auto manager = makeManager();
    ASSERT_TRUE(manager->addWhitelistPath("~/.local/share/Trash/files/kept.txt"));
    quint64 files = 0;
    EXPECT_TRUE(run(*manager, 1, nullptr, &files));
    EXPECT_EQ(files, 2u);
    const QString trash = machine.homePath(".local/share/Trash/");
    for (const char *gone :
         {"files/notes.txt", "info/notes.txt.trashinfo", "files/Folder", "info/Folder.trashinfo"})
        EXPECT_FALSE(exists(trash + gone)) << gone;
    for (const char *stays : {"files/kept.txt", "info/kept.txt.trashinfo", "files", "info"})
        EXPECT_TRUE(exists(trash + stays)) << stays;
    EXPECT_TRUE(exists(orphan));
}

TEST_F(AutoCleanLinuxTest, ATrashFilesFolderThatIsALinkIsNeverEmptied)
{
    const QString victim = machine.makeDirectory("srv/victim");
    const QString precious = machine.writeFile("srv/victim/precious", "data");
    machine.makeHomeDirectory(".local/share/Trash/info");
    machine.makeSymlink("home/alice/.local/share/Trash/files", victim);
    machine.writeHomeFile(".local/share/Trash/info/precious.trashinfo", "[Trash Info]\n");
    const auto manager = makeManager();
    EXPECT_FALSE(run(*manager, 1));
    EXPECT_TRUE(exists(precious));
    EXPECT_TRUE(exists(machine.homePath(".local/share/Trash/info/precious.trashinfo")));
}

TEST_F(AutoCleanLinuxTest, ScreenshotsMoveIntoTheArchiveInTheLocalisedPictures)
{
    machine.writeUserDirs({{"PICTURES", "$HOME/Bilder"}, {"DESKTOP", "$HOME/Schreibtisch"}});
    const QList<QString> moved = {old("Schreibtisch/Screenshot from 2024.png"),
                                  old("Downloads/screenshot.jpg"), old("Bilder/Screenshot.png")};
    const QString notOne = old("Bilder/holiday.png");
    const auto manager = makeManager();
    EXPECT_EQ(manager->rules().at(2).detail,
              QStringLiteral("Move to ~/Bilder/Screenshots Archive"));
    quint64 files = 0;
    EXPECT_TRUE(run(*manager, 2, nullptr, &files));
    EXPECT_EQ(files, 3u);
    const QString archive = machine.homePath("Bilder/Screenshots Archive/");
    for (const QString &path : moved) {
        EXPECT_FALSE(exists(path)) << path.toStdString();
        EXPECT_TRUE(exists(archive + QFileInfo(path).fileName())) << path.toStdString();
    }
    EXPECT_TRUE(exists(notOne));
}

TEST_F(AutoCleanLinuxTest, BrowserCachesGoWholeButNeverAProfile)
{
    const QStringList caches = {
        ".cache/mozilla/firefox",
        ".cache/google-chrome",
        ".cache/chromium",
        ".var/app/org.mozilla.firefox/cache/mozilla/firefox",
        ".var/app/com.google.Chrome/cache/google-chrome",
        ".var/app/org.chromium.Chromium/cache/chromium",
        "snap/firefox/common/.cache/mozilla/firefox",
        "snap/chromium/common/.cache/chromium",
    };
    for (const QString &cache : caches)
        machine.writeSizedHomeFile(cache + "/Default/Cache/data_1", 1000);
    const QStringList profiles = {
        ".mozilla/firefox/abcd.default-release/places.sqlite",
        ".config/google-chrome/Default/Bookmarks",
        ".config/chromium/Default/Bookmarks",
        ".var/app/org.mozilla.firefox/.mozilla/firefox/abcd.default/places.sqlite",
        ".var/app/com.google.Chrome/config/google-chrome/Default/Bookmarks",
        "snap/firefox/common/.mozilla/firefox/abcd.default/places.sqlite",
        ".cache/mozilla/other-program/keep",
    };
    for (const QString &profile : profiles)
        machine.writeSizedHomeFile(profile, 1000);
    const auto manager = makeManager();
    EXPECT_EQ(manager->rules().at(3).detail,
              QStringLiteral("Firefox \u00B7 Chrome \u00B7 Chromium"));
    quint64 files = 0;
    EXPECT_TRUE(run(*manager, 3, nullptr, &files));
    EXPECT_EQ(files, quint64(caches.size()));
    for (const QString &cache : caches)
        EXPECT_FALSE(exists(machine.homePath(cache))) << cache.toStdString();
    for (const QString &profile : profiles)
        EXPECT_TRUE(exists(machine.homePath(profile))) << profile.toStdString();
}

TEST_F(AutoCleanLinuxTest, ALinkedBrowserCacheGoesAsTheLinkAndAFlatpakLinkIsNeverEntered)
{
    const QString victim = machine.makeDirectory("srv/victim");
    const QString precious = machine.writeFile("srv/victim/cache/chromium/data", "data");
    machine.makeHomeDirectory(".cache");
    machine.makeSymlink("home/alice/.cache/chromium", victim + "/cache/chromium");
    // The Flatpak's own folder is a link: the cache below it is reached only through it.
    machine.makeHomeDirectory(".var/app");
    machine.makeSymlink("home/alice/.var/app/org.chromium.Chromium", victim);
    const auto manager = makeManager();
    run(*manager, 3);
    EXPECT_TRUE(exists(precious));
    EXPECT_FALSE(exists(machine.homePath(".cache/chromium")));
    EXPECT_TRUE(exists(machine.homePath(".var/app/org.chromium.Chromium")));
}

TEST_F(AutoCleanLinuxTest, DeviceBackupsHaveNoPlaceOnLinux)
{
    old(".local/share/MobileSync/Backup/0001/Info.plist");
    old("Library/Application Support/MobileSync/Backup/0001/Info.plist");
    old("Library/Application Support/MobileSync/Backup/0002/Info.plist");
    old("Library/Application Support/MobileSync/Backup/0003/Info.plist");
    const auto manager = makeManager();
    EXPECT_FALSE(run(*manager, 5));
    EXPECT_TRUE(exists(machine.homePath("Library/Application Support/MobileSync/Backup/0003")));
}

} // namespace
