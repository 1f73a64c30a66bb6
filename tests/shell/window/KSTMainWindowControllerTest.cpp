// The window against fixture Macs: the sidebar, the access gate, the return from System
// Settings and the size rule.
#include "KSTShellTestFixture.h"

#include "KSTContentShellViewController.h"
#include "KSTFullDiskAccessScreen.h"
#include "KSTNavRowView.h"
#include "KSTObjectLookup.h"
#include "KSTSectionCatalog.h"
#include "KSTSidebarViewController.h"
#include "KSTToolScreen.h"

#include <QGuiApplication>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QTest>
#include <QWindow>

namespace {

using namespace Qt::StringLiterals;
using Controller = KSTMainWindowController;
using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;

QString shownTitle(const Controller &controller)
{
    return controller.currentShell()->toolbarTitle();
}

QWidget *shownScreen(const Controller &controller)
{
    return controller.currentShell()->childController();
}

QList<int> selectedRows(const KSTSidebarViewController &sidebar)
{
    QList<int> selected;
    for (const KSTNavRowView *row : sidebar.navRows()) {
        if (row->isSelected())
            selected << row->sectionIndex();
    }
    return selected;
}

void press(KSTNavRowView *row)
{
    QTest::mousePress(row, Qt::LeftButton, {}, row->rect().center());
    QTest::mouseRelease(row, Qt::LeftButton, {}, row->rect().center());
    KSTTestSupport::pumpFor(10); // the replaced shell goes away later
}

using WindowTest = ShellTest;

TEST_F(WindowTest, SidebarListsTheSevenToolsInTheirGroups)
{
    grantFullDiskAccess();
    auto controller = makeShownWindow();
    const KSTSidebarViewController &sidebar = *controller->sidebar();

    ASSERT_EQ(sidebar.navRows().size(), 7);
    for (int section = 0; section < 7; ++section) {
        const KSTNavRowView *row = sidebar.navRows().at(section);
        EXPECT_EQ(row->sectionIndex(), section);
        EXPECT_EQ(row->symbolName(), KSTSectionCatalog::symbolName(section));
    }
    EXPECT_EQ(sidebar.autoCleanRow(), sidebar.navRows().at(4));

    // On screen, top to bottom: the product, then each group header above its rows, each row
    // titled for its section.
    QList<std::pair<int, QString>> texts;
    for (const QLabel *label : sidebar.findChildren<QLabel *>()) {
        if (!label->text().isEmpty())
            texts << std::pair{label->mapTo(&sidebar, QPoint()).y(), label->text()};
    }
    for (const KSTNavRowView *row : sidebar.navRows())
        texts << std::pair{row->mapTo(&sidebar, QPoint()).y(), row->title()};
    std::sort(texts.begin(), texts.end());
    QStringList order;
    for (const auto &[y, text] : texts)
        order << text;
    EXPECT_EQ(order, QStringList({"Kestrel 3", "MONITOR", "Mac Overview", "Mac Reporter", "CLEAN",
                                  "Clean Up", "Duplicate Files", "Auto Clean", "MANAGE",
                                  "App Manage", "Utilities", "System Healthy"}));
    EXPECT_EQ(sidebar.width(), KSTSidebarViewController::Width);
    EXPECT_EQ(controller->window()->windowTitle(), QStringLiteral("Kestrel 3"));
    EXPECT_EQ(controller->window()->minimumSize(), QSize(960, 600));
}

TEST_F(WindowTest, PressingARowSelectsExactlyThatRowAndShowsItsTool)
{
    grantFullDiskAccess();
    auto controller = makeShownWindow();
    KSTSidebarViewController &sidebar = *controller->sidebar();
    EXPECT_EQ(selectedRows(sidebar), QList<int>({0}));
    EXPECT_EQ(shownTitle(*controller), QStringLiteral("Mac Overview"));

    for (int section :
         {Section::Duplicates, Section::Utilities, Section::CleanUp, Section::AutoClean,
          Section::Overview, Section::AppManage, Section::Reporter}) {
        press(sidebar.navRows().at(section));
        EXPECT_EQ(selectedRows(sidebar), QList<int>({section}));
        EXPECT_EQ(controller->currentSection(), section);
        EXPECT_EQ(shownTitle(*controller), KSTSectionCatalog::contentTitle(section));
        // Screens are made once and kept.
        EXPECT_EQ(shownScreen(*controller), controller->screenForSection(section));
    }
    sidebar.selectSection(42);
    EXPECT_TRUE(selectedRows(sidebar).isEmpty());
}

TEST_F(WindowTest, AutoCleanBadgeFollowsWhetherAutomationIsActive)
{
    grantFullDiskAccess();
    auto controller = makeShownWindow();
    const KSTNavRowView *row = controller->sidebar()->autoCleanRow();
    EXPECT_FALSE(row->isBadgeVisible());

    // Switched on without a rule: not active, no badge.
    manager->setAutomationEnabled(true);
    KSTTestSupport::pumpFor(50);
    EXPECT_FALSE(row->isBadgeVisible());

    manager->setRuleEnabled(true, 3);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([row] { return row->isBadgeVisible(); }));
    EXPECT_EQ(row->badgeText(), QStringLiteral("ON"));

    manager->setAutomationEnabled(false);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([row] { return !row->isBadgeVisible(); }));
    manager->waitUntilIdle();
}

TEST_F(WindowTest, CleanUpWithoutFullDiskAccessShowsTheGateEvenWithAHomeGrant)
{
    ASSERT_TRUE(KSTPermissionChecker::saveHomeFolderBookmarkForURL(mac.home()));
    ASSERT_TRUE(KSTPermissionChecker::restoreStoredHomeFolderAccess());
    ASSERT_TRUE(KSTPermissionChecker::hasHomeFolderAccess());
    ASSERT_FALSE(KSTPermissionChecker::hasFullDiskAccess());

    auto controller = makeShownWindow();
    for (int section = 0; section < KSTSectionCatalog::SectionCount; ++section) {
        controller->showSection(section);
        const bool gated = section == 1 || section == 2 || section == 4;
        auto *gate = qobject_cast<KSTFullDiskAccessScreen *>(shownScreen(*controller));
        EXPECT_EQ(gate != nullptr, gated) << section;
        if (!gate) {
            EXPECT_EQ(shownTitle(*controller), KSTSectionCatalog::contentTitle(section));
            continue;
        }
        EXPECT_EQ(shownTitle(*controller), QStringLiteral("Full Disk Access"));
        EXPECT_EQ(gate->targetSection(), section);
        EXPECT_EQ(textNamed<QLabel>(gate, u"accessTitle"_s),
                  QStringLiteral("Allow Full Disk Access"));
        EXPECT_EQ(textNamed<QLabel>(gate, u"accessMessage"_s),
                  KSTPermissionChecker::fullDiskAccessReminderMessage());
    }

    // Remind-later silences the prompt of the other tools, never Clean Up's.
    KSTPermissionChecker::setRemindLater(true);
    controller->showSection(Section::AutoClean);
    EXPECT_EQ(shownTitle(*controller), QStringLiteral("Automatic Clean Up"));
    controller->showSection(Section::CleanUp);
    EXPECT_EQ(shownTitle(*controller), QStringLiteral("Full Disk Access"));
}

TEST_F(WindowTest, RemindLaterOnTheGateShowsTheToolAtOnce)
{
    auto controller = makeShownWindow();
    for (int section : {Section::CleanUp, Section::AutoClean}) {
        KSTPermissionChecker::clearRemindLater();
        press(controller->sidebar()->navRows().at(section));
        auto *gate = qobject_cast<KSTFullDiskAccessScreen *>(shownScreen(*controller));
        ASSERT_NE(gate, nullptr) << section;

        QTest::mouseClick(childNamed<QPushButton>(gate, u"remindLater"_s), Qt::LeftButton);
        KSTTestSupport::pumpFor(10);
        EXPECT_TRUE(KSTPermissionChecker::isRemindLaterSet());
        EXPECT_EQ(shownScreen(*controller), controller->screenForSection(section));
        EXPECT_EQ(shownTitle(*controller), KSTSectionCatalog::contentTitle(section));
        EXPECT_EQ(selectedRows(*controller->sidebar()), QList<int>({section}));
        EXPECT_FALSE(controller->isWaitingForFullDiskAccessGrant());
    }
}

TEST_F(WindowTest, AccessGrantedInSettingsReshowsTheAskingToolAndDropsTheCaches)
{
    auto controller = makeShownWindow();
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [this] { return systemInfo.cachedOverviewSnapshotIfAvailable() != nullptr; }));

    press(controller->sidebar()->navRows().at(4));
    auto *gate = qobject_cast<KSTFullDiskAccessScreen *>(shownScreen(*controller));
    ASSERT_NE(gate, nullptr);
    QTest::mouseClick(childNamed<QPushButton>(gate, u"openAccessSettings"_s), Qt::LeftButton);
    EXPECT_TRUE(controller->isWaitingForFullDiskAccessGrant());
    EXPECT_EQ(controller->pendingPermissionSection(), Section::AutoClean);
    // The user wanders off to another tool while System Settings is open.
    press(controller->sidebar()->navRows().at(3));

    // Coming back without a grant changes nothing.
    Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_EQ(controller->currentSection(), Section::Duplicates);
    EXPECT_NE(systemInfo.cachedOverviewSnapshotIfAvailable(), nullptr);

    mac.writePrivacyDatabase({{KSTApplicationInfo::bundleIdentifier(), 2}});
    KSTPermissionChecker::setRemindLater(true);
    Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationActive);
    KSTTestSupport::pumpFor(10);
    EXPECT_EQ(controller->currentSection(), Section::AutoClean);
    EXPECT_EQ(shownTitle(*controller), QStringLiteral("Automatic Clean Up"));
    EXPECT_EQ(selectedRows(*controller->sidebar()), QList<int>({4}));
    EXPECT_FALSE(controller->isWaitingForFullDiskAccessGrant());
    EXPECT_FALSE(KSTPermissionChecker::isRemindLaterSet());
    EXPECT_EQ(systemInfo.cachedOverviewSnapshotIfAvailable(), nullptr);

    // The Overview computes its snapshot again when it is next shown.
    const int before = fetches;
    press(controller->sidebar()->navRows().at(0));
    EXPECT_TRUE(KSTTestSupport::pumpUntil([&] { return fetches > before; }));
}

// Makes the window smaller than its minimum, as a window manager that ignores the minimum
// (or a screen that shrank) would; the lowered minimum stays, as it would on such a desktop.
void forceSize(QMainWindow *window, const QSize &size)
{
    window->setMinimumSize(0, 0);
    window->resize(size);
    QCoreApplication::processEvents();
}

TEST_F(WindowTest, TooSmallWindowReturnsToTheLastGoodSizeOrTheDefault)
{
    grantFullDiskAccess();
    auto controller = makeShownWindow();
    QMainWindow *window = controller->window();
    EXPECT_EQ(window->size(), QSize(1180, 740));

    window->resize(1300, 820);
    controller->showSection(Section::Duplicates);
    EXPECT_EQ(controller->lastGoodContentSize(), QSize(1300, 820));

    forceSize(window, QSize(800, 500));
    ASSERT_EQ(window->size(), QSize(800, 500));
    controller->showSection(Section::AppManage);
    EXPECT_EQ(window->size(), QSize(1300, 820));

    // Too small from the start: there is no good size to go back to.
    auto fresh = std::make_unique<Controller>(engines());
    forceSize(fresh->window(), QSize(700, 450));
    fresh->showWindow();
    EXPECT_EQ(fresh->window()->size(), QSize(1180, 740));
}

} // namespace
