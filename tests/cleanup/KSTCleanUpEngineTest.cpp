// The clean-up scan on fixture Macs: which folders and files each category lists, how they
// are sized and ordered, the tools it runs and what a failing tool, a bad plist or a
// cancellation does to the snapshot.
#include "KSTCleanUpEngine.h"

#include "KSTCleanUpTestSupport.h"
#include "KSTInstallerPackageSearch.h"
#include "KSTLargeFileSearch.h"
#include "KSTMachineTest.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <thread>

using Engine = KSTCleanUpEngine;
using Item = KSTCleanUpItem;

namespace {

const QString Find = QStringLiteral("/usr/bin/find");
const QString Backups = QStringLiteral("Library/Application Support/MobileSync/Backup/");

using KSTTestSupport::allocatedBytesOf;

QByteArray recordedBackupInfo()
{
    return KSTTestSupport::readFile(KSTTestSupport::recordedMacFile(
        QStringLiteral("iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist")));
}

class CleanUpScanTest : public KSTMachineTest
{
protected:
    std::shared_ptr<KSTCleanUpSnapshot> scan()
    {
        return engineFor(info).fetchCleanUpSnapshotWithGeneration(info.cleanUpScanGeneration());
    }

    static KSTCleanUpCategory category(const std::shared_ptr<KSTCleanUpSnapshot> &snapshot,
                                       const char *type)
    {
        return categoryOfType(snapshot, type);
    }

    // A sparse file: find and the scan compare its length, so it takes almost no disk.
    QString writeSparseHomeFile(const QString &homeRelative, quint64 bytes)
    {
        const QString path = mac.writeHomeFile(homeRelative, "head");
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadWrite) && file.resize(qint64(bytes)));
        return path;
    }

    KSTSystemInfo info;
};

TEST_F(CleanUpScanTest, AnEmptyHomeStillGivesTheFourCategories)
{
    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    QStringList types;
    for (const KSTCleanUpCategory &category : snapshot->categories) {
        types << category.categoryType;
        EXPECT_TRUE(category.items.isEmpty()) << category.items.first().name.toStdString();
        EXPECT_EQ(category.totalBytes, 0u);
        // Removable Data never has a review list of its own.
        EXPECT_EQ(category.allItems.has_value(), category.categoryType != "removable");
    }
    EXPECT_EQ(types, (QStringList{"systemJunk", "trashes", "largeFiles", "removable"}));
    EXPECT_EQ(snapshot->totalReclaimableBytes, 0u);
    EXPECT_EQ(snapshot->filesAnalyzed, 1u); // nothing counted, but never 0
    EXPECT_FALSE(snapshot->isPartial);
    EXPECT_GT(snapshot->storageTotalBytes, 0u);
}

TEST_F(CleanUpScanTest, ApplesOwnLibraryFoldersAreNeverListed)
{
    const struct
    {
        const char *folder;
        bool listedInCaches;
        bool listedInApplicationSupport;
    } cases[] = {
        {"com.apple.Safari", false, false},
        {"group.com.apple.notes", false, false},
        {"Apple", false, false},
        {"AppleMediaServices", false, false},
        {"CloudKit", false, true}, // the cache set only
        {"GeoServices", false, true},
        {"knowledge-agent", false, true}, // only a cache name
        {"Knowledge", true, false},       // only an Application Support name
        {"MobileSync", true, false},
        {"Dock", true, false},
        {"org.example.tool", true, true},
        {"Slack", true, true},
    };
    for (const auto &c : cases) {
        for (const char *root : {"Library/Caches/", "Library/Application Support/"})
            mac.writeSizedHomeFile(QLatin1String(root) + c.folder + "/data.bin", 4096);
    }
    // Not other applications' folders: hidden, a plain file, an empty folder.
    mac.writeSizedHomeFile("Library/Caches/.hidden/data.bin", 4096);
    mac.writeSizedHomeFile("Library/Caches/loose.db", 4096);
    mac.makeHomeDirectory("Library/Caches/empty");

    const QStringList listed = namesOf(*category(scan(), "systemJunk").allItems);
    for (const auto &c : cases) {
        EXPECT_EQ(listed.contains(QLatin1String("Caches. ") + c.folder), c.listedInCaches)
            << c.folder;
        EXPECT_EQ(listed.contains(QLatin1String("Application Support. ") + c.folder),
                  c.listedInApplicationSupport)
            << c.folder;
    }
    EXPECT_EQ(listed.size(), 10) << listed.join(", ").toStdString();
}

TEST_F(CleanUpScanTest, SystemJunkListsLargestFirstEqualSizesByNameAndShowsTwoOnTheCard)
{
    const QString big = mac.writeSizedHomeFile("Library/Caches/big.tool/a.bin", 16384);
    for (const char *name : {"b.tool", "a.tool", "B.tool"})
        mac.writeSizedHomeFile(QLatin1String("Library/Caches/") + name + "/a.bin", 8192);
    mac.writeSizedHomeFile("Library/Application Support/Small/a.bin", 4096);
    mac.writeSizedHomeFile("Library/Application Support/Large/a.bin", 1100000);
    const QString log = mac.writeSizedHomeFile("Library/Logs/app.log", 4096);
    mac.writeSizedHomeFile("Library/Saved Application State/x.savedState/w", 4096);

    const auto snapshot = scan();
    const KSTCleanUpCategory junk = category(snapshot, "systemJunk");
    EXPECT_EQ(namesOf(*junk.allItems),
              (QStringList{"Caches. big.tool", "Caches. B.tool", "Caches. a.tool", "Caches. b.tool",
                           "Application Support. Large", "Application Support. Small", "Logs",
                           "Saved Application State"}));
    EXPECT_EQ(namesOf(junk.items), (QStringList{"Caches. big.tool", "Application Support. Large",
                                                "Logs", "Saved Application State"}));
    EXPECT_EQ(junk.items[0], (Item{"Caches. big.tool",
                                   {},
                                   mac.homePath("Library/Caches/big.tool"),
                                   allocatedBytesOf(big),
                                   true,
                                   {}}));
    EXPECT_EQ(junk.items[2], (Item{"Logs",
                                   "~/Library/Logs",
                                   mac.homePath("Library/Logs"),
                                   allocatedBytesOf(log),
                                   false,
                                   {}}));

    EXPECT_EQ(junk.totalBytes, bytesOf(*junk.allItems));
    EXPECT_EQ(snapshot->totalReclaimableBytes, junk.totalBytes);
    // One per item, and two for the folder of just over 1 MiB.
    EXPECT_EQ(snapshot->filesAnalyzed, 9u);
}

TEST_F(CleanUpScanTest, MacTrashCountsHiddenEntriesInItsSize)
{
    const struct
    {
        QStringList entries;
        quint64 visibleEntries;
    } cases[] = {
        {{}, 0},
        {{".DS_Store"}, 0}, // Finder's records only: still listed
        {{".DS_Store", "old.txt"}, 1},
    };
    for (const auto &c : cases) {
        QDir(mac.homePath(".Trash")).removeRecursively();
        mac.makeHomeDirectory(".Trash");
        quint64 expectedBytes = 0;
        for (const QString &entry : c.entries)
            expectedBytes += allocatedBytesOf(mac.writeSizedHomeFile(".Trash/" + entry, 6148));
        quint64 bytes = 0;
        EXPECT_EQ(Engine::trashItemCountAndBytes(&bytes), c.visibleEntries);
        EXPECT_EQ(bytes, expectedBytes);

        const KSTCleanUpCategory trashes = category(scan(), "trashes");
        const QList<Item> listed = {
            Item{"Mac Trash", "~/.Trash", mac.homePath(".Trash"), expectedBytes, false, {}}};
        EXPECT_EQ(trashes.items, c.entries.isEmpty() ? QList<Item>() : listed) << c.entries.size();
        EXPECT_EQ(namesOf(*trashes.allItems), namesOf(trashes.items));
        EXPECT_EQ(trashes.totalBytes, expectedBytes);
    }
}

TEST_F(CleanUpScanTest, FailedDownloadsAreExactlyTheDotDownloadEntries)
{
    mac.writeHomeFile("Downloads/file.DOWNLOAD", "not a failed download");
    mac.writeHomeFile("Downloads/file.download", QByteArray());
    const quint64 bundleBytes =
        allocatedBytesOf(mac.writeSizedHomeFile("Downloads/Movie.mp4.download/Movie.mp4", 8192)) +
        allocatedBytesOf(mac.writeSizedHomeFile("Downloads/Movie.mp4.download/Info.plist", 4096));
    mac.writeHomeFile("Downloads/.hidden.download", "x");
    mac.writeHomeFile("Downloads/notes.txt", "x");

    const auto snapshot = scan();
    const KSTCleanUpCategory trashes = category(snapshot, "trashes");
    EXPECT_EQ(*trashes.allItems, (QList<Item>{{"Movie.mp4.download",
                                               "~/Downloads/Movie.mp4.download",
                                               mac.homePath("Downloads/Movie.mp4.download"),
                                               bundleBytes,
                                               true,
                                               {}},
                                              // Empty, yet still a failed download.
                                              {"file.download",
                                               "~/Downloads/file.download",
                                               mac.homePath("Downloads/file.download"),
                                               0,
                                               true,
                                               {}}}));
    // The card shows the downloads as one row whose path never exists.
    EXPECT_EQ(trashes.items, (QList<Item>{{"Failed downloads",
                                           "~/Downloads",
                                           mac.homePath("Downloads/.kst-failed-downloads-preview"),
                                           bundleBytes,
                                           true,
                                           {}}}));
    EXPECT_EQ(trashes.totalBytes, bundleBytes);
    EXPECT_EQ(snapshot->filesAnalyzed, 2u); // one per download, however large
}

TEST_F(CleanUpScanTest, SevenLargeFilesShowFourOnTheCardAndAllSevenForReview)
{
    mac.addToolScript(Find, "exec /usr/bin/find \"$@\"\n"); // logs, then finds for real
    const quint64 sizes[] = {51, 52, 53, 60, 70, 80, 90};
    const char *places[] = {"Desktop/a.iso",   "Documents/deep/er/b.mov",
                            "Downloads/c.dmg", "Movies/d.mov",
                            "Public/e.bin",    "f.bin",
                            "Pictures/g.raw"};
    quint64 total = 0;
    for (int index = 0; index < 7; ++index) {
        writeSparseHomeFile(places[index], sizes[index] * MiB + 1);
        total += sizes[index] * MiB + 1;
    }
    // Under Library (pruned), smaller than the threshold, and hidden behind a link.
    writeSparseHomeFile("Library/Caches/huge.bin", 200 * MiB);
    writeSparseHomeFile("Documents/small.bin", 49 * MiB);
    mac.makeSymlink("Users/alice/Documents/link.bin", mac.homePath("f.bin"));

    const auto snapshot = scan();
    const KSTCleanUpCategory large = category(snapshot, "largeFiles");
    EXPECT_EQ(namesOf(*large.allItems),
              (QStringList{"g.raw", "f.bin", "e.bin", "d.mov", "c.dmg", "b.mov", "a.iso"}));
    EXPECT_EQ(namesOf(large.items), (QStringList{"g.raw", "f.bin", "e.bin", "d.mov"}));
    EXPECT_EQ(large.totalBytes, total);
    EXPECT_EQ(large.allItems->value(5), (Item{"b.mov",
                                              "~/Documents/deep/er/b.mov",
                                              mac.homePath("Documents/deep/er/b.mov"),
                                              52 * MiB + 1,
                                              true,
                                              {}}));
    EXPECT_GE(snapshot->filesAnalyzed, 7u);

    const QString user = mac.root() + "/Users/alice";
    EXPECT_EQ(mac.toolCalls(Find), QStringList{user + " -path " + user +
                                               "/Library -prune -o -type f -size +50M -print0"});
}

TEST_F(CleanUpScanTest, FindArgumentsFollowTheLayoutAndThreshold)
{
    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    linux.setHome(mac.homePath("Documents"));
    const struct
    {
        bool macLayout;
        quint64 threshold;
        const char *user;
        const char *size;
    } cases[] = {
        {true, 52428800, "/Users/alice", "+50M"},
        {true, 1, "/Users/alice", "+1M"},
        {true, 3 * MiB - 1, "/Users/alice", "+2M"},
        {false, 52428800, "/Users/alice/Documents", "+50M"},
    };
    for (const auto &c : cases) {
        std::optional<KSTScopedEnvironment> layout;
        if (!c.macLayout)
            layout.emplace(linux);
        const QString user = mac.root() + c.user;
        const QStringList prune = c.macLayout
                                      ? QStringList{"-path", user + "/Library", "-prune", "-o"}
                                      : QStringList{"-type",      "d",  "(",         "-path",
                                                    user + "/.*", "-o", "-path",     user + "/snap",
                                                    "-o",         "!",  "-readable", ")",
                                                    "-prune",     "-o"};
        EXPECT_EQ(
            KSTLargeFileSearch::findArgumentsForThreshold(c.threshold),
            (QStringList{user} + prune + QStringList{"-type", "f", "-size", c.size, "-print0"}));
    }
    // A home whose name holds find's pattern characters is matched literally.
    EXPECT_EQ(KSTLargeFileSearch::findPatternEscaped("/home/a*b?[c]\\d"),
              QString("/home/a\\*b\\?\\[c]\\\\d"));
}

TEST_F(CleanUpScanTest, AFailingToolOrAMalformedPlistContributesNothing)
{
    // find that met an unreadable folder: it exits with 1 and its whole output is dropped.
    const QString big = writeSparseHomeFile("Movies/big.mov", 60 * MiB);
    mac.addTool(Find, big.toUtf8() + '\n', 1, "find: 'Private': Permission denied\n");
    // A backup whose Info.plist was cut short in the middle of its binary form.
    mac.writeHomeFile(Backups + "cut/Info.plist", recordedBackupInfo().left(200));
    mac.writeSizedHomeFile("Library/Caches/org.example.tool/a.bin", 4096);
    mac.writeSizedHomeFile("Pictures/Screenshots/shot.png", 4096);

    const auto snapshot = scan();
    EXPECT_EQ(mac.toolCalls(Find).size(), 1);
    EXPECT_TRUE(category(snapshot, "largeFiles").allItems->isEmpty());
    EXPECT_EQ(namesOf(category(snapshot, "removable").items), QStringList{"Screenshots"});
    EXPECT_EQ(namesOf(category(snapshot, "systemJunk").items),
              QStringList{"Caches. org.example.tool"});
}

// Tools that hang or print without end cost at most their time-outs and contribute
// nothing; the rest of the scan is whole.
TEST_F(CleanUpScanTest, HangingOrFloodingToolsContributeNothing)
{
    const KSTScopedEnvironmentVariable timeout("KESTREL_TOOL_TIMEOUT_MS", "500");
    mac.linkHostTool("/usr/bin/wc");
    const QString big = writeSparseHomeFile("Movies/big.mov", 60 * MiB);
    mac.writeSizedHomeFile("Pictures/Screenshots/shot.png", 4096);
    const struct
    {
        const char *name;
        QByteArray find;
        QByteArray tmutil;
    } cases[] = {
        {"hanging", "echo " + big.toUtf8() + "\nexec sleep 60\n",
         "echo com.apple.TimeMachine.2024-03-01-101010.local\nexec sleep 60\n"},
        {"flooding", "exec yes " + big.toUtf8() + "\n",
         "exec yes com.apple.TimeMachine.2024-03-01-101010.local\n"},
    };
    for (const auto &c : cases) {
        mac.addToolScript(Find, c.find);
        mac.addToolScript("/usr/bin/tmutil", c.tmutil);
        const auto snapshot = scan();
        ASSERT_TRUE(snapshot) << c.name;
        EXPECT_TRUE(category(snapshot, "largeFiles").allItems->isEmpty()) << c.name;
        EXPECT_EQ(Engine::localSnapshotBytes(), 0u) << c.name;
        EXPECT_EQ(namesOf(category(snapshot, "removable").items), QStringList{"Screenshots"})
            << c.name;
    }
}

TEST_F(CleanUpScanTest, LocalSnapshotsAreTwoGibibytesPerLineTmutilPrints)
{
    mac.linkHostTool("/usr/bin/wc");
    const struct
    {
        QByteArray output;
        quint64 bytes;
    } cases[] = {
        {"com.apple.TimeMachine.2024-03-01-101010.local\n"
         "com.apple.TimeMachine.2024-03-02-101010.local\n"
         "com.apple.TimeMachine.2024-03-03-101010.local\n",
         6442450944u},
        {"Snapshots for disk /:\n", 2147483648u},
        {"", 0},
    };
    for (const auto &c : cases) {
        mac.addTool("/usr/bin/tmutil", c.output);
        EXPECT_EQ(Engine::localSnapshotBytes(), c.bytes) << c.output.constData();
        const QList<Item> snapshots = {
            Item{"Time Machine Snapshots", "/", "/", c.bytes, false, {}}};
        EXPECT_EQ(category(scan(), "systemJunk").items, c.bytes ? snapshots : QList<Item>());
    }
    EXPECT_EQ(mac.toolCalls("/usr/bin/tmutil").value(0), QStringLiteral("listlocalsnapshots /"));

    // wc pads its count; anything else reads as no number.
    EXPECT_EQ(Engine::lineCountFromOutput("       3\n"), 3);
    EXPECT_EQ(Engine::lineCountFromOutput("12 lines"), 12);
    EXPECT_EQ(Engine::lineCountFromOutput("wc: broken\n"), 0);
    // Only the array's own bytes are read, terminated or not (fuzzing found the overread).
    static const char digits[] = "12345";
    EXPECT_EQ(Engine::lineCountFromOutput(QByteArray::fromRawData(digits, 2)), 12);
    EXPECT_EQ(Engine::lineCountFromOutput(QByteArray::fromRawData(digits, 0)), 0);

    // A count too large to be a Mac's gives no item rather than a size that wraps. (The wc
    // linked from the host is replaced by a script; the host's own stays untouched.)
    for (const QByteArray &count :
         {QByteArray("4294967296\n"), QByteArray("99999999999999999999\n")}) {
        mac.addTool("/usr/bin/tmutil", "");
        mac.addToolScript("/usr/bin/wc", "echo " + count);
        EXPECT_EQ(Engine::localSnapshotBytes(), 0u) << count.constData();
    }
    mac.addToolScript("/usr/bin/wc", "echo 4294967295\n");
    EXPECT_EQ(Engine::localSnapshotBytes(), 4294967295ull * 2147483648ull);
    EXPECT_TRUE(KSTTestSupport::readFile("/usr/bin/wc")
                    .startsWith("\x7f"
                                "ELF"));
}

TEST_F(CleanUpScanTest, IOSBackupsAreNamedAfterTheDeviceAndTheirPlistsDate)
{
    const QDateTime when(QDate(2024, 3, 4), QTime(14, 5));
    KSTFixtureMac::setModified(
        mac.writeHomeFile(Backups + "A-iphone/Info.plist", recordedBackupInfo()), when);
    KSTFixtureMac::setModified(
        mac.writeHomePlist(Backups + "B-manifest/Manifest.plist",
                           QVariantMap{{"Lockdown", QVariantMap{{"DeviceName", "Kim's iPad"}}}},
                           KSTFixtureMac::PlistFormat::Binary),
        when.addDays(1));
    mac.writeHomePlist(Backups + "C-no-lockdown/Manifest.plist",
                       QVariantMap{{"IsEncrypted", false}});
    mac.writeHomePlist(Backups + "D-unnamed/Info.plist", QVariantMap{{"Device Name", ""}});
    mac.writeHomeFile(Backups + "E-malformed/Info.plist", "<plist><dict><key>");
    mac.writeHomeFile(Backups + "F-empty/Manifest.db", QByteArray());
    mac.writeHomePlist(Backups + ".G-hidden/Info.plist", QVariantMap{{"Device Name", "Hidden"}});
    for (const char *backup : {"A-iphone", "B-manifest", "C-no-lockdown", "D-unnamed"})
        mac.writeSizedHomeFile(Backups + backup + "/00/00aa", 8192);

    const auto snapshot = scan();
    const QList<Item> items = category(snapshot, "removable").items;
    EXPECT_EQ(namesOf(items), (QStringList{"iPhone (2024-03-04 14:05)",
                                           "Kim's iPad (2024-03-05 14:05)", "Unknown"}));
    const QString folder = mac.homePath(Backups + "A-iphone");
    EXPECT_EQ(items.value(0), (Item{"iPhone (2024-03-04 14:05)",
                                    "A-iphone",
                                    folder,
                                    KSTPermissionChecker::fileSizeAtAccessiblePath(folder),
                                    true,
                                    {}}));
    EXPECT_GE(items.value(0).bytes, 8192u);
    // Backups are not counted among the files analyzed.
    EXPECT_EQ(snapshot->filesAnalyzed, 1u);
}

TEST_F(CleanUpScanTest, DownloadsAndInstallerPackagesAreRemovableData)
{
    mac.writeSizedHomeFile("Pictures/Screenshots/shot.png", 4096);
    mac.writeSizedHomeFile("Downloads/Setup.dmg", 8192);
    mac.writeSizedHomeFile("Downloads/TOOL.PKG", 4096);
    mac.writeHomeFile("Downloads/old/Suite.mpkg", QByteArray(100, 'p'));
    const QString archive =
        mac.writeSizedHomeFile("Downloads/Bundle.pkg/Contents/Archive.pax", 4096);
    mac.writeSizedHomeFile("Downloads/notes.zip", 4096);
    mac.writeHomeFile("Downloads/.partial.dmg", "x");
    mac.makeSymlink("Users/alice/Downloads/linked.dmg", mac.homePath("Downloads/Setup.dmg"));

    const KSTCleanUpCategory removable = category(scan(), "removable");
    const QList<Item> &items = removable.items;
    ASSERT_EQ(namesOf(items),
              (QStringList{"Screenshots", "Downloads folder", "Installer Packages"}));
    const QString downloads = mac.homePath("Downloads");
    const auto targetPaths = [](const Item &item) {
        QStringList paths;
        for (const KSTCleanUpTarget &target : item.targets)
            paths << target.path;
        paths.sort();
        return paths;
    };
    // The folder's visible contents but the installers; the installer inside "old" travels
    // with it and is counted once, with the installers.
    EXPECT_EQ(items[1],
              (Item{"Downloads folder",
                    "~/Downloads",
                    downloads,
                    KSTPermissionChecker::fileSizeAtAccessiblePath(downloads + "/notes.zip") +
                        KSTPermissionChecker::fileSizeAtAccessiblePath(downloads + "/linked.dmg"),
                    false,
                    {}}));
    EXPECT_EQ(targetPaths(items[1]), (QStringList{downloads + "/linked.dmg",
                                                  downloads + "/notes.zip", downloads + "/old"}));
    // The installer files found, each by itself.
    EXPECT_EQ(items[2], (Item{"Installer Packages",
                              "~/Downloads",
                              downloads,
                              8192 + 4096 + 100 + allocatedBytesOf(archive),
                              false,
                              {}}));
    EXPECT_EQ(targetPaths(items[2]),
              (QStringList{downloads + "/Bundle.pkg", downloads + "/Setup.dmg",
                           downloads + "/TOOL.PKG", downloads + "/old/Suite.mpkg"}));
    EXPECT_EQ(removable.totalBytes, bytesOf(items));
}

TEST_F(CleanUpScanTest, InstallerPackagesAreCappedAtAHundredInNameOrder)
{
    // Sizes 1..101 bytes by name order: the cap keeps the first hundred.
    for (int index = 1; index <= 101; ++index)
        mac.writeHomeFile(QStringLiteral("Downloads/p%1.pkg").arg(index, 3, 10, QLatin1Char('0')),
                          QByteArray(index, 'x'));
    const QString downloads = mac.homePath("Downloads");
    EXPECT_EQ(KSTInstallerPackageSearch::totalBytesInScope(downloads, 100, {}), 5050u);
    EXPECT_EQ(KSTInstallerPackageSearch::totalBytesInScope(downloads, 1000, {}), 5151u);
    EXPECT_EQ(KSTInstallerPackageSearch::totalBytesInScope(downloads, 1, {}), 1u);
}

TEST_F(CleanUpScanTest, ACancelledScanReturnsNothing)
{
    // A stale generation stops at the first checkpoint.
    const quint64 stale = info.cleanUpScanGeneration();
    info.cancelCleanUpScan();
    EXPECT_EQ(engineFor(info).fetchCleanUpSnapshotWithGeneration(stale), nullptr);

    // Cancelled while find runs: the scan stops at the next checkpoint.
    const QString gate = mac.path("gate");
    ASSERT_EQ(::mkfifo(QFile::encodeName(gate).constData(), 0600), 0);
    mac.addToolScript(Find, "cat " + QFile::encodeName(gate) + " >/dev/null\n");
    mac.writeSizedHomeFile("Library/Caches/org.example.tool/a.bin", 4096);
    const quint64 generation = info.cleanUpScanGeneration();
    std::shared_ptr<KSTCleanUpSnapshot> result = std::make_shared<KSTCleanUpSnapshot>();
    std::thread scanner(
        [&] { result = engineFor(info).fetchCleanUpSnapshotWithGeneration(generation); });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return !mac.toolCalls(Find).isEmpty(); }));
    info.cancelCleanUpScan();
    QFile(gate).open(QIODevice::WriteOnly); // lets find end
    scanner.join();
    EXPECT_EQ(result, nullptr);
}

// The engine needs nothing of the frame but its predicate: it asks only about the generation
// it builds, and stops once told to, whenever that is.
TEST_F(CleanUpScanTest, RunsWithOnlyACancellationPredicate)
{
    mac.writeSizedHomeFile("Library/Caches/org.example.tool/a.bin", 4096);
    constexpr quint64 Generation = 42;
    const struct
    {
        const char *name;
        int cancelledFromQuestion; // 0: never
        bool completes;
    } cases[] = {
        {"never cancelled", 0, true},
        {"cancelled before it starts", 1, false},
        {"cancelled after its first question", 2, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        int questions = 0;
        QList<quint64> askedAbout;
        const Engine engine([&](quint64 generation) {
            askedAbout << generation;
            ++questions;
            return c.cancelledFromQuestion != 0 && questions >= c.cancelledFromQuestion;
        });
        const std::shared_ptr<KSTCleanUpSnapshot> snapshot =
            engine.fetchCleanUpSnapshotWithGeneration(Generation);
        ASSERT_FALSE(askedAbout.isEmpty());
        EXPECT_EQ(askedAbout.count(Generation), askedAbout.size());
        if (!c.completes) {
            EXPECT_EQ(snapshot, nullptr);
            continue;
        }
        ASSERT_NE(snapshot, nullptr);
        EXPECT_EQ(snapshot->categories.size(), 4);
        EXPECT_TRUE(namesOf(category(snapshot, "systemJunk").allItems.value_or(QList<Item>()))
                        .contains("Caches. org.example.tool"));
    }
}

} // namespace
