// The review rules behind the Duplicates screen and `kestrel duplicates remove`, on real
// scans of fixture homes, with a stand-in for the removal guard that re-checks each copy as
// the guard must and moves it into a folder of its own: auto-select, ticks and buttons, why
// each copy is kept, removal of the shown group and of every ticked group, and the safety
// rules (a group keeping no copy, copies that changed, a kept copy that vanished).
#include "KSTDuplicateReviewModel.h"
#include "KSTDuplicateEngine.h"

#include "KSTDuplicateTestSupport.h"
#include "KSTMachineTest.h"
#include "KSTSystemInfo.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <mutex>
#include <unistd.h>

using Model = KSTDuplicateReviewModel;
using Reason = Model::SelectionReason;
using Step = KSTDuplicateRemovalStep;
using namespace KSTDuplicateTestSupport;
using KSTTestSupport::pumpUntil;

namespace {

const QDateTime Day1(QDate(2022, 1, 1), QTime(10, 0), Qt::UTC);
const QDateTime Day2(QDate(2023, 1, 1), QTime(10, 0), Qt::UTC);
const QDateTime Day3(QDate(2024, 1, 1), QTime(10, 0), Qt::UTC);

// Moves a copy into its own folder only when the copy and a kept copy are still what the
// scan saw; remembers every call.
class FolderTrash : public Step
{
public:
    explicit FolderTrash(QString folder) : m_folder(std::move(folder)) { QDir().mkpath(m_folder); }

    Outcome moveToTrash(const KSTDuplicateFileRecord &copy,
                        const QList<KSTDuplicateFileRecord> &keptCopies) override
    {
        {
            std::lock_guard lock(m_mutex);
            m_calls << copy.path;
        }
        if (keptCopies.isEmpty())
            return {Result::Failed, QStringLiteral("called without a kept copy")};
        if (!isUnchangedSinceScan(copy))
            return {Result::FileChanged, {}};
        if (!firstUnchanged(keptCopies))
            return {Result::KeptCopyChanged, {}};
        const QString target = m_folder + QLatin1Char('/') + QString::number(m_moved++) +
                               QLatin1Char('-') + QFileInfo(copy.path).fileName();
        if (!QFile::rename(copy.path, target))
            return {Result::Failed, QStringLiteral("rename failed")};
        return {Result::Moved, {}};
    }

    QStringList calls() const
    {
        std::lock_guard lock(m_mutex);
        return m_calls;
    }
    QStringList trashed() const { return QDir(m_folder).entryList(QDir::Files, QDir::Name); }

private:
    QString m_folder;
    mutable std::mutex m_mutex;
    QStringList m_calls;
    int m_moved = 0;
};

class DuplicateReviewModelTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        KSTDuplicateEngine::install(info);
        trash = std::make_shared<FolderTrash>(mac.path(QStringLiteral("trash-standin")));
        model = std::make_unique<Model>(info);
        model->setRemovalStep(trash);
    }

    QString file(const QString &homeRelative, quint32 seed, qsizetype size,
                 const QDateTime &modified)
    {
        return mac.writeHomeFile(homeRelative, contentOfSize(size, seed), modified);
    }

    // Two photo groups (4000 and 1000 bytes reclaimable) and one image group (500).
    void makeGroups()
    {
        file(QStringLiteral("Pictures/big/new.jpg"), 1, 2000, Day3);
        file(QStringLiteral("Pictures/big/old.jpg"), 1, 2000, Day1);
        file(QStringLiteral("Pictures/big/older.jpg"), 1, 2000, Day1);
        file(QStringLiteral("Pictures/small/a.jpg"), 2, 1000, Day2);
        file(QStringLiteral("Pictures/small/b.jpg"), 2, 1000, Day1);
        file(QStringLiteral("Pictures/png/x.png"), 3, 500, Day2);
        file(QStringLiteral("Pictures/png/y.png"), 3, 500, Day1);
    }

    bool scan()
    {
        model->scanDuplicatesInPaths({mac.homePath(QStringLiteral("Pictures"))});
        return pumpUntil([this] { return model->snapshot() && !model->snapshot()->isScanning; },
                         30'000);
    }

    std::optional<KSTDuplicateRemovalOutcome> removeCurrent()
    {
        std::optional<KSTDuplicateRemovalOutcome> outcome;
        if (!model->removeCurrentGroupDuplicates(
                [&outcome](const KSTDuplicateRemovalOutcome &done) { outcome = done; }))
            return std::nullopt;
        EXPECT_TRUE(pumpUntil([&outcome] { return outcome.has_value(); }));
        return outcome;
    }

    QString home(const QString &homeRelative) const { return mac.homePath(homeRelative); }

    KSTSystemInfo info;
    std::shared_ptr<FolderTrash> trash;
    std::unique_ptr<Model> model;
};

TEST_F(DuplicateReviewModelTest, AutoSelectKeepsTheNewestAndTheButtonsFollowTheTicks)
{
    makeGroups();
    ASSERT_TRUE(scan());
    // A result lists the first category with groups (images come before photos).
    EXPECT_EQ(model->selectedCategoryType(), QStringLiteral("images"));
    EXPECT_EQ(model->selectedGroup()->fileName, QStringLiteral("x.png"));
    model->setSelectedCategoryType(QStringLiteral("photos"));
    ASSERT_TRUE(model->selectedGroup());
    const KSTDuplicateGroup big = *model->selectedGroup();
    EXPECT_EQ(big.fileName, QStringLiteral("new.jpg"));
    EXPECT_EQ(model->keptPathsForGroup(big),
              QSet<QString>{home(QStringLiteral("Pictures/big/new.jpg"))});
    EXPECT_EQ(model->removablePathsForGroup(big),
              (QStringList{home(QStringLiteral("Pictures/big/old.jpg")),
                           home(QStringLiteral("Pictures/big/older.jpg"))}));
    EXPECT_TRUE(model->removablePathsForGroup(std::nullopt).isEmpty());

    // Nothing ticked.
    EXPECT_EQ(model->removeSelectedButtonTitle(), QStringLiteral("Remove duplicates"));
    EXPECT_FALSE(model->isRemoveSelectedButtonEnabled());
    EXPECT_EQ(model->removeCurrentButtonTitle(), QStringLiteral("Remove current duplicates"));
    EXPECT_TRUE(model->isRemoveCurrentButtonEnabled());

    model->toggleGroupSelection(big, true);
    EXPECT_EQ(model->removableBytesForSelectedGroups(), 4000u);
    EXPECT_EQ(model->removeSelectedButtonTitle(), QStringLiteral("Remove 3.9 KB of duplicates"));
    EXPECT_TRUE(model->isRemoveSelectedButtonEnabled());

    // Un-ticking the newest copy in the preview keeps nothing: all three are removable.
    model->togglePreviewSelection(big, home(QStringLiteral("Pictures/big/new.jpg")), true);
    EXPECT_TRUE(model->keptPathsForGroup(big).isEmpty());
    EXPECT_EQ(model->removablePathsForGroup(big).size(), 3);
    EXPECT_EQ(model->removableBytesForSelectedGroups(), 6000u);
    // A path of no copy of the group changes nothing.
    model->togglePreviewSelection(big, home(QStringLiteral("Pictures/png/x.png")), false);
    EXPECT_EQ(model->removablePathsForGroup(big).size(), 3);

    model->toggleGroupSelection(big, false);
    EXPECT_EQ(model->removableBytesForSelectedGroups(), 0u);
    EXPECT_FALSE(model->isRemoveSelectedButtonEnabled());
}

TEST_F(DuplicateReviewModelTest, TheAllGroupsBoxTicksOnlyTheListedCategory)
{
    makeGroups();
    ASSERT_TRUE(scan());
    model->setSelectedCategoryType(QStringLiteral("photos"));
    QSignalSpy changes(model.get(), &Model::selectionChanged);
    model->toggleAllGroups(Qt::Checked);
    EXPECT_EQ(model->selectedGroupKeys().size(), 2);
    EXPECT_EQ(model->removableBytesForSelectedGroups(), 5000u);
    model->toggleAllGroups(Qt::PartiallyChecked);
    EXPECT_TRUE(model->selectedGroupKeys().isEmpty());

    model->setSelectedCategoryType(QStringLiteral("videos"));
    EXPECT_FALSE(model->selectedGroup());
    EXPECT_FALSE(model->isRemoveCurrentButtonEnabled());
    const qsizetype before = changes.size();
    model->toggleAllGroups(Qt::Checked);
    EXPECT_EQ(changes.size(), before); // no group: nothing happens
    EXPECT_TRUE(model->selectedGroupKeys().isEmpty());
}

TEST_F(DuplicateReviewModelTest, EachCopySaysWhyItIsKeptOrRemovable)
{
    file(QStringLiteral("Pictures/b.jpg"), 1, 800, Day2);
    file(QStringLiteral("Pictures/a.jpg"), 1, 800, Day2);
    file(QStringLiteral("Pictures/c.jpg"), 1, 800, Day1);
    ASSERT_EQ(::link(QFile::encodeName(home(QStringLiteral("Pictures/a.jpg"))).constData(),
                     QFile::encodeName(home(QStringLiteral("Pictures/d.jpg"))).constData()),
              0);
    ASSERT_TRUE(scan());
    const KSTDuplicateGroup group = *model->selectedGroup();
    const auto reasons = [&] {
        QStringList list;
        for (const KSTDuplicateFileRecord &record : group.files)
            list << QFileInfo(record.path).fileName() + QLatin1Char(' ') +
                        Model::selectionReasonKey(model->selectionReason(group, record));
        return list;
    };
    EXPECT_EQ(reasons(), (QStringList{QStringLiteral("a.jpg sameDateFirstByPath"),
                                      QStringLiteral("b.jpg sameDateLaterByPath"),
                                      QStringLiteral("d.jpg sameFileAsKept"),
                                      QStringLiteral("c.jpg olderCopy")}));
    model->togglePreviewSelection(group, home(QStringLiteral("Pictures/c.jpg")), false);
    model->togglePreviewSelection(group, home(QStringLiteral("Pictures/a.jpg")), true);
    EXPECT_EQ(reasons(), (QStringList{QStringLiteral("a.jpg markedByYou"),
                                      QStringLiteral("b.jpg sameDateLaterByPath"),
                                      QStringLiteral("d.jpg sameDateLaterByPath"),
                                      QStringLiteral("c.jpg keptByYou")}));
    EXPECT_TRUE(Model::isKeptReason(Reason::KeptByYou));
    EXPECT_FALSE(Model::isKeptReason(Reason::SameFileAsKept));
    EXPECT_EQ(Model::selectionReasonText(Reason::Newest), QStringLiteral("newest"));
}

TEST_F(DuplicateReviewModelTest, RemovingTheShownGroupEditsTheResultsAndShowsTheNext)
{
    makeGroups();
    ASSERT_TRUE(scan());
    model->setSelectedCategoryType(QStringLiteral("photos"));
    QSignalSpy snapshots(model.get(), &Model::snapshotChanged);

    std::optional<KSTDuplicateRemovalOutcome> outcome = removeCurrent();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->itemsRemoved, 2u);
    EXPECT_EQ(outcome->bytesRemoved, 4000u);
    EXPECT_TRUE(outcome->skipped.isEmpty());
    EXPECT_EQ(trash->trashed(),
              (QStringList{QStringLiteral("0-old.jpg"), QStringLiteral("1-older.jpg")}));
    EXPECT_TRUE(QFileInfo::exists(home(QStringLiteral("Pictures/big/new.jpg"))));
    EXPECT_FALSE(QFileInfo::exists(home(QStringLiteral("Pictures/big/old.jpg"))));
    // No rescan: the snapshot is edited and the next group of the category is shown.
    EXPECT_FALSE(model->snapshot()->isScanning);
    EXPECT_EQ(model->snapshot()->totalGroupCount, 2u);
    EXPECT_EQ(model->snapshot()->totalReclaimableBytes, 1500u);
    EXPECT_EQ(model->snapshot()->categories.at(1).groupCount, 1u);
    EXPECT_EQ(model->snapshot()->categories.at(1).reclaimableBytes, 1000u);
    ASSERT_TRUE(model->selectedGroup());
    EXPECT_EQ(model->selectedGroup()->fileName, QStringLiteral("a.jpg"));
    EXPECT_GE(snapshots.size(), 1);

    // The category's last group: the first other category with groups is shown.
    ASSERT_TRUE(removeCurrent());
    EXPECT_EQ(model->selectedCategoryType(), QStringLiteral("images"));
    EXPECT_EQ(model->selectedGroup()->fileName, QStringLiteral("x.png"));

    // The last group of all.
    ASSERT_TRUE(removeCurrent());
    EXPECT_FALSE(model->selectedGroup());
    EXPECT_EQ(model->snapshot()->totalGroupCount, 0u);
    EXPECT_EQ(model->snapshot()->statusText, QStringLiteral("No duplicate files found"));
    EXPECT_FALSE(model->isRemoveCurrentButtonEnabled());
    EXPECT_FALSE(removeCurrent()); // nothing shown: refused
    EXPECT_EQ(trash->trashed().size(), 4);
}

TEST_F(DuplicateReviewModelTest, AGroupThatKeepsNoCopyIsSkippedWhole)
{
    makeGroups();
    ASSERT_TRUE(scan());
    model->setSelectedCategoryType(QStringLiteral("photos"));
    const KSTDuplicateGroup big = *model->selectedGroup();
    model->togglePreviewSelection(big, home(QStringLiteral("Pictures/big/new.jpg")), true);
    const auto before = model->snapshot();

    const std::optional<KSTDuplicateRemovalOutcome> outcome = removeCurrent();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->itemsRemoved, 0u);
    ASSERT_EQ(outcome->skipped.size(), 3);
    for (const KSTDuplicateRemovalOutcome::Skipped &skipped : outcome->skipped)
        EXPECT_EQ(skipped.reason, Step::noCopyKeptReason());
    EXPECT_TRUE(trash->calls().isEmpty());
    EXPECT_EQ(model->snapshot(), before);
    EXPECT_EQ(model->selectedGroup()->hashKey, big.hashKey);

    // In a bulk removal the group is skipped and the other ticked groups go ahead.
    model->toggleGroupSelection(big, true);
    model->toggleGroupSelection(
        *model->groupWithKey(model->snapshot()->categories.at(0).groups.first().hashKey), true);
    std::optional<KSTDuplicateRemovalOutcome> bulk;
    ASSERT_TRUE(model->removeAllSelectedDuplicates(
        [&bulk](const KSTDuplicateRemovalOutcome &done) { bulk = done; }));
    ASSERT_TRUE(pumpUntil([&bulk] { return bulk.has_value(); }));
    EXPECT_EQ(bulk->itemsRemoved, 1u);
    EXPECT_EQ(bulk->removedPaths, QStringList{home(QStringLiteral("Pictures/png/y.png"))});
    EXPECT_EQ(bulk->skipped.size(), 3);
    for (const char *name : {"new.jpg", "old.jpg", "older.jpg"})
        EXPECT_TRUE(QFileInfo::exists(home(QStringLiteral("Pictures/big/") + QLatin1String(name))));
}

TEST_F(DuplicateReviewModelTest, CopiesThatChangedSinceTheScanStay)
{
    // The scan sees a big group of two copies and a small group of three.
    file(QStringLiteral("Pictures/big/new.jpg"), 1, 2000, Day3);
    file(QStringLiteral("Pictures/big/older.jpg"), 1, 2000, Day1);
    for (const char *name : {"b.jpg", "c.jpg", "d.jpg"})
        file(QStringLiteral("Pictures/small/") + QLatin1String(name), 2, 1000, Day1);
    ASSERT_TRUE(scan());
    const KSTDuplicateGroup small = *model->groupWithKey(expectedHashKey(contentOfSize(1000, 2)));
    ASSERT_EQ(small.files.size(), 3);
    const KSTDuplicateGroup big = *model->groupWithKey(expectedHashKey(contentOfSize(2000, 1)));
    ASSERT_EQ(big.files.size(), 2);
    // Then a copy is rewritten with the same bytes, and a kept copy vanishes.
    file(QStringLiteral("Pictures/big/older.jpg"), 1, 2000, Day2);
    ASSERT_TRUE(QFile::remove(small.files.first().path));

    model->toggleGroupSelection(big, true);
    model->toggleGroupSelection(small, true);
    std::optional<KSTDuplicateRemovalOutcome> outcome;
    ASSERT_TRUE(model->removeAllSelectedDuplicates(
        [&outcome](const KSTDuplicateRemovalOutcome &done) { outcome = done; }));
    ASSERT_TRUE(pumpUntil([&outcome] { return outcome.has_value(); }));

    EXPECT_EQ(outcome->itemsRemoved, 0u);
    QStringList skipped;
    for (const KSTDuplicateRemovalOutcome::Skipped &entry : outcome->skipped)
        skipped << QFileInfo(entry.path).fileName() + QLatin1String(": ") + entry.reason;
    skipped.sort();
    EXPECT_EQ(skipped, (QStringList{QStringLiteral("c.jpg: ") + Step::keptCopyChangedReason(),
                                    QStringLiteral("d.jpg: ") + Step::keptCopyChangedReason(),
                                    QStringLiteral("older.jpg: ") + Step::fileChangedReason()}));
    // Once the kept copy is known gone, the group's other copies are not even offered.
    EXPECT_EQ(trash->calls().size(), 2);
    EXPECT_TRUE(trash->trashed().isEmpty());
    for (const char *name : {"older.jpg", "new.jpg"})
        EXPECT_TRUE(QFileInfo::exists(home(QStringLiteral("Pictures/big/") + QLatin1String(name))));
    for (const char *name : {"c.jpg", "d.jpg"})
        EXPECT_TRUE(
            QFileInfo::exists(home(QStringLiteral("Pictures/small/") + QLatin1String(name))));
}

TEST_F(DuplicateReviewModelTest, RemovingEveryTickedGroupRescansTheSameFolders)
{
    makeGroups();
    ASSERT_TRUE(scan());
    model->setSelectedCategoryType(QStringLiteral("photos"));
    model->toggleAllGroups(Qt::Checked); // both photo groups
    const QString keyOfPng = model->snapshot()->categories.at(0).groups.first().hashKey;
    model->toggleGroupSelection(*model->groupWithKey(keyOfPng), true);
    EXPECT_EQ(model->removablePathsForSelectedGroups(),
              (QStringList{home(QStringLiteral("Pictures/png/y.png")),
                           home(QStringLiteral("Pictures/big/old.jpg")),
                           home(QStringLiteral("Pictures/big/older.jpg")),
                           home(QStringLiteral("Pictures/small/b.jpg"))}));
    std::optional<KSTDuplicateRemovalOutcome> outcome;
    ASSERT_TRUE(model->removeAllSelectedDuplicates(
        [&outcome](const KSTDuplicateRemovalOutcome &done) { outcome = done; }));
    EXPECT_TRUE(model->isBusy());
    EXPECT_FALSE(model->isRemoveSelectedButtonEnabled());
    EXPECT_FALSE(model->removeCurrentGroupDuplicates()); // one removal at a time
    ASSERT_TRUE(pumpUntil([&outcome] { return outcome.has_value(); }));
    EXPECT_EQ(outcome->itemsRemoved, 4u);
    EXPECT_EQ(outcome->bytesRemoved, 5500u);

    ASSERT_TRUE(pumpUntil([this] { return !model->snapshot()->isScanning; }, 30'000));
    EXPECT_EQ(model->snapshot()->scanPaths, QStringList{home(QStringLiteral("Pictures"))});
    EXPECT_EQ(model->snapshot()->totalGroupCount, 0u);
    EXPECT_EQ(model->snapshot()->filesScanned, 3u);
    EXPECT_TRUE(model->selectedGroupKeys().isEmpty());
    EXPECT_TRUE(model->keptPathsByGroupKey().isEmpty());
}

TEST_F(DuplicateReviewModelTest, OnlyRemovableCopiesOfTheResultsAreHandedToTheStep)
{
    makeGroups();
    ASSERT_TRUE(scan());
    std::optional<KSTDuplicateRemovalOutcome> outcome;
    ASSERT_TRUE(model->trashFilesAtPaths(
        {home(QStringLiteral("Pictures/big/new.jpg")),
         home(QStringLiteral("Pictures/elsewhere.jpg")),
         home(QStringLiteral("Pictures/small/b.jpg"))},
        [&outcome](const KSTDuplicateRemovalOutcome &done) { outcome = done; }));
    ASSERT_TRUE(pumpUntil([&outcome] { return outcome.has_value(); }));
    EXPECT_EQ(trash->calls(), QStringList{home(QStringLiteral("Pictures/small/b.jpg"))});
    EXPECT_EQ(outcome->removedPaths, QStringList{home(QStringLiteral("Pictures/small/b.jpg"))});
    ASSERT_EQ(outcome->skipped.size(), 2);
    EXPECT_EQ(outcome->skipped.at(0).path, home(QStringLiteral("Pictures/big/new.jpg"))); // kept
    EXPECT_EQ(outcome->skipped.at(1).path, home(QStringLiteral("Pictures/elsewhere.jpg")));
    EXPECT_FALSE(model->trashDuplicatePaths({}, {}));
}

TEST_F(DuplicateReviewModelTest, RemovalsAreRefusedWhileScanningOrWithoutAStep)
{
    makeGroups();
    ASSERT_TRUE(scan());
    model->toggleAllGroups(Qt::Checked);

    Model withoutStep(info);
    withoutStep.setRemovalStep(nullptr);
    withoutStep.setSnapshot(model->snapshot());
    withoutStep.toggleAllGroups(Qt::Checked);
    EXPECT_FALSE(withoutStep.removeCurrentGroupDuplicates());
    EXPECT_FALSE(withoutStep.removeAllSelectedDuplicates());

    model->scanDuplicatesInPaths({home(QStringLiteral("Pictures"))});
    EXPECT_TRUE(model->snapshot()->isScanning);
    EXPECT_FALSE(model->removeCurrentGroupDuplicates());
    EXPECT_FALSE(model->removeAllSelectedDuplicates());
    EXPECT_FALSE(model->isRemoveCurrentButtonEnabled());
    ASSERT_TRUE(pumpUntil([this] { return !model->snapshot()->isScanning; }, 30'000));
    EXPECT_TRUE(trash->calls().isEmpty());
    EXPECT_TRUE(model->isRemoveCurrentButtonEnabled());
}

TEST_F(DuplicateReviewModelTest, ACancelledScanShowsNothingMoreNotEvenItsFirstReport)
{
    makeGroups();
    ASSERT_TRUE(scan());
    QSignalSpy changes(model.get(), &Model::snapshotChanged);
    model->scanDuplicatesInPaths({home(QStringLiteral("Pictures"))});
    ASSERT_TRUE(model->snapshot() && model->snapshot()->isScanning);
    model->cancelScan();
    EXPECT_EQ(model->snapshot(), nullptr);
    EXPECT_FALSE(model->isBusy());
    const qsizetype afterCancel = changes.size();
    KSTTestSupport::pumpFor(300);
    info.duplicateQueue().sync([] {});
    KSTTestSupport::pumpFor(100);
    EXPECT_EQ(changes.size(), afterCancel);
    EXPECT_EQ(model->snapshot(), nullptr);

    // Cancelling without a scan changes nothing; a new scan shows its result again.
    model->cancelScan();
    EXPECT_EQ(changes.size(), afterCancel);
    ASSERT_TRUE(scan());
    EXPECT_EQ(model->snapshot()->totalGroupCount, 3u);
}

} // namespace
