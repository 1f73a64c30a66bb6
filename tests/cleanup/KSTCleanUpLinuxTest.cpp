// The clean-up scan and the Trash's emptying on fixture Debian desktops: the XDG, Flatpak and
// snap places, the desktop's own folders left out, the freedesktop Trash counted and emptied,
// switched-off user folders, links at the new places, and this user's trashes on other file
// systems.
#include "KSTCleanUpEngine.h"
#include "KSTCleanUpLocations.h"
#include "KSTCleanUpRemoval.h"

#include "KSTCleanUpTestSupport.h"
#include "KSTFixtureLinux.h"
#include "KSTPermissionChecker.h"
#include "KSTPreferences.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using Engine = KSTCleanUpEngine;

namespace {

class CleanUpLinuxTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        KSTPermissionChecker::resetForTesting();
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    // The places are read when first asked for: a test writes user-dirs.dirs before this.
    std::shared_ptr<KSTCleanUpSnapshot> scan()
    {
        machine.activate();
        return engineFor(info).fetchCleanUpSnapshotWithGeneration(info.cleanUpScanGeneration());
    }

    static KSTCleanUpCategory category(const std::shared_ptr<KSTCleanUpSnapshot> &snapshot,
                                       const char *type)
    {
        return categoryOfType(snapshot, type);
    }

    static const KSTCleanUpItem *itemNamed(const QList<KSTCleanUpItem> &items, const QString &name)
    {
        for (const KSTCleanUpItem &item : items) {
            if (item.name == name)
                return &item;
        }
        return nullptr;
    }

    QString home(const QString &relative) const { return machine.homePath(relative); }

    KSTFixtureLinux machine;
    KSTSystemInfo info;
};

TEST_F(CleanUpLinuxTest, SystemJunkListsApplicationFoldersButNeverTheDesktopsOwn)
{
    const struct
    {
        const char *file;
        const char *item; // nullptr: never listed
    } cases[] = {
        {".cache/spotify/data/blob", "Caches. spotify"},
        {".var/app/org.gimp.GIMP/cache/gegl/tile", "Caches. org.gimp.GIMP"},
        {"snap/firefox/common/.cache/mozilla/blob", "Caches. firefox"},
        {".local/share/Steam/appcache/x", "Application Support. Steam"},
        {".var/app/org.gimp.GIMP/data/brushes/b", "Application Support. org.gimp.GIMP"},
        {".local/share/xorg/Xorg.0.log", "Logs"},
        {".cache/thumbnails/large/a.png", "Thumbnails"},
        // The desktop's own folders, Kestrel's, and the places that hold settings.
        {".cache/doc/portal", nullptr},
        {".cache/mesa_shader_cache/index", nullptr},
        {".cache/kestrel/state", nullptr},
        {".cache/fontconfig/cache-7", nullptr},
        {".local/share/keyrings/login.keyring", nullptr},
        {".local/share/gnome-shell/application_state", nullptr},
        {".local/share/flatpak/repo/config", nullptr},
        {".local/share/applications/mine.desktop", nullptr},
        {".local/share/Trash/files/old.txt", nullptr},
        {".config/spotify/prefs", nullptr},
        {".local/state/wireplumber/state", nullptr},
        // Hidden folders of the caches and a Flatpak without a cache.
        {".cache/.hidden/blob", nullptr},
        {".var/app/org.example.Empty/config/x", nullptr},
    };
    for (const auto &c : cases)
        machine.writeSizedHomeFile(QString::fromLatin1(c.file), 8192);
    const KSTCleanUpCategory junk = category(scan(), "systemJunk");
    ASSERT_TRUE(junk.allItems);
    QStringList expected;
    for (const auto &c : cases) {
        if (c.item)
            expected << QString::fromLatin1(c.item);
    }
    QStringList listed = namesOf(*junk.allItems);
    listed.sort();
    expected.sort();
    EXPECT_EQ(listed, expected);
    EXPECT_EQ(junk.categoryDescription, QStringLiteral("Caches · App Support · Logs · Thumbnails"));
    // Each application's item is its whole folder, removable as one target.
    const KSTCleanUpItem *gimp = itemNamed(*junk.allItems, "Caches. org.gimp.GIMP");
    ASSERT_TRUE(gimp);
    EXPECT_EQ(gimp->filePath, home(".var/app/org.gimp.GIMP/cache"));
    ASSERT_EQ(gimp->targets.size(), 1);
    EXPECT_EQ(gimp->targets.first().path, gimp->filePath);
    const KSTCleanUpItem *logs = itemNamed(*junk.allItems, "Logs");
    ASSERT_TRUE(logs);
    EXPECT_EQ(logs->displayPath, QStringLiteral("~/.local/share/xorg"));
}

TEST_F(CleanUpLinuxTest, LinksAtTheApplicationPlacesAreNeverFollowed)
{
    // A large folder elsewhere that links at every new place point to.
    const QString victim = machine.makeDirectory("srv/victim");
    machine.writeFile("srv/victim/big", QByteArray(int(2 * MiB), 'v'));
    machine.makeSymlink("home/alice/.cache/linked", victim);
    machine.makeHomeDirectory(".var/app");
    machine.makeSymlink("home/alice/.var/app/org.example.Linked", victim);
    machine.makeHomeDirectory(".var/app/org.example.Inner");
    machine.makeSymlink("home/alice/.var/app/org.example.Inner/cache", victim);
    machine.makeHomeDirectory("snap/chromium/common");
    machine.makeSymlink("home/alice/snap/chromium/common/.cache", victim);
    machine.makeSymlink("home/alice/.local/share/linkeddata", victim);

    const KSTCleanUpCategory junk = category(scan(), "systemJunk");
    ASSERT_TRUE(junk.allItems);
    for (const KSTCleanUpItem &item : *junk.allItems) {
        // A link in the XDG homes is listed as the link, sized as the link; nothing is listed
        // that is reached through one.
        EXPECT_LT(item.bytes, MiB) << item.name.toStdString();
        EXPECT_FALSE(item.name.contains("org.example") || item.name.contains("chromium"))
            << item.name.toStdString();
    }
    EXPECT_EQ(QDir(victim).entryList(QDir::Files), QStringList{"big"});
}

TEST_F(CleanUpLinuxTest, TheTrashCountsItsFilesAndSizesTheWholeFolder)
{
    machine.addTrashItem("notes.txt", QByteArray(4096, 'n'), "/home/alice/notes.txt",
                         QDateTime::currentDateTimeUtc());
    machine.addTrashItem(".bashrc", QByteArray(4096, 'b'), "/home/alice/.bashrc",
                         QDateTime::currentDateTimeUtc());
    machine.writeSizedHomeFile(".local/share/Trash/expunged/half-gone", 8192);
    machine.writeSizedHomeFile("Downloads/film.mkv.part", 4096);
    machine.writeSizedHomeFile("Downloads/setup.crdownload", 8192);
    machine.writeSizedHomeFile("Downloads/Movie.download", 4096); // a Mac's, not this one's
    machine.writeSizedHomeFile("Downloads/clip.PART", 4096);      // compared exactly

    const std::shared_ptr<KSTCleanUpSnapshot> snapshot = scan();
    const KSTCleanUpCategory trashes = category(snapshot, "trashes");
    EXPECT_EQ(trashes.categoryDescription, QStringLiteral("Trash + Failed downloads"));
    ASSERT_TRUE(trashes.allItems);
    const KSTCleanUpItem *trash = itemNamed(*trashes.allItems, "Trash");
    ASSERT_TRUE(trash);
    EXPECT_EQ(trash->filePath, home(".local/share/Trash"));
    EXPECT_EQ(trash->displayPath, QStringLiteral("~/.local/share/Trash"));
    // Hidden entries and the records count too.
    quint64 allocated = 0;
    for (const char *file : {"files/notes.txt", "files/.bashrc", "info/notes.txt.trashinfo",
                             "info/.bashrc.trashinfo", "expunged/half-gone"})
        allocated += KSTTestSupport::allocatedBytesOf(home(".local/share/Trash/") + file);
    EXPECT_EQ(trash->bytes, allocated);
    quint64 bytes = 0;
    machine.activate();
    EXPECT_EQ(Engine::trashItemCountAndBytes(&bytes), 2u); // files/ only, dot files too
    EXPECT_EQ(bytes, trash->bytes);

    QStringList failed;
    for (const KSTCleanUpItem &item : *trashes.allItems) {
        if (item.name != QLatin1String("Trash"))
            failed << item.name;
    }
    EXPECT_EQ(failed, (QStringList{"setup.crdownload", "film.mkv.part"}));
    // The summary row names the Downloads user folder.
    EXPECT_EQ(trashes.items.last().displayPath, QStringLiteral("~/Downloads"));
}

TEST_F(CleanUpLinuxTest, ATrashReachedThroughALinkCountsNothing)
{
    const QString victim = machine.makeDirectory("srv/victim");
    machine.writeFile("srv/victim/a", QByteArray(4096, 'a'));
    machine.writeFile("srv/victim/b", QByteArray(4096, 'b'));
    for (const char *link : {".local/share/Trash/files", ".local/share/Trash"}) {
        QDir(home(".local/share/Trash")).removeRecursively();
        machine.makeHomeDirectory(".local/share/Trash");
        QFile::remove(home(link));
        machine.makeSymlink(QStringLiteral("home/alice/") + link, victim);
        machine.activate();
        quint64 bytes = 1;
        EXPECT_EQ(Engine::trashItemCountAndBytes(&bytes), 0u) << link;
        if (QString(link).endsWith("Trash")) {
            EXPECT_EQ(bytes, 0u) << link;
        }

        // Emptying it deletes nothing behind the link.
        quint64 removedBytes = 0;
        quint64 removedItems = 0;
        EXPECT_FALSE(KSTCleanUpRemoval::emptyMacTrashBytesRemoved(&removedBytes, &removedItems));
        EXPECT_EQ(removedItems, 0u);
        EXPECT_EQ(QDir(victim).entryList(QDir::Files), (QStringList{"a", "b"})) << link;
    }
}

TEST_F(CleanUpLinuxTest, EmptyingTheTrashClearsItsFoldersButKeepsThemAndARefusedItemsRecord)
{
    const QDateTime deleted = QDateTime::currentDateTimeUtc();
    machine.addTrashItem("one.txt", QByteArray(4096, '1'), "/home/alice/one.txt", deleted);
    machine.addTrashItem("two", QByteArray(4096, '2'), "/home/alice/two", deleted);
    machine.addTrashItem("kept.txt", QByteArray(4096, 'k'), "/home/alice/kept.txt", deleted);
    machine.writeSizedHomeFile(".local/share/Trash/files/folder/inner", 4096);
    machine.writeSizedHomeFile(".local/share/Trash/expunged/half-gone", 4096);
    machine.writeHomeFile(".local/share/Trash/info/orphan.trashinfo", "[Trash Info]\n");
    machine.activate();
    const QString trash = home(".local/share/Trash");
    KSTCleanUpItem item{"Trash", "~/.local/share/Trash", trash, 1, false, {}};
    ASSERT_TRUE(KSTCleanUpRemoval::isMacTrashCleanUpItem(item));

    // Through the removal of a selection: the item is known by its path, whatever its label.
    item.name = QStringLiteral("Mac Trash");
    const KSTCleanUpRemoval::Result result = KSTCleanUpRemoval::removeCleanUpItemsNow({item});
    EXPECT_EQ(result.itemsRemoved, 4u); // the entries of files/
    EXPECT_GE(result.bytesRemoved, 4u * 4096);
    EXPECT_TRUE(result.failures.isEmpty());
    for (const char *folder : {"files", "info", "expunged"}) {
        EXPECT_TRUE(QFileInfo(trash + "/" + folder).isDir()) << folder;
        EXPECT_TRUE(QDir(trash + "/" + folder)
                        .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                        .isEmpty())
            << folder;
    }
}

TEST_F(CleanUpLinuxTest, ARecordStaysWhileItsItemCouldNotBeDeleted)
{
    const QDateTime deleted = QDateTime::currentDateTimeUtc();
    machine.addTrashItem("gone.txt", QByteArray(4096, 'g'), "/home/alice/gone.txt", deleted);
    machine.addTrashItem("kept", QByteArray(4096, 'k'), "/home/alice/kept", deleted);
    const QString trash = home(".local/share/Trash");
    // The user keeps one trashed item on the never-touch list: the guard leaves it.
    const std::unique_ptr<QSettings> settings =
        KSTPreferences::suite(QStringLiteral("com.kestrel.autoclean"));
    settings->setValue("whitelistPaths", QStringList{"~/.local/share/Trash/files/kept"});
    settings->sync();
    machine.activate();
    quint64 bytes = 0;
    quint64 items = 0;
    const bool deletedAny = KSTCleanUpRemoval::emptyMacTrashBytesRemoved(&bytes, &items);
    settings->clear();
    settings->sync();
    EXPECT_TRUE(deletedAny);
    EXPECT_EQ(items, 1u);
    EXPECT_FALSE(QFileInfo::exists(trash + "/files/gone.txt"));
    EXPECT_FALSE(QFileInfo::exists(trash + "/info/gone.txt.trashinfo"));
    EXPECT_TRUE(QFileInfo::exists(trash + "/files/kept"));
    EXPECT_TRUE(QFileInfo::exists(trash + "/info/kept.trashinfo"));
}

TEST_F(CleanUpLinuxTest, SwitchedOffDownloadsGivesNoDownloadsItemsAndLocalisedFoldersAreUsed)
{
    machine.writeSizedHomeFile("Downloads/a.part", 4096);
    machine.writeSizedHomeFile("Downloads/tool.deb", 8192);
    machine.writeSizedHomeFile("Bilder/Screenshots/shot.png", 4096);
    machine.writeSizedHomeFile("Pictures/Screenshots/english.png", 4096);
    machine.writeUserDirs({{"DOWNLOAD", "$HOME/"}, {"PICTURES", "$HOME/Bilder"}});
    const std::shared_ptr<KSTCleanUpSnapshot> snapshot = scan();
    const KSTCleanUpCategory trashes = category(snapshot, "trashes");
    EXPECT_TRUE(trashes.items.isEmpty()) << trashes.items.first().name.toStdString();
    const KSTCleanUpCategory removable = category(snapshot, "removable");
    ASSERT_EQ(removable.items.size(), 1);
    EXPECT_EQ(removable.items.first().name, QStringLiteral("Screenshots"));
    EXPECT_EQ(removable.items.first().filePath, home("Bilder/Screenshots"));
    EXPECT_EQ(removable.categoryDescription,
              QStringLiteral("Screenshots · Installers · Downloads"));
}

TEST_F(CleanUpLinuxTest, InstallersAreTheLinuxPackageKindsInDownloads)
{
    const struct
    {
        const char *file;
        bool installer;
    } cases[] = {
        {"Downloads/tool_1.0_amd64.deb", true}, {"Downloads/app.x86_64.rpm", true},
        {"Downloads/org.app.flatpakref", true}, {"Downloads/bundle.flatpak", true},
        {"Downloads/sub/thing.snap", true},     {"Downloads/UPPER.DEB", true},
        {"Downloads/Installer.dmg", false},     {"Downloads/.deb", false},
        {"Downloads/debian.iso", false},        {"Downloads/notes.deb.txt", false},
    };
    quint64 installers = 0;
    for (const auto &c : cases) {
        const QString path = machine.writeSizedHomeFile(QString::fromLatin1(c.file), 4096);
        if (c.installer)
            installers += QFileInfo(path).size();
    }
    const KSTCleanUpCategory removable = category(scan(), "removable");
    const KSTCleanUpItem *item = itemNamed(removable.items, "Installer Packages");
    ASSERT_TRUE(item);
    EXPECT_EQ(item->bytes, installers);
    EXPECT_EQ(item->targets.size(), 6);
    EXPECT_EQ(item->filePath, home("Downloads"));
}

TEST_F(CleanUpLinuxTest, LargeFilesLeaveOutHiddenHomeFoldersAndSnap)
{
    machine.linkHostTool("/usr/bin/find");
    const struct
    {
        const char *file;
        bool listed;
    } cases[] = {
        {"Videos/film.mkv", true},
        {"Documents/.hidden/inside.bin", true}, // hidden, but not directly in the home
        {".big-file-in-home.bin", true},        // a file, not a folder
        {".cache/big/blob", false},
        {".local/share/Trash/files/big.iso", false},
        {".var/app/org.app/data/big", false},
        {"snap/firefox/common/big", false},
    };
    for (const auto &c : cases) {
        QFile file(machine.writeHomeFile(QString::fromLatin1(c.file), "head"));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.resize(qint64(60 * MiB)));
    }
    const KSTCleanUpCategory large = category(scan(), "largeFiles");
    ASSERT_TRUE(large.allItems);
    QStringList listed;
    for (const KSTCleanUpItem &item : *large.allItems)
        listed << item.filePath;
    listed.sort();
    QStringList expected;
    for (const auto &c : cases) {
        if (c.listed)
            expected << home(QString::fromLatin1(c.file));
    }
    expected.sort();
    EXPECT_EQ(listed, expected);
}

TEST_F(CleanUpLinuxTest, UnderAnotherRootOnlyTheHomeTrashIsEmptiedThroughItsThreeFolders)
{
    // Other file systems' trashes belong to the running machine, never to one under a root.
    const KSTCleanUpLocations::Table table =
        KSTCleanUpLocations::tableFor(machine.environment(), machine.home());
    const QString trash = home(".local/share/Trash");
    ASSERT_EQ(table.trashPlaces.size(), 1);
    EXPECT_EQ(table.trashPlaces.first().folder, trash);
    EXPECT_EQ(table.trashPlaces.first().items, trash + "/files");
    QStringList emptied;
    for (const KSTCleanUpLocations::TrashFolder &folder : table.trashEmptied) {
        emptied << folder.path.mid(trash.size() + 1) + (folder.holdsItems ? " items" : "") +
                       (folder.recordsFor.isEmpty() ? "" : " records");
        EXPECT_TRUE(folder.scope.isEmpty()) << folder.path.toStdString();
    }
    EXPECT_EQ(emptied, (QStringList{"files items", "info records", "expunged"}));
    EXPECT_TRUE(table.trashKeptName.isEmpty());
}

TEST(CleanUpTopDirectoryTrashTest, OnlyThisUsersRealTrashesOnOtherFileSystems)
{
    QTemporaryDir mounts;
    ASSERT_TRUE(mounts.isValid());
    const QString base = mounts.path();
    const auto folder = [&](const QString &relative, mode_t mode = 0700) {
        const QString path = base + "/" + relative;
        EXPECT_TRUE(QDir().mkpath(path));
        EXPECT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0);
        return path;
    };
    const auto link = [&](const QString &relative, const QString &target) {
        EXPECT_TRUE(QFile::link(target, base + "/" + relative));
    };
    // usb: a sticky shared .Trash with this user's folder, and a .Trash-1000 too.
    folder("usb/.Trash", 01777);
    folder("usb/.Trash/1000");
    folder("usb/.Trash-1000");
    // data: a shared .Trash without the sticky bit (anyone's), another user's own trash.
    folder("data/.Trash", 0777);
    folder("data/.Trash/1000");
    folder("data/.Trash-1001");
    // linked: a sticky .Trash that is a link, and a .Trash-1000 that is a link.
    folder("elsewhere/1000");
    folder("linked");
    link("linked/.Trash", base + "/elsewhere");
    link("linked/.Trash-1000", base + "/elsewhere/1000");
    ASSERT_EQ(::chmod(QFile::encodeName(base + "/elsewhere").constData(), 01777), 0);
    // inner: a sticky .Trash whose user folder is a link.
    folder("inner/.Trash", 01777);
    link("inner/.Trash/1000", base + "/elsewhere/1000");

    const QStringList mountPoints = {base + "/usb",   base + "/data", base + "/linked",
                                     base + "/inner", base + "/usb",  base + "/missing"};
    using Trashes = QList<QPair<QString, QString>>;
    EXPECT_EQ(KSTCleanUpLocations::topDirectoryTrashes(mountPoints, 1000, QString()),
              (Trashes{{base + "/usb/.Trash/1000", base + "/usb"},
                       {base + "/usb/.Trash-1000", base + "/usb"}}));
    EXPECT_EQ(KSTCleanUpLocations::topDirectoryTrashes(mountPoints, 1001, QString()),
              (Trashes{{base + "/data/.Trash-1001", base + "/data"}}));
    // The file system holding the home keeps its trash in the home.
    EXPECT_TRUE(
        KSTCleanUpLocations::topDirectoryTrashes(mountPoints, 1000, base + "/usb").isEmpty());
}

} // namespace
