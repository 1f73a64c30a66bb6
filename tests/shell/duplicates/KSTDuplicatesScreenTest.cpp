// The Duplicate Files screen inside the window, on fixture Macs: the folder choice and what
// is remembered of it, the scan's progress page and Cancel, the results (categories, groups,
// preview), the two removals with their confirmations, what a removal leaves in place, and a
// scan that finds nothing.
#include "KSTShellTestFixture.h"

#include "KSTDuplicateEngine.h"
#include "KSTDuplicateGroupDelegate.h"
#include "KSTDuplicatePreview.h"
#include "KSTDuplicatesScreen.h"
#include "KSTFormatting.h"
#include "KSTObjectLookup.h"

#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QListView>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QStackedWidget>
#include <QTest>
#include <QTreeWidget>

namespace {

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

    // Each copy of the preview: "path|ticked|status".
    static QStringList copyRows(KSTDuplicatesScreen *screen)
    {
        QStringList rows;
        auto *copies = childNamed<QTreeWidget>(screen, QStringLiteral("copiesList"));
        for (int row = 0; copies && row < copies->topLevelItemCount(); ++row) {
            const QTreeWidgetItem *item = copies->topLevelItem(row);
            rows << item->text(KSTDuplicatePreview::PathColumn) + QLatin1Char('|') +
                        (item->checkState(KSTDuplicatePreview::PathColumn) == Qt::Checked
                             ? QStringLiteral("remove")
                             : QStringLiteral("keep")) +
                        QLatin1Char('|') + item->text(KSTDuplicatePreview::StatusColumn);
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

} // namespace
