// The clean-up scan on fixture Macs: which folders and files each category lists, how they
// are sized and ordered, the tools it runs and what a failing tool, a bad plist or a
// cancellation does to the snapshot.
#include "KSTCleanUpEngine.h"

#include "KSTFixtureMac.h"
#include "KSTInstallerPackageSearch.h"
#include "KSTLargeFileSearch.h"
#include "KSTPermissionChecker.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <thread>

namespace {

constexpr quint64 MiB = 1024 * 1024;
const QString Find = QStringLiteral("/usr/bin/find");

quint64 allocatedBytesOf(const QString &path)
{
    struct stat info;
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? quint64(info.st_blocks) * 512u
                                                                    : 0;
}

QStringList namesOf(const QList<KSTCleanUpItem> &items)
{
    QStringList names;
    for (const KSTCleanUpItem &item : items)
        names << item.name;
    return names;
}

class CleanUpScanTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    std::shared_ptr<KSTCleanUpSnapshot> scan()
    {
        return KSTCleanUpEngine(info).fetchCleanUpSnapshotWithGeneration(
            info.cleanUpScanGeneration());
    }

    static const KSTCleanUpCategory &category(const KSTCleanUpSnapshot &snapshot, const char *type)
    {
        for (const KSTCleanUpCategory &category : snapshot.categories) {
            if (category.categoryType == QLatin1String(type))
                return category;
        }
        static const KSTCleanUpCategory none;
        ADD_FAILURE() << "no category " << type;
        return none;
    }

    // A sparse file: find and the scan compare its length, so it takes almost no disk.
    QString writeSparseHomeFile(const QString &homeRelative, quint64 bytes)
    {
        const QString path = mac.writeHomeFile(homeRelative, "head");
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadWrite) && file.resize(qint64(bytes)));
        return path;
    }

    // find that logs its arguments and runs the host's find with them.
    void addLoggingFind() { mac.addToolScript(Find, "exec /usr/bin/find \"$@\"\n"); }

    KSTFixtureMac mac;
    KSTSystemInfo info;
};

TEST_F(CleanUpScanTest, AnEmptyHomeStillGivesTheFourCategories)
{
    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    ASSERT_EQ(snapshot->categories.size(), 4);
    const char *expected[][3] = {
        {"systemJunk", "System Junks", "Caches · App Support · Logs · Saved App State · Snapshots"},
        {"trashes", "Trashes", "Mac Trash + Failed downloads"},
        {"largeFiles", "Large Files", "> 50 MB (customizable)"},
        {"removable", "Removable Data", "iOS Backups · Screenshots · Installers · Downloads"},
    };
    for (int index = 0; index < 4; ++index) {
        const KSTCleanUpCategory &category = snapshot->categories[index];
        EXPECT_EQ(category.categoryType, QString::fromUtf8(expected[index][0]));
        EXPECT_EQ(category.name, QString::fromUtf8(expected[index][1]));
        EXPECT_EQ(category.categoryDescription, QString::fromUtf8(expected[index][2]));
        EXPECT_TRUE(category.items.isEmpty()) << category.items.first().name.toStdString();
        EXPECT_EQ(category.totalBytes, 0u);
        // Removable Data never has a review list of its own.
        EXPECT_EQ(category.allItems.has_value(), index != 3);
    }
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
            mac.writeSizedHomeFile(
                QLatin1String(root) + QLatin1String(c.folder) + QLatin1String("/data.bin"), 4096);
    }
    // Not other applications' folders: hidden, a plain file, an empty folder.
    mac.writeSizedHomeFile(QStringLiteral("Library/Caches/.hidden/data.bin"), 4096);
    mac.writeSizedHomeFile(QStringLiteral("Library/Caches/loose.db"), 4096);
    mac.makeHomeDirectory(QStringLiteral("Library/Caches/empty"));

    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    const QStringList listed = namesOf(*category(*snapshot, "systemJunk").allItems);
    for (const auto &c : cases) {
        const QString folder = QString::fromUtf8(c.folder);
        EXPECT_EQ(listed.contains(QStringLiteral("Caches. ") + folder), c.listedInCaches)
            << c.folder;
        EXPECT_EQ(listed.contains(QStringLiteral("Application Support. ") + folder),
                  c.listedInApplicationSupport)
            << c.folder;
    }
    EXPECT_EQ(listed.size(), 10) << listed.join(QLatin1String(", ")).toStdString();
}

TEST_F(CleanUpScanTest, SystemJunkListsLargestFirstEqualSizesByNameAndShowsTwoOnTheCard)
{
    mac.writeSizedHomeFile(QStringLiteral("Library/Caches/big.tool/a.bin"), 16384);
    for (const char *name : {"b.tool", "a.tool", "B.tool"})
        mac.writeSizedHomeFile(
            QLatin1String("Library/Caches/") + QLatin1String(name) + QLatin1String("/a.bin"), 8192);
    mac.writeSizedHomeFile(QStringLiteral("Library/Application Support/Small/a.bin"), 4096);
    mac.writeSizedHomeFile(QStringLiteral("Library/Application Support/Large/a.bin"), 1100000);
    mac.writeSizedHomeFile(QStringLiteral("Library/Logs/app.log"), 4096);
    mac.writeSizedHomeFile(QStringLiteral("Library/Saved Application State/x.savedState/w"), 4096);

    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    const KSTCleanUpCategory &junk = category(*snapshot, "systemJunk");
    EXPECT_EQ(namesOf(*junk.allItems),
              (QStringList{"Caches. big.tool", "Caches. B.tool", "Caches. a.tool", "Caches. b.tool",
                           "Application Support. Large", "Application Support. Small", "Logs",
                           "Saved Application State"}));
    EXPECT_EQ(namesOf(junk.items), (QStringList{"Caches. big.tool", "Application Support. Large",
                                                "Logs", "Saved Application State"}));

    const KSTCleanUpItem &cache = junk.allItems->first();
    EXPECT_EQ(cache.filePath, mac.homePath(QStringLiteral("Library/Caches/big.tool")));
    EXPECT_TRUE(cache.displayPath.isEmpty());
    EXPECT_TRUE(cache.nameOnlyInList);
    const KSTCleanUpItem &logs = junk.items[2];
    EXPECT_EQ(logs.displayPath, QStringLiteral("~/Library/Logs"));
    EXPECT_EQ(logs.filePath, mac.homePath(QStringLiteral("Library/Logs")));
    EXPECT_FALSE(logs.nameOnlyInList);
    EXPECT_EQ(logs.bytes, allocatedBytesOf(mac.homePath(QStringLiteral("Library/Logs/app.log"))));

    quint64 total = 0;
    for (const KSTCleanUpItem &item : *junk.allItems)
        total += item.bytes;
    EXPECT_EQ(junk.totalBytes, total);
    EXPECT_EQ(snapshot->totalReclaimableBytes, total);
    // One per item, and two for the folder of just over 1 MiB.
    EXPECT_EQ(snapshot->filesAnalyzed, 9u);
}

TEST_F(CleanUpScanTest, MacTrashCountsHiddenEntriesInItsSize)
{
    const struct
    {
        const char *name;
        QStringList entries;
        bool listed;
        quint64 visibleEntries;
    } cases[] = {
        {"empty", {}, false, 0},
        {"Finder's records only", {QStringLiteral(".DS_Store")}, true, 0},
        {"hidden and visible", {QStringLiteral(".DS_Store"), QStringLiteral("old.txt")}, true, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        QDir(mac.homePath(QStringLiteral(".Trash"))).removeRecursively();
        mac.makeHomeDirectory(QStringLiteral(".Trash"));
        quint64 expectedBytes = 0;
        for (const QString &entry : c.entries) {
            const QString path = mac.writeSizedHomeFile(QStringLiteral(".Trash/") + entry, 6148);
            expectedBytes += allocatedBytesOf(path);
        }
        quint64 bytes = 0;
        EXPECT_EQ(KSTCleanUpEngine::trashItemCountAndBytes(&bytes), c.visibleEntries);
        EXPECT_EQ(bytes, expectedBytes);

        const auto snapshot = scan();
        ASSERT_TRUE(snapshot);
        const KSTCleanUpCategory &trashes = category(*snapshot, "trashes");
        ASSERT_EQ(trashes.items.size(), c.listed ? 1 : 0);
        if (c.listed) {
            const KSTCleanUpItem &trash = trashes.items.first();
            EXPECT_EQ(trash.name, QStringLiteral("Mac Trash"));
            EXPECT_EQ(trash.displayPath, QStringLiteral("~/.Trash"));
            EXPECT_EQ(trash.filePath, mac.homePath(QStringLiteral(".Trash")));
            EXPECT_EQ(trash.bytes, expectedBytes);
            EXPECT_EQ(namesOf(*trashes.allItems), QStringList{QStringLiteral("Mac Trash")});
        }
        EXPECT_EQ(trashes.totalBytes, expectedBytes);
    }
}

TEST_F(CleanUpScanTest, FailedDownloadsAreExactlyTheDotDownloadEntries)
{
    mac.writeHomeFile(QStringLiteral("Downloads/file.DOWNLOAD"), "not a failed download");
    mac.writeHomeFile(QStringLiteral("Downloads/file.download"), QByteArray());
    mac.writeSizedHomeFile(QStringLiteral("Downloads/Movie.mp4.download/Movie.mp4"), 8192);
    mac.writeSizedHomeFile(QStringLiteral("Downloads/Movie.mp4.download/Info.plist"), 4096);
    mac.writeHomeFile(QStringLiteral("Downloads/.hidden.download"), "x");
    mac.writeHomeFile(QStringLiteral("Downloads/notes.txt"), "x");

    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    const KSTCleanUpCategory &trashes = category(*snapshot, "trashes");
    const QString bundle = mac.homePath(QStringLiteral("Downloads/Movie.mp4.download"));
    const quint64 bundleBytes = allocatedBytesOf(bundle + QLatin1String("/Movie.mp4")) +
                                allocatedBytesOf(bundle + QLatin1String("/Info.plist"));
    ASSERT_EQ(trashes.allItems->size(), 2);
    const KSTCleanUpItem &movie = trashes.allItems->at(0);
    EXPECT_EQ(movie.name, QStringLiteral("Movie.mp4.download"));
    EXPECT_EQ(movie.displayPath, QStringLiteral("~/Downloads/Movie.mp4.download"));
    EXPECT_EQ(movie.filePath, bundle);
    EXPECT_EQ(movie.bytes, bundleBytes);
    EXPECT_TRUE(movie.nameOnlyInList);
    // Empty, yet still a failed download.
    EXPECT_EQ(trashes.allItems->at(1).name, QStringLiteral("file.download"));
    EXPECT_EQ(trashes.allItems->at(1).bytes, 0u);

    // The card shows the downloads as one row whose path never exists.
    ASSERT_EQ(trashes.items.size(), 1);
    const KSTCleanUpItem &summary = trashes.items.first();
    EXPECT_EQ(summary.name, QStringLiteral("Failed downloads"));
    EXPECT_EQ(summary.displayPath, QStringLiteral("~/Downloads"));
    EXPECT_EQ(summary.filePath,
              mac.homePath(QStringLiteral("Downloads/.kst-failed-downloads-preview")));
    EXPECT_EQ(summary.bytes, bundleBytes);
    EXPECT_TRUE(summary.nameOnlyInList);
    EXPECT_EQ(trashes.totalBytes, bundleBytes);
    EXPECT_EQ(snapshot->filesAnalyzed, 2u); // one per download, however large
}

TEST_F(CleanUpScanTest, SevenLargeFilesShowFourOnTheCardAndAllSevenForReview)
{
    addLoggingFind();
    const quint64 sizes[] = {51, 52, 53, 60, 70, 80, 90};
    const char *places[] = {"Desktop/a.iso",   "Documents/deep/er/b.mov",
                            "Downloads/c.dmg", "Movies/d.mov",
                            "Public/e.bin",    "f.bin",
                            "Pictures/g.raw"};
    quint64 total = 0;
    for (int index = 0; index < 7; ++index) {
        writeSparseHomeFile(QString::fromUtf8(places[index]), sizes[index] * MiB + 1);
        total += sizes[index] * MiB + 1;
    }
    // Under Library (pruned), smaller than the threshold, and hidden behind a link.
    writeSparseHomeFile(QStringLiteral("Library/Caches/huge.bin"), 200 * MiB);
    writeSparseHomeFile(QStringLiteral("Documents/small.bin"), 49 * MiB);
    mac.makeSymlink(QStringLiteral("Users/alice/Documents/link.bin"),
                    mac.homePath(QStringLiteral("f.bin")));

    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    const KSTCleanUpCategory &large = category(*snapshot, "largeFiles");
    EXPECT_EQ(namesOf(*large.allItems),
              (QStringList{"g.raw", "f.bin", "e.bin", "d.mov", "c.dmg", "b.mov", "a.iso"}));
    EXPECT_EQ(namesOf(large.items), (QStringList{"g.raw", "f.bin", "e.bin", "d.mov"}));
    EXPECT_EQ(large.totalBytes, total);
    const KSTCleanUpItem &deep = large.allItems->at(5);
    EXPECT_EQ(deep.bytes, 52 * MiB + 1);
    EXPECT_EQ(deep.displayPath, QStringLiteral("~/Documents/deep/er/b.mov"));
    EXPECT_EQ(deep.filePath, mac.homePath(QStringLiteral("Documents/deep/er/b.mov")));
    EXPECT_TRUE(deep.nameOnlyInList);
    EXPECT_GE(snapshot->filesAnalyzed, 7u);

    const QString user = mac.root() + QLatin1String("/Users/alice");
    EXPECT_EQ(mac.toolCalls(Find),
              QStringList{user + QLatin1String(" -path ") + user +
                          QLatin1String("/Library -prune -o -type f -size +50M -print")});
}

TEST_F(CleanUpScanTest, FindArgumentsFollowTheLayoutAndThreshold)
{
    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    linux.setHome(mac.homePath(QStringLiteral("Documents")));
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
        const QString user = mac.root() + QLatin1String(c.user);
        EXPECT_EQ(KSTLargeFileSearch::findArgumentsForThreshold(c.threshold),
                  (QStringList{user, "-path", user + QLatin1String("/Library"), "-prune", "-o",
                               "-type", "f", "-size", QLatin1String(c.size), "-print"}));
    }
}

TEST_F(CleanUpScanTest, AFailingToolOrAMalformedPlistContributesNothing)
{
    // find that met an unreadable folder: it exits with 1 and its whole output is dropped.
    const QString big = writeSparseHomeFile(QStringLiteral("Movies/big.mov"), 60 * MiB);
    mac.addTool(Find, big.toUtf8() + '\n', 1, "find: 'Private': Permission denied\n");
    // A backup whose Info.plist was cut short in the middle of its binary form.
    QFile recorded(KSTTestSupport::recordedMacFile(
        QStringLiteral("iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist")));
    ASSERT_TRUE(recorded.open(QIODevice::ReadOnly));
    mac.writeHomeFile(
        QStringLiteral("Library/Application Support/MobileSync/Backup/cut/Info.plist"),
        recorded.readAll().left(200));
    mac.writeSizedHomeFile(QStringLiteral("Library/Caches/org.example.tool/a.bin"), 4096);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/Screenshots/shot.png"), 4096);

    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(mac.toolCalls(Find).size(), 1);
    EXPECT_TRUE(category(*snapshot, "largeFiles").allItems->isEmpty());
    EXPECT_EQ(namesOf(category(*snapshot, "removable").items),
              QStringList{QStringLiteral("Screenshots")});
    EXPECT_EQ(namesOf(category(*snapshot, "systemJunk").items),
              QStringList{QStringLiteral("Caches. org.example.tool")});
}

TEST_F(CleanUpScanTest, LocalSnapshotsAreTwoGibibytesPerLineTmutilPrints)
{
    mac.linkHostTool(QStringLiteral("/usr/bin/wc"));
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
        mac.addTool(QStringLiteral("/usr/bin/tmutil"), c.output);
        EXPECT_EQ(KSTCleanUpEngine::localSnapshotBytes(), c.bytes) << c.output.constData();
        const auto snapshot = scan();
        ASSERT_TRUE(snapshot);
        const QList<KSTCleanUpItem> &items = category(*snapshot, "systemJunk").items;
        ASSERT_EQ(items.size(), c.bytes == 0 ? 0 : 1);
        if (c.bytes != 0) {
            EXPECT_EQ(items.first().name, QStringLiteral("Time Machine Snapshots"));
            EXPECT_EQ(items.first().displayPath, QStringLiteral("/"));
            EXPECT_EQ(items.first().filePath, QStringLiteral("/"));
            EXPECT_EQ(items.first().bytes, c.bytes);
        }
    }
    EXPECT_EQ(mac.toolCalls(QStringLiteral("/usr/bin/tmutil")).first(),
              QStringLiteral("listlocalsnapshots /"));

    // wc pads its count; anything else reads as no number.
    EXPECT_EQ(KSTCleanUpEngine::lineCountFromOutput("       3\n"), 3);
    EXPECT_EQ(KSTCleanUpEngine::lineCountFromOutput("12 lines"), 12);
    EXPECT_EQ(KSTCleanUpEngine::lineCountFromOutput("wc: broken\n"), 0);
    EXPECT_EQ(KSTCleanUpEngine::lineCountFromOutput("-2\n"), -2);
}

TEST_F(CleanUpScanTest, IOSBackupsAreNamedAfterTheDeviceAndTheirPlistsDate)
{
    const QString backups = QStringLiteral("Library/Application Support/MobileSync/Backup/");
    const QDateTime when(QDate(2024, 3, 4), QTime(14, 5));
    QFile recorded(KSTTestSupport::recordedMacFile(
        QStringLiteral("iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist")));
    ASSERT_TRUE(recorded.open(QIODevice::ReadOnly));
    mac.writeHomeFile(backups + QLatin1String("A-iphone/Info.plist"), recorded.readAll());
    KSTFixtureMac::setModified(mac.homePath(backups + QLatin1String("A-iphone/Info.plist")), when);
    mac.writeHomePlist(backups + QLatin1String("B-manifest/Manifest.plist"),
                       QVariantMap{{"Lockdown", QVariantMap{{"DeviceName", "Kim's iPad"}}}},
                       KSTFixtureMac::PlistFormat::Binary);
    KSTFixtureMac::setModified(mac.homePath(backups + QLatin1String("B-manifest/Manifest.plist")),
                               when.addDays(1));
    mac.writeHomePlist(backups + QLatin1String("C-no-lockdown/Manifest.plist"),
                       QVariantMap{{"IsEncrypted", false}});
    mac.writeHomePlist(backups + QLatin1String("D-unnamed/Info.plist"),
                       QVariantMap{{"Device Name", ""}});
    mac.writeHomeFile(backups + QLatin1String("E-malformed/Info.plist"), "<plist><dict><key>");
    mac.writeHomeFile(backups + QLatin1String("F-empty/Manifest.db"), QByteArray());
    mac.writeHomePlist(backups + QLatin1String(".G-hidden/Info.plist"),
                       QVariantMap{{"Device Name", "Hidden"}});
    for (const char *backup : {"A-iphone", "B-manifest", "C-no-lockdown", "D-unnamed"})
        mac.writeSizedHomeFile(backups + QLatin1String(backup) + QLatin1String("/00/00aa"), 8192);

    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    const QList<KSTCleanUpItem> &items = category(*snapshot, "removable").items;
    EXPECT_EQ(namesOf(items), (QStringList{"iPhone (2024-03-04 14:05)",
                                           "Kim's iPad (2024-03-05 14:05)", "Unknown"}));
    ASSERT_EQ(items.size(), 3);
    const QString folder = mac.homePath(backups + QLatin1String("A-iphone"));
    EXPECT_EQ(items[0].displayPath, QStringLiteral("A-iphone"));
    EXPECT_EQ(items[0].filePath, folder);
    EXPECT_EQ(items[0].bytes, KSTPermissionChecker::fileSizeAtAccessiblePath(folder));
    EXPECT_GE(items[0].bytes, 8192u);
    EXPECT_TRUE(items[0].nameOnlyInList);
    // Backups are not counted among the files analyzed.
    EXPECT_EQ(snapshot->filesAnalyzed, 1u);
}

TEST_F(CleanUpScanTest, DownloadsAndInstallerPackagesAreRemovableData)
{
    mac.writeSizedHomeFile(QStringLiteral("Pictures/Screenshots/shot.png"), 4096);
    mac.writeSizedHomeFile(QStringLiteral("Downloads/Setup.dmg"), 8192);
    mac.writeSizedHomeFile(QStringLiteral("Downloads/TOOL.PKG"), 4096);
    mac.writeHomeFile(QStringLiteral("Downloads/old/Suite.mpkg"), QByteArray(100, 'p'));
    mac.writeSizedHomeFile(QStringLiteral("Downloads/Bundle.pkg/Contents/Archive.pax"), 4096);
    mac.writeSizedHomeFile(QStringLiteral("Downloads/notes.zip"), 4096);
    mac.writeHomeFile(QStringLiteral("Downloads/.partial.dmg"), "x");
    mac.makeSymlink(QStringLiteral("Users/alice/Downloads/linked.dmg"),
                    mac.homePath(QStringLiteral("Downloads/Setup.dmg")));

    const quint64 expectedInstallers =
        8192 + 4096 + 100 +
        allocatedBytesOf(mac.homePath(QStringLiteral("Downloads/Bundle.pkg/Contents/Archive.pax")));
    const auto snapshot = scan();
    ASSERT_TRUE(snapshot);
    const QList<KSTCleanUpItem> &items = category(*snapshot, "removable").items;
    ASSERT_EQ(namesOf(items),
              (QStringList{"Screenshots", "Downloads folder", "Installer Packages"}));
    const QString downloads = mac.homePath(QStringLiteral("Downloads"));
    EXPECT_EQ(items[1].filePath, downloads);
    EXPECT_EQ(items[1].displayPath, QStringLiteral("~/Downloads"));
    EXPECT_EQ(items[1].bytes, KSTPermissionChecker::fileSizeAtAccessiblePath(downloads));
    // An amount inside the folder, carried by the folder itself.
    EXPECT_EQ(items[2].filePath, downloads);
    EXPECT_EQ(items[2].displayPath, QStringLiteral("~/Downloads"));
    EXPECT_EQ(items[2].bytes, expectedInstallers);
    EXPECT_FALSE(items[2].nameOnlyInList);
    EXPECT_EQ(category(*snapshot, "removable").totalBytes,
              items[0].bytes + items[1].bytes + items[2].bytes);
}

TEST_F(CleanUpScanTest, InstallerPackagesAreCappedAtAHundredInNameOrder)
{
    const QString downloads = mac.homePath(QStringLiteral("Downloads"));
    // Sizes 1..101 bytes by name order: the cap keeps the first hundred.
    for (int index = 1; index <= 101; ++index)
        mac.writeHomeFile(QStringLiteral("Downloads/p%1.pkg").arg(index, 3, 10, QLatin1Char('0')),
                          QByteArray(index, 'x'));
    EXPECT_EQ(KSTInstallerPackageSearch::totalBytesInScope(downloads, 100, {}), 5050u);
    EXPECT_EQ(KSTInstallerPackageSearch::totalBytesInScope(downloads, 1000, {}), 5151u);
    EXPECT_EQ(KSTInstallerPackageSearch::totalBytesInScope(downloads, 1, {}), 1u);
}

TEST_F(CleanUpScanTest, ACancelledScanReturnsNothing)
{
    // A stale generation stops at the first checkpoint.
    const quint64 stale = info.cleanUpScanGeneration();
    info.cancelCleanUpScan();
    EXPECT_EQ(KSTCleanUpEngine(info).fetchCleanUpSnapshotWithGeneration(stale), nullptr);

    // Cancelled while find runs: the scan stops at the next checkpoint.
    const QString gate = mac.path(QStringLiteral("gate"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(gate).constData(), 0600), 0);
    mac.addToolScript(Find, "cat " + QFile::encodeName(gate) + " >/dev/null\n");
    mac.writeSizedHomeFile(QStringLiteral("Library/Caches/org.example.tool/a.bin"), 4096);
    const quint64 generation = info.cleanUpScanGeneration();
    std::shared_ptr<KSTCleanUpSnapshot> result = std::make_shared<KSTCleanUpSnapshot>();
    std::thread scanner(
        [&] { result = KSTCleanUpEngine(info).fetchCleanUpSnapshotWithGeneration(generation); });
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return !mac.toolCalls(Find).isEmpty(); }));
    info.cancelCleanUpScan();
    QFile(gate).open(QIODevice::WriteOnly); // lets find end
    scanner.join();
    EXPECT_EQ(result, nullptr);
}

} // namespace
