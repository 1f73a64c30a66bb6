// Folder sizes, folder listings, boot-volume usage and the storage categories on fixture
// Macs: what Clean Up and App Manage rely on as much as the Overview.
#include "KSTStorageMetrics.h"

#include "KSTFakeHostInfo.h"
#include "KSTFixtureMac.h"
#include "KSTPermissionChecker.h"
#include "KSTTestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

quint64 allocatedBytesOf(const QString &path)
{
    struct stat info;
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return 0;
    return quint64(info.st_blocks) * 512u;
}

class StorageMetricsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    KSTFixtureMac mac;
};

// One entry of a tree to size: how it is made and whether its blocks count.
struct TreeEntry
{
    enum Kind { File, HardLink, Symlink, Sparse };
    const char *path; // home-relative
    Kind kind;
    qint64 bytes;       // File, Sparse: apparent size
    const char *target; // HardLink: home-relative file; Symlink: as written
    bool counted;
};

TEST_F(StorageMetricsTest, DirectorySizeCountsAllocatedBlocksOfWhatMayBeRead)
{
    const QString outside = mac.makeDirectory(QStringLiteral("Outside"));
    KSTTestSupport::writeFile(outside + QLatin1String("/big.bin"), QByteArray(300'000, 'x'));

    const TreeEntry entries[] = {
        {"Tree/a.bin", TreeEntry::File, 10'000, nullptr, true},
        {"Tree/sub/deeper/b.bin", TreeEntry::File, 70'000, nullptr, true},
        {"Tree/sub/odd name é.bin", TreeEntry::File, 5'000, nullptr, true},
        {"Tree/sub/a-again.bin", TreeEntry::HardLink, 0, "Tree/a.bin", true},
        {"Tree/sparse.bin", TreeEntry::Sparse, 50'000'000, nullptr, true},
        {"Tree/.hidden.bin", TreeEntry::File, 40'000, nullptr, false},
        {"Tree/.git/objects/pack.bin", TreeEntry::File, 40'000, nullptr, false},
        {"Tree/Photos Library.photoslibrary/master.jpg", TreeEntry::File, 40'000, nullptr, false},
        {"Tree/Old.MusicLibrary", TreeEntry::File, 40'000, nullptr, false},
        {"Tree/outside-link", TreeEntry::Symlink, 0, "../../../Outside", true},
        {"Tree/sub/dangling", TreeEntry::Symlink, 0, "/no/such/place", true},
    };
    quint64 expected = 0;
    for (const TreeEntry &entry : entries) {
        const QString path = mac.homePath(QString::fromUtf8(entry.path));
        switch (entry.kind) {
        case TreeEntry::File:
            mac.writeSizedHomeFile(QString::fromUtf8(entry.path), entry.bytes);
            break;
        case TreeEntry::HardLink:
            ASSERT_EQ(::link(QFile::encodeName(mac.homePath(QLatin1String(entry.target))),
                             QFile::encodeName(path)),
                      0);
            break;
        case TreeEntry::Symlink:
            ASSERT_TRUE(QFile::link(QLatin1String(entry.target), path));
            break;
        case TreeEntry::Sparse: {
            KSTTestSupport::writeFile(path, QByteArray(4096, 's'));
            ASSERT_EQ(::truncate(QFile::encodeName(path).constData(), entry.bytes), 0);
            break;
        }
        }
        if (entry.counted)
            expected += allocatedBytesOf(path);
    }
    ASSERT_GT(expected, 0u);
    ASSERT_LT(allocatedBytesOf(mac.homePath(QStringLiteral("Tree/sparse.bin"))), 1'000'000u);

    EXPECT_EQ(KSTStorageMetrics::directorySizeAtPath(mac.homePath(QStringLiteral("Tree"))),
              expected);
    // The same folder spelt untidily is the same folder.
    EXPECT_EQ(KSTStorageMetrics::directorySizeAtPath(mac.home() + QLatin1String("//Tree/./")),
              expected);
}

TEST_F(StorageMetricsTest, LargeTreesAreSizedAcrossThreadsWithTheSameTotal)
{
    // Enough folders for the walk to bring in helper threads; every file a different size.
    quint64 expected = 0;
    int file = 0;
    for (int a = 0; a < 6; ++a) {
        for (int b = 0; b < 6; ++b) {
            for (int c = 0; c < 6; ++c) {
                const QString folder = QStringLiteral("Wide/%1/%2/%3/").arg(a).arg(b).arg(c);
                for (int n = 0; n < 3; ++n, ++file)
                    expected += allocatedBytesOf(mac.writeSizedHomeFile(
                        folder + QString::number(n), 1 + (file * 7919) % 40'000));
                mac.writeSizedHomeFile(folder + QLatin1String(".skipped"), 9'000);
            }
        }
    }
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(KSTStorageMetrics::directorySizeAtPath(mac.homePath(QStringLiteral("Wide"))),
                  expected);
}

TEST_F(StorageMetricsTest, DirectorySizeIsZeroForWhatIsNotAReadableFolder)
{
    mac.writeSizedHomeFile(QStringLiteral("Music/Library/song.m4a"), 80'000);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/Photos Library.photoslibrary/a.jpg"), 80'000);
    mac.writeSizedHomeFile(QStringLiteral("Documents/report.pdf"), 80'000);
    mac.makeSymlink(QStringLiteral("Linked"), mac.homePath(QStringLiteral("Documents")));

    const QString cases[] = {
        QString(),
        mac.homePath(QStringLiteral("Music")),
        mac.homePath(QStringLiteral("Music/Library")),
        mac.homePath(QStringLiteral("Pictures/Photos Library.photoslibrary")),
        mac.homePath(QStringLiteral("Pictures/PHOTOS.PhotosLibrary")),
        mac.homePath(QStringLiteral("Documents/report.pdf")), // a file, not a folder
        mac.path(QStringLiteral("Linked")),                   // a link to a folder
        mac.homePath(QStringLiteral("Nowhere")),
    };
    for (const QString &path : cases)
        EXPECT_EQ(KSTStorageMetrics::directorySizeAtPath(path), 0u) << path.toStdString();

    // The home itself: Documents counts, the Music folder and the photo library do not.
    EXPECT_EQ(KSTStorageMetrics::directorySizeAtPath(mac.home()),
              allocatedBytesOf(mac.homePath(QStringLiteral("Documents/report.pdf"))));
}

TEST_F(StorageMetricsTest, DirectoryEntriesListEverythingButProtectedPlaces)
{
    const QString folder = mac.makeHomeDirectory(QStringLiteral("Library/Caches"));
    for (const char *name : {"com.zeta.app", ".hidden", "Caches Folder", "com.alpha.app"})
        mac.makeHomeDirectory(QLatin1String("Library/Caches/") + QLatin1String(name));
    mac.writeHomeFile(QStringLiteral("Library/Caches/file.db"), "x");
    mac.writeHomeFile(QStringLiteral("Music/track.mp3"), "x");

    EXPECT_EQ(KSTStorageMetrics::directoryEntriesAtPath(folder),
              (QStringList{QStringLiteral(".hidden"), QStringLiteral("Caches Folder"),
                           QStringLiteral("com.alpha.app"), QStringLiteral("com.zeta.app"),
                           QStringLiteral("file.db")}));
    EXPECT_TRUE(KSTStorageMetrics::directoryEntriesAtPath(QString()).isEmpty());
    EXPECT_TRUE(
        KSTStorageMetrics::directoryEntriesAtPath(mac.homePath(QStringLiteral("Music"))).isEmpty());
    EXPECT_TRUE(
        KSTStorageMetrics::directoryEntriesAtPath(mac.homePath(QStringLiteral("Gone"))).isEmpty());
    EXPECT_TRUE(KSTStorageMetrics::directoryEntriesAtPath(
                    mac.homePath(QStringLiteral("Library/Caches/file.db")))
                    .isEmpty());
}

TEST_F(StorageMetricsTest, BootVolumeUsageAsksAboutTheHomeAndKeepsOutputsWhenUnreadable)
{
    KSTScopedFakeHost host;
    struct
    {
        std::optional<KSTVolumeUsage> usage;
        quint64 total;
        quint64 used;
    } cases[] = {
        {KSTVolumeUsage{1'000'000, 250'000}, 1'000'000, 750'000},
        {KSTVolumeUsage{1'000, 5'000}, 1'000, 0}, // free beyond capacity
        {std::nullopt, 7, 9},                     // the outputs keep what they held
    };
    for (const auto &c : cases) {
        host->with([&](KSTFakeHostInfo::Figures &f) { f.volumeUsage = c.usage; });
        quint64 total = 7;
        quint64 used = 9;
        KSTStorageMetrics::bootVolumeUsageTotal(&total, &used);
        EXPECT_EQ(total, c.total);
        EXPECT_EQ(used, c.used);
        KSTStorageMetrics::bootVolumeUsageTotal(nullptr, nullptr); // either may be left out
    }
    for (const QString &asked : host->figures().volumeUsagePaths)
        EXPECT_EQ(asked, mac.home());

    KSTSystemSnapshot snapshot;
    host->with([](KSTFakeHostInfo::Figures &f) { f.volumeUsage = KSTVolumeUsage{0, 0}; });
    KSTStorageMetrics::populateStorageMetrics(snapshot);
    EXPECT_EQ(snapshot.storageUsedFraction, 0.0);
    host->with([](KSTFakeHostInfo::Figures &f) { f.volumeUsage = KSTVolumeUsage{800, 200}; });
    KSTStorageMetrics::populateStorageMetrics(snapshot);
    EXPECT_EQ(snapshot.storageTotalBytes, 800u);
    EXPECT_EQ(snapshot.storageUsedBytes, 600u);
    EXPECT_DOUBLE_EQ(snapshot.storageUsedFraction, 0.75);
}

TEST_F(StorageMetricsTest, CategoriesSplitUsedSpaceInFixedOrder)
{
    KSTFixtureMac::App safari;
    safari.name = QStringLiteral("Safari");
    safari.bundleIdentifier = QStringLiteral("com.apple.Safari");
    safari.resourceBytes = 200'000;
    const QString systemApp = mac.addApp(safari);
    KSTFixtureMac::App notes = safari;
    notes.name = QStringLiteral("Notes");
    notes.location = QStringLiteral("System/Applications");
    notes.resourceBytes = 30'000;
    mac.addApp(notes);
    KSTFixtureMac::App tool = safari;
    tool.name = QStringLiteral("Tool");
    tool.inHome = true;
    tool.resourceBytes = 10'000;
    mac.addApp(tool);
    mac.writeSizedHomeFile(QStringLiteral("Movies/clip.mov"), 400'000);
    mac.writeSizedHomeFile(QStringLiteral("Pictures/photo.jpg"), 120'000);
    mac.writeSizedHomeFile(QStringLiteral("Music/song.m4a"), 900'000); // never counted
    mac.writeSizedHomeFile(QStringLiteral("Documents/thesis.pdf"), 60'000);

    using Metrics = KSTStorageMetrics;
    const quint64 apps =
        Metrics::directorySizeAtPath(mac.path(QStringLiteral("Applications"))) +
        Metrics::directorySizeAtPath(mac.path(QStringLiteral("System/Applications"))) +
        Metrics::directorySizeAtPath(mac.homePath(QStringLiteral("Applications")));
    ASSERT_GT(Metrics::directorySizeAtPath(systemApp), 200'000u);
    const quint64 media = allocatedBytesOf(mac.homePath(QStringLiteral("Movies/clip.mov"))) +
                          allocatedBytesOf(mac.homePath(QStringLiteral("Pictures/photo.jpg")));
    const quint64 documents =
        allocatedBytesOf(mac.homePath(QStringLiteral("Documents/thesis.pdf")));

    const struct
    {
        quint64 used;
        quint64 other;
    } cases[] = {
        {50'000'000, 50'000'000 - apps - media - documents},
        {apps + media + documents, 0},
        {1'000, 0}, // used smaller than what was measured
    };
    for (const auto &c : cases) {
        const QList<KSTStorageCategory> categories =
            Metrics::storageCategoriesForUsedBytes(c.used, 123);
        ASSERT_EQ(categories.size(), 4);
        const QStringList names = {categories[0].name, categories[1].name, categories[2].name,
                                   categories[3].name};
        const QStringList colours = {categories[0].colorKey, categories[1].colorKey,
                                     categories[2].colorKey, categories[3].colorKey};
        EXPECT_EQ(names,
                  (QStringList{QStringLiteral("Apps"), QStringLiteral("Media"),
                               QStringLiteral("Documents"), QStringLiteral("System & Other")}));
        EXPECT_EQ(colours, (QStringList{QStringLiteral("blue"), QStringLiteral("purple"),
                                        QStringLiteral("emerald"), QStringLiteral("zinc")}));
        EXPECT_EQ(categories[0].bytes, apps);
        EXPECT_EQ(categories[1].bytes, media);
        EXPECT_EQ(categories[2].bytes, documents);
        EXPECT_EQ(categories[3].bytes, c.other) << c.used;
    }
}

} // namespace
