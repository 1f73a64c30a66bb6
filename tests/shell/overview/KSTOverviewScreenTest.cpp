// The Overview screen inside the window: what it shows of its engine, the live sampling, and
// the shortcuts it passes back.
#include "KSTShellTestFixture.h"

#include "KSTContentShellViewController.h"
#include "KSTEnvironment.h"
#include "KSTGaugeView.h"
#include "KSTLargestAppsView.h"
#include "KSTObjectLookup.h"
#include "KSTOverviewScreen.h"
#include "KSTShortcutListView.h"
#include "KSTSidebarViewController.h"

#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <chrono>
#include <thread>

namespace {

using namespace Qt::StringLiterals;
using KSTObjectLookup::childNamed;
using KSTObjectLookup::textNamed;
using ScreensTest = ShellTest;

KSTOverviewScreen *overviewOf(const KSTMainWindowController &controller)
{
    return qobject_cast<KSTOverviewScreen *>(controller.screenForSection(Section::Overview));
}

TEST_F(ScreensTest, OverviewShowsTheEngineSnapshotAndItsShortcutsOpenTools)
{
    grantFullDiskAccess();
    auto controller = makeShownWindow();
    KSTOverviewScreen *overview = overviewOf(*controller);
    ASSERT_NE(overview, nullptr);
    overview->setLiveSampleInterval(20);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([overview] { return overview->isContentReady(); }));
    EXPECT_EQ(textNamed<QLabel>(overview, u"machineTitle"_s),
              QStringLiteral("MacBook Air · Apple M2"));
    EXPECT_EQ(textNamed<QLabel>(overview, u"uptime"_s), QStringLiteral("Uptime 2d 5h"));
    const auto *largestApps = childNamed<KSTLargestAppsView>(overview, u"largestApps"_s);
    ASSERT_NE(largestApps, nullptr);
    EXPECT_EQ(largestApps->shownNames(), QStringList({"Xcode", "Logic Pro"}));
    EXPECT_EQ(textNamed<QLabel>(largestApps, u"installedCount"_s),
              QStringLiteral("42 applications installed"));
    const auto *storage = overview->findChild<QLabel *>(QStringLiteral("storageSummary"));
    ASSERT_NE(storage, nullptr);
    EXPECT_EQ(storage->text(), QStringLiteral("200 GB of 512 GB used"));

    // Battery and version only where they add something: here no battery, and the machine
    // summary line already begins with the version.
    const auto shown = [overview](const QString &text) {
        for (const QLabel *label : overview->findChildren<QLabel *>()) {
            if (label->text() == text)
                return label->isVisibleTo(overview);
        }
        return false;
    };
    EXPECT_TRUE(shown(snapshot.specsLine));
    EXPECT_FALSE(shown(snapshot.macOSVersionLine));
    EXPECT_FALSE(shown(QStringLiteral("Battery 80% · Charging")));
    snapshot.hasBattery = true;
    snapshot.batteryText = QStringLiteral("Battery 80% · Charging");
    snapshot.specsLine = QStringLiteral("16 GB RAM · 512 GB SSD");
    systemInfo.invalidateOverviewCache();
    controller->showSection(Section::Duplicates);
    controller->showSection(Section::Overview);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return shown(*snapshot.batteryText); }));
    EXPECT_TRUE(shown(snapshot.macOSVersionLine));

    auto *shortcut = overview->findChild<QPushButton *>(QStringLiteral("shortcut4"));
    ASSERT_NE(shortcut, nullptr);
    QTest::mouseClick(shortcut, Qt::LeftButton);
    KSTTestSupport::pumpFor(10);
    EXPECT_EQ(controller->currentSection(), Section::AutoClean);
    EXPECT_EQ(controller->sidebar()->selectedSection(), Section::AutoClean);
    EXPECT_EQ(controller->currentShell()->toolbarTitle(), QStringLiteral("Automatic Clean Up"));
}

TEST_F(ScreensTest, OverviewSamplesLiveFiguresOnlyWhileShown)
{
    grantFullDiskAccess();
    auto controller = makeShownWindow();
    KSTOverviewScreen *overview = overviewOf(*controller);
    overview->setLiveSampleInterval(20);
    ASSERT_TRUE(KSTTestSupport::pumpUntil([overview] { return overview->isContentReady(); }));
    EXPECT_TRUE(overview->isLiveSamplingActive());

    // Figures move with every sample.
    const int first = overview->liveSampleCount();
    const QString download = textNamed<QLabel>(overview, u"downloadRate"_s);
    const auto *memoryGauge = childNamed<KSTGaugeView>(overview, u"memoryGauge"_s);
    ASSERT_NE(memoryGauge, nullptr);
    const double memory = memoryGauge->fraction();
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [overview, first] { return overview->liveSampleCount() >= first + 2; }));
    EXPECT_NE(textNamed<QLabel>(overview, u"downloadRate"_s), download);
    EXPECT_GT(memoryGauge->fraction(), memory);

    // Another tool: the Overview is hidden and no sample is asked for any more.
    controller->showSection(Section::Duplicates);
    KSTTestSupport::pumpFor(30); // a sample already under way may still land
    EXPECT_FALSE(overview->isLiveSamplingActive());
    const int asked = samples;
    KSTTestSupport::pumpFor(200);
    EXPECT_EQ(samples, asked);

    // Back again: sampling resumes.
    controller->showSection(Section::Overview);
    EXPECT_TRUE(overview->isLiveSamplingActive());
    EXPECT_TRUE(KSTTestSupport::pumpUntil([&] { return samples > asked + 1; }));
}

TEST_F(ScreensTest, OverviewDoesNotRestartASnapshotStillBeingComputed)
{
    grantFullDiskAccess();
    std::atomic<bool> release{false};
    systemInfo.setOverviewSnapshotBuilder([this, &release] {
        ++fetches;
        while (!release)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return std::make_shared<KSTSystemSnapshot>(snapshot);
    });
    auto controller = makeShownWindow();
    KSTOverviewScreen *overview = overviewOf(*controller);
    overview->setLiveSampleInterval(20);
    for (int visit = 0; visit < 3; ++visit) {
        controller->showSection(Section::Duplicates);
        controller->showSection(Section::Overview);
    }
    release = true;
    ASSERT_TRUE(KSTTestSupport::pumpUntil([overview] { return overview->isContentReady(); }));
    EXPECT_EQ(fetches, 1);

    // A dropped cache is computed again on the next visit.
    systemInfo.invalidateOverviewCache();
    controller->showSection(Section::Duplicates);
    controller->showSection(Section::Overview);
    EXPECT_TRUE(KSTTestSupport::pumpUntil([this] { return fetches == 2; }));
}

} // namespace

// The shortcuts name the analysed machine in its layout's words: a Linux desktop is never
// called a Mac.
TEST(OverviewShortcutsTest, TheReportShortcutNamesTheMachineInItsLayoutsWords)
{
    const struct
    {
        KSTLayout layout;
        const char *detail;
    } rows[] = {
        {KSTLayout::Mac, "Every detail of this Mac, to save or share"},
        {KSTLayout::Linux, "Every detail of this computer, to save or share"},
    };
    for (const auto &row : rows) {
        KSTEnvironment environment = KSTEnvironment::current();
        environment.setLayout(row.layout);
        const KSTScopedEnvironment scoped(environment);
        const KSTShortcutListView shortcuts;
        const auto *report = shortcuts.findChild<QPushButton *>(u"shortcutSystemReport"_s);
        ASSERT_NE(report, nullptr);
        QStringList texts;
        for (const QLabel *label : report->findChildren<QLabel *>())
            texts << label->text();
        EXPECT_TRUE(texts.contains(QLatin1String(row.detail))) << texts.join(u" | ").toStdString();
    }
}
