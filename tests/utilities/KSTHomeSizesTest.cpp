// Home-folder sizes on a fixture Mac whose du logs its calls: du's figures, the privacy rule,
// folders that are missing or links, and du's failures.
#include "KSTUtilitiesTestSupport.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

class HomeSizesTest : public KSTUtilitiesTest
{
protected:
    struct Outcome
    {
        QList<KSTDiskFolderRecord> folders;
        quint64 total = 0;
        quint64 used = 0;
        bool onMainThread = false;
    };

    Outcome scan()
    {
        Outcome outcome;
        bool done = false;
        manager->scanHomeDirectoryFolderSizesWithCompletion(
            [&](const QList<KSTDiskFolderRecord> &folders, quint64 total, quint64 used) {
                outcome = {folders, total, used, KSTDispatch::isMainThread()};
                done = true;
            });
        EXPECT_TRUE(KSTTestSupport::pumpUntil([&done] { return done; }, 30'000));
        return outcome;
    }
};

TEST(HomeSizesOutput, LeadingKilobytesOfTheFirstPiece)
{
    const struct
    {
        QByteArray output;
        quint64 bytes;
    } cases[] = {
        {"123\t/Users/a/Documents\n", 123 * 1024},
        {"12 34\n", 12 * 1024},
        {"0\t/x\n", 0},
        {"", 0},
        {"du: cannot read\n", 0},
        {"-5\t/x", 0},
        {" 7\t/x", 0}, // the first piece is empty
        {"+9\t/x", 9 * 1024},
        {"99999999999999999999999\t/x", (std::numeric_limits<quint64>::max() / 1024) * 1024},
    };
    for (const auto &row : cases)
        EXPECT_EQ(KSTUtilitiesManager::folderSizeFromDuOutput(row.output), row.bytes)
            << row.output.toStdString();
}

TEST_F(HomeSizesTest, DuFiguresLargestFirstWithTheVolume)
{
    mac.addToolScript("/usr/bin/du", "case \"$4\" in\n"
                                     "*/Documents) printf '2048\\t%s\\n' \"$4\" ;;\n"
                                     "*/Downloads|*/Library) printf '10\\t%s\\n' \"$4\" ;;\n"
                                     "*/Desktop) printf '5\\t%s\\n' \"$4\"; exit 1 ;;\n"
                                     "*/Movies) ;;\n"
                                     "*) printf '4\\t%s\\n' \"$4\" ;;\n"
                                     "esac\n");
    mac.makeHomeDirectory("Applications");
    mac.writeFile("Elsewhere/big", "x");
    QDir().rmdir(mac.homePath("Public"));
    mac.makeSymlink("Users/alice/Public", mac.path("Elsewhere"));

    const Outcome outcome = scan();
    QStringList order;
    for (const KSTDiskFolderRecord &folder : outcome.folders)
        order << QStringLiteral("%1=%2").arg(folder.name).arg(folder.bytes);
    // Developer is missing and Public is a link: neither is listed. Music is never measured.
    EXPECT_EQ(order, (QStringList{"Documents=2097152", "Downloads=10240", "Library=10240",
                                  "Applications=4096", "Pictures=4096", "Desktop=0", "Movies=0",
                                  "Music=0"}));
    EXPECT_EQ(outcome.folders.first().path, mac.homePath("Documents"));
    const QStringList calls = mac.toolCalls("/usr/bin/du");
    EXPECT_EQ(calls.size(), 7);
    EXPECT_TRUE(calls.contains("-k -d 0 " + mac.homePath("Documents")));
    for (const QString &call : calls)
        EXPECT_FALSE(call.contains("Music")) << call.toStdString();
    EXPECT_GT(outcome.total, 0u);
    EXPECT_GE(outcome.total, outcome.used);
    EXPECT_TRUE(outcome.onMainThread);
}

TEST_F(HomeSizesTest, WithoutDuEveryFolderIsZero)
{
    const Outcome outcome = scan();
    ASSERT_FALSE(outcome.folders.isEmpty());
    for (const KSTDiskFolderRecord &folder : outcome.folders)
        EXPECT_EQ(folder.bytes, 0u) << folder.name.toStdString();
    // Equal sizes by name.
    for (qsizetype index = 1; index < outcome.folders.size(); ++index)
        EXPECT_LT(outcome.folders.at(index - 1).name, outcome.folders.at(index).name);
}

TEST_F(HomeSizesTest, FilesGiveTheirSizeWithoutDu)
{
    mac.addTool("/usr/bin/du", "999\t/x\n");
    const QString file = mac.writeHomeFile("Documents/file.bin", QByteArray(5000, 'f'));
    EXPECT_EQ(KSTUtilitiesManager::fastFolderSizeAtFilePath(file), 5000u);
    EXPECT_EQ(KSTUtilitiesManager::fastFolderSizeAtFilePath(mac.homePath("Music")), 0u);
    EXPECT_EQ(KSTUtilitiesManager::fastFolderSizeAtFilePath(mac.homePath("none")), 0u);
    EXPECT_EQ(KSTUtilitiesManager::fastFolderSizeAtFilePath(""), 0u);
    EXPECT_EQ(KSTUtilitiesManager::fastFolderSizeAtFilePath(mac.homePath("Documents")),
              999u * 1024);
    EXPECT_EQ(mac.toolCalls("/usr/bin/du").size(), 1);
}

} // namespace
