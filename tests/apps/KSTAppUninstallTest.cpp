// Uninstalls on fixture Macs: the refusals (100, 101, 102), what is safe and what stays, the
// collapse to topmost roots, partial success (104), paths gone or changed since the look-up,
// links, the default selection shared with the command line, and putting everything back.
#include "KSTAppTestSupport.h"
#include "KSTAppUninstallHistory.h"
#include "KSTAppUninstallSelection.h"
#include "KSTAppUninstaller.h"
#include "KSTFileName.h"
#include "KSTPreferences.h"
#include "KSTTreeListing.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

using KSTTestSupport::pumpUntil;
using Result = KSTAppUninstaller::Result;

class AppUninstallTest : public KSTAppsMachineTest
{
protected:
    void SetUp() override
    {
        KSTAppsMachineTest::SetUp();
        KSTAppUninstallHistory::forget();
    }

    KSTInstalledAppRecord lookUp(const QString &name)
    {
        const std::optional<KSTInstalledAppRecord> app = appNamed(discoverOnly(), name);
        EXPECT_TRUE(app) << name.toStdString();
        return app ? withRelatedPaths(*app) : KSTInstalledAppRecord();
    }

    Result uninstall(const KSTInstalledAppRecord &record)
    {
        std::optional<Result> result;
        KSTAppUninstaller(*engine).uninstallApp(
            record,
            std::function<void(const Result &)>([&result](const Result &done) { result = done; }));
        EXPECT_TRUE(pumpUntil([&result] { return result.has_value(); }, 30'000));
        return result.value_or(Result());
    }

    KSTTreeListing listing() const
    {
        return KSTTestSupport::listTree(QFile::encodeName(mac.root()));
    }

    QStringList changes(const KSTTreeListing &before) const
    {
        return KSTTestSupport::treeDifferences(before, listing(),
                                               [](const QByteArray &) { return false; });
    }

    QString trashed(const QString &name) const { return mac.homePath(".Trash/" + name); }
};

TEST_F(AppUninstallTest, RefusalsComeBeforeAnythingIsTouched)
{
    const QString system = addApp(QStringLiteral("Chess"), QStringLiteral("com.apple.Chess"), 4096,
                                  QStringLiteral("System/Applications"));
    mac.writeSizedHomeFile(QStringLiteral("Library/Containers/com.apple.Chess/x"), 4096);
    // A copy outside both application folders and the home: nothing of it may be removed.
    const QString stray = addApp(QStringLiteral("Stray"), QStringLiteral("com.example.stray"), 4096,
                                 QStringLiteral("opt/Stray"));
    mac.writeFile(QStringLiteral("Users/Shared/com.example.stray/data"), "shared");
    const KSTTreeListing before = listing();

    KSTInstalledAppRecord chess = lookUp(QStringLiteral("Chess"));
    ASSERT_EQ(chess.relatedPaths.size(), 1);
    KSTInstalledAppRecord missing = chess;
    missing.source = 1;
    missing.bundlePath.clear();
    KSTInstalledAppRecord strayRecord;
    strayRecord.name = QStringLiteral("Stray");
    strayRecord.bundleIdentifier = QStringLiteral("com.example.stray");
    strayRecord.bundlePath = stray;
    strayRecord = withRelatedPaths(strayRecord);
    ASSERT_EQ(strayRecord.relatedPaths.size(), 1);
    EXPECT_FALSE(strayRecord.relatedPaths.first().isRemovable);

    const struct
    {
        const char *name;
        KSTInstalledAppRecord record;
        qint64 code;
        const char *text;
    } cases[] = {
        {"system", chess, 100, "System apps cannot be uninstalled."},
        {"noBundlePath", missing, 101, "Application bundle path is missing."},
        {"nothingSafe", strayRecord, 102, "Nothing found to uninstall."},
    };
    for (const auto &refused : cases) {
        const Result result = uninstall(refused.record);
        EXPECT_FALSE(result.success) << refused.name;
        EXPECT_EQ(result.removedCount, 0u);
        ASSERT_TRUE(result.error) << refused.name;
        EXPECT_EQ(result.error->domain, QStringLiteral("KSTSystemInfo"));
        EXPECT_EQ(result.error->code, refused.code) << refused.name;
        EXPECT_EQ(result.error->description, QString::fromUtf8(refused.text));
        EXPECT_FALSE(result.error->userInfo.contains(QStringLiteral("failedPaths")));
    }
    EXPECT_EQ(changes(before), QStringList());
    EXPECT_TRUE(KSTAppUninstallHistory::lastUninstallItems().isEmpty());
    Q_UNUSED(system)
}

TEST_F(AppUninstallTest, SafePathsAreTheHomeTheAppFoldersAndReceipts)
{
    const struct
    {
        QString path;
        bool safe;
    } cases[] = {
        {QString(), false},
        {QStringLiteral("/"), false},
        {mac.root(), false},
        {mac.path("Applications/Notes.app"), true},
        {mac.path("Applications/Utilities/Terminal.app"), true},
        {mac.path("Applications/Tools"), false},
        {mac.path("Applications/Notes.app/Contents/Info.plist"), false},
        {mac.path("Applications/../Users/Shared/Notes.app"), false},
        {mac.path("System/Applications/Notes.app"), false},
        {mac.homePath("Applications/Notes.app"), true},
        {mac.homePath("Library/Caches/com.example.notes"), true},
        {mac.home(), false},
        {mac.path("Users/Shared/Notes"), false},
        {mac.path("private/var/folders/ab/T/com.example.notes"), false},
        {mac.path("private/var/db/BootCaches/com.example.notes"), false},
        {mac.path("private/var/db/receipts/com.example.notes.bom"), true},
        {mac.path("private/var/db/receipts"), false},
        {mac.path("Library/Application Support/Notes"), false},
        {QStringLiteral("/Applications/Notes.app"), false},
    };
    for (const auto &candidate : cases)
        EXPECT_EQ(KSTAppUninstaller::isSafeUninstallPath(candidate.path), candidate.safe)
            << candidate.path.toStdString();
}

TEST_F(AppUninstallTest, NestedPathsCollapseToTheirTopmostRootsDeepestFirst)
{
    EXPECT_EQ(
        KSTAppUninstaller::minimalRootPathsFromPaths(
            {"/h/Library/Containers/com.x/Data", "/h/Library/Containers/com.x",
             "/h/Library/Containers/com.x", "/h/Library/Caches/com.x", "/h/Library/Cachesque",
             "/Applications/X.app", "/h/Library/Containers/com.xy"}),
        (QStringList{"/h/Library/Containers/com.xy", "/h/Library/Containers/com.x",
                     "/h/Library/Caches/com.x", "/h/Library/Cachesque", "/Applications/X.app"}));
    EXPECT_TRUE(KSTAppUninstaller::minimalRootPathsFromPaths({}).isEmpty());
}

TEST_F(AppUninstallTest, TwoMovesAndOneRefusalSucceedWith104AndSharedFilesStay)
{
    const QString bundle = addApp(QStringLiteral("Notes"), QStringLiteral("com.example.notes"));
    mac.writeSizedHomeFile(QStringLiteral("Library/Containers/com.example.notes/Data/db"), 4096);
    const QString changing =
        mac.writeSizedHomeFile(QStringLiteral("Library/Preferences/com.example.notes.plist"), 4096);
    mac.writeFile(QStringLiteral("Users/Shared/com.example.notes/shared.db"), "shared");
    mac.writeFile(QStringLiteral("private/var/folders/ab/cd/T/com.example.notes/t"), "tmp");

    KSTInstalledAppRecord notes = lookUp(QStringLiteral("Notes"));
    ASSERT_EQ(notes.relatedPaths.size(), 4);
    // The preferences change after the look-up: the guard leaves them, as a failed path.
    QFile file(changing);
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("changed");
    file.close();

    const Result result = uninstall(notes);
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.removedCount, 2u);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->code, 104);
    EXPECT_EQ(result.error->description,
              QStringLiteral("Removed 2 item(s), but some related files could not be deleted."));
    EXPECT_EQ(result.error->userInfo.value(QStringLiteral("failedPaths")).toStringList(),
              QStringList{changing});
    EXPECT_TRUE(QFile::exists(trashed("Notes.app/Contents/Info.plist")));
    EXPECT_TRUE(QFile::exists(trashed("com.example.notes/Data/db")));
    EXPECT_FALSE(QFile::exists(bundle));
    EXPECT_TRUE(QFile::exists(changing));
    EXPECT_TRUE(QFile::exists(mac.path("Users/Shared/com.example.notes/shared.db")));
    EXPECT_TRUE(QFile::exists(mac.path("private/var/folders/ab/cd/T/com.example.notes/t")));
    EXPECT_EQ(info.cachedRelatedPathScanIndex(), nullptr);
    EXPECT_EQ(KSTAppUninstallHistory::lastUninstallItems().size(), 2);
}

TEST_F(AppUninstallTest, WhatIsGoneIsSkippedWhatMovedStaysMovedAndLinksMoveAsLinks)
{
    addApp(QStringLiteral("Tool"), QStringLiteral("com.example.tool"));
    mac.writeFile(QStringLiteral("Victim/precious"), "precious");
    mac.makeSymlink(QStringLiteral("Users/alice/Library/Caches/com.example.tool"),
                    mac.path(QStringLiteral("Victim")));
    const QString gone =
        mac.writeSizedHomeFile(QStringLiteral("Library/Logs/com.example.tool/log"), 4096);
    KSTInstalledAppRecord tool = lookUp(QStringLiteral("Tool"));
    ASSERT_EQ(tool.relatedPaths.size(), 2);
    ASSERT_TRUE(QDir(mac.homePath("Library/Logs/com.example.tool")).removeRecursively());
    Q_UNUSED(gone)

    const Result result = uninstall(tool);
    EXPECT_TRUE(result.success);
    EXPECT_EQ(result.removedCount, 2u);
    EXPECT_FALSE(result.error) << result.error->description.toStdString();
    EXPECT_EQ(QFileInfo(trashed("com.example.tool")).symLinkTarget(), mac.path("Victim"));
    EXPECT_TRUE(QFile::exists(mac.path("Victim/precious")));
}

TEST_F(AppUninstallTest, NothingMovedFails103WithTheFailedPaths)
{
    const QString bundle = addApp(QStringLiteral("Kept"), QStringLiteral("com.example.kept"));
    KSTInstalledAppRecord kept = lookUp(QStringLiteral("Kept"));
    // The bundle was replaced after discovery (an update): it is not what was listed.
    ASSERT_TRUE(QDir().rename(bundle, bundle + ".previous"));
    addApp(QStringLiteral("Kept"), QStringLiteral("com.example.kept"));

    const Result result = uninstall(kept);
    EXPECT_FALSE(result.success);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->code, 103);
    EXPECT_EQ(result.error->description,
              QStringLiteral("Could not remove the application or its related files."));
    EXPECT_EQ(result.error->userInfo.value(QStringLiteral("failedPaths")).toStringList(),
              QStringList{bundle});
    EXPECT_TRUE(QFile::exists(bundle + "/Contents/Info.plist"));
}

TEST_F(AppUninstallTest, TheSelectionTicksStrongRemovablePathsOnly)
{
    addApp(QStringLiteral("Go"), QStringLiteral("com.example.go"), 65536);
    for (const char *file :
         {"Library/Containers/com.google.Chrome/x", "Library/Caches/com.example.go/c"})
        mac.writeSizedHomeFile(QString::fromUtf8(file), 4096);
    mac.writeFile(QStringLiteral("Users/Shared/com.example.go/shared"), "s");
    const KSTInstalledAppRecord go = lookUp(QStringLiteral("Go"));
    ASSERT_EQ(go.relatedPaths.size(), 3);

    KSTAppUninstallSelection selection(*engine);
    selection.setApp(go, info.cachedAppInventorySnapshot()->apps);
    const QString chrome = mac.homePath("Library/Containers/com.google.Chrome");
    const QString caches = mac.homePath("Library/Caches/com.example.go");
    const QString shared = mac.path("Users/Shared/com.example.go");
    EXPECT_TRUE(selection.isTicked(go.bundlePath));
    EXPECT_FALSE(selection.isTickable(go.bundlePath));
    EXPECT_TRUE(selection.isTicked(caches));
    EXPECT_FALSE(selection.isTicked(chrome));
    EXPECT_TRUE(selection.isTickable(chrome));
    EXPECT_FALSE(selection.isTickable(shared));
    EXPECT_FALSE(selection.setTicked(shared, true));
    EXPECT_FALSE(selection.setTicked(mac.homePath("Documents"), true));
    EXPECT_EQ(selection.uninstallPaths(), (QStringList{caches, go.bundlePath}));
    EXPECT_EQ(selection.confirmationMessage(), QStringLiteral("Uninstall “Go”?"));

    ASSERT_TRUE(selection.setTicked(chrome, true));
    const KSTInstalledAppRecord handedOver = selection.recordForUninstall();
    EXPECT_EQ(handedOver.relatedPaths.size(), 2);
    EXPECT_TRUE(handedOver.relatedPathsLoaded);
    EXPECT_EQ(selection.uninstallPaths().size(), 3);
    ASSERT_TRUE(selection.setTicked(chrome, false));

    std::optional<KSTAppUninstallOutcome> outcome;
    ASSERT_TRUE(selection.startUninstall(
        [&outcome](const KSTAppUninstallOutcome &done) { outcome = done; }));
    EXPECT_FALSE(selection.canUninstall());
    ASSERT_TRUE(pumpUntil([&outcome] { return outcome.has_value(); }));
    EXPECT_TRUE(outcome->success);
    EXPECT_EQ(outcome->alert, KSTAppUninstallOutcome::Alert::None);
    EXPECT_EQ(outcome->message, QStringLiteral("Uninstalled “Go”"));
    EXPECT_FALSE(outcome->needsRescan);
    EXPECT_TRUE(QFile::exists(chrome + "/x"));
    EXPECT_TRUE(QFile::exists(shared + "/shared"));
    EXPECT_FALSE(QFile::exists(caches));
    EXPECT_TRUE(info.cachedAppInventorySnapshot()->apps.isEmpty());
}

TEST_F(AppUninstallTest, WithAnotherCopyInstalledOnlyTheBundleGoes)
{
    const QString first = addApp(QStringLiteral("Twin"), QStringLiteral("com.example.twin"));
    addApp(QStringLiteral("Twin"), QStringLiteral("com.example.twin"), 4096,
           QStringLiteral("Users/alice/Desktop"));
    const QString caches =
        mac.writeSizedHomeFile(QStringLiteral("Library/Caches/com.example.twin/c"), 4096);
    const SnapshotPtr snapshot = discoverOnly();
    ASSERT_EQ(snapshot->apps.size(), 2);
    KSTInstalledAppRecord twin =
        snapshot->apps.first().bundlePath == first ? snapshot->apps.first() : snapshot->apps.last();
    twin = withRelatedPaths(twin);

    KSTAppUninstallSelection selection(*engine);
    selection.setApp(twin, snapshot->apps);
    EXPECT_TRUE(selection.isAnotherCopyInstalled());
    EXPECT_EQ(selection.uninstallPaths(), QStringList{first});
    EXPECT_FALSE(selection.setTicked(QFileInfo(caches).path(), true));

    std::optional<KSTAppUninstallOutcome> outcome;
    selection.startUninstall([&outcome](const KSTAppUninstallOutcome &done) { outcome = done; });
    ASSERT_TRUE(pumpUntil([&outcome] { return outcome.has_value(); }));
    EXPECT_TRUE(outcome->success);
    EXPECT_TRUE(outcome->needsRescan);
    EXPECT_TRUE(QFile::exists(caches));
    EXPECT_FALSE(QFile::exists(first));
}

TEST_F(AppUninstallTest, PutBackRestoresWhatIsStillInTheTrashNeverReplacingAnything)
{
    const QString bundle = addApp(QStringLiteral("Back"), QStringLiteral("com.example.back"));
    const QString caches =
        mac.writeSizedHomeFile(QStringLiteral("Library/Caches/com.example.back/c"), 4096);
    const QString logs =
        mac.writeSizedHomeFile(QStringLiteral("Library/Logs/com.example.back/l"), 4096);
    const QString preferences =
        mac.writeSizedHomeFile(QStringLiteral("Library/Preferences/com.example.back.plist"), 4096);
    const KSTTreeListing before = listing();
    const Result result = uninstall(lookUp(QStringLiteral("Back")));
    ASSERT_TRUE(result.success);
    ASSERT_EQ(result.removedCount, 4u);

    // One item came back by itself, one in the Trash was changed: both stay where they are.
    KSTTestSupport::writeFile(logs, "a new log");
    QFile changed(trashed("com.example.back.plist"));
    ASSERT_TRUE(changed.open(QIODevice::Append));
    changed.write("x");
    changed.close();

    std::optional<KSTAppUninstallHistory::PutBackResult> putBack;
    KSTAppUninstaller(*engine).putBackLastUninstall(
        [&putBack](const KSTAppUninstallHistory::PutBackResult &done) { putBack = done; });
    ASSERT_TRUE(pumpUntil([&putBack] { return putBack.has_value(); }));
    QStringList restored = putBack->restoredPaths;
    std::sort(restored.begin(), restored.end());
    EXPECT_EQ(restored, (QStringList{bundle, QFileInfo(caches).path()}));
    QStringList skipped = putBack->skippedPaths;
    std::sort(skipped.begin(), skipped.end());
    EXPECT_EQ(skipped, (QStringList{QFileInfo(logs).path(), preferences}));
    EXPECT_EQ(KSTTestSupport::readFile(logs), "a new log");
    // Both folders were called com.example.back; the second one to leave was numbered.
    EXPECT_TRUE(QFile::exists(trashed("com.example.back 2/l")));
    EXPECT_TRUE(KSTAppUninstallHistory::lastUninstallItems().isEmpty());
    EXPECT_EQ(info.cachedAppInventorySnapshot(), nullptr);

    const QStringList differences =
        KSTTestSupport::treeDifferences(before, listing(), [](const QByteArray &path) {
            return path.contains("com.example.back.plist") ||
                   path.contains("Logs/com.example.back") ||
                   path.contains(".Trash/com.example.back");
        });
    EXPECT_EQ(differences, QStringList());
}

TEST_F(AppUninstallTest, TheHistoryKeepsNamesThatAreNotUtf8)
{
    const QString odd = KSTFileName::decoded(QByteArray("/h/caf\xe9 \n.app"));
    KSTFileIdentity identity;
    identity.kind = KSTFileIdentity::Kind::Link;
    identity.device = 0xFFFFFFFFFFFFull;
    identity.inode = 123456789012345ull;
    identity.size = 17;
    identity.modifiedSeconds = -5;
    identity.modifiedNanoseconds = 999999999;
    const QList<KSTAppUninstallHistory::Item> items = {
        {odd, KSTFileName::decoded(QByteArray("/h/.Trash/caf\xe9 \n.app")), identity},
        {QStringLiteral("/h/b"), QStringLiteral("/h/.Trash/b"), KSTFileIdentity()}};
    KSTAppUninstallHistory::remember(items);
    EXPECT_EQ(KSTAppUninstallHistory::lastUninstallItems(), items);
    EXPECT_EQ(
        KSTFileName::encoded(KSTAppUninstallHistory::lastUninstallItems().first().originalPath),
        QByteArray("/h/caf\xe9 \n.app"));

    // A damaged entry is left out rather than guessed at.
    const std::unique_ptr<QSettings> settings = KSTPreferences::standard();
    settings->setValue(
        QStringLiteral("KSTLastUninstallItems"),
        QVariantList{QVariantMap{{QStringLiteral("originalPath"), QByteArray("rel")}}});
    settings->sync();
    EXPECT_TRUE(KSTAppUninstallHistory::lastUninstallItems().isEmpty());
}

} // namespace
