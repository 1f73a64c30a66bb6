// Removal on fixture Macs: the Mac Trash emptied for good but for Finder's records, every
// other item moved to the Trash where it can be put back, links never followed, and the
// counts and error when moves fail.
#include "KSTCleanUpRemoval.h"

#include "KSTFixtureMac.h"
#include "KSTPermissionChecker.h"
#include "KSTTestSupport.h"
#include "KSTTrash.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

using Removal = KSTCleanUpRemoval;

QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool existsAsLink(const QString &path)
{
    struct stat info;
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISLNK(info.st_mode);
}

KSTCleanUpItem itemAt(const QString &path, const QString &name = QStringLiteral("item"))
{
    return {name, {}, path, 1, true};
}

class CleanUpRemovalTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    QString trash(const QString &name = {}) const
    {
        return mac.homePath(name.isEmpty() ? QStringLiteral(".Trash")
                                           : QLatin1String(".Trash/") + name);
    }

    KSTFixtureMac mac;
};

TEST_F(CleanUpRemovalTest, MacTrashItemsAreRecognisedByNameOrPath)
{
    const struct
    {
        const char *name;
        const char *path;
        bool isMacTrash;
    } cases[] = {
        {"Mac Trash", "/Users/alice/.Trash", true},
        {"Mac Trash", "/anything/else", true},
        {"Mac Trash", "", true},
        {"Old stuff", "/Volumes/Backup/.Trash", true},
        {"mac trash", "/Users/alice/Downloads", false},
        {"Trash", "/Users/alice/.Trash/inside", false},
        {"Trashes", "/Users/alice/.Trashes", false},
        {"Time Machine Snapshots", "/", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Removal::isMacTrashCleanUpItem(
                      {QString::fromUtf8(c.name), {}, QString::fromUtf8(c.path), 0, false}),
                  c.isMacTrash)
            << c.name << " " << c.path;
}

TEST_F(CleanUpRemovalTest, EmptyingTheMacTrashKeepsFinderRecordsAndNeverFollowsLinks)
{
    const QByteArray finderRecords = contentsOf(
        KSTTestSupport::recordedMacFile(QStringLiteral("DS_Store.Trash.NOdoff-gitPractice.bin")));
    ASSERT_FALSE(finderRecords.isEmpty());
    mac.writeHomeFile(QStringLiteral(".Trash/.DS_Store"), finderRecords);
    mac.writeSizedHomeFile(QStringLiteral(".Trash/old.txt"), 4096);
    mac.writeSizedHomeFile(QStringLiteral(".Trash/Project/src/main.c"), 8192);
    mac.writeHomeFile(QStringLiteral(".Trash/.hidden-config"), "x=1\n");
    const QString target = mac.writeHomeFile(QStringLiteral("Documents/keep.txt"), "keep me");
    mac.writeHomeFile(QStringLiteral("Documents/Kept/inner.txt"), "keep me too");
    mac.makeSymlink(QStringLiteral("Users/alice/.Trash/file-link"), target);
    mac.makeSymlink(QStringLiteral("Users/alice/.Trash/folder-link"),
                    mac.homePath(QStringLiteral("Documents/Kept")));

    ASSERT_TRUE(existsAsLink(trash(QStringLiteral("folder-link"))));
    quint64 expectedBytes = 0;
    for (const char *entry : {"old.txt", "Project", "file-link", "folder-link", ".hidden-config"})
        expectedBytes += Removal::itemSizeAtPath(trash(QLatin1String(entry)));
    // A link is sized as itself, never as what it points to.
    EXPECT_EQ(Removal::itemSizeAtPath(trash(QStringLiteral("file-link"))), quint64(target.size()));

    quint64 bytes = 10;
    quint64 items = 1;
    EXPECT_TRUE(Removal::emptyMacTrashBytesRemoved(&bytes, &items));
    EXPECT_EQ(items, 1u + 5u);
    EXPECT_EQ(bytes, 10u + expectedBytes);
    EXPECT_EQ(QDir(trash()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                      QDir::NoDotAndDotDot),
              QStringList{QStringLiteral(".DS_Store")});
    EXPECT_EQ(contentsOf(trash(QStringLiteral(".DS_Store"))), finderRecords);
    EXPECT_EQ(contentsOf(target), QByteArray("keep me"));
    EXPECT_EQ(contentsOf(mac.homePath(QStringLiteral("Documents/Kept/inner.txt"))),
              QByteArray("keep me too"));

    // Nothing left to delete: false, and the counters are untouched.
    EXPECT_FALSE(Removal::emptyMacTrashBytesRemoved(&bytes, &items));
    EXPECT_EQ(items, 6u);
    EXPECT_FALSE(Removal::emptyMacTrashBytesRemoved(nullptr, nullptr));
}

TEST_F(CleanUpRemovalTest, ItemsGoToTheMacTrashAndCanBePutBack)
{
    const QString cache =
        mac.writeSizedHomeFile(QStringLiteral("Library/Caches/org.example.tool/blob"), 8192);
    const QString download = mac.writeHomeFile(QStringLiteral("Downloads/a.download"), "part");
    const QString big = mac.writeSizedHomeFile(QStringLiteral("big.iso"), 4096);
    mac.writeSizedHomeFile(QStringLiteral(".Trash/old.txt"), 4096);
    const QList<KSTCleanUpItem> selection = {
        itemAt(QFileInfo(cache).path()),
        itemAt(download),
        itemAt(big),
        {QStringLiteral("Mac Trash"), {}, trash(), 4096, false}};
    const quint64 expectedBytes = Removal::itemSizeAtPath(QFileInfo(cache).path()) +
                                  Removal::itemSizeAtPath(download) + Removal::itemSizeAtPath(big) +
                                  Removal::itemSizeAtPath(trash(QStringLiteral("old.txt")));

    const Removal::Result result = Removal::removeCleanUpItemsNow(selection);
    EXPECT_EQ(result.itemsRemoved, 4u);
    EXPECT_EQ(result.bytesRemoved, expectedBytes);
    EXPECT_FALSE(result.error) << result.error->description.toStdString();
    // The Trash was emptied before the moves, so what was moved is all there.
    EXPECT_FALSE(QFileInfo::exists(trash(QStringLiteral("old.txt"))));
    for (const QString &original : {QFileInfo(cache).path(), download, big}) {
        const QString trashed = trash(QFileInfo(original).fileName());
        EXPECT_FALSE(QFileInfo::exists(original)) << original.toStdString();
        ASSERT_TRUE(QFileInfo::exists(trashed)) << trashed.toStdString();
        ASSERT_TRUE(QFile::rename(trashed, original)); // put back
    }
    EXPECT_EQ(contentsOf(download), QByteArray("part"));
    EXPECT_EQ(QFileInfo(cache).size(), 8192);
}

TEST_F(CleanUpRemovalTest, UnderTheLinuxLayoutItemsGoToTheFreedesktopTrash)
{
    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment layout(linux);
    const QString download = mac.writeHomeFile(QStringLiteral("Downloads/b c.download"), "part");
    const QString folder = mac.homePath(QStringLiteral("Library/Caches/org.example.tool"));
    mac.writeHomeFile(QStringLiteral("Library/Caches/org.example.tool/blob"), "cached");

    const Removal::Result result =
        Removal::removeCleanUpItemsNow({itemAt(download), itemAt(folder)});
    EXPECT_EQ(result.itemsRemoved, 2u);
    EXPECT_FALSE(result.error);

    const QString trashFolder = mac.homePath(QStringLiteral(".local/share/Trash"));
    for (const QString &original : {download, folder}) {
        const QString name = QFileInfo(original).fileName();
        const QString trashed = trashFolder + QLatin1String("/files/") + name;
        ASSERT_TRUE(QFileInfo::exists(trashed)) << trashed.toStdString();
        EXPECT_FALSE(QFileInfo::exists(original));
        const QByteArray info =
            contentsOf(trashFolder + QLatin1String("/info/") + name + QLatin1String(".trashinfo"));
        EXPECT_TRUE(info.startsWith("[Trash Info]\nPath=")) << info.constData();
        EXPECT_TRUE(info.contains("\nDeletionDate=")) << info.constData();
        EXPECT_EQ(KSTTrash::originalPathForTrashedItem(trashed), original);
        ASSERT_TRUE(QFile::rename(trashed, original)); // put back
    }
    EXPECT_EQ(contentsOf(download), QByteArray("part"));
    EXPECT_EQ(contentsOf(folder + QLatin1String("/blob")), QByteArray("cached"));
}

TEST_F(CleanUpRemovalTest, FailedMovesReportTheLastErrorAndCountNothing)
{
    const QString first = mac.homePath(QStringLiteral("Downloads/gone-first.dmg"));
    const QString second = mac.homePath(QStringLiteral("Downloads/gone-second.dmg"));
    const QString real = mac.writeSizedHomeFile(QStringLiteral("Downloads/real.dmg"), 4096);
    EXPECT_EQ(Removal::itemSizeAtPath(first), 0u);

    const Removal::Result result =
        Removal::removeCleanUpItemsNow({itemAt(first), itemAt(real), itemAt(second)});
    EXPECT_EQ(result.itemsRemoved, 1u);
    EXPECT_EQ(result.bytesRemoved, 4096u);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->userInfo.value(QStringLiteral("NSFilePath")).toString(), second);
    EXPECT_TRUE(result.error->description.contains(QLatin1String("gone-second.dmg")))
        << result.error->description.toStdString();
    EXPECT_FALSE(result.error->domain.isEmpty());

    // "/" (the Time Machine Snapshots item) is refused like any failing move.
    const Removal::Result root = Removal::removeCleanUpItemsNow(
        {{QStringLiteral("Time Machine Snapshots"), QStringLiteral("/"), QStringLiteral("/"),
          6442450944u, false}});
    EXPECT_EQ(root.itemsRemoved, 0u);
    EXPECT_EQ(root.bytesRemoved, 0u);
    EXPECT_TRUE(root.error);
    EXPECT_TRUE(QFileInfo::exists(QStringLiteral("/usr")));
}

TEST_F(CleanUpRemovalTest, TheSummaryRowAndEmptyPathsAreSkipped)
{
    mac.writeHomeFile(QStringLiteral("Downloads/a.download"), "part");
    const KSTCleanUpItem summary{
        QStringLiteral("Failed downloads"), QStringLiteral("~/Downloads"),
        mac.homePath(QStringLiteral("Downloads/.kst-failed-downloads-preview")), 4, true};
    const Removal::Result result =
        Removal::removeCleanUpItemsNow({summary, {QStringLiteral("Nothing"), {}, {}, 5, false}});
    EXPECT_EQ(result.itemsRemoved, 0u);
    EXPECT_EQ(result.bytesRemoved, 0u);
    EXPECT_FALSE(result.error);
    EXPECT_TRUE(QFileInfo::exists(mac.homePath(QStringLiteral("Downloads/a.download"))));
}

} // namespace
