// Folder sizes, folder listings, boot-volume usage and the storage categories on fixture
// Macs: what Clean Up and App Manage rely on as much as the Overview.
#include "KSTStorageMetrics.h"
#include "KSTStorageFigures.h"

#include "KSTFakeHostInfo.h"
#include "KSTMachineTest.h"
#include "KSTTestSupport.h"

#include <QFile>

#include <gtest/gtest.h>

#include <unistd.h>

using Metrics = KSTStorageMetrics;
using Figures = KSTStorageFigures;

namespace {

using KSTTestSupport::allocatedBytesOf;

using StorageMetricsTest = KSTMachineTest;

TEST_F(StorageMetricsTest, DirectorySizeCountsAllocatedBlocksOfWhatMayBeRead)
{
    KSTTestSupport::writeFile(mac.path("Outside/big.bin"), QByteArray(300'000, 'x'));
    enum Kind { File, HardLink, Symlink, Sparse };
    const struct
    {
        const char *path; // home-relative
        Kind kind;
        qint64 bytes;       // File, Sparse: apparent size
        const char *target; // HardLink: home-relative file; Symlink: as written
        bool counted;
    } entries[] = {
        {"Tree/a.bin", File, 10'000, nullptr, true},
        {"Tree/sub/deeper/b.bin", File, 70'000, nullptr, true},
        {"Tree/sub/odd name é.bin", File, 5'000, nullptr, true},
        // A second name of a.bin: the file counts once in one size.
        {"Tree/sub/a-again.bin", HardLink, 0, "Tree/a.bin", false},
        {"Tree/sparse.bin", Sparse, 50'000'000, nullptr, true},
        {"Tree/.hidden.bin", File, 40'000, nullptr, false},
        {"Tree/.git/objects/pack.bin", File, 40'000, nullptr, false},
        {"Tree/Photos Library.photoslibrary/master.jpg", File, 40'000, nullptr, false},
        {"Tree/Old.MusicLibrary", File, 40'000, nullptr, false},
        {"Tree/outside-link", Symlink, 0, "../../../Outside", true},
        {"Tree/sub/dangling", Symlink, 0, "/no/such/place", true},
    };
    quint64 expected = 0;
    for (const auto &entry : entries) {
        const QString path = mac.homePath(QString::fromUtf8(entry.path));
        if (entry.kind == File) {
            mac.writeSizedHomeFile(QString::fromUtf8(entry.path), entry.bytes);
        } else if (entry.kind == HardLink) {
            ASSERT_EQ(
                ::link(QFile::encodeName(mac.homePath(entry.target)), QFile::encodeName(path)), 0);
        } else if (entry.kind == Symlink) {
            ASSERT_TRUE(QFile::link(entry.target, path));
        } else {
            KSTTestSupport::writeFile(path, QByteArray(4096, 's'));
            ASSERT_EQ(::truncate(QFile::encodeName(path).constData(), entry.bytes), 0);
        }
        if (entry.counted)
            expected += allocatedBytesOf(path);
    }
    ASSERT_LT(allocatedBytesOf(mac.homePath("Tree/sparse.bin")), 1'000'000u);

    EXPECT_EQ(Figures::directorySizeAtPath(mac.homePath("Tree")), expected);
    // The same folder spelt untidily is the same folder.
    EXPECT_EQ(Figures::directorySizeAtPath(mac.home() + "//Tree/./"), expected);
}

TEST_F(StorageMetricsTest, LargeTreesAreSizedAcrossThreadsWithTheSameTotal)
{
    // Enough folders for the walk to bring in helper threads; every file a different size.
    quint64 expected = 0;
    for (int file = 0; file < 6 * 6 * 6 * 3; ++file) {
        const int folder = file / 3;
        const QString path =
            QStringLiteral("Wide/%1/%2/%3/").arg(folder / 36).arg(folder / 6 % 6).arg(folder % 6);
        expected += allocatedBytesOf(
            mac.writeSizedHomeFile(path + QString::number(file % 3), 1 + (file * 7919) % 40'000));
        if (file % 3 == 0)
            mac.writeSizedHomeFile(path + ".skipped", 9'000);
    }
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(Figures::directorySizeAtPath(mac.homePath("Wide")), expected);
}

TEST_F(StorageMetricsTest, WhatIsNotAReadableFolderHasNoSizeAndNoEntries)
{
    mac.writeSizedHomeFile("Music/Library/song.m4a", 80'000);
    mac.writeSizedHomeFile("Pictures/Photos Library.photoslibrary/a.jpg", 80'000);
    const QString report = mac.writeSizedHomeFile("Documents/report.pdf", 80'000);
    mac.makeSymlink("Linked", mac.homePath("Documents"));

    for (const QString &path :
         {QString(), mac.homePath("Music"), mac.homePath("Music/Library"),
          mac.homePath("Pictures/Photos Library.photoslibrary"),
          mac.homePath("Pictures/PHOTOS.PhotosLibrary"), report, mac.homePath("Nowhere")}) {
        EXPECT_EQ(Figures::directorySizeAtPath(path), 0u) << path.toStdString();
        EXPECT_TRUE(Figures::directoryEntriesAtPath(path).isEmpty()) << path.toStdString();
    }
    // A link to a folder is not followed.
    EXPECT_EQ(Figures::directorySizeAtPath(mac.path("Linked")), 0u);
    // The home itself: Documents counts, the Music folder and the photo library do not.
    EXPECT_EQ(Figures::directorySizeAtPath(mac.home()), allocatedBytesOf(report));
}

TEST_F(StorageMetricsTest, DirectoryEntriesListEverythingInByteOrder)
{
    for (const char *name : {"com.zeta.app", ".hidden", "Caches Folder", "com.alpha.app"})
        mac.makeHomeDirectory(QLatin1String("Library/Caches/") + name);
    mac.writeHomeFile("Library/Caches/file.db", "x");
    EXPECT_EQ(
        Figures::directoryEntriesAtPath(mac.homePath("Library/Caches")),
        (QStringList{".hidden", "Caches Folder", "com.alpha.app", "com.zeta.app", "file.db"}));
}

TEST_F(StorageMetricsTest, BootVolumeUsageAsksAboutTheHomeAndKeepsOutputsWhenUnreadable)
{
    KSTScopedFakeHost host;
    const struct
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
        Figures::bootVolumeUsageTotal(&total, &used);
        EXPECT_EQ(total, c.total);
        EXPECT_EQ(used, c.used);
        Figures::bootVolumeUsageTotal(nullptr, nullptr); // either may be left out
    }
    EXPECT_EQ(host->figures().volumeUsagePaths, QStringList(6, mac.home()));
}

TEST_F(StorageMetricsTest, CategoriesSplitUsedSpaceInFixedOrder)
{
    quint64 apps = 0;
    for (const char *folder : {"Applications", "System/Applications", "Users/alice/Applications"}) {
        KSTFixtureMac::App app;
        app.name = QStringLiteral("App");
        app.bundleIdentifier = QStringLiteral("com.example.app");
        app.location = QLatin1String(folder);
        app.resourceBytes = 100'000;
        mac.addApp(app);
        apps += Figures::directorySizeAtPath(mac.path(folder));
    }
    ASSERT_GT(apps, 300'000u);
    const quint64 media = allocatedBytesOf(mac.writeSizedHomeFile("Movies/clip.mov", 400'000)) +
                          allocatedBytesOf(mac.writeSizedHomeFile("Pictures/photo.jpg", 120'000));
    mac.writeSizedHomeFile("Music/song.m4a", 900'000); // never counted
    const quint64 documents =
        allocatedBytesOf(mac.writeSizedHomeFile("Documents/thesis.pdf", 60'000));

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
        QStringList categories;
        for (const KSTStorageCategory &category : Metrics::storageCategoriesForUsedBytes(c.used, 1))
            categories << QStringLiteral("%1 %2 %3")
                              .arg(category.name, category.colorKey)
                              .arg(category.bytes);
        EXPECT_EQ(categories, (QStringList{QStringLiteral("Apps blue %1").arg(apps),
                                           QStringLiteral("Media purple %1").arg(media),
                                           QStringLiteral("Documents emerald %1").arg(documents),
                                           QStringLiteral("System & Other zinc %1").arg(c.other)}))
            << c.used;
    }
}

} // namespace
