// Secure erase on fixture Macs: which paths are protected (also through links and ".."),
// what each kind of entry becomes, that nothing is followed through a link, that a file with
// other names is only unlinked, and the job's order, progress and stop at the first failure.
#include "KSTPreferences.h"
#include "KSTSecureEraseModel.h"
#include "KSTSecureEraser.h"
#include "KSTTreeListing.h"
#include "KSTUtilitiesTestSupport.h"

#include <QDir>
#include <QFile>
#include <QSettings>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

class SecureEraseTest : public KSTUtilitiesTest
{
protected:
    struct Outcome
    {
        bool success = false;
        std::optional<KSTError> error;
        QStringList progress;
    };

    Outcome erase(const QStringList &paths, quint64 passes = 1)
    {
        Outcome outcome;
        bool done = false;
        manager->secureErasePaths(
            paths, passes, [&outcome](const QString &text) { outcome.progress << text; },
            [&](bool success, const std::optional<KSTError> &error) {
                outcome.success = success;
                outcome.error = error;
                done = true;
            });
        EXPECT_TRUE(KSTTestSupport::pumpUntil([&done] { return done; }, 60'000));
        return outcome;
    }

    static bool exists(const QString &path)
    {
        struct stat status = {};
        return ::lstat(QFile::encodeName(path).constData(), &status) == 0;
    }
};

TEST_F(SecureEraseTest, ProtectedRootsHoldOnTheHostAndUnderTheRoot)
{
    mac.makeDirectory("usr/local/bin");
    mac.makeDirectory("System/Library");
    mac.makeHomeDirectory("Documents");
    mac.makeSymlink("Users/alice/Documents/tools", mac.path("usr/local"));
    mac.makeSymlink("Users/alice/Documents/hostvar", "/var");
    const QString home = mac.home();
    const struct
    {
        QString path;
        bool isProtected;
    } cases[] = {
        {"/", true},
        {"/usr/local/x", true},
        {"/private/var/log", true},
        {"/var", true},
        {"/System", true},
        {"/sbin/x", true},
        {"/tmp/x", false},
        {"/Users/a/x", false},
        {"/usrlocal", false},
        {mac.root(), true},
        {mac.path("System/Library/x"), true},
        {mac.path("usr"), true},
        {mac.path("private/tmp/x"), true},
        {home + "/Documents/x", false},
        {home + "/../../usr/bin", true},
        {home + "/Documents/../../../var/x", true},
        {home + "/Documents/tools/bin", true},
        {home + "/Documents/hostvar/log", true},
        {home + "/Documents/tools", false}, // the link itself is the user's entry
    };
    for (const auto &row : cases)
        EXPECT_EQ(manager->isProtectedSystemPath(row.path), row.isProtected)
            << row.path.toStdString();
    EXPECT_EQ(KSTUtilitiesManager::standardizedPath("/private/var/log"), "/var/log");
    EXPECT_EQ(KSTUtilitiesManager::standardizedPath("~/Documents/./a/../b"), home + "/Documents/b");
}

TEST_F(SecureEraseTest, APassWritesZerosOnesOrRandomBytes)
{
    const struct
    {
        quint64 passes;
        QList<int> fills; // -1: random
    } cases[] = {
        {1, {-1}},
        {3, {0x00, 0xFF, -1}},
        {7, {0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, -1}},
    };
    for (const auto &row : cases) {
        for (quint64 pass = 0; pass < row.passes; ++pass) {
            QByteArray buffer(4096, '\x5a');
            ASSERT_TRUE(
                KSTSecureEraser::fillForPass(buffer.data(), buffer.size(), pass, row.passes));
            const int fill = row.fills.at(qsizetype(pass));
            if (fill >= 0) {
                EXPECT_EQ(buffer, QByteArray(4096, char(fill))) << row.passes << ' ' << pass;
            } else {
                EXPECT_NE(buffer, QByteArray(4096, '\x5a'));
                EXPECT_GT(buffer.count('\0'), 0) << "4096 random bytes hold a zero";
                EXPECT_LT(buffer.count('\0'), 100);
            }
        }
    }
}

TEST_F(SecureEraseTest, AnOpenHandleSeesNewBytesAtTheSameLength)
{
    const QByteArray original(3 * 1024 * 1024 + 17, 'A');
    const QString path = mac.writeHomeFile("Documents/secret.txt", original);
    for (const int index : {0, 1, 2}) {
        const QString file =
            mac.writeHomeFile(QStringLiteral("Documents/s%1.txt").arg(index), original);
        QFile handle(file);
        ASSERT_TRUE(handle.open(QIODevice::ReadOnly));
        const Outcome outcome = erase({file}, KSTSecureEraseModel::passesForMenuIndex(index));
        ASSERT_TRUE(outcome.success) << outcome.error->description.toStdString();
        EXPECT_FALSE(exists(file));
        const QByteArray seen = handle.readAll();
        EXPECT_EQ(seen.size(), original.size());
        // Random bytes hold about one "A" in 256.
        EXPECT_LT(seen.count('A'), original.size() / 64);
    }
    EXPECT_TRUE(exists(path));
}

TEST_F(SecureEraseTest, LinksAreRemovedAsLinksAndTheirTargetsSurvive)
{
    const QString outside = mac.writeFile("Outside/precious.txt", "precious");
    mac.writeFile("Outside/folder/deep.txt", "deep");
    mac.makeSymlink("Users/alice/Documents/file-link", outside);
    mac.makeSymlink("Users/alice/Documents/Chosen/folder-link", mac.path("Outside/folder"));
    mac.makeSymlink("Users/alice/Documents/Chosen/dangling", mac.path("Outside/none"));
    mac.writeHomeFile("Documents/Chosen/own.txt", "own");
    ::mkfifo(QFile::encodeName(mac.homePath("Documents/Chosen/pipe")).constData(), 0644);
    const KSTTreeListing before = KSTTestSupport::listTree(QFile::encodeName(mac.path("Outside")));

    const Outcome outcome =
        erase({mac.homePath("Documents/file-link"), mac.homePath("Documents/Chosen")}, 3);
    ASSERT_TRUE(outcome.success) << outcome.error->description.toStdString();
    EXPECT_FALSE(exists(mac.homePath("Documents/file-link")));
    EXPECT_FALSE(exists(mac.homePath("Documents/Chosen")));
    EXPECT_EQ(KSTTestSupport::listTree(QFile::encodeName(mac.path("Outside"))), before);
    EXPECT_EQ(outcome.progress, (QStringList{"Erasing file-link…", "Erasing Chosen…"}));
}

TEST_F(SecureEraseTest, AFileWithOtherNamesIsOnlyUnlinked)
{
    const QString kept = mac.writeHomeFile("Documents/kept.txt", "shared data");
    const QString chosen = mac.homePath("Desktop/chosen.txt");
    QDir().mkpath(mac.homePath("Desktop"));
    ASSERT_EQ(::link(QFile::encodeName(kept).constData(), QFile::encodeName(chosen).constData()),
              0);
    const QString empty = mac.writeHomeFile("Desktop/empty.txt", "");
    const Outcome outcome = erase({chosen, empty});
    ASSERT_TRUE(outcome.success);
    EXPECT_FALSE(exists(chosen));
    EXPECT_FALSE(exists(empty));
    EXPECT_EQ(KSTTestSupport::readFile(kept), "shared data");
}

TEST_F(SecureEraseTest, TheJobStopsAtTheFirstFailure)
{
    const QString first = mac.writeHomeFile("Documents/a.txt", "a");
    const QString missing = mac.homePath("Documents/missing.txt");
    const QString third = mac.writeHomeFile("Documents/c.txt", "c");
    const Outcome outcome = erase({first, missing, third});
    EXPECT_FALSE(outcome.success);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->domain, "NSCocoaErrorDomain");
    EXPECT_EQ(outcome.error->code, 4);
    EXPECT_FALSE(exists(first));
    EXPECT_EQ(KSTTestSupport::readFile(third), "c");
    EXPECT_EQ(outcome.progress, (QStringList{"Erasing a.txt…", "Erasing missing.txt…"}));
    EXPECT_EQ(KSTSecureEraseModel::resultText(outcome.success, outcome.error),
              outcome.error->description);
}

TEST_F(SecureEraseTest, AProtectedPathChangesNothing)
{
    mac.makeDirectory("usr/share");
    const QString victim = mac.writeFile("usr/share/data.txt", "system");
    const QString first = mac.writeHomeFile("Documents/a.txt", "a");
    mac.makeSymlink("Users/alice/Documents/share", mac.path("usr/share"));
    for (const QString &path :
         {mac.path("usr/share/data.txt"), mac.homePath("Documents/share/data.txt"),
          mac.homePath("Documents/../../../usr/share/data.txt")}) {
        const Outcome outcome = erase({path, first});
        EXPECT_FALSE(outcome.success);
        ASSERT_TRUE(outcome.error);
        EXPECT_EQ(outcome.error->code, KSTUtilitiesManager::ProtectedErasePath);
        EXPECT_TRUE(outcome.error->description.startsWith("Cannot erase protected system path: "));
        EXPECT_TRUE(outcome.progress.isEmpty());
        EXPECT_EQ(KSTTestSupport::readFile(victim), "system");
        EXPECT_TRUE(exists(first));
        KSTSecureEraseModel model(*manager);
        EXPECT_TRUE(model.refusalForPaths({first, path})
                        .value_or("")
                        .startsWith("Cannot erase protected path: "));
    }
}

TEST_F(SecureEraseTest, KernelStateIsNeverWrittenTo)
{
    // Read-only places of /proc, so that nothing could change even if the refusal failed.
    for (const QString &path :
         {QStringLiteral("/proc/self/fdinfo"), QStringLiteral("/proc/self/status")}) {
        const Outcome outcome = erase({path});
        EXPECT_FALSE(outcome.success);
        ASSERT_TRUE(outcome.error);
        EXPECT_EQ(outcome.error->code, KSTUtilitiesManager::ProtectedErasePath)
            << path.toStdString();
        EXPECT_TRUE(outcome.progress.isEmpty());
    }
}

TEST_F(SecureEraseTest, AVolumeIsEmptiedButKeepsItsFourNamesAndItsRoot)
{
    const QString volume = mac.makeDirectory("Volumes/USB");
    for (const char *kept : {".Trashes/501/x", ".fseventsd/log", ".Spotlight-V100/store"})
        mac.writeFile(QStringLiteral("Volumes/USB/") + kept, "kept");
    mac.writeFile("Volumes/USB/.DS_Store", "kept");
    mac.writeFile("Volumes/USB/photo.jpg", "photo");
    mac.writeFile("Volumes/USB/folder/inner.txt", "inner");
    mac.writeFile("Volumes/USB/.hidden", "hidden");
    EXPECT_TRUE(manager->isVolumeMountPoint(volume));
    EXPECT_FALSE(manager->isVolumeMountPoint(mac.path("Volumes/USB/folder")));
    KSTSecureEraseModel model(*manager);
    EXPECT_EQ(model.confirmationInformativeText({mac.homePath("x"), volume}),
              "All files on the selected volume will be securely overwritten and deleted. This "
              "cannot be undone.");

    const Outcome outcome = erase({volume});
    ASSERT_TRUE(outcome.success) << outcome.error->description.toStdString();
    QStringList left =
        QDir(volume).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    left.sort();
    EXPECT_EQ(left, (QStringList{".DS_Store", ".Spotlight-V100", ".Trashes", ".fseventsd"}));
    EXPECT_EQ(KSTTestSupport::readFile(mac.path("Volumes/USB/.Trashes/501/x")), "kept");
}

TEST_F(SecureEraseTest, NeverTouchEntriesAndLibrariesStopTheJobBeforeTheyAreTouched)
{
    const QString keep = mac.writeHomeFile("Documents/Project/keep.txt", "keep");
    mac.writeHomeFile("Documents/Project/other.txt", "other");
    const QString library =
        mac.writeHomeFile("Documents/Album/Photos Library.photoslibrary/db", "photos");
    {
        const std::unique_ptr<QSettings> stored =
            KSTPreferences::suite(QStringLiteral("com.kestrel.autoclean"));
        stored->setValue("whitelistPaths", QStringList{"~/Documents/Project/keep.txt"});
        stored->sync();
    }
    for (const QString &chosen :
         {mac.homePath("Documents/Project"), mac.homePath("Documents/Album")}) {
        const Outcome outcome = erase({chosen});
        EXPECT_FALSE(outcome.success);
        ASSERT_TRUE(outcome.error);
        EXPECT_EQ(outcome.error->domain, "KSTRemovalGuard");
    }
    EXPECT_EQ(KSTTestSupport::readFile(keep), "keep");
    EXPECT_EQ(KSTTestSupport::readFile(library), "photos");
    EXPECT_EQ(KSTTestSupport::readFile(mac.homePath("Documents/Project/other.txt")), "other");
    KSTPreferences::suite(QStringLiteral("com.kestrel.autoclean"))->remove("whitelistPaths");
}

TEST_F(SecureEraseTest, APreviewCountsWithoutTouching)
{
    mac.writeHomeFile("Documents/Chosen/a.bin", QByteArray(10, 'a'));
    mac.writeHomeFile("Documents/Chosen/sub/b.bin", QByteArray(20, 'b'));
    const QString shared = mac.writeHomeFile("Documents/shared.txt", "shared");
    ASSERT_EQ(::link(QFile::encodeName(shared).constData(),
                     QFile::encodeName(mac.homePath("Documents/Chosen/twin.txt")).constData()),
              0);
    mac.makeSymlink("Users/alice/Documents/Chosen/link", mac.path("Outside"));
    ::mkfifo(QFile::encodeName(mac.homePath("Documents/Chosen/pipe")).constData(), 0644);
    const KSTTreeListing before = KSTTestSupport::listTree(QFile::encodeName(mac.root()));
    KSTSecureEraseModel model(*manager);
    const KSTSecureEraseModel::Preview preview = model.preview({mac.homePath("Documents/Chosen")});
    EXPECT_EQ(preview.filesToOverwrite, 2u);
    EXPECT_EQ(preview.bytesToOverwrite, 30u);
    EXPECT_EQ(preview.entriesOnlyRemoved, 5u); // the twin, the link, the FIFO, two folders
    EXPECT_EQ(KSTSecureEraseModel::previewText(preview),
              "2 file(s), 30.0 B to overwrite; 5 item(s) only removed");
    EXPECT_EQ(KSTTestSupport::listTree(QFile::encodeName(mac.root())), before);
}

TEST(SecureEraseModel, MenuAndTexts)
{
    const struct
    {
        int index;
        quint64 passes;
    } cases[] = {{0, 1}, {1, 3}, {2, 7}, {3, 1}, {-1, 1}};
    for (const auto &row : cases)
        EXPECT_EQ(KSTSecureEraseModel::passesForMenuIndex(row.index), row.passes) << row.index;
    EXPECT_EQ(KSTSecureEraseModel::resultText(false, std::nullopt), "Erase failed.");
}

} // namespace
