// The review model's lookups on large results, on results made in memory: finding a group by
// its hashKey after the results were edited or replaced, the bytes of the ticked groups
// without making a kept set for each, and how many groups of the listed category are ticked.
#include "KSTDuplicateReviewModel.h"

#include "KSTSystemInfo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using Model = KSTDuplicateReviewModel;

namespace {

const QDateTime LookupDay(QDate(2022, 1, 1), QTime(10, 0), Qt::UTC);

// One group of @p copies files of @p size bytes each, named after @p key.
KSTDuplicateGroup lookupGroup(const QString &key, const QString &categoryType, int copies,
                              quint64 size)
{
    KSTDuplicateGroup made;
    made.hashKey = key.repeated(64 / key.size() + 1).left(64);
    made.fileName = key + QStringLiteral(".dat");
    made.fileSize = size;
    made.categoryType = categoryType;
    for (int copy = 0; copy < copies; ++copy) {
        made.files.append({QStringLiteral("/Users/alex/%1/%2").arg(copy).arg(made.fileName),
                           size,
                           LookupDay.addDays(-copy),
                           {}});
    }
    made.reclaimableBytes = quint64(copies - 1) * size;
    return made;
}

// The six categories in order, with @p groups sorted into theirs.
std::shared_ptr<KSTDuplicateSnapshot> lookupResult(const QList<KSTDuplicateGroup> &groups)
{
    auto snapshot = std::make_shared<KSTDuplicateSnapshot>();
    snapshot->scanPaths = {QStringLiteral("/Users/alex")};
    for (const char *type : {"images", "photos", "videos", "audios", "archives", "others"}) {
        KSTDuplicateCategorySummary category;
        category.categoryType = QString::fromLatin1(type);
        for (const KSTDuplicateGroup &candidate : groups) {
            if (candidate.categoryType == category.categoryType) {
                category.groups.append(candidate);
                category.reclaimableBytes += candidate.reclaimableBytes;
            }
        }
        category.groupCount = quint64(category.groups.size());
        snapshot->totalGroupCount += category.groupCount;
        snapshot->totalReclaimableBytes += category.reclaimableBytes;
        snapshot->categories.append(category);
    }
    return snapshot;
}

class DuplicateReviewLookupTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        model = std::make_unique<Model>(info);
        model->setSnapshot(lookupResult({a, b, c, d, e}));
    }

    // What the removal would take from the ticked groups, from the list of their paths.
    quint64 bytesOfRemovablePaths() const
    {
        quint64 bytes = 0;
        for (const QString &path : model->removablePathsForSelectedGroups()) {
            for (const KSTDuplicateGroup &candidate : {a, b, c, d, e}) {
                for (const KSTDuplicateFileRecord &file : candidate.files)
                    bytes += file.path == path ? file.bytes : 0;
            }
        }
        return bytes;
    }

    QString nameAt(const Model::GroupPosition &position) const
    {
        return model->snapshot()
            ->categories.at(position.category)
            .groups.at(position.group)
            .fileName;
    }

    const KSTDuplicateGroup a = lookupGroup(QStringLiteral("a1"), QStringLiteral("images"), 2, 100);
    const KSTDuplicateGroup b = lookupGroup(QStringLiteral("b2"), QStringLiteral("images"), 3, 10);
    const KSTDuplicateGroup c = lookupGroup(QStringLiteral("c3"), QStringLiteral("images"), 4, 1);
    const KSTDuplicateGroup d =
        lookupGroup(QStringLiteral("d4"), QStringLiteral("photos"), 2, 1000);
    const KSTDuplicateGroup e = lookupGroup(QStringLiteral("e5"), QStringLiteral("others"), 3, 7);
    KSTSystemInfo info;
    std::unique_ptr<Model> model;
};

} // namespace

TEST_F(DuplicateReviewLookupTest, GroupsAreFoundInTheResultShownNow)
{
    const auto before = model->positionOfGroup(c.hashKey);
    ASSERT_TRUE(before);
    EXPECT_EQ(before->category, 0);
    EXPECT_EQ(before->group, 2);
    EXPECT_EQ(model->groupWithKey(e.hashKey)->fileName, e.fileName);
    EXPECT_FALSE(model->positionOfGroup(QString(64, QLatin1Char('f'))));

    // An edit moves the later groups of the category up a place.
    model->removeDuplicateGroupFromSnapshot(a);
    EXPECT_FALSE(model->positionOfGroup(a.hashKey));
    EXPECT_FALSE(model->groupWithKey(a.hashKey));
    ASSERT_TRUE(model->positionOfGroup(c.hashKey));
    EXPECT_EQ(nameAt(*model->positionOfGroup(c.hashKey)), c.fileName);

    // A new result is looked up afresh, even with the same keys in other places.
    KSTDuplicateGroup movedA = a;
    movedA.categoryType = QStringLiteral("others");
    movedA.fileName = QStringLiteral("moved.dat");
    model->setSnapshot(lookupResult({d, movedA}));
    ASSERT_TRUE(model->positionOfGroup(a.hashKey));
    EXPECT_EQ(model->positionOfGroup(a.hashKey)->category, 5);
    EXPECT_EQ(model->groupWithKey(a.hashKey)->fileName, QStringLiteral("moved.dat"));
    EXPECT_FALSE(model->groupWithKey(b.hashKey));
    model->setSnapshot(nullptr);
    EXPECT_FALSE(model->positionOfGroup(d.hashKey));
}

TEST_F(DuplicateReviewLookupTest, TickedBytesFollowTheKeptCopiesWithoutMakingKeptSets)
{
    struct Case
    {
        const char *what;
        QList<KSTDuplicateGroup> ticked;
        // Copies (by index in their group) the user unticked in the preview, so kept.
        QList<QPair<KSTDuplicateGroup, int>> keptByUser;
        // Copies the user ticked in the preview, so no longer kept.
        QList<QPair<KSTDuplicateGroup, int>> markedByUser;
        quint64 bytes;
    };
    const QList<Case> cases = {
        {"nothing ticked", {}, {}, {}, 0},
        {"auto-select keeps the newest of each", {a, b, c, d, e}, {}, {}, 100 + 20 + 3 + 1000 + 14},
        {"a second kept copy", {b}, {{b, 2}}, {}, 10},
        {"the newest marked removable too", {d}, {}, {{d, 0}}, 2000},
        {"an untouched group beside an edited one", {a, e}, {{e, 1}}, {}, 100 + 7},
        {"a kept set of a group not ticked", {c}, {{a, 1}}, {}, 3},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.what);
        model->setSnapshot(lookupResult({a, b, c, d, e}));
        for (const auto &[inGroup, index] : test.keptByUser)
            model->togglePreviewSelection(inGroup, inGroup.files.at(index).path, false);
        for (const auto &[inGroup, index] : test.markedByUser)
            model->togglePreviewSelection(inGroup, inGroup.files.at(index).path, true);
        model->toggleGroupsSelection(test.ticked, true);
        EXPECT_EQ(model->removableBytesForSelectedGroups(), test.bytes);
        // Only the shown group and the groups the user edited have a kept set: summing the
        // ticks makes none (50,000 ticked groups would otherwise hold 50,000 sets).
        for (const KSTDuplicateGroup &ticked : test.ticked) {
            const bool edited = std::any_of(test.keptByUser.begin(), test.keptByUser.end(),
                                            [&ticked](const auto &copy) {
                                                return copy.first.hashKey == ticked.hashKey;
                                            }) ||
                                std::any_of(test.markedByUser.begin(), test.markedByUser.end(),
                                            [&ticked](const auto &copy) {
                                                return copy.first.hashKey == ticked.hashKey;
                                            });
            if (!edited && ticked.hashKey != model->selectedGroup()->hashKey) {
                EXPECT_FALSE(model->keptPathsByGroupKey().contains(ticked.hashKey))
                    << ticked.fileName.toStdString();
            }
        }
        // The button and the removal list agree with the sum.
        EXPECT_EQ(model->isRemoveSelectedButtonEnabled(), test.bytes > 0);
        EXPECT_EQ(bytesOfRemovablePaths(), test.bytes);
    }
}

TEST_F(DuplicateReviewLookupTest, TicksAreCountedInTheListedCategoryOnly)
{
    EXPECT_EQ(model->selectedCategoryType(), QStringLiteral("images"));
    EXPECT_EQ(model->selectedGroupCountInSelectedCategory(), 0);
    model->toggleGroupsSelection({a, c, d, e}, true);
    EXPECT_EQ(model->selectedGroupCountInSelectedCategory(), 2);
    model->setSelectedCategoryType(QStringLiteral("photos"));
    EXPECT_EQ(model->selectedGroupCountInSelectedCategory(), 1);
    model->setSelectedCategoryType(QStringLiteral("videos"));
    EXPECT_EQ(model->selectedGroupCountInSelectedCategory(), 0);
    model->setSelectedCategoryType(QStringLiteral("images"));
    model->removeDuplicateGroupFromSnapshot(a); // forgets its tick
    EXPECT_EQ(model->selectedGroupCountInSelectedCategory(), 1);
    model->toggleGroupSelection(b, true);
    EXPECT_EQ(model->selectedGroupCountInSelectedCategory(), 2);
}

TEST_F(DuplicateReviewLookupTest, TheTotalsFollowEveryKindOfChangeOneAfterAnother)
{
    // Each step, then the bytes and the listed category's ticks as they must be.
    struct Step
    {
        const char *what;
        std::function<void()> change;
        quint64 bytes;
        qsizetype listedTicks;
    };
    const QList<Step> steps = {
        {"one box", [this] { model->toggleGroupSelection(b, true); }, 20, 1},
        {"the same box again", [this] { model->toggleGroupSelection(b, true); }, 20, 1},
        {"a box in another category", [this] { model->toggleGroupSelection(d, true); }, 1020, 1},
        {"a copy kept in a ticked group",
         [this] { model->togglePreviewSelection(b, b.files.at(1).path, false); }, 1010, 1},
        {"another box after the edit", [this] { model->toggleGroupSelection(c, true); }, 1013, 2},
        {"a box cleared", [this] { model->toggleGroupSelection(b, false); }, 1003, 1},
        {"every box of the listed category", [this] { model->toggleAllGroups(Qt::Checked); },
         100 + 10 + 3 + 1000, 3},
        {"a ticked group taken out", [this] { model->removeDuplicateGroupFromSnapshot(a); },
         10 + 3 + 1000, 2},
        {"a box of a group no longer listed", [this] { model->toggleGroupSelection(a, true); },
         10 + 3 + 1000, 2},
        {"another category listed",
         [this] { model->setSelectedCategoryType(QStringLiteral("photos")); }, 10 + 3 + 1000, 1},
        {"a new result",
         [this] {
             model->setSnapshot(lookupResult({a, b, c, d, e}));
         },
         0, 0},
        {"a box in the new result", [this] { model->toggleGroupSelection(a, true); }, 100, 1},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.what);
        // Asked before each change, so that a change must update what was summed already.
        model->removableBytesForSelectedGroups();
        step.change();
        EXPECT_EQ(model->removableBytesForSelectedGroups(), step.bytes);
        EXPECT_EQ(bytesOfRemovablePaths(), step.bytes);
        EXPECT_EQ(model->selectedGroupCountInSelectedCategory(), step.listedTicks);
    }
}
