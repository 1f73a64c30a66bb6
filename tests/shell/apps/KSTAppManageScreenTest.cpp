// The App Manage screen inside the window on fixture Macs: the list filling in and the
// summary, sorting and the name filter, the detail pane with its related files and ticks,
// hiding and showing during a scan, and uninstalls (declined, refused for a system app, done,
// partly done).
#include "KSTShellTestFixture.h"

#include "KSTAppInventoryEngine.h"
#include "KSTAppListModel.h"
#include "KSTAppManageAlerts.h"
#include "KSTAppManageScreen.h"
#include "KSTElidedLabel.h"
#include "KSTFormatting.h"
#include "KSTObjectLookup.h"
#include "KSTRelatedPathDelegate.h"
#include "KSTRelatedPathList.h"
#include "KSTStorageBarView.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTreeView>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

using namespace Qt::StringLiterals;
using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;
using Delegate = KSTRelatedPathDelegate;

constexpr qint64 MB = 1024 * 1024;

class AppManageScreenTest : public ShellTest
{
protected:
    void SetUp() override
    {
        ShellTest::SetUp();
        grantFullDiskAccess();
        installEngine(std::chrono::milliseconds(1));
    }

    void TearDown() override
    {
        controller.reset();
        // A pass still running would go on after the machine is gone.
        systemInfo.cancelAppInventoryScan();
        systemInfo.appInventoryQueue().sync([] {});
        ShellTest::TearDown();
    }

    void installEngine(std::chrono::milliseconds sizeThrottle)
    {
        KSTAppInventoryEngine::Options options;
        options.metadataThrottle = std::chrono::milliseconds(1);
        options.sizeThrottle = sizeThrottle;
        engine = KSTAppInventoryEngine::install(systemInfo, options);
    }

    QString addApp(const QString &name, const QString &identifier, qint64 resourceBytes,
                   const QString &location = u"Applications"_s, const QVariantMap &info = {},
                   const QStringList &architectures = {u"arm64"_s})
    {
        KSTFixtureMac::App app;
        app.name = name;
        app.bundleIdentifier = identifier;
        app.location = location;
        app.resourceBytes = resourceBytes;
        app.extraInfo = info;
        app.architectures = architectures;
        return mac.addApp(app);
    }

    std::unique_ptr<KSTMainWindowController> makeWindow()
    {
        KSTShellEngines withApps = engines();
        withApps.appInventoryEngine = engine.get();
        auto window = std::make_unique<KSTMainWindowController>(withApps);
        window->showWindow();
        return window;
    }

    KSTAppManageScreen *showAppManage(KSTMainWindowController &controller)
    {
        controller.showSection(5);
        auto *screen = qobject_cast<KSTAppManageScreen *>(controller.screenForSection(5));
        if (screen) {
            screen->setAlertPresenters(
                [this](QWidget *, const QString &message, const QString &informative) {
                    confirmations << message + u'|' + informative;
                    return answer;
                },
                [this](QWidget *, const KSTAppUninstallOutcome &outcome) { outcomes << outcome; });
        }
        return screen;
    }

    // The window showing App Manage once its scan is complete; nullptr if it never was.
    KSTAppManageScreen *openReadyScreen()
    {
        controller = makeWindow();
        KSTAppManageScreen *screen = showAppManage(*controller);
        return screen && waitUntilReady(screen) ? screen : nullptr;
    }

    static bool waitUntilReady(KSTAppManageScreen *screen)
    {
        return KSTTestSupport::pumpUntil([screen] { return screen->isContentReady(); }, 30'000);
    }

    // The display texts of the list's rows, in the order shown: name, then the other columns.
    static QList<QStringList> shownRows(KSTAppManageScreen *screen)
    {
        QList<QStringList> rows;
        const QTreeView *list = childNamed<QTreeView>(screen, u"appList"_s);
        if (!list)
            return rows;
        const QAbstractItemModel *model = list->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            QStringList texts;
            for (int column = KSTAppListModel::NameColumn; column < KSTAppListModel::ColumnCount;
                 ++column)
                texts << model->index(row, column).data().toString();
            rows << texts;
        }
        return rows;
    }

    static QStringList shownNames(KSTAppManageScreen *screen)
    {
        QStringList names;
        for (const QStringList &row : shownRows(screen))
            names << row.first();
        return names;
    }

    static void clickHeader(KSTAppManageScreen *screen, int column)
    {
        QTreeView *list = childNamed<QTreeView>(screen, u"appList"_s);
        ASSERT_NE(list, nullptr);
        QHeaderView *header = list->header();
        QTest::mouseClick(
            header->viewport(), Qt::LeftButton, {},
            QPoint(header->sectionViewportPosition(column) + 8, header->height() / 2));
    }

    struct ShownTick
    {
        bool ticked = false;
        bool tickable = false;
        QString reason;
    };

    static std::optional<ShownTick> tickOf(KSTAppManageScreen *screen, const QString &path)
    {
        KSTRelatedPathList *list = childNamed<KSTRelatedPathList>(screen, u"relatedPathList"_s);
        QTreeWidgetItem *row = list ? list->rowForPath(path) : nullptr;
        if (!row)
            return std::nullopt;
        return ShownTick{row->data(0, Delegate::TickedRole).toBool(),
                         row->data(0, Delegate::TickableRole).toBool(),
                         row->text(KSTRelatedPathList::ReasonColumn)};
    }

    static void clickRelatedRow(KSTAppManageScreen *screen, const QString &path)
    {
        KSTRelatedPathList *list = childNamed<KSTRelatedPathList>(screen, u"relatedPathList"_s);
        ASSERT_NE(list, nullptr);
        QTreeWidgetItem *row = list->rowForPath(path);
        ASSERT_NE(row, nullptr);
        list->scrollToItem(row);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(row).center());
    }

    KSTSystemInfo::AppInventorySnapshotPtr cached() const
    {
        return systemInfo.cachedAppInventorySnapshotIfComplete();
    }

    std::optional<KSTInstalledAppRecord> cachedApp(const QString &name) const
    {
        if (const auto snapshot = cached()) {
            for (const KSTInstalledAppRecord &app : snapshot->apps) {
                if (app.name == name)
                    return app;
            }
        }
        return std::nullopt;
    }

    // The bytes the look-up found for @p path of the cached record of @p name.
    quint64 relatedBytes(const QString &name, const QString &path) const
    {
        const std::optional<KSTInstalledAppRecord> app = cachedApp(name);
        EXPECT_TRUE(app && app->relatedPathsLoaded) << name.toStdString();
        if (app) {
            for (const KSTInstalledAppRelatedPath &related : app->relatedPaths) {
                if (related.path == path)
                    return related.bytes;
            }
        }
        ADD_FAILURE() << "not related: " << path.toStdString();
        return 0;
    }

    std::shared_ptr<KSTAppInventoryEngine> engine;
    std::unique_ptr<KSTMainWindowController> controller;
    QStringList confirmations;
    QList<KSTAppUninstallOutcome> outcomes;
    bool answer = false;
};

TEST(AppListModelTest, KeepsItsRowsForNewFiguresAndResetsForANewList)
{
    KSTAppListModel model;
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    int resets = 0;
    int changes = 0;
    QObject::connect(&model, &QAbstractItemModel::modelReset, [&resets] { ++resets; });
    QObject::connect(&model, &QAbstractItemModel::dataChanged, [&changes] { ++changes; });
    KSTInstalledAppRecord a;
    a.name = u"A"_s;
    a.bundlePath = u"/Applications/A.app"_s;
    KSTInstalledAppRecord b = a;
    b.name = u"B"_s;
    b.bundlePath = u"/Applications/B.app"_s;

    model.setApps({a, b});
    EXPECT_EQ(resets, 1);
    EXPECT_EQ(model.index(1, KSTAppListModel::SizeColumn).data().toString(), u"—"_s);
    b.bundleSizeBytes = 2048; // the size pass got to B: same rows, new figures
    model.setApps({a, b});
    EXPECT_EQ(resets, 1);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(model.index(1, KSTAppListModel::SizeColumn).data().toString(), u"2.0 KB"_s);
    EXPECT_EQ(model.index(1, KSTAppListModel::SizeColumn).data(KSTAppListModel::SortRole),
              QVariant(qulonglong(2048)));
    model.setApps({b, a}); // sorted by size: another order is another list
    EXPECT_EQ(resets, 2);
    EXPECT_EQ(model.index(0, 0).data(KSTAppListModel::BundlePathRole).toString(), b.bundlePath);
    model.setApps({});
    EXPECT_EQ(resets, 3);
    EXPECT_EQ(model.rowCount(), 0);
}

TEST(AppManageAlertsTest, AskWithUninstallAsDefaultAndWarnOnlyWhenSomethingStayed)
{
    const std::unique_ptr<QMessageBox> ask = KSTAppManageAlerts::confirmationBox(
        nullptr, u"Uninstall “Go”?"_s, u"2 item(s) (3 MB) will be moved to the Trash."_s);
    ASSERT_TRUE(ask->defaultButton() && ask->escapeButton());
    EXPECT_EQ(ask->defaultButton()->text(), u"Uninstall"_s);
    EXPECT_EQ(static_cast<QAbstractButton *>(ask->escapeButton())->text(), u"Cancel"_s);
    EXPECT_EQ(ask->text(), u"Uninstall “Go”?"_s);

    KSTAppUninstallOutcome outcome;
    outcome.alert = KSTAppUninstallOutcome::Alert::None;
    EXPECT_EQ(KSTAppManageAlerts::outcomeBox(nullptr, outcome), nullptr);
    const struct
    {
        KSTAppUninstallOutcome::Alert alert;
        QMessageBox::Icon icon;
    } alerts[] = {
        {KSTAppUninstallOutcome::Alert::Failed, QMessageBox::Warning},
        {KSTAppUninstallOutcome::Alert::Partly, QMessageBox::Information},
    };
    for (const auto &alert : alerts) {
        outcome.alert = alert.alert;
        outcome.message = u"Uninstall failed"_s;
        outcome.informativeText.clear(); // an error without a description: the fallback
        const std::unique_ptr<QMessageBox> box = KSTAppManageAlerts::outcomeBox(nullptr, outcome);
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->icon(), alert.icon);
        EXPECT_EQ(box->text(), u"Uninstall failed"_s);
        EXPECT_EQ(box->informativeText(), u"The app could not be uninstalled."_s);
    }
}

TEST_F(AppManageScreenTest, ListsEveryAppWithItsColumnsThenSummarisesTheWholeScan)
{
    const QString slackBundle =
        addApp(u"Slack"_s, u"com.tinyspeck.slackmacgap"_s, 3 * MB, u"Applications"_s,
               {{u"LSApplicationCategoryType"_s, u"public.app-category.business"_s},
                {u"NSHumanReadableCopyright"_s,
                 u"© 2014–2024 Slack Technologies, LLC. All rights reserved."_s}},
               {u"x86_64"_s, u"arm64"_s});
    addApp(u"Notes"_s, u"com.apple.Notes"_s, 1 * MB, u"System/Applications"_s,
           {{u"LSApplicationCategoryType"_s, u"public.app-category.action-games"_s}});
    addApp(u"Nameless"_s, QString(), 2 * MB); // no identifier: never listed
    // Slack was last opened 40 days ago: unused.
    const struct timespec longAgo[2] = {
        {time_t(QDateTime::currentDateTimeUtc().addDays(-40).toSecsSinceEpoch()), 0},
        {0, UTIME_OMIT}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(slackBundle).constData(), longAgo,
                          AT_SYMLINK_NOFOLLOW),
              0);

    controller = makeWindow();
    KSTAppManageScreen *screen = showAppManage(*controller);
    ASSERT_NE(screen, nullptr);
    bool announced = false;
    QObject::connect(screen, &KSTToolScreen::contentReady, [&announced] { announced = true; });
    // Nothing has arrived yet: the screen says it is looking.
    EXPECT_EQ(textNamed<QLabel>(screen, u"appManageSummary"_s), u"Discovering applications…"_s);
    EXPECT_FALSE(screen->isContentReady());

    ASSERT_TRUE(waitUntilReady(screen));
    EXPECT_TRUE(announced);
    const auto snapshot = cached();
    ASSERT_TRUE(snapshot);
    const std::optional<KSTInstalledAppRecord> slack = cachedApp(u"Slack"_s);
    const std::optional<KSTInstalledAppRecord> notes = cachedApp(u"Notes"_s);
    ASSERT_TRUE(slack && notes);
    EXPECT_EQ(textNamed<QLabel>(screen, u"appManageSummary"_s),
              u"2 apps · "_s + KSTFormatting::formatBytes(snapshot->totalBytes) + u" · 1 unused"_s);
    const QString detail = textNamed<QLabel>(screen, u"appManageDetail"_s);
    EXPECT_TRUE(detail.startsWith(u"Scan complete in "_s)) << detail.toStdString();
    EXPECT_TRUE(detail.endsWith(u" · Scanned just now"_s)) << detail.toStdString();
    EXPECT_FALSE(childNamed<KSTStorageBarView>(screen, u"scanProgress"_s)->isVisibleTo(screen));

    // Largest first, every column in the shared formats.
    const QList<QStringList> expected = {
        {u"Slack"_s, u"1.0"_s, u"Slack Technologies, LLC"_s, u"Business"_s,
         u"Intel & Apple Silicon"_s, u"Direct"_s,
         KSTFormatting::formatAppManageInstalledDate(slack->installedDate),
         KSTFormatting::formatAppManageLastOpened(slack->lastOpenedDate),
         KSTFormatting::formatBytes(slack->bundleSizeBytes)},
        {u"Notes"_s, u"1.0"_s, u"Apple Inc."_s, u"Action Games"_s, u"Apple Silicon"_s, u"System"_s,
         KSTFormatting::formatAppManageInstalledDate(notes->installedDate),
         KSTFormatting::formatAppManageLastOpened(notes->lastOpenedDate),
         KSTFormatting::formatBytes(notes->bundleSizeBytes)},
    };
    EXPECT_EQ(shownRows(screen), expected);
    // Only the unused app's last-opened date is marked.
    const QAbstractItemModel *list = childNamed<QTreeView>(screen, u"appList"_s)->model();
    const QModelIndex slackOpened = list->index(0, KSTAppListModel::LastOpenedColumn);
    const QModelIndex notesOpened = list->index(1, KSTAppListModel::LastOpenedColumn);
    EXPECT_EQ(slackOpened.data(Qt::ToolTipRole).toString(), u"Not opened for 30 days: unused"_s);
    EXPECT_TRUE(slackOpened.data(Qt::ForegroundRole).isValid());
    EXPECT_FALSE(notesOpened.data(Qt::ToolTipRole).isValid());
    EXPECT_FALSE(notesOpened.data(Qt::ForegroundRole).isValid());
    // The first app is opened in the detail pane.
    EXPECT_EQ(screen->chosenBundlePath(), slack->bundlePath);
    EXPECT_EQ(textNamed<QLabel>(screen, u"detailName"_s), u"Slack"_s);
}

TEST_F(AppManageScreenTest, EachAppShowsItsOwnIconOrTheGenericSymbol)
{
    const QString painter = addApp(u"Painter"_s, u"com.example.painter"_s, 1 * MB,
                                   u"Applications"_s, {{u"CFBundleIconFile"_s, u"Painter.png"_s}});
    QImage red(64, 64, QImage::Format_ARGB32);
    red.fill(Qt::red);
    ASSERT_TRUE(red.save(painter + u"/Contents/Resources/Painter.png"_s, "PNG"));
    addApp(u"Plain"_s, u"com.example.plain"_s, 1 * MB);

    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    const QTreeView *list = childNamed<QTreeView>(screen, u"appList"_s);
    ASSERT_NE(list, nullptr);
    const QAbstractItemModel *model = list->model();
    // Asking for the icons starts their reads off the window's thread (afresh: the list may
    // have been drawn already); the rows showing one are told to redraw once it is in.
    ASSERT_TRUE(iconsRead());
    KSTIconLoader::shared().clear();
    QSignalSpy redrawn(model, &QAbstractItemModel::dataChanged);
    for (int row = 0; row < model->rowCount(); ++row)
        model->index(row, KSTAppListModel::NameColumn).data(Qt::DecorationRole);
    ASSERT_TRUE(iconsRead());
    const auto redrawnRows = [&redrawn] {
        QStringList names;
        for (const QList<QVariant> &change : redrawn)
            names << change.at(0).toModelIndex().data().toString();
        return names;
    };
    EXPECT_TRUE(redrawnRows().contains(u"Painter"_s)) << redrawnRows().join(u", "_s).toStdString();
    QHash<QString, QRgb> centres;
    for (int row = 0; row < model->rowCount(); ++row) {
        const QModelIndex name = model->index(row, KSTAppListModel::NameColumn);
        const QIcon icon = name.data(Qt::DecorationRole).value<QIcon>();
        ASSERT_FALSE(icon.isNull()) << name.data().toString().toStdString();
        centres.insert(name.data().toString(), icon.pixmap(32, 32).toImage().pixel(16, 16));
    }
    EXPECT_EQ(centres.value(u"Painter"_s), QColor(Qt::red).rgb());
    ASSERT_TRUE(centres.contains(u"Plain"_s));
    EXPECT_NE(centres.value(u"Plain"_s), QColor(Qt::red).rgb());
}

TEST_F(AppManageScreenTest, SortsByTheColumnClickedAndFiltersByName)
{
    addApp(u"alpha"_s, u"com.example.alpha"_s, 1 * MB);
    addApp(u"Beta"_s, u"com.example.beta"_s, 4 * MB);
    addApp(u"Gamma"_s, u"com.example.gamma"_s, 2 * MB);
    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    EXPECT_EQ(shownNames(screen), QStringList({u"Beta"_s, u"Gamma"_s, u"alpha"_s}));

    const struct
    {
        int column;
        QStringList names;
    } clicks[] = {
        {KSTAppListModel::NameColumn, {u"alpha"_s, u"Beta"_s, u"Gamma"_s}}, // case ignored
        {KSTAppListModel::NameColumn, {u"Gamma"_s, u"Beta"_s, u"alpha"_s}},
        {KSTAppListModel::SizeColumn, {u"Beta"_s, u"Gamma"_s, u"alpha"_s}}, // largest first
        {KSTAppListModel::SizeColumn, {u"alpha"_s, u"Gamma"_s, u"Beta"_s}},
    };
    for (const auto &click : clicks) {
        clickHeader(screen, click.column);
        EXPECT_EQ(shownNames(screen), click.names) << "column " << click.column;
    }

    QLineEdit *filter = childNamed<QLineEdit>(screen, u"appFilter"_s);
    ASSERT_NE(filter, nullptr);
    QTest::keyClicks(filter, u"ET"_s);
    EXPECT_EQ(shownNames(screen), QStringList({u"Beta"_s}));
    EXPECT_FALSE(childNamed<QLabel>(screen, u"appListEmpty"_s)->isVisibleTo(screen));
    filter->setText(u"zzz"_s);
    EXPECT_TRUE(shownNames(screen).isEmpty());
    EXPECT_TRUE(childNamed<QLabel>(screen, u"appListEmpty"_s)->isVisibleTo(screen));
    EXPECT_EQ(textNamed<QLabel>(screen, u"appListEmpty"_s), u"No app’s name contains “zzz”."_s);
    filter->clear();
    EXPECT_EQ(shownNames(screen).size(), 3);
}

TEST_F(AppManageScreenTest, DetailShowsEveryFieldAndTicksOnlyStrongRemovableMatches)
{
    const QString go = addApp(u"Go"_s, u"com.example.go"_s, 2 * MB);
    addApp(u"Google Drive"_s, u"com.google.drive"_s, 3 * MB);
    const QString cache = mac.writeSizedHomeFile(u"Library/Caches/com.example.go/c.db"_s, 40960);
    // "Go" is in every Google container's name: listed, but only as a weak match.
    const QString container =
        mac.writeSizedHomeFile(u"Library/Containers/com.google.Keep/Data/k.db"_s, 8192);
    const QString shared = mac.writeFile(u"Users/Shared/Go Projects/notes.txt"_s, "shared");

    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    screen->chooseApp(go);
    ASSERT_TRUE(waitUntilReady(screen));

    const std::optional<KSTInstalledAppRecord> record = cachedApp(u"Go"_s);
    ASSERT_TRUE(record);
    const struct
    {
        const char16_t *name;
        QString text;
    } fields[] = {
        {u"detailName", u"Go"_s},
        {u"detailSubtitle", u"Version 1.0 (1) · com.example.go"_s},
        {u"detailDeveloper", u"Go"_s},
        {u"detailCategory", u"Other"_s},
        {u"detailArchitecture", u"Apple Silicon"_s},
        {u"detailSource", u"Direct Download"_s},
        {u"detailInstalled", KSTFormatting::formatAppManageInstalledDate(record->installedDate)},
        {u"detailLastOpened", KSTFormatting::formatAppManageLastOpened(record->lastOpenedDate)},
        {u"detailBundleSize", KSTFormatting::formatBytes(record->bundleSizeBytes)},
    };
    for (const auto &field : fields)
        EXPECT_EQ(textNamed<QLabel>(screen, QString::fromUtf16(field.name)), field.text)
            << QString::fromUtf16(field.name).toStdString();
    EXPECT_EQ(childNamed<KSTElidedLabel>(screen, u"detailLocation"_s)->fullText(), go);

    const QString containerFolder = mac.homePath(u"Library/Containers/com.google.Keep"_s);
    const QString cacheFolder = mac.homePath(u"Library/Caches/com.example.go"_s);
    const QString sharedFolder = mac.path(u"Users/Shared/Go Projects"_s);
    const struct
    {
        QString path;
        bool ticked;
        bool tickable;
        const char16_t *reason;
    } rows[] = {
        {go, true, false, u"Application bundle"},
        {cacheFolder, true, true, u"Named after “com.example.go”"},
        {containerFolder, false, true, u"Weak match · Name contains “go”"},
        {sharedFolder, false, false, u"Never removed · Name contains “go”"},
    };
    for (const auto &row : rows) {
        const std::optional<ShownTick> shown = tickOf(screen, row.path);
        ASSERT_TRUE(shown) << row.path.toStdString();
        EXPECT_EQ(shown->ticked, row.ticked) << row.path.toStdString();
        EXPECT_EQ(shown->tickable, row.tickable) << row.path.toStdString();
        EXPECT_EQ(shown->reason, QString::fromUtf16(row.reason)) << row.path.toStdString();
    }
    const quint64 cacheBytes = relatedBytes(u"Go"_s, cacheFolder);
    const quint64 containerBytes = relatedBytes(u"Go"_s, containerFolder);
    EXPECT_EQ(textNamed<QLabel>(screen, u"selectedTotal"_s),
              KSTFormatting::formatBytes(record->bundleSizeBytes + cacheBytes) +
                  u" selected · 2 items"_s);

    // The user ticks the weak match; the shared folder cannot be ticked at all.
    clickRelatedRow(screen, containerFolder);
    clickRelatedRow(screen, sharedFolder);
    EXPECT_TRUE(tickOf(screen, containerFolder)->ticked);
    EXPECT_FALSE(tickOf(screen, sharedFolder)->ticked);
    EXPECT_EQ(textNamed<QLabel>(screen, u"selectedTotal"_s),
              KSTFormatting::formatBytes(record->bundleSizeBytes + cacheBytes + containerBytes) +
                  u" selected · 3 items"_s);
    EXPECT_TRUE(QFile::exists(shared));
    EXPECT_TRUE(QFile::exists(container));
    EXPECT_TRUE(QFile::exists(cache));
}

TEST_F(AppManageScreenTest, SystemAppCannotBeUninstalledAndSaysWhy)
{
    const QString notes =
        addApp(u"Notes"_s, u"com.apple.Notes"_s, 1 * MB, u"System/Applications"_s);
    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    ASSERT_EQ(screen->chosenBundlePath(), notes);

    QPushButton *uninstall = childNamed<QPushButton>(screen, u"uninstallButton"_s);
    ASSERT_NE(uninstall, nullptr);
    EXPECT_FALSE(uninstall->isEnabled());
    EXPECT_TRUE(childNamed<QLabel>(screen, u"uninstallReason"_s)->isVisibleTo(screen));
    EXPECT_EQ(textNamed<QLabel>(screen, u"uninstallReason"_s),
              u"System apps cannot be uninstalled."_s);
    answer = true;
    screen->requestUninstall();
    KSTTestSupport::pumpFor(50);
    EXPECT_TRUE(confirmations.isEmpty());
    EXPECT_TRUE(QFile::exists(notes + u"/Contents/Info.plist"_s));
}

TEST_F(AppManageScreenTest, UninstallAsksFirstThenMovesOnlyTheTickedItemsAndDropsTheApp)
{
    const QString go = addApp(u"Go"_s, u"com.example.go"_s, 4 * MB);
    const QString docs = addApp(u"Docs"_s, u"com.example.docs"_s, 1 * MB);
    const QString cache = mac.writeSizedHomeFile(u"Library/Caches/com.example.go/c.db"_s, 40960);
    const QString container =
        mac.writeSizedHomeFile(u"Library/Containers/com.google.Keep/Data/k.db"_s, 8192);

    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    ASSERT_EQ(screen->chosenBundlePath(), go);
    const quint64 bundleBytes = cachedApp(u"Go"_s)->bundleSizeBytes;
    const quint64 cacheBytes =
        relatedBytes(u"Go"_s, mac.homePath(u"Library/Caches/com.example.go"_s));
    QPushButton *uninstall = childNamed<QPushButton>(screen, u"uninstallButton"_s);
    ASSERT_NE(uninstall, nullptr);
    ASSERT_TRUE(uninstall->isEnabled());

    // Declined: nothing moves.
    QTest::mouseClick(uninstall, Qt::LeftButton);
    KSTTestSupport::pumpFor(100);
    ASSERT_EQ(confirmations.size(), 1);
    EXPECT_EQ(confirmations.first(), u"Uninstall “Go”?|2 item(s) ("_s +
                                         KSTFormatting::formatBytes(bundleBytes + cacheBytes) +
                                         u") will be moved to the Trash."_s);
    EXPECT_TRUE(QFile::exists(go + u"/Contents/Info.plist"_s));
    EXPECT_TRUE(QFile::exists(cache));
    EXPECT_EQ(shownNames(screen).size(), 2);

    // Accepted: the bundle and the strong match go; the weak match and the other app stay.
    answer = true;
    QTest::mouseClick(uninstall, Qt::LeftButton);
    // While it runs nothing else can be chosen or started.
    EXPECT_FALSE(uninstall->isEnabled());
    EXPECT_FALSE(childNamed<QTreeView>(screen, u"appList"_s)->isEnabled());
    EXPECT_TRUE(childNamed<QLabel>(screen, u"uninstallingLabel"_s)->isVisibleTo(screen));
    ASSERT_TRUE(
        KSTTestSupport::pumpUntil([screen] { return shownNames(screen).size() == 1; }, 30'000));
    EXPECT_TRUE(childNamed<QTreeView>(screen, u"appList"_s)->isEnabled());
    EXPECT_FALSE(childNamed<QLabel>(screen, u"uninstallingLabel"_s)->isVisibleTo(screen));
    EXPECT_EQ(confirmations.size(), 2);
    EXPECT_FALSE(QFile::exists(go));
    EXPECT_FALSE(QFile::exists(cache));
    EXPECT_TRUE(QFile::exists(mac.homePath(u".Trash/Go.app/Contents/Info.plist"_s)));
    EXPECT_TRUE(QFile::exists(container));
    EXPECT_TRUE(QFile::exists(docs + u"/Contents/Info.plist"_s));
    EXPECT_EQ(shownNames(screen), QStringList({u"Docs"_s}));
    EXPECT_TRUE(textNamed<QLabel>(screen, u"appManageSummary"_s).startsWith(u"1 app · "_s));
    EXPECT_TRUE(textNamed<QLabel>(screen, u"appManageDetail"_s)
                    .endsWith(u" · Uninstalled “Go”: 2 item(s) moved to the Trash"_s));
    EXPECT_TRUE(screen->chosenBundlePath().isEmpty());
    EXPECT_TRUE(childNamed<QLabel>(screen, u"detailHint"_s)->isVisibleTo(screen));
    KSTTestSupport::pumpFor(50);
    EXPECT_TRUE(outcomes.isEmpty()); // nothing went wrong: no alert
    ASSERT_TRUE(cached());
    EXPECT_EQ(cached()->apps.size(), 1);
}

TEST_F(AppManageScreenTest, PartlyDoneUninstallTellsWhichPathsStayed)
{
    const QString notes = addApp(u"Notes"_s, u"com.example.notes"_s, 1 * MB);
    mac.writeSizedHomeFile(u"Library/Containers/com.example.notes/Data/db"_s, 4096);
    const QString changing =
        mac.writeSizedHomeFile(u"Library/Preferences/com.example.notes.plist"_s, 4096);

    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    ASSERT_EQ(screen->chosenBundlePath(), notes);
    ASSERT_TRUE(tickOf(screen, changing) && tickOf(screen, changing)->ticked);
    // The preferences change after they were looked at: the uninstall must leave them.
    QFile file(changing);
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("changed");
    file.close();

    answer = true;
    screen->requestUninstall();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([this] { return !outcomes.isEmpty(); }, 30'000));
    const KSTAppUninstallOutcome &outcome = outcomes.first();
    EXPECT_EQ(outcome.alert, KSTAppUninstallOutcome::Alert::Partly);
    EXPECT_EQ(KSTAppManageAlerts::outcomeText(outcome),
              u"Removed 2 item(s), but some related files could not be deleted.\n\nLeft in "
              u"place:\n"_s +
                  changing);
    EXPECT_TRUE(QFile::exists(changing));
    EXPECT_FALSE(QFile::exists(notes));
    EXPECT_TRUE(shownNames(screen).isEmpty());
}

TEST_F(AppManageScreenTest, NothingMovedWarnsAndKeepsTheAppListed)
{
    const QString go = addApp(u"Go"_s, u"com.example.go"_s, 1 * MB);
    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    ASSERT_EQ(screen->chosenBundlePath(), go);
    // Another bundle has taken the place of the one that was looked at: the guard refuses it.
    ASSERT_TRUE(QDir().rename(go, mac.path(u"Go that was.app"_s)));
    addApp(u"Go"_s, u"com.example.go"_s, 1 * MB);

    answer = true;
    screen->requestUninstall();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([this] { return !outcomes.isEmpty(); }, 30'000));
    const KSTAppUninstallOutcome &outcome = outcomes.first();
    EXPECT_EQ(outcome.alert, KSTAppUninstallOutcome::Alert::Failed);
    EXPECT_EQ(KSTAppManageAlerts::outcomeText(outcome),
              u"Could not remove the application or its related files.\n\nLeft in place:\n"_s + go);
    EXPECT_TRUE(QFile::exists(go + u"/Contents/Info.plist"_s));
    EXPECT_EQ(shownNames(screen), QStringList{u"Go"_s});
    EXPECT_EQ(screen->chosenBundlePath(), go);
    EXPECT_FALSE(childNamed<QPushButton>(screen, u"putBackButton"_s)->isVisibleTo(screen));
}

TEST_F(AppManageScreenTest, AnotherCopyKeepsItsFilesAndReturnsWithTheRescan)
{
    const QString system = addApp(u"Go"_s, u"com.example.go"_s, 4 * MB);
    KSTFixtureMac::App copy;
    copy.name = u"Go"_s;
    copy.bundleIdentifier = u"com.example.go"_s;
    copy.location = u"Applications"_s;
    copy.inHome = true;
    copy.resourceBytes = 1 * MB;
    const QString home = mac.addApp(copy);
    const QString cache = mac.writeSizedHomeFile(u"Library/Caches/com.example.go/c.db"_s, 40960);
    const QString cacheFolder = mac.homePath(u"Library/Caches/com.example.go"_s);

    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    ASSERT_EQ(screen->chosenBundlePath(), system);
    ASSERT_EQ(shownNames(screen), QStringList({u"Go"_s, u"Go"_s}));
    // The cache is the other copy's too: listed, but not ticked.
    ASSERT_TRUE(tickOf(screen, cacheFolder) && !tickOf(screen, cacheFolder)->ticked);

    answer = true;
    screen->requestUninstall();
    ASSERT_EQ(confirmations.size(), 1);
    EXPECT_TRUE(confirmations.first().startsWith(u"Uninstall “Go”?|1 item(s) ("_s));
    // Both records of the identifier leave; the rescan brings the copy that stayed back.
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [screen, &system] {
            return !QFile::exists(system) && screen->isContentReady() &&
                   shownNames(screen) == QStringList{u"Go"_s};
        },
        30'000));
    EXPECT_EQ(cached()->apps.first().bundlePath, home);
    EXPECT_TRUE(QFile::exists(cache));
    EXPECT_TRUE(QFile::exists(home + u"/Contents/Info.plist"_s));
}

TEST_F(AppManageScreenTest, PutBackReturnsWhatTheLastUninstallMoved)
{
    const QString go = addApp(u"Go"_s, u"com.example.go"_s, 2 * MB);
    const QString cache = mac.writeSizedHomeFile(u"Library/Caches/com.example.go/c.db"_s, 40960);
    KSTAppManageScreen *screen = openReadyScreen();
    ASSERT_NE(screen, nullptr);
    QPushButton *putBack = childNamed<QPushButton>(screen, u"putBackButton"_s);
    ASSERT_NE(putBack, nullptr);
    EXPECT_FALSE(putBack->isVisibleTo(screen)); // nothing uninstalled yet

    answer = true;
    screen->requestUninstall();
    ASSERT_TRUE(
        KSTTestSupport::pumpUntil([screen] { return shownNames(screen).isEmpty(); }, 30'000));
    ASSERT_FALSE(QFile::exists(go));
    ASSERT_TRUE(putBack->isVisibleTo(screen));

    // Declined: everything stays in the Trash.
    answer = false;
    QTest::mouseClick(putBack, Qt::LeftButton);
    KSTTestSupport::pumpFor(100);
    ASSERT_EQ(confirmations.size(), 2);
    EXPECT_EQ(confirmations.last(), u"Put back the last uninstall?|2 item(s) will be moved back "
                                    u"from the Trash where nothing has taken their place."_s);
    EXPECT_FALSE(QFile::exists(go));

    answer = true;
    QTest::mouseClick(putBack, Qt::LeftButton);
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [screen] { return shownNames(screen) == QStringList{u"Go"_s} && screen->isContentReady(); },
        30'000));
    EXPECT_TRUE(QFile::exists(go + u"/Contents/Info.plist"_s));
    EXPECT_TRUE(QFile::exists(cache));
    EXPECT_FALSE(putBack->isVisibleTo(screen));
    EXPECT_TRUE(
        textNamed<QLabel>(screen, u"appManageDetail"_s).endsWith(u" · Put back 2 item(s)"_s));
}

TEST_F(AppManageScreenTest, HidingStopsTheSizePassAndShowingResumesIt)
{
    installEngine(std::chrono::milliseconds(60));
    for (int index = 0; index < 12; ++index)
        addApp(u"App %1"_s.arg(index, 2, 10, QChar(u'0')), u"com.example.app%1"_s.arg(index),
               64 * 1024);
    controller = makeWindow();
    KSTAppManageScreen *screen = showAppManage(*controller);
    ASSERT_NE(screen, nullptr);
    // Discovery is done, the sizes are still coming: the bar shows how far they got.
    ASSERT_TRUE(KSTTestSupport::pumpUntil([this] { return cached() != nullptr; }, 30'000));
    ASSERT_TRUE(KSTTestSupport::pumpUntil([screen] { return shownNames(screen).size() == 12; }));
    EXPECT_FALSE(screen->isContentReady());
    EXPECT_TRUE(childNamed<KSTStorageBarView>(screen, u"scanProgress"_s)->isVisibleTo(screen));
    EXPECT_TRUE(textNamed<QLabel>(screen, u"appManageDetail"_s)
                    .startsWith(u"Calculating application size… "_s));

    controller->showSection(0);
    systemInfo.appInventoryQueue().sync([] {});
    KSTTestSupport::pumpFor(300);
    ASSERT_TRUE(cached());
    EXPECT_FALSE(cached()->isSizeCalculationComplete); // stopped while hidden

    showAppManage(*controller);
    ASSERT_TRUE(waitUntilReady(screen));
    EXPECT_TRUE(cached()->isSizeCalculationComplete);
    EXPECT_EQ(cached()->statusText, u"Scan complete"_s);
    EXPECT_EQ(shownNames(screen).size(), 12);
}

} // namespace
