// The six rule actions against a fixture home: what each removes or moves, what it leaves, and
// what it counts.
#include "KSTAutoCleanTestFixture.h"

#include "KSTTestSupport.h"

#include <QDir>

namespace {

using KSTTestSupport::readFile;

struct AgeRule
{
    const char *name;
    quint64 ruleType;
    const char *folder; // home-relative
    int days;
};

class AgeRuleTest : public AutoCleanTest, public ::testing::WithParamInterface<AgeRule>
{
};

TEST_P(AgeRuleTest, RemovesTopLevelEntriesStrictlyOlderThanTheCutoff)
{
    const AgeRule &c = GetParam();
    const QString folder = QString::fromLatin1(c.folder) + QLatin1Char('/');
    const QString atCutoff = mac.writeHomeFile(folder + "exactly.txt", "kept", daysAgo(c.days));
    const QString older = mac.writeSizedHomeFile(folder + "older.bin", 3000, daysAgo(c.days, 1));
    const QString recent = mac.writeHomeFile(folder + "recent.txt", "kept", daysAgo(1));
    const QString hidden = mac.writeHomeFile(folder + ".hidden", "kept", daysAgo(400));
    // An old folder goes whole when everything in it is old too; one holding something new
    // stays whole.
    const QString oldFolder = mac.homePath(folder + "Archive");
    mac.writeSizedHomeFile(folder + "Archive/inner/old.bin", 5000, daysAgo(c.days, 2));
    KSTFixtureMac::setModified(oldFolder + "/inner", daysAgo(c.days + 5));
    KSTFixtureMac::setModified(oldFolder, daysAgo(c.days + 5));
    const quint64 folderBytes = KSTPermissionChecker::fileSizeAtAccessiblePath(oldFolder);
    ASSERT_GT(folderBytes, 0u);
    const QString busyFolder = mac.homePath(folder + "Project");
    const QString fresh =
        mac.writeSizedHomeFile(folder + "Project/inner/fresh.bin", 5000, daysAgo(0));
    KSTFixtureMac::setModified(busyFolder + "/inner", daysAgo(c.days + 5));
    KSTFixtureMac::setModified(busyFolder, daysAgo(c.days + 5));

    const auto manager = makeManager();
    // Counters are added to, never reset.
    quint64 bytes = 7;
    quint64 files = 1;
    EXPECT_TRUE(manager->executeRule(manager->rules().at(qsizetype(c.ruleType)), &bytes, &files));
    EXPECT_EQ(bytes, 7 + 3000 + folderBytes);
    EXPECT_EQ(files, 1u + 2);
    EXPECT_FALSE(exists(older));
    EXPECT_FALSE(exists(oldFolder));
    EXPECT_TRUE(exists(fresh));
    EXPECT_TRUE(exists(atCutoff));
    EXPECT_TRUE(exists(recent));
    EXPECT_TRUE(exists(hidden));

    // Nothing left to do: the rule did not act.
    EXPECT_FALSE(manager->executeRule(manager->rules().at(qsizetype(c.ruleType)), &bytes, &files));
}

INSTANTIATE_TEST_SUITE_P(Rules, AgeRuleTest,
                         ::testing::Values(AgeRule{"Downloads", 0, "Downloads", 30},
                                           AgeRule{"Logs", 4, "Library/Logs", 7}),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(AutoCleanTest, NeverTouchEntryProtectsItsFolderButNotASiblingWithALongerName)
{
    const QString keep = mac.writeHomeFile("Downloads/Keep/inside.txt", "x", daysAgo(90));
    const QString keepFolder = QFileInfo(keep).path();
    KSTFixtureMac::setModified(keepFolder, daysAgo(90));
    const QString keeper = mac.writeHomeFile("Downloads/Keeper", "x", daysAgo(90));

    const auto manager = makeManager();
    ASSERT_TRUE(manager->addWhitelistPath(QStringLiteral("~/Downloads/Keep")));
    // Removing the item directly is refused too, not only skipped by the listing.
    EXPECT_FALSE(manager->removeItemAtPath(keep, nullptr, nullptr));

    EXPECT_TRUE(manager->cleanDownloadsOlderThanDays(30, nullptr, nullptr));
    EXPECT_TRUE(exists(keep));
    EXPECT_TRUE(exists(keepFolder));
    EXPECT_FALSE(exists(keeper));
}

TEST_F(AutoCleanTest, LinksInsideDownloadsAreRemovedAsLinksAndTheirTargetsSurvive)
{
    const QString targetFile = mac.writeFile("Volumes/Data/precious.txt", "precious");
    const QString targetFolder = QFileInfo(targetFile).path();
    const QString fileLink =
        mac.makeSymlink(QStringLiteral("Users/alice/Downloads/file link"), targetFile);
    const QString folderLink =
        mac.makeSymlink(QStringLiteral("Users/alice/Downloads/folder link"), targetFolder);
    // The links are judged by their own age, not by their targets'.
    KSTFixtureMac::setModified(fileLink, daysAgo(60));
    KSTFixtureMac::setModified(folderLink, daysAgo(60));

    const auto manager = makeManager();
    quint64 files = 0;
    EXPECT_TRUE(manager->cleanDownloadsOlderThanDays(30, nullptr, &files));
    EXPECT_EQ(files, 2u);
    EXPECT_FALSE(QFileInfo(fileLink).isSymLink());
    EXPECT_FALSE(QFileInfo(folderLink).isSymLink());
    EXPECT_EQ(readFile(targetFile), QByteArray("precious"));
}

TEST_F(AutoCleanTest, EmptyingTheTrashLeavesHiddenEntriesAndNeverTouchPaths)
{
    const QString file = mac.writeHomeFile(".Trash/report.pdf", "x");
    const QString folder = QFileInfo(mac.writeHomeFile(".Trash/Old Project/a.txt", "x")).path();
    const QString dsStore = mac.writeHomeFile(".Trash/.DS_Store", "x");
    const QString hidden = mac.writeHomeFile(".Trash/.secret", "x");
    const QString kept = mac.writeHomeFile(".Trash/keep.txt", "x");

    const auto manager = makeManager();
    ASSERT_TRUE(manager->addWhitelistPath(kept));
    quint64 files = 0;
    EXPECT_TRUE(manager->emptyTrash(nullptr, &files));
    EXPECT_EQ(files, 2u);
    EXPECT_FALSE(exists(file));
    EXPECT_FALSE(exists(folder));
    EXPECT_TRUE(exists(dsStore));
    EXPECT_TRUE(exists(hidden));
    EXPECT_TRUE(exists(kept));
    EXPECT_FALSE(manager->emptyTrash(nullptr, &files));
}

TEST_F(AutoCleanTest, QualifyingScreenshotsMoveIntoTheArchiveUnderFreeNames)
{
    const QString macScreenshot =
        mac.writeHomeFile("Desktop/Screen Shot 2024-01-01 at 10.00.00.PNG", "png");
    const QString first = mac.writeHomeFile("Desktop/a screenshot.png", "first");
    const QString second = mac.writeHomeFile("Downloads/a screenshot.png", "second");
    const QString jpeg = mac.writeHomeFile("Downloads/my screenshot.jpeg", "jpeg");
    const QString gif = mac.writeHomeFile("Desktop/screenshot.gif", "gif");
    const QString capture = mac.writeHomeFile("Desktop/capture.png", "capture");
    const QString archive = mac.homePath("Pictures/Screenshots Archive");
    // The archive is made with its intermediate folders.
    ASSERT_TRUE(QDir(mac.homePath("Pictures")).removeRecursively());

    const auto manager = makeManager();
    quint64 bytes = 0;
    quint64 files = 0;
    EXPECT_TRUE(manager->archiveScreenshots(&bytes, &files));
    EXPECT_EQ(bytes, 0u); // moving frees nothing
    EXPECT_EQ(files, 4u);
    for (const QString &moved : {macScreenshot, first, second, jpeg})
        EXPECT_FALSE(exists(moved)) << moved.toStdString();
    EXPECT_TRUE(exists(gif));
    EXPECT_TRUE(exists(capture));
    QStringList archived = QDir(archive).entryList(QDir::Files);
    archived.sort();
    EXPECT_EQ(archived, QStringList({"Screen Shot 2024-01-01 at 10.00.00.PNG", "a screenshot 1.png",
                                     "a screenshot.png", "my screenshot.jpeg"}));
    // Desktop is taken first, so its file keeps the plain name.
    EXPECT_EQ(readFile(archive + "/a screenshot.png"), QByteArray("first"));
    EXPECT_EQ(readFile(archive + "/a screenshot 1.png"), QByteArray("second"));
}

TEST_F(AutoCleanTest, BrowserCachesGoWholeUnlessNeverTouch)
{
    const QStringList caches = {"Library/Caches/com.apple.Safari", "Library/Caches/Google/Chrome",
                                "Library/Caches/Firefox", "Library/Caches/org.mozilla.firefox"};
    quint64 expectedBytes = 0;
    for (const QString &cache : caches) {
        mac.writeSizedHomeFile(cache + "/Cache.db", 10000);
        mac.writeSizedHomeFile(cache + "/deep/blob", 2000);
        if (cache != QLatin1String("Library/Caches/Firefox"))
            expectedBytes += KSTPermissionChecker::fileSizeAtAccessiblePath(mac.homePath(cache));
    }
    const QString other = mac.writeHomeFile("Library/Caches/com.example.Other/c", "x");
    const QString google = mac.homePath("Library/Caches/Google");

    const auto manager = makeManager();
    ASSERT_TRUE(manager->addWhitelistPath(QStringLiteral("~/Library/Caches/Firefox")));
    quint64 bytes = 0;
    quint64 files = 0;
    EXPECT_TRUE(manager->cleanBrowserCaches(&bytes, &files));
    EXPECT_EQ(files, 3u); // each folder counts as one
    EXPECT_EQ(bytes, expectedBytes);
    EXPECT_FALSE(exists(mac.homePath(caches.at(0))));
    EXPECT_FALSE(exists(mac.homePath(caches.at(1))));
    EXPECT_FALSE(exists(mac.homePath(caches.at(3))));
    EXPECT_TRUE(exists(mac.homePath(caches.at(2))));
    EXPECT_TRUE(exists(google));
    EXPECT_TRUE(exists(other));
}

TEST_F(AutoCleanTest, IOSBackupsAreTrimmedToTheNewestTwoByFolderDate)
{
    const QString root = QStringLiteral("Library/Application Support/MobileSync/Backup/");
    // Names sort the other way round from the dates.
    const struct
    {
        const char *name;
        int age;
    } backups[] = {{"aaaa", 3}, {"bbbb", 100}, {"cccc", 10}};
    for (const auto &backup : backups) {
        const QString folder = root + QLatin1String(backup.name);
        mac.writeSizedHomeFile(folder + "/Manifest.db", 4096);
        KSTFixtureMac::setModified(mac.homePath(folder), daysAgo(backup.age));
    }

    const auto manager = makeManager();
    quint64 files = 0;
    EXPECT_TRUE(manager->trimIOSBackupsKeeping(2, nullptr, &files));
    EXPECT_EQ(files, 1u);
    EXPECT_TRUE(exists(mac.homePath(root + "aaaa")));
    EXPECT_FALSE(exists(mac.homePath(root + "bbbb")));
    EXPECT_TRUE(exists(mac.homePath(root + "cccc")));

    // Two backups: nothing happens.
    EXPECT_FALSE(manager->trimIOSBackupsKeeping(2, nullptr, &files));
    EXPECT_EQ(files, 1u);
    EXPECT_TRUE(exists(mac.homePath(root + "aaaa")));
    EXPECT_TRUE(exists(mac.homePath(root + "cccc")));
}

} // namespace
