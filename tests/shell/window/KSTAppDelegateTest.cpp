// Start-up, the menu and the appearance, through the application delegate.
#include "KSTShellTestFixture.h"

#include "KSTAppDelegate.h"
#include "KSTContentShellViewController.h"
#include "KSTPalette.h"
#include "KSTSectionCatalog.h"
#include "KSTUnavailableScreen.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

namespace {

using DelegateTest = ShellTest;

QAction *findAction(QMenuBar *bar, const QString &menuTitle, const QString &text)
{
    for (QAction *menuAction : bar->actions()) {
        if (menuAction->text() != menuTitle || !menuAction->menu())
            continue;
        for (QAction *action : menuAction->menu()->actions()) {
            if (action->text() == text)
                return action;
        }
    }
    return nullptr;
}

TEST_F(DelegateTest, StartsTheWindowWithItsMenuAndEditingReachesTheFocusedField)
{
    grantFullDiskAccess();
    KSTAppDelegate delegate(engines());
    delegate.applicationWillFinishLaunching();
    delegate.applicationDidFinishLaunching();
    KSTMainWindowController *controller = delegate.mainWindowController();
    ASSERT_NE(controller, nullptr);
    EXPECT_TRUE(controller->window()->isVisible());
    EXPECT_EQ(controller->currentShell()->toolbarTitle(), QStringLiteral("Mac Overview"));
    EXPECT_TRUE(QGuiApplication::quitOnLastWindowClosed());

    QMenuBar *bar = delegate.menuBar();
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(bar->parent(), controller->window()); // no global menu bar here
    const QString name = QStringLiteral("Kestrel 3");
    EXPECT_NE(findAction(bar, name, QStringLiteral("About Kestrel 3")), nullptr);
    EXPECT_NE(findAction(bar, name, QStringLiteral("App Support")), nullptr);
    QAction *quit = findAction(bar, name, QStringLiteral("Quit Kestrel 3"));
    ASSERT_NE(quit, nullptr);
    EXPECT_EQ(quit->shortcut(), QKeySequence(QKeySequence::Quit));
    for (const char *item : {"Minimize", "Zoom", "Bring All to Front"})
        EXPECT_NE(findAction(bar, QStringLiteral("Window"), QLatin1String(item)), nullptr) << item;

    // Select All then Copy act on whatever text field has the focus.
    auto *field = new QLineEdit(QStringLiteral("~/Documents/Taxes"), controller->window());
    field->show();
    field->setFocus();
    QApplication::setActiveWindow(controller->window());
    ASSERT_TRUE(KSTTestSupport::pumpUntil([field] { return field->hasFocus(); }));
    QAction *selectAll = findAction(bar, QStringLiteral("Edit"), QStringLiteral("Select All"));
    QAction *copy = findAction(bar, QStringLiteral("Edit"), QStringLiteral("Copy"));
    ASSERT_TRUE(selectAll && copy);
    EXPECT_EQ(selectAll->shortcut(), QKeySequence(QKeySequence::SelectAll));
    selectAll->trigger();
    EXPECT_EQ(field->selectedText(), field->text());
    copy->trigger();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("~/Documents/Taxes"));
}

TEST_F(DelegateTest, AppearanceSwitchRestylesTheOpenWindow)
{
    grantFullDiskAccess();
    KSTPalette::setAppearance(KSTPalette::Appearance::Light);
    auto controller = makeShownWindow();
    const QString lightSheet = qApp->styleSheet();
    const QColor lightBackground = KSTPalette::windowBackground();

    KSTPalette::setAppearance(KSTPalette::Appearance::Dark);
    EXPECT_NE(qApp->styleSheet(), lightSheet);
    EXPECT_LT(KSTPalette::windowBackground().lightness(), lightBackground.lightness());
    const QImage picture = controller->window()->grab().toImage();
    EXPECT_LT(qGray(picture.pixel(picture.width() - 20, picture.height() - 20)), 80);

    KSTPalette::setAppearance(KSTPalette::Appearance::System);
    EXPECT_FALSE(KSTPalette::isDark()); // the offscreen platform's palette is light
}

TEST_F(DelegateTest, ToolsWithoutAnEngineSayItPlainly)
{
    grantFullDiskAccess();
    auto controller = makeShownWindow();
    for (int section : {Section::AppManage}) {
        controller->showSection(section);
        auto *screen =
            qobject_cast<KSTUnavailableScreen *>(controller->currentShell()->childController());
        ASSERT_NE(screen, nullptr) << section;
        const auto *message = screen->findChild<QLabel *>(QStringLiteral("unavailableMessage"));
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->text(), QStringLiteral("%1 is not available in this version of "
                                                  "Kestrel yet.")
                                       .arg(KSTSectionCatalog::sidebarTitle(section)));
        // Its title and that sentence, nothing else.
        EXPECT_EQ(screen->findChildren<QLabel *>().size(), 2);
    }
}

} // namespace
