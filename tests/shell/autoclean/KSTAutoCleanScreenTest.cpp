// The Auto Clean screen inside the window: the switches and lists it passes to the manager and
// the state it shows back.
#include "KSTShellTestFixture.h"

#include "KSTAutoCleanRuleRow.h"
#include "KSTAutoCleanScreen.h"
#include "KSTKeptAsideBanner.h"
#include "KSTNeverTouchListView.h"
#include "KSTObjectLookup.h"
#include "KSTToggleSwitch.h"

#include <QLabel>
#include <QPushButton>
#include <QTest>

namespace {

using namespace Qt::StringLiterals;
using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;
using ScreensTest = ShellTest;

// The row of the rule of type @p ruleType, and its switch.
const KSTAutoCleanRuleRow *rule(const QObject *screen, int ruleType)
{
    return childNamed<KSTAutoCleanRuleRow>(screen, u"rule%1"_s.arg(ruleType));
}

KSTToggleSwitch *ruleSwitch(const QObject *screen, int ruleType)
{
    return childNamed<KSTToggleSwitch>(rule(screen, ruleType), u"ruleSwitch"_s);
}

KSTAutoCleanScreen *autoCleanOf(const KSTMainWindowController &controller)
{
    return qobject_cast<KSTAutoCleanScreen *>(controller.screenForSection(Section::AutoClean));
}

TEST_F(ScreensTest, AutoCleanSwitchesReachTheManagerAndItsStateComesBack)
{
    grantFullDiskAccess();
    auto controller = makeShownWindow();
    controller->showSection(Section::AutoClean);
    KSTAutoCleanScreen *screen = autoCleanOf(*controller);
    ASSERT_NE(screen, nullptr);
    ASSERT_EQ(screen->findChildren<KSTAutoCleanRuleRow *>().size(), 6);
    EXPECT_EQ(textNamed<QLabel>(rule(screen, 1), u"ruleTitle"_s), QStringLiteral("Trash"));
    EXPECT_EQ(textNamed<QLabel>(rule(screen, 0), u"ruleSchedule"_s),
              QStringLiteral("Daily · 03:00"));
    EXPECT_EQ(textNamed<QLabel>(screen, u"lastRun"_s), QStringLiteral("Not yet"));

    QTest::mouseClick(childNamed<KSTToggleSwitch>(screen, u"automationSwitch"_s), Qt::LeftButton);
    EXPECT_TRUE(manager->automationEnabled());
    EXPECT_EQ(textNamed<QLabel>(screen, u"automationStatus"_s),
              QStringLiteral("On · turn on a rule below for it to run"));

    QTest::mouseClick(ruleSwitch(screen, 3), Qt::LeftButton);
    EXPECT_TRUE(manager->isRuleEnabledAtIndex(3));
    EXPECT_TRUE(manager->isAutomationActive());
    EXPECT_EQ(textNamed<QLabel>(screen, u"automationStatus"_s),
              QStringLiteral("On · enabled rules run every hour"));

    // A change made elsewhere (the manager itself) shows up through its notification.
    manager->setRuleEnabled(false, 3);
    EXPECT_TRUE(
        KSTTestSupport::pumpUntil([screen] { return !ruleSwitch(screen, 3)->isChecked(); }));
    manager->setAutomationEnabled(false);
    manager->waitUntilIdle();
}

TEST_F(ScreensTest, NeverTouchListAddsFromThePickerExplainsRefusalsAndRemoves)
{
    grantFullDiskAccess();
    mac.makeHomeDirectory(QStringLiteral("Documents/Taxes"));
    auto controller = makeShownWindow();
    controller->showSection(Section::AutoClean);
    KSTAutoCleanScreen *screen = autoCleanOf(*controller);
    auto *list = childNamed<KSTNeverTouchListView>(screen, u"neverTouchList"_s);
    QString picked = mac.homePath(QStringLiteral("Documents/Taxes"));
    screen->setFolderPicker([&picked](QWidget *) { return picked; });

    QTest::mouseClick(childNamed<QPushButton>(list, u"addNeverTouch"_s), Qt::LeftButton);
    EXPECT_EQ(manager->whitelistPaths(), QStringList({"~/Documents/Taxes"}));
    EXPECT_EQ(list->paths(), QStringList({"~/Documents/Taxes"}));
    EXPECT_TRUE(list->notice().isEmpty());

    QTest::mouseClick(childNamed<QPushButton>(list, u"addNeverTouch"_s), Qt::LeftButton);
    EXPECT_EQ(list->notice(), QStringLiteral("~/Documents/Taxes is already on the list."));
    picked = mac.homePath(QStringLiteral("Gone"));
    QTest::mouseClick(childNamed<QPushButton>(list, u"addNeverTouch"_s), Qt::LeftButton);
    EXPECT_EQ(list->notice(), QStringLiteral("~/Gone could not be added: it no longer exists."));
    picked.clear(); // the dialog was cancelled
    QTest::mouseClick(childNamed<QPushButton>(list, u"addNeverTouch"_s), Qt::LeftButton);
    EXPECT_EQ(manager->whitelistPaths().size(), 1);

    QPushButton *remove = list->removeButtonForPath(QStringLiteral("~/Documents/Taxes"));
    ASSERT_NE(remove, nullptr);
    QTest::mouseClick(remove, Qt::LeftButton);
    EXPECT_TRUE(manager->whitelistPaths().isEmpty());
    EXPECT_TRUE(list->paths().isEmpty());
    EXPECT_TRUE(list->notice().isEmpty());
}

TEST_F(ScreensTest, ANeverTouchListSetAsideAtLaunchCanBeRestoredOrDismissed)
{
    grantFullDiskAccess();
    mac.makeHomeDirectory(QStringLiteral("Documents/Taxes"));
    for (const bool restore : {true, false}) {
        {
            const std::unique_ptr<QSettings> stored = KSTPreferences::suite(Suite);
            stored->setValue("automationEnabled", true);
            stored->setValue("whitelistPaths", QStringList{"~/Documents/Taxes"});
        }
        KSTAutoCleanManager::Options options;
        options.suiteName = Suite;
        manager.reset();
        manager = std::make_unique<KSTAutoCleanManager>(options); // a launch
        auto controller = makeShownWindow();
        controller->showSection(Section::AutoClean);
        auto *banner =
            childNamed<KSTKeptAsideBanner>(autoCleanOf(*controller), u"keptAsideBanner"_s);
        ASSERT_TRUE(banner->isVisible()) << restore;
        EXPECT_TRUE(textNamed<QLabel>(banner, u"bannerMessage"_s)
                        .contains(QStringLiteral("~/Documents/Taxes")));

        QTest::mouseClick(childNamed<QPushButton>(banner, restore ? u"restoreKeptAside"_s
                                                                  : u"dismissKeptAside"_s),
                          Qt::LeftButton);
        EXPECT_EQ(manager->whitelistPaths(),
                  restore ? QStringList{"~/Documents/Taxes"} : QStringList());
        EXPECT_TRUE(manager->keptAsideWhitelistPaths().isEmpty());
        EXPECT_FALSE(banner->isVisible());
        manager->setAutomationEnabled(false);
        manager->waitUntilIdle();
        KSTPreferences::suite(Suite)->clear();
    }
}

} // namespace
