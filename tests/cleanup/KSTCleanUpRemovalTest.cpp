// Removal on fixture Macs: the Mac Trash emptied for good but for Finder's records, every
// other item moved to the Trash where it can be put back, links never followed, and the
// counts and error when moves fail.
#include "KSTCleanUpRemoval.h"

#include "KSTCleanUpEngine.h"

#include "KSTMachineTest.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <unistd.h>

using Removal = KSTCleanUpRemoval;

namespace {

using KSTTestSupport::readFile;

KSTCleanUpItem itemAt(const QString &path, const QString &name = QStringLiteral("item"))
{
    return {name, {}, path, 1, true, {}};
}

class CleanUpRemovalTest : public KSTMachineTest
{
protected:
    QString trash(const QString &name = {}) const
    {
        return mac.homePath(name.isEmpty() ? QStringLiteral(".Trash") : ".Trash/" + name);
    }
    QStringList trashEntries() const
    {
        return QDir(trash()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                       QDir::NoDotAndDotDot);
    }
};

TEST_F(CleanUpRemovalTest, TheMacTrashItemIsTheHomesTrashWhateverItIsCalled)
{
    const struct
    {
        const char *name;
        QString path;
        bool isMacTrash;
    } cases[] = {
        {"Old stuff", mac.homePath(".Trash"), true},
        {"Mac Trash", mac.homePath(".Trash/"), true},
        // A label or a last component proves nothing: these are ordinary items.
        {"Mac Trash", mac.homePath("Mac Trash"), false},
        {"Mac Trash", "", false},
        {".Trash", mac.homePath("Documents/.Trash"), false},
        {"Old stuff", "/Volumes/Backup/.Trash", false},
        {"Trash", mac.homePath(".Trash/inside"), false},
        {"Time Machine Snapshots", "/", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Removal::isMacTrashCleanUpItem({c.name, {}, c.path, 0, false, {}}), c.isMacTrash)
            << c.name << " " << c.path.toStdString();
}

TEST_F(CleanUpRemovalTest, EmptyingTheMacTrashKeepsFinderRecordsAndNeverFollowsLinks)
{
    const QByteArray finderRecords = readFile(
        KSTTestSupport::recordedMacFile(QStringLiteral("DS_Store.Trash.NOdoff-gitPractice.bin")));
    ASSERT_FALSE(finderRecords.isEmpty());
    mac.writeHomeFile(".Trash/.DS_Store", finderRecords);
    mac.writeSizedHomeFile(".Trash/old.txt", 4096);
    mac.writeSizedHomeFile(".Trash/Project/src/main.c", 8192);
    mac.writeHomeFile(".Trash/.hidden-config", "x=1\n");
    const QString target = mac.writeHomeFile("Documents/keep.txt", "keep me");
    const QString inner = mac.writeHomeFile("Documents/Kept/inner.txt", "keep me too");
    mac.makeSymlink("Users/alice/.Trash/file-link", target);
    mac.makeSymlink("Users/alice/.Trash/folder-link", mac.homePath("Documents/Kept"));

    // A second name of old.txt: one file, counted once by the scan and by the emptying.
    ASSERT_EQ(::link(QFile::encodeName(trash("old.txt")).constData(),
                     QFile::encodeName(trash("old-again.txt")).constData()),
              0);
    // A link is sized as itself, never as what it points to.
    EXPECT_EQ(Removal::itemSizeAtPath(trash("file-link")), quint64(target.size()));

    // What the emptying reports is what the scan showed, less the Finder records it keeps.
    quint64 scanned = 0;
    KSTCleanUpEngine::trashItemCountAndBytes(&scanned);
    quint64 bytes = 10;
    quint64 items = 1;
    EXPECT_TRUE(Removal::emptyMacTrashBytesRemoved(&bytes, &items));
    EXPECT_EQ(items, 1u + 6u);
    EXPECT_EQ(bytes, 10u + scanned - KSTTestSupport::allocatedBytesOf(trash(".DS_Store")));
    EXPECT_EQ(trashEntries(), QStringList{".DS_Store"});
    EXPECT_EQ(readFile(trash(".DS_Store")), finderRecords);
    EXPECT_EQ(readFile(target), QByteArray("keep me"));
    EXPECT_EQ(readFile(inner), QByteArray("keep me too"));

    // Nothing left to delete: false, and the counters are untouched.
    EXPECT_FALSE(Removal::emptyMacTrashBytesRemoved(&bytes, &items));
    EXPECT_EQ(items, 7u);
    EXPECT_FALSE(Removal::emptyMacTrashBytesRemoved(nullptr, nullptr));
}

TEST_F(CleanUpRemovalTest, ItemsGoToTheMacTrashAndCanBePutBack)
{
    const QString cache =
        QFileInfo(mac.writeSizedHomeFile("Library/Caches/org.example.tool/blob", 8192)).path();
    const QString download = mac.writeHomeFile("Downloads/a.download", "part");
    const QString big = mac.writeSizedHomeFile("big.iso", 4096);
    mac.writeSizedHomeFile(".Trash/old.txt", 4096);
    const quint64 expectedBytes = Removal::itemSizeAtPath(cache) +
                                  Removal::itemSizeAtPath(download) + Removal::itemSizeAtPath(big) +
                                  Removal::itemSizeAtPath(trash("old.txt"));

    const Removal::Result result =
        Removal::removeCleanUpItemsNow({itemAt(cache),
                                        itemAt(download),
                                        itemAt(big),
                                        {"Mac Trash", {}, trash(), 4096, false, {}}});
    EXPECT_EQ(result.itemsRemoved, 4u);
    EXPECT_EQ(result.bytesRemoved, expectedBytes);
    EXPECT_FALSE(result.error) << result.error->description.toStdString();
    // The Trash was emptied before the moves, so what was moved is all there.
    EXPECT_EQ(trashEntries(), (QStringList{"a.download", "big.iso", "org.example.tool"}));
    for (const QString &original : {cache, download, big}) {
        EXPECT_FALSE(QFileInfo::exists(original)) << original.toStdString();
        ASSERT_TRUE(QFile::rename(trash(QFileInfo(original).fileName()), original)); // put back
    }
    EXPECT_EQ(readFile(download), QByteArray("part"));
    EXPECT_EQ(QFileInfo(cache + "/blob").size(), 8192);
}

TEST_F(CleanUpRemovalTest, FailedMovesReportTheLastErrorAndCountNothing)
{
    const QString first = mac.homePath("Downloads/gone-first.dmg");
    const QString second = mac.homePath("Downloads/gone-second.dmg");
    const QString real = mac.writeSizedHomeFile("Downloads/real.dmg", 4096);
    EXPECT_EQ(Removal::itemSizeAtPath(first), 0u);

    const Removal::Result result =
        Removal::removeCleanUpItemsNow({itemAt(first), itemAt(real), itemAt(second)});
    EXPECT_EQ(result.itemsRemoved, 1u);
    EXPECT_EQ(result.bytesRemoved, 4096u);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->userInfo.value("NSFilePath").toString(), second);
    EXPECT_TRUE(result.error->description.contains("gone-second.dmg"))
        << result.error->description.toStdString();

    // "/" (the Time Machine Snapshots item) is refused like any failing move.
    const Removal::Result root = Removal::removeCleanUpItemsNow(
        {{"Time Machine Snapshots", "/", "/", 6442450944u, false, {}}});
    EXPECT_EQ(root.itemsRemoved, 0u);
    EXPECT_EQ(root.bytesRemoved, 0u);
    EXPECT_TRUE(root.error);
    EXPECT_TRUE(QFileInfo::exists(QStringLiteral("/usr")));
}

TEST_F(CleanUpRemovalTest, TheSummaryRowAndEmptyPathsAreSkipped)
{
    const QString download = mac.writeHomeFile("Downloads/a.download", "part");
    const KSTCleanUpItem summary{"Failed downloads",
                                 "~/Downloads",
                                 mac.homePath("Downloads/.kst-failed-downloads-preview"),
                                 4,
                                 true,
                                 {}};
    const Removal::Result result =
        Removal::removeCleanUpItemsNow({summary, {"Nothing", {}, {}, 5, false, {}}});
    EXPECT_EQ(result.itemsRemoved, 0u);
    EXPECT_EQ(result.bytesRemoved, 0u);
    EXPECT_FALSE(result.error);
    EXPECT_TRUE(QFileInfo::exists(download));
}

} // namespace
