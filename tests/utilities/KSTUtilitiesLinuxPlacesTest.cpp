// Trash origins, home-folder sizes and the secure-erase rules on fixture Debian desktops: the
// freedesktop Trash's records and origin attributes, the user folders under their own names,
// and the Linux system folders and removable volumes.
#include "KSTDebianDesktop.h"
#include "KSTDispatch.h"
#include "KSTUtilitiesLinuxTestSupport.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <sys/stat.h>
#include <sys/xattr.h>

namespace {

const QDateTime Deleted(QDate(2026, 3, 14), QTime(9, 26, 53));

class UtilitiesLinuxPlacesTest : public KSTUtilitiesLinuxTest
{
protected:
    QList<KSTDiskFolderRecord> sizes()
    {
        QList<KSTDiskFolderRecord> result;
        bool done = false;
        manager->scanHomeDirectoryFolderSizesWithCompletion(
            [&](const QList<KSTDiskFolderRecord> &folders, quint64, quint64) {
                result = folders;
                done = true;
            });
        EXPECT_TRUE(KSTTestSupport::pumpUntil([&done] { return done; }, 30'000));
        return result;
    }
    static bool setAttribute(const QString &path, const char *name, const QByteArray &value)
    {
        return ::lsetxattr(QFile::encodeName(path).constData(), name, value.constData(),
                           size_t(value.size()), 0) == 0;
    }
};

TEST_F(UtilitiesLinuxPlacesTest, TrashOriginsFromRecordsAndAttributes)
{
    const QString trash = home(".local/share/Trash");
    const QString plain =
        machine.addTrashItem("old notes.txt", "x", "/home/alice/Documents/old notes.txt", Deleted);
    machine.addTrashItem("Grüße #1.txt", "x", "/home/alice/Desktop/Grüße #1.txt", Deleted);
    const QString downloaded =
        machine.addTrashItem("report.pdf", "x", "/home/alice/Downloads/report.pdf", Deleted);
    const bool attributes =
        setAttribute(downloaded, "user.xdg.origin.url", "https://example.org/files/report.pdf");
    machine.writeHomeFile(".local/share/Trash/files/no record", "x");
    machine.writeHomeFile(".local/share/Trash/files/.hidden", "x");
    machine.writeHomeFile(".local/share/Trash/info/.hidden.trashinfo",
                          "[Trash Info]\nPath=/home/alice/.hidden\n");
    // A record that is a link, and one that is a FIFO: neither read nor waited on.
    QTemporaryDir outside;
    ASSERT_TRUE(outside.isValid());
    ASSERT_TRUE(KSTTestSupport::writeFile(outside.filePath("x.trashinfo"),
                                          "[Trash Info]\nPath=/etc/shadow\n"));
    machine.writeHomeFile(".local/share/Trash/files/linked", "x");
    machine.makeSymlink("home/alice/.local/share/Trash/info/linked.trashinfo",
                        outside.filePath("x.trashinfo"));
    machine.writeHomeFile(".local/share/Trash/files/fifo", "x");
    ASSERT_EQ(::mkfifo(QFile::encodeName(trash + "/info/fifo.trashinfo").constData(), 0600), 0);
    activate();

    const struct
    {
        const char *name;
        const char *origin;
    } expected[] = {
        {".hidden", "/home/alice/.hidden"},
        {"fifo", "Unknown"},
        {"Grüße #1.txt", "/home/alice/Desktop/Grüße #1.txt"},
        {"linked", "Unknown"},
        {"no record", "Unknown"},
        {"old notes.txt", "/home/alice/Documents/old notes.txt"},
        {"report.pdf",
         attributes ? "https://example.org/files/report.pdf" : "/home/alice/Downloads/report.pdf"},
    };
    const QList<KSTTrashSourceRecord> records = manager->scanTrashSourceItems();
    ASSERT_EQ(records.size(), qsizetype(std::size(expected)));
    for (qsizetype index = 0; index < records.size(); ++index) {
        const auto &row = expected[index];
        EXPECT_EQ(records[index].fileName, QString::fromUtf8(row.name));
        EXPECT_EQ(records[index].originalLocation, QString::fromUtf8(row.origin)) << row.name;
        EXPECT_EQ(records[index].trashPath, trash + "/files/" + QString::fromUtf8(row.name));
        EXPECT_EQ(records[index].deletedBy, "File manager");
    }
    EXPECT_EQ(plain, trash + "/files/old notes.txt");
}

TEST_F(UtilitiesLinuxPlacesTest, ATrashThatIsALinkListsNothing)
{
    machine.writeFile("srv/elsewhere/files/secret", "x");
    machine.makeSymlink("home/alice/.local/share/Trash", machine.path("srv/elsewhere"));
    activate();
    EXPECT_TRUE(manager->scanTrashSourceItems().isEmpty());
}

TEST_F(UtilitiesLinuxPlacesTest, HomeSizesOfTheUserFoldersByTheirNames)
{
    const struct Case
    {
        const char *what;
        QList<KSTFixtureLinux::UserDir> userDirs; // none: the English defaults
        QStringList names;                        // sorted by name, all of size 0 bytes here
    } cases[] = {
        {"English",
         {},
         {".cache", ".config", ".local", "Desktop", "Documents", "Downloads", "Music", "Pictures",
          "Public", "Templates", "Videos"}},
        {"German, one switched off, one shared",
         {{"DESKTOP", "$HOME/Schreibtisch"},
          {"DOCUMENTS", "$HOME/Dokumente"},
          {"DOWNLOAD", "$HOME/Downloads"},
          {"MUSIC", "$HOME/Musik"},
          {"PICTURES", "$HOME/Bilder"},
          {"VIDEOS", "$HOME/Videos"},
          {"TEMPLATES", "$HOME/"},
          {"PUBLICSHARE", "$HOME/Dokumente"}},
         {".cache", ".config", ".local", "Bilder", "Dokumente", "Downloads", "Musik",
          "Schreibtisch", "Videos"}},
    };
    for (const Case &row : cases) {
        KSTFixtureLinux fresh;
        if (!row.userDirs.isEmpty())
            fresh.writeUserDirs(row.userDirs);
        fresh.writeHomeFile(".cache/x", "x");
        fresh.writeHomeFile(".local/share/x", "x");
        // du prints 0 for every folder, so the order is by name.
        fresh.addToolScript("/usr/bin/du", "echo \"0\t$4\"\n");
        fresh.activate();
        KSTSystemInfo info;
        KSTUtilitiesManager local(&info);
        QList<KSTDiskFolderRecord> folders;
        bool done = false;
        local.scanHomeDirectoryFolderSizesWithCompletion(
            [&](const QList<KSTDiskFolderRecord> &found, quint64, quint64) {
                folders = found;
                done = true;
            });
        ASSERT_TRUE(KSTTestSupport::pumpUntil([&done] { return done; }, 30'000));
        QStringList names;
        for (const KSTDiskFolderRecord &folder : folders) {
            names << folder.name;
            EXPECT_EQ(folder.path, fresh.homePath(folder.name)) << row.what;
        }
        EXPECT_EQ(names, row.names) << row.what;
        // du ran on the listed folders' own paths only, each at most once.
        const QStringList calls = fresh.toolCalls("/usr/bin/du");
        EXPECT_FALSE(calls.isEmpty()) << row.what;
        for (const QString &call : calls) {
            EXPECT_EQ(calls.count(call), 1) << call.toStdString();
            EXPECT_TRUE(call.startsWith("-k -d 0 ") &&
                        row.names.contains(QFileInfo(call.mid(8)).fileName()))
                << call.toStdString();
        }
    }
}

TEST_F(UtilitiesLinuxPlacesTest, DuFiguresOrderTheDebianHome)
{
    KSTDebianDesktop::populate(machine);
    machine.addToolScript("/usr/bin/du", "case \"$4\" in\n"
                                         "  */Videos) echo \"12300\t$4\" ;;\n"
                                         "  */.cache) echo \"500\t$4\" ;;\n"
                                         "  *) echo \"1\t$4\" ;;\n"
                                         "esac\n");
    activate();
    const QList<KSTDiskFolderRecord> folders = sizes();
    ASSERT_GE(folders.size(), 3);
    EXPECT_EQ(folders[0], (KSTDiskFolderRecord{"Videos", home("Videos"), 12300 * 1024}));
    EXPECT_EQ(folders[1], (KSTDiskFolderRecord{".cache", home(".cache"), 500 * 1024}));
}

TEST_F(UtilitiesLinuxPlacesTest, EraseProtectsTheLinuxSystemButNotRemovableMedia)
{
    machine.makeDirectory("media/alice/USB STICK");
    machine.makeDirectory("run/media/alice/CARD");
    machine.makeDirectory("media/bob/OTHER");
    machine.writeFile("opt/tool/file", "x");
    activate();
    const QString root = machine.root();
    const struct
    {
        QString path;
        bool isProtected;
        bool isVolume;
    } cases[] = {
        {root, true, false},
        {root + "/etc/passwd", true, false},
        {root + "/usr/lib/x", true, false},
        {root + "/boot", true, false},
        {root + "/lib64/ld.so", true, false},
        {root + "/var/log", true, false},
        {root + "/run/user/1000", true, false},
        {root + "/proc/1", true, false},
        {root + "/sys/class", true, false},
        {root + "/dev/sda", true, false},
        {root + "/librarian", false, false},
        {root + "/opt/tool/file", false, false},
        {root + "/run/media/alice/CARD", false, true},
        {root + "/run/media/alice/CARD/photo.jpg", false, false},
        {root + "/media/alice/USB STICK", false, true},
        {root + "/media/bob/OTHER", false, false},
        {home("Documents"), false, false},
        {"/etc/hostname", true, false}, // the host's own
        {"/run/media", false, false},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(manager->isProtectedSystemPath(row.path), row.isProtected)
            << row.path.toStdString();
        EXPECT_EQ(manager->isVolumeMountPoint(row.path), row.isVolume) << row.path.toStdString();
    }
}

TEST_F(UtilitiesLinuxPlacesTest, ErasingAVolumeKeepsItsLinuxEntries)
{
    machine.writeFile("media/alice/USB/photo.jpg", "jpeg");
    machine.makeDirectory("media/alice/USB/lost+found");
    machine.writeFile("media/alice/USB/.Trash-1000/files/x", "x");
    machine.writeFile("media/alice/USB/.Trash-1001/files/y", "y");
    activate();
    KSTError error;
    ASSERT_TRUE(manager->secureErasePath(machine.path("media/alice/USB"), 1, &error))
        << error.description.toStdString();
    QStringList left = QDir(machine.path("media/alice/USB"))
                           .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    left.sort();
    EXPECT_EQ(left, (QStringList{".Trash-1000", "lost+found"}));
}

} // namespace
