// The Clean Up screen inside the window: the placeholder and then the scan, ticking through
// the review list, the confirmation, a removal on a fixture Mac and the alerts after it, and
// the Full Disk Access reminder.
#include "KSTShellTestFixture.h"

#include "KSTAccessReminderBanner.h"
#include "KSTBusyIndicator.h"
#include "KSTCleanUpAlerts.h"
#include "KSTCleanUpCategoryCard.h"
#include "KSTCleanUpEngine.h"
#include "KSTCleanUpReviewDelegate.h"
#include "KSTCleanUpReviewList.h"
#include "KSTCleanUpScreen.h"
#include "KSTContentShellViewController.h"
#include "KSTElidedLabel.h"
#include "KSTFormatting.h"
#include "KSTFullDiskAccessScreen.h"
#include "KSTObjectLookup.h"

#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include <chrono>
#include <thread>

namespace {

using namespace Qt::StringLiterals;
using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;

// The texts of a category card's rows, top to bottom.
QStringList rowTexts(const QObject *card)
{
    QStringList texts;
    for (const KSTElidedLabel *row : card->findChildren<KSTElidedLabel *>(u"categoryRow"_s))
        texts << row->fullText();
    return texts;
}

const KSTCleanUpCategoryCard *card(const QObject *screen, int index)
{
    return childNamed<KSTCleanUpCategoryCard>(screen, u"categoryCard%1"_s.arg(index));
}

KSTCleanUpReviewList *reviewList(const QObject *screen)
{
    return childNamed<KSTCleanUpReviewList>(screen, u"reviewList"_s);
}

QPushButton *button(const QObject *screen, const QString &name)
{
    return childNamed<QPushButton>(screen, name);
}

// The busy indicator turns while the clean button waits.
bool showsProgress(const QObject *screen)
{
    return childNamed<KSTBusyIndicator>(screen, u"cleanProgress"_s)->isRunning() &&
           !button(screen, u"cleanButton"_s)->isEnabled();
}

class CleanUpScreenTest : public ShellTest
{
protected:
    KSTCleanUpScreen *showCleanUp(KSTMainWindowController &controller)
    {
        controller.showSection(Section::CleanUp);
        auto *screen =
            qobject_cast<KSTCleanUpScreen *>(controller.screenForSection(Section::CleanUp));
        if (screen) {
            screen->setAlertPresenters(
                [this](QWidget *, const QString &message, const QString &informative) {
                    confirmations << message + QLatin1Char('|') + informative;
                    return answer;
                },
                [this](QWidget *, const KSTCleanUpOutcome &outcome) { outcomes << outcome; });
        }
        return screen;
    }

    static QTreeWidgetItem *rowNamed(KSTCleanUpReviewList *list, const QString &name)
    {
        const QList<QTreeWidgetItem *> rows = list->findItems(name, Qt::MatchRecursive);
        return rows.isEmpty() ? nullptr : rows.first();
    }

    // A click where a person would click: on the box of a category row, anywhere on an item.
    static void click(KSTCleanUpReviewList *list, QTreeWidgetItem *row)
    {
        ASSERT_NE(row, nullptr);
        list->scrollToItem(row);
        const QRect rect = list->visualItemRect(row);
        const bool category = row->parent() == nullptr;
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          category ? KSTCleanUpReviewDelegate::checkBoxRect(rect, true).center()
                                   : rect.center());
    }

    QStringList confirmations;
    QList<KSTCleanUpOutcome> outcomes;
    bool answer = false;
};

KSTCleanUpItem item(const QString &name, const QString &path, quint64 bytes)
{
    return {name, {}, path, bytes, true, {}};
}

TEST_F(CleanUpScreenTest, ShowsThePlaceholderThenTheFourCategoriesAndScansOnlyWhenAsked)
{
    grantFullDiskAccess();
    KSTCleanUpSnapshot scanned;
    for (const char *type : {"systemJunk", "trashes", "largeFiles", "removable"})
        scanned.categories << KSTCleanUpCategory{QLatin1String(type),
                                                 QLatin1String(type),
                                                 {},
                                                 {item("Logs", "/x/Logs", 3 << 20)},
                                                 {},
                                                 3 << 20};
    scanned.totalReclaimableBytes = 12 << 20;
    scanned.filesAnalyzed = 1234;
    scanned.scanDate = QDateTime::currentDateTime();
    std::atomic<bool> release{false};
    std::atomic<int> scans{0};
    systemInfo.setCleanUpSnapshotBuilder([&](quint64) {
        ++scans;
        while (!release)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return std::make_shared<KSTCleanUpSnapshot>(scanned);
    });
    auto controller = makeShownWindow();
    KSTCleanUpScreen *screen = showCleanUp(*controller);
    ASSERT_NE(screen, nullptr);
    bool announced = false;
    QObject::connect(screen, &KSTToolScreen::contentReady, [&announced] { announced = true; });

    ASSERT_TRUE(
        KSTTestSupport::pumpUntil([screen] { return screen->model().snapshot() != nullptr; }));
    EXPECT_FALSE(screen->isContentReady());
    EXPECT_EQ(textNamed<QLabel>(card(screen, 1), u"categoryTitle"_s), QStringLiteral("Trashes"));
    EXPECT_EQ(rowTexts(card(screen, 1)), QStringList({QStringLiteral("Scanning in background…")}));
    EXPECT_FALSE(button(screen, u"cleanButton"_s)->isEnabled());
    for (int visit = 0; visit < 3; ++visit) { // no second scan while the first runs
        controller->showSection(Section::Overview);
        showCleanUp(*controller);
    }

    release = true;
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    EXPECT_TRUE(announced);
    EXPECT_EQ(scans, 1);
    EXPECT_EQ(textNamed<QLabel>(screen, u"cleanUpSummary"_s),
              QStringLiteral("12 MB can be cleaned"));
    EXPECT_EQ(textNamed<QLabel>(screen, u"cleanUpDetail"_s),
              QStringLiteral("%1 files analyzed · Scanned just now")
                  .arg(KSTFormatting::formatCount(1234)));
    for (int index = 0; index < 4; ++index) {
        EXPECT_EQ(textNamed<QLabel>(card(screen, index), u"categoryTotal"_s),
                  QStringLiteral("3 MB"));
        EXPECT_EQ(rowTexts(card(screen, index)), QStringList({QStringLiteral("Logs")}));
    }

    // Another visit hands back the cached scan and keeps the ticks; Rescan scans again.
    ASSERT_TRUE(screen->model().setItemSelected(0, 0, true));
    controller->showSection(Section::Overview);
    showCleanUp(*controller);
    KSTTestSupport::pumpFor(30);
    EXPECT_TRUE(screen->model().isItemSelected(0, 0));
    QTest::mouseClick(button(screen, u"rescanButton"_s), Qt::LeftButton);
    EXPECT_TRUE(KSTTestSupport::pumpUntil([&] { return scans == 2 && screen->isContentReady(); }));
}

TEST_F(CleanUpScreenTest, TicksGoThroughTheModelAndCleanAsksFirst)
{
    grantFullDiskAccess();
    const QString trash = mac.homePath(QStringLiteral(".Trash"));
    KSTCleanUpSnapshot scanned;
    scanned.categories = {
        {QStringLiteral("trashes"),
         QStringLiteral("Trashes"),
         {},
         {},
         QList<KSTCleanUpItem>{item(QStringLiteral("Mac Trash"), trash, 8192),
                               item(QStringLiteral("a.download"), "/d/a.download", 4096),
                               item(QStringLiteral("empty.download"), "/d/empty.download", 0)},
         12288}};
    systemInfo.setCleanUpSnapshotBuilder(
        [&](quint64) { return std::make_shared<KSTCleanUpSnapshot>(scanned); });
    auto controller = makeShownWindow();
    KSTCleanUpScreen *screen = showCleanUp(*controller);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    KSTCleanUpReviewList *list = reviewList(screen);
    EXPECT_EQ(textNamed<QLabel>(screen, u"selectedTotal"_s), QStringLiteral("No items selected"));

    // The category's box ticks what can be ticked; the empty download stays out.
    click(list, list->categoryRow(0));
    EXPECT_TRUE(screen->model().isItemSelected(0, 0));
    EXPECT_TRUE(screen->model().isItemSelected(0, 1));
    EXPECT_FALSE(screen->model().isItemSelected(0, 2));
    EXPECT_EQ(list->categoryRow(0)->data(0, Qt::CheckStateRole).toInt(), Qt::Checked);
    click(list, rowNamed(list, QStringLiteral("empty.download")));
    EXPECT_FALSE(screen->model().isItemSelected(0, 2));
    click(list, rowNamed(list, QStringLiteral("a.download")));
    EXPECT_FALSE(screen->model().isItemSelected(0, 1));
    EXPECT_EQ(list->categoryRow(0)->data(0, Qt::CheckStateRole).toInt(), Qt::PartiallyChecked);
    click(list, list->categoryRow(0));
    EXPECT_EQ(textNamed<QLabel>(screen, u"selectedTotal"_s),
              QStringLiteral("12.0 KB selected · 2 items"));

    // "Cancel": the confirmation was shown with the model's texts, and nothing started.
    ASSERT_TRUE(button(screen, u"cleanButton"_s)->isEnabled());
    QTest::mouseClick(button(screen, u"cleanButton"_s), Qt::LeftButton);
    EXPECT_EQ(confirmations,
              QStringList({QStringLiteral("Clean 12.0 KB?|2 selected item(s) will be moved to the "
                                          "Trash or permanently removed from the Mac Trash.")}));
    EXPECT_FALSE(screen->model().isCleaning());
    EXPECT_TRUE(button(screen, u"cleanButton"_s)->isEnabled());

    const auto box = KSTCleanUpAlerts::confirmationBox(screen, QStringLiteral("Clean 12.0 KB?"),
                                                       QStringLiteral("2 selected item(s)"));
    ASSERT_EQ(box->buttons().size(), 2);
    EXPECT_EQ(box->buttons().at(0)->text(), QStringLiteral("Clean"));
    EXPECT_EQ(box->defaultButton(), box->buttons().at(0));
    EXPECT_EQ(box->escapeButton(), box->buttons().at(1));
    EXPECT_EQ(box->buttons().at(1)->text(), QStringLiteral("Cancel"));
}

TEST_F(CleanUpScreenTest, CleaningRemovesThroughTheEngineAndRescans)
{
    grantFullDiskAccess();
    KSTCleanUpEngine::install(systemInfo);
    mac.writeSizedHomeFile(QStringLiteral("Library/Logs/app.log"), 8192);
    mac.writeHomeFile(QStringLiteral(".Trash/.DS_Store"), "finder");
    mac.writeSizedHomeFile(QStringLiteral(".Trash/old.zip"), 4096);
    mac.writeSizedHomeFile(QStringLiteral(".Trash/notes.txt"), 4096);
    auto controller = makeShownWindow();
    KSTCleanUpScreen *screen = showCleanUp(*controller);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    const auto scanned = screen->model().snapshot();
    click(reviewList(screen), rowNamed(reviewList(screen), QStringLiteral("Logs")));
    click(reviewList(screen), rowNamed(reviewList(screen), QStringLiteral("Mac Trash")));

    answer = true;
    QTest::mouseClick(button(screen, u"cleanButton"_s), Qt::LeftButton);
    ASSERT_EQ(confirmations.size(), 1);
    EXPECT_TRUE(showsProgress(screen));
    EXPECT_FALSE(reviewList(screen)->isEnabled());
    EXPECT_FALSE(button(screen, u"rescanButton"_s)->isEnabled());

    // The Trash was emptied for good (all but Finder's file), then Logs went into it; the
    // screen scanned again and, since everything went, said nothing.
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [&] { return screen->isContentReady() && screen->model().snapshot() != scanned; }));
    EXPECT_FALSE(showsProgress(screen));
    EXPECT_EQ(QDir(mac.homePath(QStringLiteral(".Trash")))
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
              QStringList({QStringLiteral(".DS_Store"), QStringLiteral("Logs")}));
    EXPECT_FALSE(QFileInfo::exists(mac.homePath(QStringLiteral("Library/Logs"))));
    KSTTestSupport::pumpFor(20);
    EXPECT_TRUE(outcomes.isEmpty());
}

TEST_F(CleanUpScreenTest, NothingRemovedIsReportedAsAFailedClean)
{
    grantFullDiskAccess();
    KSTCleanUpEngine::install(systemInfo);
    const QString download = mac.writeSizedHomeFile(QStringLiteral("Downloads/a.download"), 4096);
    auto controller = makeShownWindow();
    KSTCleanUpScreen *screen = showCleanUp(*controller);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }));
    click(reviewList(screen), rowNamed(reviewList(screen), QStringLiteral("a.download")));
    QFile::remove(download); // gone before the user pressed Clean

    answer = true;
    QTest::mouseClick(button(screen, u"cleanButton"_s), Qt::LeftButton);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([this] { return !outcomes.isEmpty(); }));
    const KSTCleanUpOutcome &failed = outcomes.first();
    EXPECT_EQ(failed.message, QStringLiteral("Clean failed"));
    EXPECT_TRUE(failed.informativeText.contains(QLatin1String("a.download")))
        << failed.informativeText.toStdString();

    const auto box = KSTCleanUpAlerts::outcomeBox(screen, failed);
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->icon(), QMessageBox::Warning);
    EXPECT_EQ(box->text(), QStringLiteral("Clean failed"));
    EXPECT_EQ(box->informativeText(), failed.informativeText);
    const auto partly = KSTCleanUpAlerts::outcomeBox(
        screen, KSTCleanUpOutcome::fromResult(2, 10, KSTError{{}, 1, QStringLiteral("x"), {}}));
    EXPECT_EQ(partly->icon(), QMessageBox::Information);
    EXPECT_EQ(partly->text(), QStringLiteral("Cleaned 2 item(s)"));
    EXPECT_EQ(KSTCleanUpAlerts::outcomeBox(screen, KSTCleanUpOutcome::fromResult(2, 10, {})),
              nullptr);
}

TEST_F(CleanUpScreenTest, ReminderBannerAsksForFullDiskAccessUntilItIsGranted)
{
    auto controller = makeShownWindow();
    controller->showSection(Section::CleanUp);
    auto *gate =
        qobject_cast<KSTFullDiskAccessScreen *>(controller->currentShell()->childController());
    ASSERT_NE(gate, nullptr);
    QTest::mouseClick(childNamed<QPushButton>(gate, u"remindLater"_s), Qt::LeftButton);
    KSTTestSupport::pumpFor(10);
    auto *screen = qobject_cast<KSTCleanUpScreen *>(controller->screenForSection(Section::CleanUp));
    auto *banner = childNamed<KSTAccessReminderBanner>(screen, u"accessReminderBanner"_s);
    ASSERT_TRUE(banner->isVisible());
    EXPECT_EQ(textNamed<QLabel>(banner, u"bannerTitle"_s),
              QStringLiteral("Allow Full Disk Access"));
    EXPECT_EQ(textNamed<QLabel>(banner, u"bannerMessage"_s),
              KSTPermissionChecker::fullDiskAccessReminderMessage());

    QTest::mouseClick(childNamed<QPushButton>(banner, u"openFullDiskAccessSettings"_s),
                      Qt::LeftButton);
    EXPECT_TRUE(
        KSTPreferences::standard()->value(KSTPermissionChecker::UserOpenedFDASettingsKey).toBool());
    EXPECT_TRUE(controller->isWaitingForFullDiskAccessGrant());
    EXPECT_EQ(controller->pendingPermissionSection(), Section::CleanUp);

    // Granted in System Settings; back in Kestrel, Clean Up is shown again without a reminder.
    mac.writePrivacyDatabase({{KSTApplicationInfo::bundleIdentifier(), 2}});
    Q_EMIT qGuiApp->applicationStateChanged(Qt::ApplicationActive);
    KSTTestSupport::pumpFor(10);
    EXPECT_EQ(controller->currentShell()->childController(), screen);
    EXPECT_FALSE(banner->isVisible());
}

} // namespace
