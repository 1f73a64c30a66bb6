// Whole duplicate scans through the frame on fixture homes: the groups, their hashKeys
// against an independent SHA-256 on both sides of the 512 KiB boundary, files that must never
// pair, the order of groups and categories, the progress texts and values, and cancellation.
#include "KSTDuplicateEngine.h"
#include "KSTDispatchQueue.h"
#include "KSTDuplicateComparison.h"
#include "KSTDuplicateHasher.h"

#include "KSTDuplicateTestSupport.h"
#include "KSTMachineTest.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <limits>

#include <unistd.h>

using Engine = KSTDuplicateEngine;
using Info = KSTSystemInfo;
using Snapshot = std::shared_ptr<const KSTDuplicateSnapshot>;
using namespace KSTDuplicateTestSupport;
using KSTTestSupport::pumpUntil;

namespace {

const QDateTime Older(QDate(2023, 1, 2), QTime(3, 4, 5), Qt::UTC);
const QDateTime Newer(QDate(2024, 6, 7), QTime(8, 9, 10), Qt::UTC);

class DuplicateScanTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        Engine::install(info);
    }

    QString file(const QString &homeRelative, const QByteArray &content,
                 const QDateTime &modified = Older)
    {
        return mac.writeHomeFile(homeRelative, content, modified);
    }

    // A whole scan through the frame; the reports in @p reports when given.
    Snapshot scan(const QStringList &homeRelativeRoots, QList<Snapshot> *reports = nullptr)
    {
        QStringList roots;
        for (const QString &root : homeRelativeRoots)
            roots << mac.homePath(root);
        Snapshot result;
        info.scanDuplicatesInPaths(
            roots,
            [reports](Snapshot report) {
                if (reports)
                    reports->append(report);
            },
            [&result](Snapshot snapshot) { result = snapshot; });
        EXPECT_TRUE(pumpUntil([&result] { return result != nullptr; }, 60'000));
        return result;
    }

    static QList<KSTDuplicateGroup> allGroups(const Snapshot &snapshot)
    {
        QList<KSTDuplicateGroup> groups;
        for (const KSTDuplicateCategorySummary &category : snapshot->categories)
            groups << category.groups;
        return groups;
    }

    QStringList pathsOf(const KSTDuplicateGroup &group) const
    {
        QStringList paths;
        for (const KSTDuplicateFileRecord &record : group.files)
            paths << record.path.mid(mac.home().size() + 1);
        return paths;
    }

    Info info;
};

TEST_F(DuplicateScanTest, ThreeIdenticalFilesMakeOneGroupNewestFirst)
{
    const QByteArray content = contentOfSize(3000, 1);
    file(QStringLiteral("Pictures/b/Photo.JPG"), content, Older);
    file(QStringLiteral("Pictures/a/Photo.JPG"), content, Older);
    file(QStringLiteral("Pictures/c/Photo copy.JPG"), content, Newer);
    file(QStringLiteral("Pictures/other.jpg"), contentOfSize(3000, 2), Newer);
    file(QStringLiteral("Pictures/empty.jpg"), {});
    file(QStringLiteral("Pictures/empty copy.jpg"), {});

    const Snapshot result = scan({QStringLiteral("Pictures")});
    ASSERT_TRUE(result);
    const QList<KSTDuplicateGroup> groups = allGroups(result);
    ASSERT_EQ(groups.size(), 1);
    const KSTDuplicateGroup &group = groups.first();
    EXPECT_EQ(pathsOf(group), (QStringList{QStringLiteral("Pictures/c/Photo copy.JPG"),
                                           QStringLiteral("Pictures/a/Photo.JPG"),
                                           QStringLiteral("Pictures/b/Photo.JPG")}));
    EXPECT_EQ(group.hashKey, expectedHashKey(content));
    EXPECT_EQ(group.fileName, QStringLiteral("Photo copy.JPG"));
    EXPECT_EQ(group.fileSize, 3000u);
    EXPECT_EQ(group.reclaimableBytes, 6000u);
    EXPECT_EQ(group.categoryType, QStringLiteral("photos"));
    EXPECT_EQ(group.files.first().modificationDate, Newer);
    EXPECT_EQ(result->filesScanned, 4u); // empty files are not collected
    EXPECT_EQ(result->totalGroupCount, 1u);
    EXPECT_EQ(result->totalReclaimableBytes, 6000u);
    EXPECT_FALSE(result->statusText.has_value());
    EXPECT_FALSE(result->isScanning);
    EXPECT_DOUBLE_EQ(result->scanProgress, 1.0);
    EXPECT_EQ(result->scanPaths, QStringList{mac.homePath(QStringLiteral("Pictures"))});
}

TEST_F(DuplicateScanTest, HashKeysOnBothSidesOfTheWholeFileLimit)
{
    struct Case
    {
        qsizetype size;
        bool prefixed; // the size-prefixed whole-file digest, else the plain full digest
    };
    const Case cases[] = {{524287, true}, {524288, true}, {524289, false}, {1048576, false}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.size);
        const QByteArray content = contentOfSize(c.size, quint32(c.size));
        const QString folder = QStringLiteral("Downloads/%1/").arg(c.size);
        file(folder + QStringLiteral("one.bin"), content);
        file(folder + QStringLiteral("two.bin"), content);
        const Snapshot result = scan({folder});
        ASSERT_TRUE(result);
        const QList<KSTDuplicateGroup> groups = allGroups(result);
        ASSERT_EQ(groups.size(), 1);
        const QString expected =
            c.prefixed ? sha256Hex(sizePrefix(quint64(c.size)) + content) : sha256Hex(content);
        EXPECT_EQ(groups.first().hashKey, expected);
        EXPECT_EQ(groups.first().hashKey, expectedHashKey(content));
    }
}

TEST_F(DuplicateScanTest, FilesThatDifferAnywhereNeverPair)
{
    const qsizetype size = 1 << 20;
    const QByteArray base = contentOfSize(size, 3);
    // Same head and tail samples, middle different everywhere.
    const QByteArray otherMiddle =
        base.left(65536) + contentOfSize(size - 131072, 4) + base.right(65536);
    // One byte apart, between every sampled block: only the full digest tells them apart.
    QByteArray oneByte = base;
    oneByte[size / 2 + 100] = char(oneByte[size / 2 + 100] ^ 0x40);
    // Same size and edges below the limit, one byte apart in the middle.
    const QByteArray small = contentOfSize(20000, 5);
    QByteArray smallByte = small;
    smallByte[10000] = char(smallByte[10000] ^ 1);

    struct Case
    {
        const char *what;
        QByteArray first;
        QByteArray second;
    };
    const Case cases[] = {{"other middles above the limit", base, otherMiddle},
                          {"one byte apart above the limit", base, oneByte},
                          {"one byte apart below the limit", small, smallByte}};
    int index = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const QString folder = QStringLiteral("Downloads/case%1/").arg(index++);
        file(folder + QStringLiteral("a.bin"), c.first);
        file(folder + QStringLiteral("b.bin"), c.second);
        const Snapshot result = scan({folder});
        ASSERT_TRUE(result);
        EXPECT_EQ(result->totalGroupCount, 0u);
        EXPECT_EQ(result->filesScanned, 2u);
        EXPECT_EQ(result->statusText, QStringLiteral("No duplicate files found"));
    }
}

TEST_F(DuplicateScanTest, LookAlikesWithSeveralContentsGroupByContent)
{
    // Files of one size whose sampled blocks all agree but whose contents come in two kinds
    // (and a third alone): each kind is a group of its own, with its own hashKey.
    struct Case
    {
        const char *what;
        qsizetype size;
        qsizetype edge; // bytes at each end shared by every file
    };
    const Case cases[] = {
        {"read whole for the fingerprint", 20000, 0},
        {"sampled at head and tail", 200000, 4096},
        {"sampled throughout, read whole at last", 3 * 524288, 65536},
    };
    int index = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const QByteArray head = contentOfSize(c.edge, 100);
        const auto kind = [&](quint32 seed) {
            QByteArray content = head + contentOfSize(c.size - 2 * c.edge, seed) + head;
            if (c.edge == 65536) {
                // Equal at every sampled block too: one byte apart just past the first one.
                content = contentOfSize(c.size, 7);
                content[c.size / 2 + 4096 + 1] = char(seed);
            }
            return content;
        };
        const QString folder = QStringLiteral("Downloads/kinds%1/").arg(index++);
        const QByteArray first = kind(1);
        const QByteArray second = kind(2);
        file(folder + QStringLiteral("a1.bin"), first, Older);
        file(folder + QStringLiteral("b1.bin"), second, Older);
        file(folder + QStringLiteral("a2.bin"), first, Newer);
        file(folder + QStringLiteral("c.bin"), kind(3), Older);
        file(folder + QStringLiteral("b2.bin"), second, Newer);
        const Snapshot result = scan({folder});
        ASSERT_TRUE(result);
        QStringList groups;
        for (const KSTDuplicateGroup &group : allGroups(result)) {
            groups << pathsOf(group).join(QLatin1Char(' '));
            EXPECT_EQ(
                group.hashKey,
                expectedHashKey(
                    QFileInfo(group.files.first().path).fileName().startsWith(QLatin1Char('a'))
                        ? first
                        : second));
        }
        groups.sort();
        EXPECT_EQ(groups, (QStringList{folder + "a2.bin " + folder + "a1.bin",
                                       folder + "b2.bin " + folder + "b1.bin"}));
    }
}

TEST_F(DuplicateScanTest, LookAlikesGroupWhicheverFileIsComparedFirst)
{
    // Files of one size (above 512 KiB, or read whole but fingerprinted by head and tail) whose
    // sampled blocks all agree, so that only comparing them tells them apart: each file is a kind
    // (equal kinds, equal bytes) or a hard link to the file before it. Whichever file the
    // comparison starts from, every kind of two or more names is one group, with the full digest of
    // its bytes.
    constexpr qsizetype Size = 600 * 1024;
    constexpr qsizetype MidSize = 200 * 1024;
    constexpr int Link = -1;
    struct Case
    {
        const char *what;
        qsizetype size;
        qsizetype differsAt; // where kinds differ: past a sampled block, or near the end
        std::vector<int> kinds;
    };
    const std::vector<int> manyCopies(KSTDuplicateHasher::ComparedAtOnce + 3, 1);
    std::vector<int> manyAndOne = manyCopies;
    manyAndOne.insert(manyAndOne.begin() + 5, 2);
    const Case cases[] = {
        {"one alone and a pair", Size, Size / 2 + 4097, {1, 2, 2}},
        {"a pair, one alone, a pair", Size, Size / 2 + 4097, {1, 2, 1, 3, 3}},
        {"more copies than are compared at once", Size, Size / 2 + 4097, manyAndOne},
        {"a hard link beside a look-alike", Size, Size / 2 + 4097, {1, Link, 2}},
        {"different only in the last 64 KiB", Size, Size - 10000, {1, 2, 1}},
        {"read whole: one alone and a pair", MidSize, MidSize / 2, {1, 2, 2}},
        {"read whole: one alone, then two pairs", MidSize, MidSize / 2, {1, 2, 3, 3, 2}},
        {"read whole: a hard link among look-alikes", MidSize, MidSize / 2, {1, 2, 3, Link}},
        {"read whole: two linked among look-alikes", MidSize, MidSize / 2, {1, Link, 2, 3, Link}},
    };
    int caseIndex = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const QString folder = QStringLiteral("Downloads/large%1/").arg(caseIndex++);
        QMap<int, QStringList> expected; // kind -> names
        QMap<int, QByteArray> contents;
        QString previous;
        int previousKind = 0;
        for (std::size_t index = 0; index < c.kinds.size(); ++index) {
            const QString name = folder + QStringLiteral("f%1.bin").arg(index, 2, 10, QChar(u'0'));
            if (c.kinds[index] == Link) {
                ASSERT_EQ(::link(QFile::encodeName(previous).constData(),
                                 QFile::encodeName(mac.homePath(name)).constData()),
                          0);
                expected[previousKind] << name;
                continue;
            }
            QByteArray content = contentOfSize(c.size, 7);
            content[c.differsAt] = char(c.kinds[index]);
            contents[c.kinds[index]] = content;
            previous = file(name, content);
            previousKind = c.kinds[index];
            expected[previousKind] << name;
        }
        const Snapshot result = scan({folder});
        ASSERT_TRUE(result);
        QStringList groups;
        for (const KSTDuplicateGroup &group : allGroups(result)) {
            QStringList names = pathsOf(group);
            names.sort();
            groups << names.join(QLatin1Char(' '));
            const int kind = expected.key(names, 0);
            EXPECT_EQ(group.hashKey, expectedHashKey(contents.value(kind)));
        }
        QStringList expectedGroups;
        for (const QStringList &names : std::as_const(expected)) {
            if (names.size() >= 2)
                expectedGroups << names.join(QLatin1Char(' '));
        }
        groups.sort();
        expectedGroups.sort();
        EXPECT_EQ(groups, expectedGroups);
    }
}

TEST_F(DuplicateScanTest, NestedOrLinkedFoldersNeverPairAFileWithItself)
{
    file(QStringLiteral("Pictures/sub/only.png"), contentOfSize(5000, 6));
    ASSERT_EQ(
        ::symlink(QFile::encodeName(mac.homePath(QStringLiteral("Pictures"))).constData(),
                  QFile::encodeName(mac.homePath(QStringLiteral("Documents/pics"))).constData()),
        0);
    ASSERT_EQ(
        ::symlink(
            "sub/only.png",
            QFile::encodeName(mac.homePath(QStringLiteral("Pictures/only-link.png"))).constData()),
        0);
    const Snapshot result = scan({QStringLiteral("Pictures"), QStringLiteral("Pictures/sub"),
                                  QStringLiteral("Pictures/"), QStringLiteral("Documents"),
                                  QStringLiteral("Documents/pics"), QString()});
    ASSERT_TRUE(result);
    EXPECT_EQ(result->filesScanned, 1u);
    EXPECT_EQ(result->totalGroupCount, 0u);
}

TEST_F(DuplicateScanTest, HardLinksAreSeparateCopiesOfOneGroup)
{
    const QString original = file(QStringLiteral("Pictures/shot.png"), contentOfSize(7000, 7));
    const QString linked = mac.homePath(QStringLiteral("Downloads/shot.png"));
    ASSERT_EQ(
        ::link(QFile::encodeName(original).constData(), QFile::encodeName(linked).constData()), 0);
    const Snapshot result = scan({QStringLiteral("Pictures"), QStringLiteral("Downloads")});
    ASSERT_TRUE(result);
    const QList<KSTDuplicateGroup> groups = allGroups(result);
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(pathsOf(groups.first()), (QStringList{QStringLiteral("Downloads/shot.png"),
                                                    QStringLiteral("Pictures/shot.png")}));
    EXPECT_EQ(groups.first().files.at(0).identity.inode, groups.first().files.at(1).identity.inode);
    EXPECT_EQ(groups.first().categoryType, QStringLiteral("images"));
}

TEST_F(DuplicateScanTest, GroupsAndCategoriesComeInTheirFixedOrder)
{
    struct Copy
    {
        const char *name;
        qsizetype size;
        int copies;
    };
    // Equal reclaimable bytes (b and a) are ordered by file name.
    const Copy copies[] = {{"b-notes", 4000, 2},    {"a-song.MP3", 4000, 2}, {"clip.mov", 1000, 3},
                           {"big.tar.gz", 9000, 2}, {"pic.webp", 100, 2},    {"raw.CR2", 50, 2}};
    quint32 seed = 100;
    for (const Copy &copy : copies) {
        const QByteArray content = contentOfSize(copy.size, seed++);
        for (int index = 0; index < copy.copies; ++index)
            file(QStringLiteral("Documents/%1/%2").arg(index).arg(QLatin1String(copy.name)),
                 content);
    }
    const Snapshot result = scan({QStringLiteral("Documents")});
    ASSERT_TRUE(result);

    QStringList categories;
    QStringList summary;
    for (const KSTDuplicateCategorySummary &category : result->categories) {
        categories << QStringLiteral("%1 %2 %3 %4")
                          .arg(category.categoryType, category.name, category.symbol)
                          .arg(category.groupCount);
        for (const KSTDuplicateGroup &group : category.groups)
            summary << QStringLiteral("%1:%2").arg(group.fileName).arg(group.reclaimableBytes);
    }
    EXPECT_EQ(categories, (QStringList{QStringLiteral("images Images photo 1"),
                                       QStringLiteral("photos Photos photo.on.rectangle 1"),
                                       QStringLiteral("videos Videos film 1"),
                                       QStringLiteral("audios Audios music.note 1"),
                                       QStringLiteral("archives Archives doc.zipper 1"),
                                       QStringLiteral("others Others doc 1")}));
    EXPECT_EQ(summary,
              (QStringList{QStringLiteral("pic.webp:100"), QStringLiteral("raw.CR2:50"),
                           QStringLiteral("clip.mov:2000"), QStringLiteral("a-song.MP3:4000"),
                           QStringLiteral("big.tar.gz:9000"), QStringLiteral("b-notes:4000")}));

    QList<KSTDuplicateGroup> groups = allGroups(result);
    KSTDuplicateComparison::sortGroups(groups);
    QStringList order;
    for (const KSTDuplicateGroup &group : groups)
        order << group.fileName;
    EXPECT_EQ(order, (QStringList{QStringLiteral("big.tar.gz"), QStringLiteral("a-song.MP3"),
                                  QStringLiteral("b-notes"), QStringLiteral("clip.mov"),
                                  QStringLiteral("pic.webp"), QStringLiteral("raw.CR2")}));
    EXPECT_EQ(result->totalReclaimableBytes, 19150u);
}

TEST_F(DuplicateScanTest, NoDuplicatesStillGivesSixEmptyCategories)
{
    file(QStringLiteral("Pictures/one.png"), contentOfSize(10, 1));
    file(QStringLiteral("Pictures/two.png"), contentOfSize(10, 2));
    const Snapshot result = scan({QStringLiteral("Pictures"), QStringLiteral("Missing")});
    ASSERT_TRUE(result);
    ASSERT_EQ(result->categories.size(), 6);
    for (const KSTDuplicateCategorySummary &category : result->categories) {
        EXPECT_EQ(category.groupCount, 0u);
        EXPECT_TRUE(category.groups.isEmpty());
    }
    EXPECT_EQ(result->statusText, QStringLiteral("No duplicate files found"));
    EXPECT_EQ(result->filesScanned, 2u);
}

TEST_F(DuplicateScanTest, ManyBucketsAcrossBatchesAllGroup)
{
    // More files than one hashing batch holds, in pairs of distinct sizes.
    const int pairs = int(Engine::BatchFiles / 2 + 50);
    for (int pair = 0; pair < pairs; ++pair) {
        const QByteArray content = contentOfSize(100 + pair, quint32(pair));
        file(QStringLiteral("Downloads/a/%1.txt").arg(pair), content);
        file(QStringLiteral("Downloads/b/%1.txt").arg(pair), content);
    }
    const Snapshot result = scan({QStringLiteral("Downloads")});
    ASSERT_TRUE(result);
    EXPECT_EQ(result->totalGroupCount, quint64(pairs));
    EXPECT_EQ(result->filesScanned, quint64(2 * pairs));
}

TEST_F(DuplicateScanTest, ProgressTextsAndValuesFollowTheStages)
{
    const QByteArray shared = contentOfSize(500, 1);
    for (int index = 0; index < 3; ++index)
        file(QStringLiteral("Pictures/same%1.png").arg(index), shared);
    file(QStringLiteral("Pictures/size-a1.bin"), contentOfSize(700, 2));
    file(QStringLiteral("Pictures/size-a2.bin"), contentOfSize(700, 3));
    file(QStringLiteral("Pictures/alone.bin"), contentOfSize(900, 4));

    QList<Snapshot> reports;
    const Snapshot result = scan({QStringLiteral("Pictures")}, &reports);
    ASSERT_TRUE(result);
    QStringList seen;
    for (const Snapshot &report : std::as_const(reports)) {
        EXPECT_TRUE(report->isScanning);
        EXPECT_TRUE(report->categories.isEmpty());
        seen << QStringLiteral("%1 %2 %3")
                    .arg(report->statusText.value_or(QStringLiteral("(none)")))
                    .arg(report->scanProgress, 0, 'f', 4)
                    .arg(report->filesScanned);
    }
    // Two size buckets of two or more files: 0.42 + 0.56 × k / 2.
    EXPECT_EQ(seen, (QStringList{QStringLiteral("Preparing scan… 0.0100 0"),
                                 QStringLiteral("Scanning folders for files… 0.0200 0"),
                                 QStringLiteral("Scanning folders for files… 0.0000 0"),
                                 QStringLiteral("Analyzing 6 files for duplicates… 0.4200 6"),
                                 QStringLiteral("Comparing duplicate candidates… 1/2 0.7000 6"),
                                 QStringLiteral("Comparing duplicate candidates… 2/2 0.9800 6"),
                                 QStringLiteral("Finalizing results… 0.9900 6")}));
    EXPECT_EQ(result->totalGroupCount, 1u);
}

TEST_F(DuplicateScanTest, ANewerStartSilencesTheOlderScan)
{
    for (int index = 0; index < 300; ++index)
        file(QStringLiteral("Pictures/f%1.bin").arg(index),
             contentOfSize(64, quint32(index % 150)));
    QList<Snapshot> firstReports;
    bool firstCompleted = false;
    info.scanDuplicatesInPaths(
        {mac.homePath(QStringLiteral("Pictures"))},
        [&](Snapshot report) { firstReports << report; }, [&](Snapshot) { firstCompleted = true; });
    const Snapshot second = scan({QStringLiteral("Pictures")});
    ASSERT_TRUE(second);
    EXPECT_EQ(second->totalGroupCount, 150u);
    KSTTestSupport::pumpFor(100);
    EXPECT_FALSE(firstCompleted);
    // Only the frame's first snapshot, handed over before the second start, reached it.
    ASSERT_EQ(firstReports.size(), 1);
    EXPECT_EQ(firstReports.first()->statusText, QStringLiteral("Preparing scan…"));

    // A cancelled scan delivers nothing but that first snapshot.
    QList<Snapshot> cancelledReports;
    bool cancelledCompleted = false;
    info.scanDuplicatesInPaths(
        {mac.homePath(QStringLiteral("Pictures"))},
        [&](Snapshot report) { cancelledReports << report; },
        [&](Snapshot) { cancelledCompleted = true; });
    info.cancelDuplicateScan();
    info.duplicateQueue().sync([] {});
    KSTTestSupport::pumpFor(100);
    EXPECT_FALSE(cancelledCompleted);
    EXPECT_EQ(cancelledReports.size(), 1);
}

TEST_F(DuplicateScanTest, CollectionProgressApproachesButNeverReachesTheComparisonPhase)
{
    const std::pair<quint64, double> cases[] = {{0, 0.0}, {800, 0.2}, {2400, 0.3}, {7200, 0.36}};
    for (const auto &[count, expected] : cases)
        EXPECT_NEAR(Engine::estimatedCollectionProgressForFileCount(count), expected, 1e-12)
            << count;
    EXPECT_LT(Engine::estimatedCollectionProgressForFileCount(1'000'000'000), 0.4);
}

// The engine runs on hooks of its own, without a frame: its own hash workers, a main-queue
// hop that runs at once, and a cancellation predicate it keeps asking.
TEST_F(DuplicateScanTest, RunsWithItsOwnHooksAndNoFrame)
{
    const QByteArray small = contentOfSize(4000, 3);
    const QByteArray large = contentOfSize(600 * 1024, 4);
    for (const char *name : {"a.bin", "b.bin"}) {
        file(QStringLiteral("Pictures/small-") + QLatin1String(name), small);
        file(QStringLiteral("Pictures/large-") + QLatin1String(name), large);
    }
    std::array<std::unique_ptr<KSTDispatchQueue>, 4> workers;
    for (std::size_t index = 0; index < workers.size(); ++index)
        workers[index] =
            std::make_unique<KSTDispatchQueue>(QStringLiteral("test.hash.%1").arg(index));
    // Cancelled from the check after this many on; the largest int stands for never.
    std::atomic<int> checksLeft = std::numeric_limits<int>::max();
    const KSTDuplicateScanHooks hooks{
        [&checksLeft](quint64) { return checksLeft.fetch_sub(1) <= 0; },
        [&workers](qint32 index) -> KSTDispatchQueue & { return *workers[size_t(index) & 3]; },
        [](std::function<void()> block) { block(); }};
    KSTDuplicateEngine engine(hooks);
    const QStringList roots = {mac.homePath(QStringLiteral("Pictures"))};

    QList<Snapshot> reports;
    const auto result = engine.duplicateSnapshotForPaths(
        roots, 1, [&reports](Snapshot report) { reports << report; });
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->totalGroupCount, 2u);
    EXPECT_FALSE(reports.isEmpty());

    // Cancelled at once, or after some checks: no result, whatever stage it was in.
    for (const int checks : {0, 3, 20}) {
        checksLeft = checks;
        EXPECT_EQ(engine.duplicateSnapshotForPaths(roots, 2, {}), nullptr) << checks;
    }
}

TEST_F(DuplicateScanTest, AFileThatCannotBeReadLeavesItsBucketAlone)
{
    const QByteArray content = contentOfSize(4000, 9);
    QList<KSTDuplicateFileRecord> records;
    for (const char *name : {"a.bin", "b.bin", "gone.bin"})
        records << recordOf(file(QStringLiteral("Pictures/") + QLatin1String(name), content));
    ASSERT_TRUE(QFile::remove(records.last().path));

    KSTDuplicateComparison comparison(KSTDuplicateScanHooks::of(info));
    QList<KSTDuplicateGroup> groups;
    ASSERT_TRUE(
        comparison.processDuplicateSizeBucket(records, info.duplicateScanGeneration(), groups));
    ASSERT_EQ(groups.size(), 1);
    EXPECT_EQ(groups.first().files.size(), 2);
    EXPECT_EQ(groups.first().hashKey, expectedHashKey(content));

    // A cancelled generation adds nothing.
    info.cancelDuplicateScan();
    groups.clear();
    EXPECT_FALSE(
        comparison.processDuplicateSizeBucket(records, info.duplicateScanGeneration() - 1, groups));
    EXPECT_TRUE(groups.isEmpty());
}

} // namespace
