// The walk of a duplicate scan on fixture homes: what it collects and skips (hidden names,
// the Mac Library, packages, the Music folder, links, FIFOs, empty files), one record per
// directory entry however the scan folders overlap, its progress texts and its cancellation.
#include "KSTDuplicateCollector.h"

#include "KSTDuplicateTestSupport.h"
#include "KSTFileName.h"
#include "KSTReadOnlyFile.h"

#include "KSTMachineTest.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QSet>

#include <gtest/gtest.h>

#include <atomic>

#include <sys/stat.h>
#include <unistd.h>

using Collector = KSTDuplicateCollector;

namespace {

class DuplicateCollectorTest : public KSTMachineTest
{
protected:
    QString file(const QString &homeRelative, qsizetype bytes = 10)
    {
        return mac.writeHomeFile(homeRelative, QByteArray(bytes, 'x'));
    }

    QString link(const QString &homeRelative, const QString &target)
    {
        const QString path = mac.homePath(homeRelative);
        QDir().mkpath(QFileInfo(path).absolutePath());
        EXPECT_EQ(
            ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()),
            0);
        return path;
    }

    // The paths collected below @p homeRelativeRoots, sorted (home-relative).
    QStringList collect(const QStringList &homeRelativeRoots)
    {
        QStringList roots;
        for (const QString &root : homeRelativeRoots)
            roots << (root.startsWith(QLatin1Char('/')) ? root : mac.homePath(root));
        const KSTDuplicateFileCollection files =
            Collector::collectFileRecordsInPaths(roots, {}, {});
        QStringList paths;
        for (qsizetype index = 0; index < files.count(); ++index)
            paths << files.pathAt(index).mid(mac.home().size() + 1);
        paths.sort();
        return paths;
    }
};

TEST_F(DuplicateCollectorTest, CollectsRegularFilesAndSkipsWhatMustNotBeCompared)
{
    struct Entry
    {
        const char *path;
        bool collected;
    };
    const Entry entries[] = {
        {"Pictures/a.jpg", true},
        {"Pictures/sub/deep/b.png", true},
        {"Pictures/folder.with.dots/c.png", true},
        {"Documents/d.txt", true},
        {"Library-look-alike/e.txt", true},
        {"Pictures/.hidden.jpg", false},
        {"Pictures/.cache/f.jpg", false},
        {"Pictures/Viewer.app/Contents/Info.plist", false},
        {"Pictures/Old.PhotosLibrary/database/g.jpg", false},
        {"Pictures/Notes.RTFD/TXT.rtf", false},
        {"Pictures/Plugin.bundle/h.bin", false},
        {"Library/Caches/i.bin", false},
        {"Music/song.mp3", false},
        {"Pictures/loose.musiclibrary", false},
    };
    for (const Entry &entry : entries)
        file(QString::fromLatin1(entry.path));
    file(QStringLiteral("Pictures/empty.txt"), 0);
    link(QStringLiteral("Pictures/link.jpg"), mac.homePath(QStringLiteral("Pictures/a.jpg")));
    link(QStringLiteral("Pictures/linked-folder"), mac.homePath(QStringLiteral("Documents")));
    ASSERT_EQ(::mkfifo(QFile::encodeName(mac.homePath(QStringLiteral("Pictures/pipe"))).constData(),
                       0600),
              0);

    QStringList expected;
    for (const Entry &entry : entries) {
        if (entry.collected)
            expected << QString::fromLatin1(entry.path);
    }
    expected.sort();
    EXPECT_EQ(collect({QString()}), expected);
}

TEST_F(DuplicateCollectorTest, LibraryIsHiddenOnlyUnderTheMacLayout)
{
    file(QStringLiteral("Library/Caches/cache.bin"));
    file(QStringLiteral("Music/song.mp3"));
    file(QStringLiteral("Documents/d.txt"));
    EXPECT_EQ(collect({QString()}), QStringList{QStringLiteral("Documents/d.txt")});
    // Chosen as a scan folder, the Library is walked like any other folder.
    EXPECT_EQ(collect({QStringLiteral("Library")}),
              QStringList{QStringLiteral("Library/Caches/cache.bin")});

    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment scoped(linux);
    EXPECT_EQ(collect({QString()}), (QStringList{QStringLiteral("Documents/d.txt"),
                                                 QStringLiteral("Library/Caches/cache.bin")}));
}

TEST_F(DuplicateCollectorTest, TheMusicFolderIsNeverReadWhateverThePath)
{
    file(QStringLiteral("Music/Albums/song.mp3"));
    file(QStringLiteral("Documents/d.txt"));
    link(QStringLiteral("Links/music"), mac.homePath(QStringLiteral("Music")));
    struct Case
    {
        const char *what;
        QString root;
    };
    const Case cases[] = {
        {"the folder itself", mac.homePath(QStringLiteral("Music"))},
        {"a folder inside it", mac.homePath(QStringLiteral("Music/Albums"))},
        {"a link to it", mac.homePath(QStringLiteral("Links/music"))},
        {"a folder inside it through a link", mac.homePath(QStringLiteral("Links/music/Albums"))},
        {"an unclean spelling", mac.homePath(QStringLiteral("Documents/../Music/"))},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(collect({c.root}), QStringList());
    }
}

TEST_F(DuplicateCollectorTest, OverlappingScanFoldersCollectEachEntryOnce)
{
    file(QStringLiteral("Pictures/a.jpg"));
    file(QStringLiteral("Pictures/sub/b.jpg"));
    // A hard link is another entry of the same file: collected under both names.
    ASSERT_EQ(
        ::link(QFile::encodeName(mac.homePath(QStringLiteral("Pictures/a.jpg"))).constData(),
               QFile::encodeName(mac.homePath(QStringLiteral("Documents/a-link.jpg"))).constData()),
        0);
    link(QStringLiteral("PicturesLink"), mac.homePath(QStringLiteral("Pictures")));
    link(QStringLiteral("Documents/pictures"), mac.homePath(QStringLiteral("Pictures")));

    const QStringList everything = {QStringLiteral("Documents/a-link.jpg"),
                                    QStringLiteral("Pictures/a.jpg"),
                                    QStringLiteral("Pictures/sub/b.jpg")};
    struct Case
    {
        const char *what;
        QStringList roots;
        QStringList expected;
    };
    const Case cases[] = {
        {"the same folder twice", {"Pictures", "Pictures"}, everything.mid(1)},
        {"two spellings of one folder",
         {"Pictures", "Pictures/", "Documents/../Pictures"},
         everything.mid(1)},
        {"a folder, then one inside it", {"Pictures", "Pictures/sub"}, everything.mid(1)},
        {"a folder inside, then its parent", {"Pictures/sub", "Pictures"}, everything.mid(1)},
        {"a folder and a link to it", {"Pictures", "PicturesLink"}, everything.mid(1)},
        {"only a link to it", {"PicturesLink"}, {}},
        {"the home and everything in it", {"", "Pictures", "Documents"}, everything},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(collect(c.roots), c.expected);
    }
}

TEST_F(DuplicateCollectorTest, ReportsEveryHundredthFileAndTheTotal)
{
    for (int index = 0; index < 250; ++index)
        file(QStringLiteral("Pictures/f%1.bin").arg(index));
    QStringList texts;
    QList<quint64> counts;
    Collector::collectFileRecordsInPaths({mac.homePath(QStringLiteral("Pictures"))}, {},
                                         [&](const QString &text, quint64 count) {
                                             texts << text;
                                             counts << count;
                                         });
    EXPECT_EQ(texts, (QStringList{QStringLiteral("Scanning folders for files…"),
                                  QStringLiteral("Scanning folders… 100 files found"),
                                  QStringLiteral("Scanning folders… 200 files found"),
                                  QStringLiteral("Found 250 files — comparing duplicates…")}));
    EXPECT_EQ(counts, (QList<quint64>{0, 100, 200, 250}));

    // Nothing found: no closing report.
    texts.clear();
    Collector::collectFileRecordsInPaths({mac.homePath(QStringLiteral("Movies"))}, {},
                                         [&](const QString &text, quint64) { texts << text; });
    EXPECT_EQ(texts, QStringList{QStringLiteral("Scanning folders for files…")});
}

TEST_F(DuplicateCollectorTest, ACancelledWalkStopsWithWhatItHas)
{
    for (int folder = 0; folder < 5; ++folder) {
        for (int index = 0; index < 20; ++index)
            file(QStringLiteral("Pictures/%1/f%2.bin").arg(folder).arg(index));
    }
    file(QStringLiteral("Documents/d.txt"));
    std::atomic<int> checks{0};
    const KSTDuplicateFileCollection files = Collector::collectFileRecordsInPaths(
        {mac.homePath(QStringLiteral("Pictures")), mac.homePath(QStringLiteral("Documents"))},
        [&checks] { return ++checks > 30; }, {});
    EXPECT_GT(files.count(), 0);
    EXPECT_LT(files.count(), 30);
    for (qsizetype index = 0; index < files.count(); ++index)
        EXPECT_FALSE(files.pathAt(index).endsWith(QLatin1String("d.txt")));
}

TEST_F(DuplicateCollectorTest, FilesAreOpenedAgainOnlyAsTheWalkSawThem)
{
    const QString kept = file(QStringLiteral("Pictures/sub/kept.jpg"), 300);
    file(QStringLiteral("Pictures/sub/rewritten.jpg"), 300);
    file(QStringLiteral("Pictures/moved/behind-link.jpg"), 300);
    const QByteArray oddName = QByteArray("caf\xe9 \xff.jpg");
    ASSERT_TRUE(KSTDuplicateTestSupport::writeBytes(
        KSTFileName::encoded(mac.homePath(QStringLiteral("Pictures/sub"))) + '/' + oddName,
        QByteArray(300, 'x')));
    KSTDuplicateFileCollection files =
        Collector::collectFileRecordsInPaths({mac.homePath(QStringLiteral("Pictures"))}, {}, {});
    ASSERT_EQ(files.count(), 4);
    auto indexOf = [&files](const QString &suffix) {
        for (qsizetype index = 0; index < files.count(); ++index) {
            if (files.pathAt(index).endsWith(suffix))
                return index;
        }
        return qsizetype(-1);
    };

    // After the walk: a file is rewritten, and a folder is swapped for a link to itself, so
    // the path still leads to the very same file, only through a link.
    file(QStringLiteral("Pictures/sub/rewritten.jpg"), 301);
    const QString moved = mac.homePath(QStringLiteral("Pictures/moved"));
    ASSERT_TRUE(QDir().rename(moved, moved + QStringLiteral("-real")));
    link(QStringLiteral("Pictures/moved"), moved + QStringLiteral("-real"));

    struct Case
    {
        const char *what;
        QString suffix;
        bool opens;
    };
    const Case cases[] = {
        {"an unchanged file", QStringLiteral("/kept.jpg"), true},
        {"a name that is not UTF-8", KSTFileName::decoded(oddName), true},
        {"a file rewritten since", QStringLiteral("/rewritten.jpg"), false},
        {"a file now behind a link", QStringLiteral("/behind-link.jpg"), false},
    };
    // However the folder is reached: by the path below the scan folder, by a cursor, or held
    // open for the whole comparison (one folder held and the others not, or all of them).
    struct Mode
    {
        const char *what;
        std::size_t heldFolders;
        bool cursor;
    };
    const Mode modes[] = {
        {"by path", 0, false},           {"by cursor", 0, true},
        {"one folder held", 1, false},   {"one folder held, else cursor", 1, true},
        {"all folders held", 64, false},
    };
    for (const Mode &mode : modes) {
        SCOPED_TRACE(mode.what);
        files.holdFolders(mode.heldFolders);
        KSTDuplicateFileCollection::FolderCursor cursor;
        for (const Case &c : cases) {
            SCOPED_TRACE(c.what);
            const qsizetype index = indexOf(c.suffix);
            ASSERT_GE(index, 0);
            KSTReadOnlyFile opened;
            EXPECT_EQ(files.openFile(index, opened, mode.cursor ? &cursor : nullptr), c.opens);
            EXPECT_EQ(opened.isOpen(), c.opens);
        }
    }
    // The record carries what the walk saw, to the nanosecond.
    const KSTDuplicateFileRecord record = files.recordAt(indexOf(QStringLiteral("/kept.jpg")));
    struct stat status = {};
    ASSERT_EQ(::lstat(KSTFileName::encoded(kept).constData(), &status), 0);
    EXPECT_EQ(record.path, kept);
    EXPECT_EQ(record.identity, KSTFileIdentity::fromStatus(status));
    EXPECT_EQ(record.modificationDate.toMSecsSinceEpoch(), record.identity.modifiedMilliseconds());
    EXPECT_EQ(
        files.recordAt(indexOf(KSTFileName::decoded(oddName))).path,
        KSTFileName::decoded(KSTFileName::encoded(mac.homePath(QStringLiteral("Pictures/sub"))) +
                             '/' + oddName));
}

TEST_F(DuplicateCollectorTest, HoldingFoldersGrowsTheDescriptorTableOnceBeforehand)
{
    // Linux says how many descriptors the table has room for; elsewhere there is nothing to see.
    const auto tableSize = [] {
        QFile status(QStringLiteral("/proc/self/status"));
        if (!status.open(QIODevice::ReadOnly))
            return -1;
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("FDSize:"))
                return line.mid(7).trimmed().toInt();
        }
        return -1;
    };
    if (tableSize() < 0)
        GTEST_SKIP() << "no /proc/self/status here";
    constexpr int Folders = 700;
    for (int folder = 0; folder < Folders; ++folder)
        file(QStringLiteral("Pictures/f%1/a.bin").arg(folder));
    KSTDuplicateFileCollection files =
        Collector::collectFileRecordsInPaths({mac.homePath(QStringLiteral("Pictures"))}, {}, {});
    ASSERT_EQ(files.count(), Folders);
    const int lowestFree = ::dup(0);
    ASSERT_GE(lowestFree, 0);
    ::close(lowestFree);
    files.holdFolders(KSTDuplicateFileCollection::folderHoldingAllowance());
    // Room for every folder at once beside what is open, though none is held yet.
    EXPECT_GT(tableSize(), lowestFree + Folders);
    KSTReadOnlyFile opened;
    EXPECT_TRUE(files.openFile(0, opened));
}

} // namespace
