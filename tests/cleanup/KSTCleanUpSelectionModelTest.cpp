// The Clean Up screen's contract without widgets: what the user may tick, what a removal is
// handed, the confirmation texts, the in-progress flag and the outcome afterwards.
#include "KSTCleanUpSelectionModel.h"

#include "KSTCleanUpEngine.h"
#include "KSTDispatch.h"
#include "KSTEnvironment.h"
#include "KSTMachineTest.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using Model = KSTCleanUpSelectionModel;

namespace {

constexpr quint64 GiB = 1024ull * 1024 * 1024;
const QString Home = QStringLiteral("/Users/alice");

KSTCleanUpItem item(const QString &name, const QString &path, quint64 bytes)
{
    return {name, {}, path, bytes, true, {}};
}

// An item standing for entries other than its own path, as the Downloads folder's contents
// and the Installer Packages do.
KSTCleanUpItem itemOf(const QString &name, const QString &path, const QStringList &targets,
                      quint64 bytes)
{
    KSTCleanUpItem result = item(name, path, bytes);
    for (const QString &target : targets)
        result.targets << KSTCleanUpTarget{target, std::nullopt, bytes / quint64(targets.size())};
    return result;
}

QStringList pathsOf(const QList<KSTCleanUpItem> &items)
{
    QStringList paths;
    for (const KSTCleanUpItem &item : items)
        paths << item.filePath;
    return paths;
}

QString informative(int items)
{
    return QStringLiteral("%1 selected item(s) will be moved to the Trash or permanently removed "
                          "from the Mac Trash.")
        .arg(items);
}

// Four categories as the scan makes them, with a summary row the review list also shows.
std::shared_ptr<KSTCleanUpSnapshot> handMadeSnapshot()
{
    auto snapshot = std::make_shared<KSTCleanUpSnapshot>();
    const QList<KSTCleanUpItem> junk = {item("Caches. a", Home + "/Library/Caches/a", GiB),
                                        item("Logs", Home + "/Library/Logs", 0),
                                        item("Time Machine Snapshots", "/", 6 * GiB)};
    const QList<KSTCleanUpItem> trashes = {
        item("Mac Trash", Home + "/.Trash", 100),
        item("Failed downloads", Home + "/Downloads/.kst-failed-downloads-preview", 300),
        item("a.download", Home + "/Downloads/a.download", 300),
        item("b.download", Home + "/Downloads/b.download", 0)};
    const QList<KSTCleanUpItem> removable = {
        itemOf("Downloads folder", Home + "/Downloads",
               {Home + "/Downloads/a.download", Home + "/Downloads/notes"}, 2 * GiB),
        itemOf("Installer Packages", Home + "/Downloads", {Home + "/Downloads/setup.dmg"}, GiB)};
    snapshot->categories = {{"systemJunk", "System Junks", {}, {}, junk, GiB},
                            {"trashes", "Trashes", {}, {}, trashes, 400},
                            {"largeFiles", "Large Files", {}, {}, QList<KSTCleanUpItem>(), 0},
                            {"removable", "Removable Data", {}, removable, std::nullopt, 3 * GiB}};
    return snapshot;
}

TEST(CleanUpSelectionTest, ReductionPassesAFolderOrAPathOnlyOnce)
{
    const struct
    {
        const char *name;
        QStringList paths;
        QStringList kept;
    } cases[] = {
        {"a folder and something inside it",
         {Home + "/Downloads/a.download", Home + "/Downloads"},
         {Home + "/Downloads"}},
        {"the same path twice", {Home + "/Downloads", Home + "/Downloads"}, {Home + "/Downloads"}},
        {"a sibling sharing a prefix",
         {Home + "/Downloads2", Home + "/Downloads"},
         {Home + "/Downloads", Home + "/Downloads2"}},
        {"an empty path", {QString(), Home + "/a"}, {Home + "/a"}},
        {"shortest first",
         {Home + "/ccc", Home + "/b", Home + "/aa"},
         {Home + "/b", Home + "/aa", Home + "/ccc"}},
        {"the Trash and its contents", {Home + "/.Trash/x", Home + "/.Trash"}, {Home + "/.Trash"}},
    };
    for (const auto &c : cases) {
        QList<KSTCleanUpItem> items;
        for (const QString &path : c.paths)
            items << item("x", path, 1);
        EXPECT_EQ(pathsOf(Model::reducedSelection(items)), c.kept) << c.name;
    }

    // Items known by one path but moving different entries both pass; an item all of whose
    // entries another moves does not.
    const KSTCleanUpItem contents =
        itemOf("Downloads folder", Home + "/Downloads", {Home + "/Downloads/sub"}, 2);
    const KSTCleanUpItem installers =
        itemOf("Installer Packages", Home + "/Downloads", {Home + "/Downloads/a.dmg"}, 1);
    const KSTCleanUpItem nested =
        itemOf("Installer Packages", Home + "/Downloads", {Home + "/Downloads/sub/b.pkg"}, 1);
    EXPECT_EQ(Model::reducedSelection({contents, installers}).size(), 2);
    EXPECT_EQ(Model::reducedSelection({contents, nested}).size(), 1);
}

TEST(CleanUpSelectionTest, SelectionComesFromReviewItemsWithASize)
{
    // The Mac Trash item is the analysed home's Trash.
    KSTEnvironment alice = KSTEnvironment::current();
    alice.setHome(Home);
    alice.setLayout(KSTLayout::Mac);
    const KSTScopedEnvironment machine(alice);
    KSTSystemInfo info;
    Model model(info);
    model.setSnapshot(handMadeSnapshot());
    ASSERT_EQ(model.categoryCount(), 4);
    EXPECT_EQ(model.indexOfCategoryType("removable"), 3);
    EXPECT_EQ(model.indexOfCategoryType("nonsense"), -1);

    // Zero-byte items and the volume itself (local snapshots) cannot be ticked, one by one or
    // with their category.
    EXPECT_FALSE(model.setItemSelected(0, 1, true));
    EXPECT_FALSE(model.setItemSelected(0, 2, true));
    EXPECT_FALSE(model.setItemSelected(0, 7, true));
    EXPECT_TRUE(model.setCategorySelected(0, true));
    EXPECT_EQ(pathsOf(model.selectedItems()), QStringList{Home + "/Library/Caches/a"});

    // The summary row stands for every failed download of its category that has a size.
    model.clearSelection();
    EXPECT_TRUE(model.setItemSelected(1, 1, true));
    EXPECT_EQ(pathsOf(model.itemsToRemove()), QStringList{Home + "/Downloads/a.download"});

    // The Downloads folder's contents and the Installer Packages share a path, not what they
    // move, so both go; a download inside the folder goes with the folder's contents.
    EXPECT_TRUE(model.setCategorySelected(3, true));
    EXPECT_EQ(pathsOf(model.itemsToRemove()),
              (QStringList{Home + "/Downloads", Home + "/Downloads"}));
    EXPECT_EQ(model.selectedBytes(), 3 * GiB);
    EXPECT_EQ(model.confirmationMessage(), QStringLiteral("Clean 3 GB?"));
    EXPECT_EQ(model.confirmationInformativeText(), informative(2));

    model.clearSelection();
    EXPECT_TRUE(model.selectItemWithFilePath(Home + "/.Trash"));
    EXPECT_TRUE(model.selectItemWithFilePath(Home + "/Library/Caches/a"));
    EXPECT_FALSE(model.selectItemWithFilePath(Home + "/Library/Logs")); // 0 bytes
    EXPECT_FALSE(model.selectItemWithFilePath(Home + "/nowhere"));
    EXPECT_EQ(model.confirmationMessage(), QStringLiteral("Clean 1 GB?"));
    EXPECT_EQ(model.confirmationInformativeText(), informative(2));

    // A new snapshot has new items: the selection starts again.
    model.setSnapshot(handMadeSnapshot());
    EXPECT_TRUE(model.itemsToRemove().isEmpty());
    EXPECT_FALSE(model.canClean());
}

TEST(CleanUpSelectionTest, OutcomeAlertsFollowWhatWasRemoved)
{
    const KSTError error{"NSCocoaErrorDomain", 513, "Could not move “x” to the Trash", {}};
    using Alert = KSTCleanUpOutcome::Alert;
    const struct
    {
        quint64 items;
        std::optional<KSTError> error;
        Alert alert;
        const char *message;
        QString informative;
    } cases[] = {
        {0, std::nullopt, Alert::Failed, "Clean failed", "Could not remove the selected items."},
        {0, error, Alert::Failed, "Clean failed", error.description},
        {3, error, Alert::PartlyCleaned, "Cleaned 3 item(s)", error.description},
        {3, std::nullopt, Alert::None, "", QString()},
    };
    for (const auto &c : cases) {
        const KSTCleanUpOutcome outcome = KSTCleanUpOutcome::fromResult(c.items, 42, c.error);
        EXPECT_EQ(outcome.alert, c.alert) << c.message;
        EXPECT_EQ(outcome.message, QString::fromUtf8(c.message));
        EXPECT_EQ(outcome.informativeText, c.informative);
        EXPECT_EQ(outcome.itemsRemoved, c.items);
        EXPECT_EQ(outcome.bytesRemoved, 42u);
    }
}

class CleanUpSelectionRemovalTest : public KSTMachineTest
{
protected:
    KSTSystemInfo info;
};

TEST_F(CleanUpSelectionRemovalTest, OneRemovalAtATimeThenTheCacheIsInvalidated)
{
    const QString file = mac.writeSizedHomeFile("Desktop/old.iso", 4096);
    auto snapshot = std::make_shared<KSTCleanUpSnapshot>();
    snapshot->categories = {
        {"largeFiles",
         "Large Files",
         {},
         {},
         QList<KSTCleanUpItem>{item("old.iso", file, 4096), item("gone.iso", file + "-gone", 4096)},
         8192}};
    info.setCachedCleanUpSnapshot(snapshot);
    const quint64 generation = info.cleanUpScanGeneration();

    Model model(info);
    model.setSnapshot(snapshot);
    QList<bool> flags;
    QObject::connect(&model, &Model::cleaningChanged, &model,
                     [&flags](bool cleaning) { flags << cleaning; });
    std::optional<KSTCleanUpOutcome> signalled;
    QObject::connect(&model, &Model::cleanFinished, &model,
                     [&signalled](const KSTCleanUpOutcome &outcome) { signalled = outcome; });

    EXPECT_FALSE(model.startCleaning()); // nothing selected
    ASSERT_TRUE(model.setCategorySelected(0, true));
    ASSERT_TRUE(model.canClean());
    std::optional<KSTCleanUpOutcome> outcome;
    bool onMainThread = false;
    ASSERT_TRUE(model.startCleaning([&](const KSTCleanUpOutcome &done) {
        outcome = done;
        onMainThread = KSTDispatch::isMainThread();
    }));
    EXPECT_TRUE(model.isCleaning());
    EXPECT_FALSE(model.canClean());
    EXPECT_FALSE(model.startCleaning());
    EXPECT_FALSE(model.setItemSelected(0, 0, false));

    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return outcome.has_value(); }));
    EXPECT_TRUE(onMainThread);
    EXPECT_FALSE(model.isCleaning());
    EXPECT_EQ(flags, (QList<bool>{true, false}));
    ASSERT_TRUE(signalled);
    EXPECT_EQ(signalled->itemsRemoved, 1u);
    EXPECT_EQ(outcome->itemsRemoved, 1u);
    EXPECT_EQ(outcome->bytesRemoved, 4096u);
    EXPECT_EQ(outcome->alert, KSTCleanUpOutcome::Alert::PartlyCleaned);
    EXPECT_TRUE(outcome->informativeText.contains("old.iso-gone"))
        << outcome->informativeText.toStdString();
    EXPECT_TRUE(QFileInfo::exists(mac.homePath(".Trash/old.iso")));
    // The next scan starts afresh, and any scan in flight was cancelled.
    EXPECT_EQ(info.cachedCleanUpSnapshotIfComplete(), nullptr);
    EXPECT_TRUE(info.isCleanUpScanCancelled(generation));
}

TEST_F(CleanUpSelectionRemovalTest, RefreshShowsThePlaceholderThenTheScan)
{
    KSTCleanUpEngine::install(info);
    mac.writeSizedHomeFile("Library/Logs/app.log", 4096);
    Model model(info);
    QList<bool> partial;
    QObject::connect(&model, &Model::snapshotChanged, &model,
                     [&] { partial << model.snapshot()->isPartial; });
    model.refresh();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return model.hasCompleteSnapshot(); }));
    EXPECT_EQ(partial, (QList<bool>{true, false}));
    EXPECT_TRUE(model.selectItemWithFilePath(mac.homePath("Library/Logs")));
    EXPECT_EQ(model.confirmationMessage(), QStringLiteral("Clean 4.0 KB?"));
}

} // namespace
