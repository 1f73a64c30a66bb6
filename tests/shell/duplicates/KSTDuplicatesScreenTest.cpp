// The Duplicate Files screen inside the window, on fixture Macs: the folder choice and what
// is remembered of it, the scan's progress page and Cancel, the results (categories, groups,
// preview), the two removals with their confirmations, what a removal leaves in place, and a
// scan that finds nothing.
#include "KSTShellTestFixture.h"

#include "KSTDuplicateEngine.h"
#include "KSTDuplicateGroupDelegate.h"
#include "KSTDuplicateGroupListModel.h"
#include "KSTDuplicatePreview.h"
#include "KSTDuplicatesScreen.h"
#include "KSTFormatting.h"
#include "KSTObjectLookup.h"

#include <QAbstractItemModelTester>
#include <QBuffer>
#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QListView>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTest>
#include <QTreeWidget>

namespace {

using namespace Qt::StringLiterals;
using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;

const QDateTime Day1(QDate(2022, 1, 1), QTime(10, 0), Qt::UTC);
const QDateTime Day2(QDate(2023, 1, 1), QTime(10, 0), Qt::UTC);
const QDateTime Day3(QDate(2024, 1, 1), QTime(10, 0), Qt::UTC);

QByteArray content(qsizetype size, char seed)
{
    QByteArray data(size, Qt::Uninitialized);
    for (qsizetype index = 0; index < size; ++index)
        data[index] = char(seed * 31 + index * 7 + index / 251);
    return data;
}

class DuplicatesScreenTest : public ShellTest
{
protected:
    void SetUp() override
    {
        ShellTest::SetUp();
        KSTDuplicateEngine::install(systemInfo);
    }

    KSTDuplicatesScreen *showDuplicates(KSTMainWindowController &controller)
    {
        controller.showSection(3);
        auto *screen = qobject_cast<KSTDuplicatesScreen *>(controller.screenForSection(3));
        if (screen) {
            screen->setPresenters(
                [this](QWidget *, const QString &message, const QString &informative) {
                    confirmations << message + QLatin1Char('|') + informative;
                    return answer;
                },
                [this](QWidget *) { return pickedFolder; });
        }
        return screen;
    }

    // Two photo groups (three copies of 2000 bytes, two of 1000) and one image group.
    void makeGroups()
    {
        mac.writeHomeFile(QStringLiteral("Pictures/big/new.jpg"), content(2000, 1), Day3);
        mac.writeHomeFile(QStringLiteral("Pictures/big/old.jpg"), content(2000, 1), Day1);
        mac.writeHomeFile(QStringLiteral("Downloads/older.jpg"), content(2000, 1), Day1);
        mac.writeHomeFile(QStringLiteral("Pictures/small/a.jpg"), content(1000, 2), Day2);
        mac.writeHomeFile(QStringLiteral("Pictures/small/b.jpg"), content(1000, 2), Day1);
        mac.writeHomeFile(QStringLiteral("Pictures/png/x.png"), content(500, 3), Day2);
        mac.writeHomeFile(QStringLiteral("Pictures/png/y.png"), content(500, 3), Day1);
        mac.writeHomeFile(QStringLiteral("Pictures/alone.jpg"), content(700, 4), Day1);
    }

    static QWidget *currentPage(KSTDuplicatesScreen *screen)
    {
        auto *pages = childNamed<QStackedWidget>(screen, QStringLiteral("duplicatePages"));
        return pages ? pages->currentWidget() : nullptr;
    }
    static QString pageName(KSTDuplicatesScreen *screen)
    {
        QWidget *page = currentPage(screen);
        return page ? page->objectName() : QString();
    }

    static QPushButton *button(KSTDuplicatesScreen *screen, const QString &name)
    {
        return childNamed<QPushButton>(screen, name);
    }

    bool scanAndWait(KSTDuplicatesScreen *screen)
    {
        QPushButton *scan = button(screen, QStringLiteral("scanButton"));
        if (!scan || !scan->isEnabled())
            return false;
        scan->click();
        return KSTTestSupport::pumpUntil(
            [screen] { return pageName(screen) == QLatin1String("duplicateResults"); }, 30'000);
    }

    bool waitForResults(KSTDuplicatesScreen *screen)
    {
        return KSTTestSupport::pumpUntil(
            [screen] {
                return pageName(screen) == QLatin1String("duplicateResults") &&
                       screen->isContentReady();
            },
            30'000);
    }

    static QStringList folderRows(KSTDuplicatesScreen *screen)
    {
        QStringList rows;
        auto *list = childNamed<QListWidget>(screen, QStringLiteral("folderList"));
        for (int row = 0; list && row < list->count(); ++row) {
            rows << (list->item(row)->checkState() == Qt::Checked ? QStringLiteral("[x] ")
                                                                  : QStringLiteral("[ ] ")) +
                        list->item(row)->text();
        }
        return rows;
    }

    static QStringList groupNames(KSTDuplicatesScreen *screen)
    {
        QStringList names;
        auto *list = childNamed<QListView>(screen, QStringLiteral("groupList"));
        for (int row = 0; list && row < list->model()->rowCount(); ++row)
            names << list->model()->index(row, 0).data().toString();
        return names;
    }

    // Each copy of the preview: "path|ticked|status", without the date.
    static QStringList copyRows(KSTDuplicatesScreen *screen)
    {
        QStringList rows;
        auto *copies = childNamed<QTreeWidget>(screen, QStringLiteral("copiesList"));
        for (int row = 0; copies && row < copies->topLevelItemCount(); ++row) {
            const QTreeWidgetItem *item = copies->topLevelItem(row);
            const QStringList lines = item->text(0).split(QLatin1Char('\n'));
            const QStringList facts = lines.value(1).split(QStringLiteral(" · "));
            rows << lines.first() + QLatin1Char('|') +
                        (item->checkState(0) == Qt::Checked ? QStringLiteral("remove")
                                                            : QStringLiteral("keep")) +
                        QLatin1Char('|') + facts.mid(1).join(QStringLiteral(" · "));
        }
        return rows;
    }

    static void clickCategory(KSTDuplicatesScreen *screen, int row)
    {
        auto *list = childNamed<QListWidget>(screen, QStringLiteral("categoryList"));
        ASSERT_NE(list, nullptr);
        const QRect rect = list->visualItemRect(list->item(row));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rect.center());
    }

    static void clickGroupBox(KSTDuplicatesScreen *screen, int row)
    {
        auto *list = childNamed<QListView>(screen, QStringLiteral("groupList"));
        ASSERT_NE(list, nullptr);
        const QRect rect = list->visualRect(list->model()->index(row, 0));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          KSTDuplicateGroupDelegate::checkBoxRect(rect).center());
    }

    QString home(const QString &relative) const { return mac.homePath(relative); }
    QString trashed(const QString &name) const { return home(QStringLiteral(".Trash/") + name); }

    QStringList confirmations;
    bool answer = false;
    QString pickedFolder;
};

TEST_F(DuplicatesScreenTest, OffersTheHomeFoldersAndRemembersTheChoice)
{
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_NE(screen, nullptr);
    EXPECT_EQ(pageName(screen), QStringLiteral("duplicateSetup"));
    EXPECT_TRUE(screen->isContentReady());
    // The defaults a scan would take are ticked; Music is never offered.
    EXPECT_EQ(folderRows(screen), (QStringList{QStringLiteral("[x] Pictures   ~/Pictures"),
                                               QStringLiteral("[x] Downloads   ~/Downloads"),
                                               QStringLiteral("[ ] Desktop   ~/Desktop"),
                                               QStringLiteral("[ ] Documents   ~/Documents"),
                                               QStringLiteral("[ ] Movies   ~/Movies")}));

    // Nothing ticked: nothing to scan.
    auto *list = childNamed<QListWidget>(screen, QStringLiteral("folderList"));
    ASSERT_NE(list, nullptr);
    list->item(0)->setCheckState(Qt::Unchecked);
    list->item(1)->setCheckState(Qt::Unchecked);
    EXPECT_FALSE(button(screen, QStringLiteral("scanButton"))->isEnabled());

    // An added folder comes ticked, and only added folders can be taken off the list.
    pickedFolder = mac.makeDirectory(QStringLiteral("Volumes/Photos Disk"));
    button(screen, QStringLiteral("addFolderButton"))->click();
    EXPECT_EQ(folderRows(screen).last(), QStringLiteral("[x] Photos Disk   ") + pickedFolder);
    EXPECT_TRUE(button(screen, QStringLiteral("scanButton"))->isEnabled());
    list->setCurrentRow(0);
    EXPECT_FALSE(button(screen, QStringLiteral("removeFolderButton"))->isEnabled());
    list->setCurrentRow(5);
    EXPECT_TRUE(button(screen, QStringLiteral("removeFolderButton"))->isEnabled());

    // A later start offers the same choice.
    list->item(2)->setCheckState(Qt::Checked);
    KSTDuplicatesScreen again(systemInfo);
    EXPECT_EQ(folderRows(&again),
              (QStringList{QStringLiteral("[ ] Pictures   ~/Pictures"),
                           QStringLiteral("[ ] Downloads   ~/Downloads"),
                           QStringLiteral("[x] Desktop   ~/Desktop"),
                           QStringLiteral("[ ] Documents   ~/Documents"),
                           QStringLiteral("[ ] Movies   ~/Movies"),
                           QStringLiteral("[x] Photos Disk   ") + pickedFolder}));

    button(screen, QStringLiteral("removeFolderButton"))->click();
    EXPECT_EQ(folderRows(screen).size(), 5);
    KSTDuplicatesScreen third(systemInfo);
    EXPECT_EQ(folderRows(&third).size(), 5);
}

TEST_F(DuplicatesScreenTest, ScansTheTickedFoldersAndShowsCategoriesGroupsAndCopies)
{
    makeGroups();
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_NE(screen, nullptr);
    bool announced = false;
    QObject::connect(screen, &KSTToolScreen::contentReady, screen,
                     [&announced] { announced = true; });

    button(screen, QStringLiteral("scanButton"))->click();
    // The scan's own first report, at once; the window waits for nothing.
    EXPECT_EQ(pageName(screen), QStringLiteral("duplicateScanning"));
    EXPECT_FALSE(screen->isContentReady());
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("scanStatus")),
              QStringLiteral("Preparing scan…"));
    EXPECT_EQ(childNamed<QProgressBar>(screen, QStringLiteral("scanProgress"))->value(), 10);
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("scanDetail")),
              QStringLiteral("0 files · ~/Pictures, ~/Downloads"));

    ASSERT_TRUE(waitForResults(screen));
    EXPECT_TRUE(announced);
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("resultSummary")),
              QStringLiteral("%1 can be freed").arg(KSTFormatting::formatBytesShort(5500)));
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("resultDetail")),
              QStringLiteral("3 groups of duplicates · 8 files compared in ~/Pictures, "
                             "~/Downloads"));

    // The six categories in their order, each with its groups; images come first.
    auto *categories = childNamed<QListWidget>(screen, QStringLiteral("categoryList"));
    ASSERT_NE(categories, nullptr);
    ASSERT_EQ(categories->count(), 6);
    const QStringList expected = {
        QStringLiteral("Images\n1 group · ") + KSTFormatting::formatBytesShort(500),
        QStringLiteral("Photos\n2 groups · ") + KSTFormatting::formatBytesShort(5000),
        QStringLiteral("Videos\nNo duplicates"),
        QStringLiteral("Audios\nNo duplicates"),
        QStringLiteral("Archives\nNo duplicates"),
        QStringLiteral("Others\nNo duplicates")};
    for (int row = 0; row < 6; ++row) {
        EXPECT_EQ(categories->item(row)->text(), expected.at(row));
        EXPECT_FALSE(categories->item(row)->icon().isNull()) << row;
    }
    EXPECT_EQ(categories->currentRow(), 0);
    EXPECT_EQ(groupNames(screen), QStringList{QStringLiteral("x.png")});
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("previewName")), QStringLiteral("x.png"));

    // Photos: the larger group first; its copies newest first, the newest kept.
    clickCategory(screen, 1);
    EXPECT_EQ(groupNames(screen),
              (QStringList{QStringLiteral("new.jpg"), QStringLiteral("a.jpg")}));
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("previewName")), QStringLiteral("new.jpg"));
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("autoSelectNote")),
              QStringLiteral("Auto-select: keep newest"));
    EXPECT_EQ(copyRows(screen),
              (QStringList{QStringLiteral("~/Pictures/big/new.jpg|keep|Kept · newest"),
                           QStringLiteral("~/Downloads/older.jpg|remove|Removable · an older "
                                          "copy"),
                           QStringLiteral("~/Pictures/big/old.jpg|remove|Removable · an older "
                                          "copy")}));

    // Choosing another group shows it.
    auto *groups = childNamed<QListView>(screen, QStringLiteral("groupList"));
    QTest::mouseClick(groups->viewport(), Qt::LeftButton, {},
                      groups->visualRect(groups->model()->index(1, 0)).center());
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("previewName")), QStringLiteral("a.jpg"));
    EXPECT_EQ(copyRows(screen).size(), 2);
}

TEST_F(DuplicatesScreenTest, TicksDriveTheButtonsAndUntickingTheNewestKeepsNothing)
{
    makeGroups();
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_TRUE(scanAndWait(screen));
    clickCategory(screen, 1);
    QPushButton *bulk = button(screen, QStringLiteral("removeSelectedButton"));
    QPushButton *current = button(screen, QStringLiteral("removeCurrentButton"));
    auto *all = childNamed<QCheckBox>(screen, QStringLiteral("allGroupsBox"));
    ASSERT_TRUE(bulk && current && all);
    EXPECT_EQ(bulk->text(), QStringLiteral("Remove duplicates"));
    EXPECT_FALSE(bulk->isEnabled());
    EXPECT_EQ(current->text(), QStringLiteral("Remove current duplicates"));
    EXPECT_TRUE(current->isEnabled());

    struct Step
    {
        const char *what;
        std::function<void()> act;
        quint64 bulkBytes; // 0: nothing ticked is removable
        Qt::CheckState all;
    };
    const std::vector<Step> steps = {
        {"tick the first group", [&] { clickGroupBox(screen, 0); }, 4000, Qt::PartiallyChecked},
        {"tick the second group", [&] { clickGroupBox(screen, 1); }, 5000, Qt::Checked},
        {"clear everything with the box for all", [&] { all->click(); }, 0, Qt::Unchecked},
        {"tick everything with the box for all", [&] { all->click(); }, 5000, Qt::Checked},
    };
    for (const Step &step : steps) {
        step.act();
        KSTTestSupport::pumpFor(10);
        SCOPED_TRACE(step.what);
        EXPECT_EQ(bulk->text(), step.bulkBytes == 0
                                    ? QStringLiteral("Remove duplicates")
                                    : QStringLiteral("Remove %1 of duplicates")
                                          .arg(KSTFormatting::formatBytesShort(step.bulkBytes)));
        EXPECT_EQ(bulk->isEnabled(), step.bulkBytes > 0);
        EXPECT_EQ(all->checkState(), step.all);
    }

    // A click on a box shows that group too; back to the first one.
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("previewName")), QStringLiteral("a.jpg"));
    auto *groups = childNamed<QListView>(screen, QStringLiteral("groupList"));
    QTest::mouseClick(groups->viewport(), Qt::LeftButton, {},
                      groups->visualRect(groups->model()->index(0, 0)).center());
    ASSERT_EQ(textNamed<QLabel>(screen, QStringLiteral("previewName")), QStringLiteral("new.jpg"));
    EXPECT_EQ(all->checkState(), Qt::Checked);

    // Unticking the kept copy in the preview marks it for removal too: nothing is kept.
    auto *copies = childNamed<QTreeWidget>(screen, QStringLiteral("copiesList"));
    copies->topLevelItem(0)->setCheckState(0, Qt::Checked);
    KSTTestSupport::pumpFor(10);
    EXPECT_EQ(
        copyRows(screen),
        (QStringList{QStringLiteral("~/Pictures/big/new.jpg|remove|Removable · marked by you"),
                     QStringLiteral("~/Downloads/older.jpg|remove|Removable · an older "
                                    "copy"),
                     QStringLiteral("~/Pictures/big/old.jpg|remove|Removable · an older "
                                    "copy")}));
    EXPECT_EQ(bulk->text(),
              QStringLiteral("Remove %1 of duplicates").arg(KSTFormatting::formatBytesShort(7000)));
    // And keeping an older copy by hand.
    copies->topLevelItem(2)->setCheckState(0, Qt::Unchecked);
    KSTTestSupport::pumpFor(10);
    EXPECT_EQ(copyRows(screen).at(2),
              QStringLiteral("~/Pictures/big/old.jpg|keep|Kept · kept by you"));
}

TEST_F(DuplicatesScreenTest, RemovingTheShownGroupAsksFirstThenTrashesTheOlderCopies)
{
    makeGroups();
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_TRUE(scanAndWait(screen));
    clickCategory(screen, 1);
    QPushButton *current = button(screen, QStringLiteral("removeCurrentButton"));

    // Declined: nothing moves and the group stays.
    answer = false;
    current->click();
    ASSERT_EQ(confirmations.size(), 1);
    EXPECT_EQ(confirmations.first(),
              QStringLiteral("Move 2 copies of “new.jpg” to the Trash?|Kestrel keeps "
                             "~/Pictures/big/new.jpg. The removed copies can be put back from "
                             "the Trash."));
    KSTTestSupport::pumpFor(50);
    EXPECT_TRUE(QFileInfo::exists(home(QStringLiteral("Pictures/big/old.jpg"))));
    EXPECT_TRUE(QFileInfo::exists(home(QStringLiteral("Downloads/older.jpg"))));
    EXPECT_EQ(groupNames(screen).size(), 2);

    // Accepted: the older copies are in the Trash, the newest stays, the next group is shown.
    // Meanwhile nothing else can be chosen or removed.
    answer = true;
    current->click();
    EXPECT_FALSE(childNamed<QListWidget>(screen, QStringLiteral("categoryList"))->isEnabled());
    EXPECT_FALSE(childNamed<QListView>(screen, QStringLiteral("groupList"))->isEnabled());
    EXPECT_FALSE(current->isEnabled());
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] {
        return !textNamed<QLabel>(screen, QStringLiteral("removalOutcome")).isEmpty() &&
               childNamed<QWidget>(screen, QStringLiteral("outcomeCard"))->isVisible();
    }));
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("removalOutcome")),
              QStringLiteral("Moved 2 copies (%1) to the Trash.")
                  .arg(KSTFormatting::formatBytesShort(4000)));
    EXPECT_FALSE(QFileInfo::exists(home(QStringLiteral("Pictures/big/old.jpg"))));
    EXPECT_FALSE(QFileInfo::exists(home(QStringLiteral("Downloads/older.jpg"))));
    EXPECT_TRUE(QFileInfo::exists(trashed(QStringLiteral("old.jpg"))));
    EXPECT_TRUE(QFileInfo::exists(trashed(QStringLiteral("older.jpg"))));
    EXPECT_TRUE(QFileInfo::exists(home(QStringLiteral("Pictures/big/new.jpg"))));
    EXPECT_EQ(groupNames(screen), QStringList{QStringLiteral("a.jpg")});
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("previewName")), QStringLiteral("a.jpg"));
    EXPECT_TRUE(childNamed<QListWidget>(screen, QStringLiteral("categoryList"))->isEnabled());
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("resultSummary")),
              QStringLiteral("%1 can be freed").arg(KSTFormatting::formatBytesShort(1500)));
}

TEST_F(DuplicatesScreenTest, AGroupThatKeepsNoCopyOrAChangedCopyIsLeftInPlaceAndSaidSo)
{
    makeGroups();
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_TRUE(scanAndWait(screen));
    clickCategory(screen, 1);
    answer = true;

    // Every copy of the shown group marked for removal: the whole group stays.
    auto *copies = childNamed<QTreeWidget>(screen, QStringLiteral("copiesList"));
    copies->topLevelItem(0)->setCheckState(0, Qt::Checked);
    KSTTestSupport::pumpFor(10);
    button(screen, QStringLiteral("removeCurrentButton"))->click();
    ASSERT_EQ(confirmations.size(), 1);
    EXPECT_TRUE(confirmations.first().contains(QStringLiteral("No copy of this file is kept")));
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] {
        return childNamed<QWidget>(screen, QStringLiteral("outcomeCard"))->isVisible();
    }));
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("removalOutcome")),
              QStringLiteral("Nothing was moved to the Trash. 3 files were left in place:"));
    const QString left = textNamed<QLabel>(screen, QStringLiteral("leftInPlace"));
    EXPECT_TRUE(left.contains(QStringLiteral("~/Pictures/big/new.jpg — "))) << left.toStdString();
    for (const char *path : {"Pictures/big/new.jpg", "Pictures/big/old.jpg", "Downloads/older.jpg"})
        EXPECT_TRUE(QFileInfo::exists(home(QString::fromLatin1(path)))) << path;
    EXPECT_EQ(groupNames(screen).size(), 2);

    // A copy changed since the scan stays where it is; the other one goes.
    copies->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
    KSTTestSupport::pumpFor(10);
    mac.writeHomeFile(QStringLiteral("Downloads/older.jpg"), content(2000, 9), Day2);
    button(screen, QStringLiteral("removeCurrentButton"))->click();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] {
        return textNamed<QLabel>(screen, QStringLiteral("removalOutcome")).startsWith(u"Moved");
    }));
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("removalOutcome")),
              QStringLiteral("Moved 1 copy (%1) to the Trash. 1 file was left in place:")
                  .arg(KSTFormatting::formatBytesShort(2000)));
    EXPECT_TRUE(textNamed<QLabel>(screen, QStringLiteral("leftInPlace"))
                    .startsWith(QStringLiteral("~/Downloads/older.jpg — ")));
    EXPECT_TRUE(QFileInfo::exists(home(QStringLiteral("Downloads/older.jpg"))));
    EXPECT_TRUE(QFileInfo::exists(trashed(QStringLiteral("old.jpg"))));
}

TEST_F(DuplicatesScreenTest, RemovingTheTickedGroupsTrashesTheirCopiesAndScansAgain)
{
    makeGroups();
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_TRUE(scanAndWait(screen));
    clickCategory(screen, 1);
    clickGroupBox(screen, 0);
    clickGroupBox(screen, 1);
    KSTTestSupport::pumpFor(10);

    answer = true;
    button(screen, QStringLiteral("removeSelectedButton"))->click();
    ASSERT_EQ(confirmations.size(), 1);
    EXPECT_TRUE(confirmations.first().startsWith(QStringLiteral("Move 3 copies (%1) to the Trash?|")
                                                     .arg(KSTFormatting::formatBytesShort(5000))))
        << confirmations.first().toStdString();
    // The rescan runs, then its result: only the image group is left.
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [screen] {
            return pageName(screen) == QLatin1String("duplicateResults") &&
                   textNamed<QLabel>(screen, QStringLiteral("resultDetail"))
                       .startsWith(QStringLiteral("1 group"));
        },
        30'000));
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("removalOutcome")),
              QStringLiteral("Moved 3 copies (%1) to the Trash.")
                  .arg(KSTFormatting::formatBytesShort(5000)));
    EXPECT_EQ(groupNames(screen), QStringList{QStringLiteral("x.png")});
    for (const char *name : {"old.jpg", "older.jpg", "b.jpg"})
        EXPECT_TRUE(QFileInfo::exists(trashed(QString::fromLatin1(name)))) << name;
    for (const char *path : {"Pictures/big/new.jpg", "Pictures/small/a.jpg", "Pictures/png/y.png"})
        EXPECT_TRUE(QFileInfo::exists(home(QString::fromLatin1(path)))) << path;
}

TEST_F(DuplicatesScreenTest, CancelGoesBackToTheFoldersAndNothingArrivesLater)
{
    makeGroups();
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    button(screen, QStringLiteral("scanButton"))->click();
    ASSERT_EQ(pageName(screen), QStringLiteral("duplicateScanning"));
    button(screen, QStringLiteral("cancelScanButton"))->click();
    EXPECT_EQ(pageName(screen), QStringLiteral("duplicateSetup"));
    KSTTestSupport::pumpFor(500);
    EXPECT_EQ(pageName(screen), QStringLiteral("duplicateSetup"));
    EXPECT_TRUE(screen->isContentReady());
}

TEST_F(DuplicatesScreenTest, AScanWithoutDuplicatesSaysSoAndCanRunAgain)
{
    mac.writeHomeFile(QStringLiteral("Pictures/one.jpg"), content(900, 1), Day1);
    mac.writeHomeFile(QStringLiteral("Pictures/two.jpg"), content(900, 2), Day1);
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_TRUE(scanAndWait(screen));
    EXPECT_EQ(textNamed<QLabel>(screen, QStringLiteral("resultSummary")),
              QStringLiteral("No duplicate files found"));
    EXPECT_TRUE(childNamed<QLabel>(screen, QStringLiteral("emptyResults"))->isVisible());
    EXPECT_FALSE(button(screen, QStringLiteral("removeCurrentButton"))->isEnabled());
    EXPECT_FALSE(button(screen, QStringLiteral("removeSelectedButton"))->isEnabled());

    // A copy made meanwhile is found by the rescan.
    mac.writeHomeFile(QStringLiteral("Downloads/one copy.jpg"), content(900, 1), Day2);
    button(screen, QStringLiteral("rescanButton"))->click();
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [screen] { return groupNames(screen) == QStringList{QStringLiteral("one copy.jpg")}; },
        30'000));
    EXPECT_FALSE(childNamed<QLabel>(screen, QStringLiteral("emptyResults"))->isVisible());

    // Back to the folders, and back to the result kept meanwhile.
    button(screen, QStringLiteral("newScanButton"))->click();
    EXPECT_EQ(pageName(screen), QStringLiteral("duplicateSetup"));
    button(screen, QStringLiteral("lastResultsButton"))->click();
    EXPECT_EQ(pageName(screen), QStringLiteral("duplicateResults"));
}

TEST_F(DuplicatesScreenTest, ScansOnOpenOnlyWhenAskedTo)
{
    makeGroups();
    {
        auto controller = makeShownWindow();
        KSTDuplicatesScreen *screen = showDuplicates(*controller);
        EXPECT_EQ(pageName(screen), QStringLiteral("duplicateSetup"));
        childNamed<QAbstractButton>(screen, QStringLiteral("scanOnOpenSwitch"))->click();
    }
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    EXPECT_FALSE(screen->isContentReady());
    EXPECT_EQ(pageName(screen), QStringLiteral("duplicateScanning"));
    ASSERT_TRUE(waitForResults(screen));
    EXPECT_EQ(groupNames(screen), QStringList{QStringLiteral("x.png")});
}

TEST_F(DuplicatesScreenTest, ReplacingWithClonesAsksFirstAndKeepsEveryPath)
{
    makeGroups();
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_TRUE(scanAndWait(screen));
    clickCategory(screen, 1);
    QPushButton *clone = button(screen, QStringLiteral("cloneSelectedButton"));
    ASSERT_NE(clone, nullptr);
    EXPECT_FALSE(clone->isEnabled()); // nothing ticked
    clickGroupBox(screen, 0);
    KSTTestSupport::pumpFor(10);
    ASSERT_TRUE(clone->isEnabled());

    answer = false;
    clone->click();
    ASSERT_EQ(confirmations.size(), 1);
    EXPECT_TRUE(confirmations.first().startsWith(
        u"Replace 2 copies with clones of the kept copies?|Each copy keeps its name"_s))
        << confirmations.first().toStdString();
    KSTTestSupport::pumpFor(50);
    EXPECT_FALSE(childNamed<QWidget>(screen, QStringLiteral("outcomeCard"))->isVisible());

    answer = true;
    clone->click();
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [screen] {
            return childNamed<QWidget>(screen, QStringLiteral("outcomeCard"))->isVisible() &&
                   pageName(screen) == QLatin1String("duplicateResults");
        },
        30'000));
    // Whether this file system can clone or not, every copy is still at its path with its
    // content, and nothing went to the Trash.
    const QString outcome = textNamed<QLabel>(screen, QStringLiteral("removalOutcome"));
    EXPECT_TRUE(outcome.startsWith(u"Replaced 2 copies with clones;"_s) ||
                outcome.startsWith(u"No copy was replaced with a clone. 2 files were left"_s))
        << outcome.toStdString();
    for (const char *path :
         {"Pictures/big/new.jpg", "Pictures/big/old.jpg", "Downloads/older.jpg"}) {
        QFile file(home(QString::fromLatin1(path)));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << path;
        EXPECT_EQ(file.readAll(), content(2000, 1)) << path;
    }
    EXPECT_TRUE(QDir(home(QStringLiteral(".Trash"))).isEmpty(QDir::Files | QDir::NoDotAndDotDot));
}

TEST_F(DuplicatesScreenTest, ThePreviewShowsTheNewestPictureAndSpaceTicksTheCurrentGroup)
{
    // Two copies of a red picture; the thumbnail is read from the newest.
    QImage red(200, 100, QImage::Format_RGB32);
    red.fill(QColor(220, 20, 20));
    QByteArray png;
    QBuffer buffer(&png);
    ASSERT_TRUE(buffer.open(QIODevice::WriteOnly) && red.save(&buffer, "PNG"));
    mac.writeHomeFile(QStringLiteral("Pictures/red.png"), png, Day2);
    mac.writeHomeFile(QStringLiteral("Downloads/red copy.png"), png, Day1);
    auto controller = makeShownWindow();
    KSTDuplicatesScreen *screen = showDuplicates(*controller);
    ASSERT_TRUE(scanAndWait(screen));
    auto *thumbnail = childNamed<QLabel>(screen, QStringLiteral("previewThumbnail"));
    ASSERT_NE(thumbnail, nullptr);
    const auto centreIsRed = [thumbnail] {
        const QImage shown = thumbnail->pixmap().toImage();
        if (shown.isNull())
            return false;
        const QColor centre = shown.pixelColor(shown.width() / 2, shown.height() / 2);
        return centre.red() > 200 && centre.green() < 60 && centre.blue() < 60;
    };
    EXPECT_TRUE(KSTTestSupport::pumpUntil(centreIsRed));

    // Space on the current row ticks its group, as its box does.
    auto *groups = childNamed<QListView>(screen, QStringLiteral("groupList"));
    groups->setFocus();
    groups->setCurrentIndex(groups->model()->index(0, 0));
    QTest::keyClick(groups, Qt::Key_Space);
    EXPECT_EQ(button(screen, QStringLiteral("removeSelectedButton"))->text(),
              QStringLiteral("Remove %1 of duplicates")
                  .arg(KSTFormatting::formatBytesShort(quint64(png.size()))));
}

// A result of @p count groups of two copies each, all "others", as a scan would deliver it.
std::shared_ptr<KSTDuplicateSnapshot> manyGroups(int count)
{
    auto snapshot = std::make_shared<KSTDuplicateSnapshot>();
    const QStringList types = {u"images"_s, u"photos"_s,   u"videos"_s,
                               u"audios"_s, u"archives"_s, u"others"_s};
    for (const QString &type : types)
        snapshot->categories.append({type, type, u"doc"_s, 0, 0, {}});
    KSTDuplicateCategorySummary &others = snapshot->categories.last();
    for (int index = 0; index < count; ++index) {
        KSTDuplicateGroup group;
        group.hashKey = QStringLiteral("%1").arg(index, 64, 16, QLatin1Char('0'));
        group.fileName = QStringLiteral("file %1.dat").arg(index);
        group.fileSize = 100;
        group.categoryType = u"others"_s;
        group.files = {{QStringLiteral("/d/a/%1").arg(index), 100, Day2, {}},
                       {QStringLiteral("/d/b/%1").arg(index), 100, Day1, {}}};
        group.reclaimableBytes = 100;
        others.groups.append(group);
    }
    others.groupCount = quint64(count);
    others.reclaimableBytes = 100ull * quint64(count);
    snapshot->totalGroupCount = others.groupCount;
    snapshot->totalReclaimableBytes = others.reclaimableBytes;
    return snapshot;
}

TEST_F(DuplicatesScreenTest, TheGroupListRepaintsTicksWithoutRebuildingFiftyThousandRows)
{
    KSTDuplicateReviewModel review(systemInfo);
    KSTDuplicateGroupListModel list(review);
    QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy resets(&list, &QAbstractItemModel::modelReset);
    QSignalSpy changes(&list, &QAbstractItemModel::dataChanged);

    review.setSnapshot(manyGroups(50'000));
    ASSERT_EQ(list.rowCount(), 50'000);
    const qsizetype resetsAfterResult = resets.size();
    EXPECT_GE(resetsAfterResult, 1);
    EXPECT_EQ(list.index(49'999).data().toString(), u"file 49999.dat"_s);
    EXPECT_EQ(list.index(7).data(KSTDuplicateGroupListModel::DetailRole).toString(),
              QStringLiteral("2 copies · %1 each").arg(KSTFormatting::formatBytesShort(100)));
    EXPECT_EQ(list.rowOfGroup(list.groupAt(31'000).hashKey), 31'000);
    EXPECT_EQ(list.rowOfGroup(u"no such key"_s), -1);

    // A tick through the list reaches the review model and only repaints the boxes.
    ASSERT_TRUE(list.setData(list.index(31'000), Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(review.selectedGroupKeys().contains(list.groupAt(31'000).hashKey));
    EXPECT_EQ(list.index(31'000).data(Qt::CheckStateRole).toInt(), Qt::Checked);
    review.setSelectedGroup(list.groupAt(12).hashKey);
    EXPECT_EQ(resets.size(), resetsAfterResult);
    EXPECT_FALSE(changes.isEmpty());

    // Another category, or a snapshot edited by a removal, lists other rows.
    review.setSelectedCategoryType(u"images"_s);
    EXPECT_EQ(list.rowCount(), 0);
    EXPECT_GT(resets.size(), resetsAfterResult);
    // While a scan runs nothing can be ticked.
    review.setSelectedCategoryType(u"others"_s);
    auto scanning = std::make_shared<KSTDuplicateSnapshot>(*manyGroups(3));
    scanning->isScanning = true;
    review.setSnapshot(scanning);
    EXPECT_FALSE(list.flags(list.index(0)).testFlag(Qt::ItemIsUserCheckable));
    EXPECT_FALSE(list.setData(list.index(0), Qt::Checked, Qt::CheckStateRole));
}

} // namespace
