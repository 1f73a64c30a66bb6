// The manager as the window and the command line use it: the rules, the switch and the timer,
// runs and their totals, what is stored in the preferences suite and read back at start-up,
// and the never-touch list.
#include "KSTAutoCleanTestFixture.h"

#include "KSTNotificationCenter.h"
#include "KSTTestSupport.h"

#include <QDate>
#include <QDir>
#include <QObject>

#include <array>
#include <optional>

using KSTTestSupport::pumpUntil;

namespace {

TEST_F(AutoCleanTest, AutomationWithoutRulesHasNoTimerAndEnablingARuleRunsItAtOnce)
{
    const QString old = mac.writeSizedHomeFile("Downloads/old.dmg", 2048, daysAgo(45));
    const auto manager = makeManager();
    QObject observer;
    int notifications = 0;
    KSTNotificationCenter::defaultCenter().addObserver(
        KSTAutoCleanManager::StateDidChangeNotification, &observer,
        [&](const KSTNotification &notification) {
            if (notification.object == manager.get())
                ++notifications;
        });

    manager->setAutomationEnabled(true);
    EXPECT_FALSE(manager->isAutomationActive());
    EXPECT_FALSE(manager->hasScheduleTimer());
    EXPECT_EQ(notifications, 0); // posted later, on the main loop
    EXPECT_TRUE(pumpUntil([&] { return notifications == 1; }));
    manager->waitUntilIdle();
    EXPECT_TRUE(exists(old));

    manager->setRuleEnabled(true, 0);
    EXPECT_TRUE(manager->isAutomationActive());
    EXPECT_EQ(manager->enabledRuleCount(), 1);
    EXPECT_TRUE(manager->hasScheduleTimer());
    manager->waitUntilIdle();
    EXPECT_FALSE(exists(old));
    EXPECT_EQ(manager->bytesSavedThisMonth(), 2048u);
    EXPECT_EQ(manager->filesRemovedThisMonth(), 1u);
    EXPECT_EQ(manager->lastRunDate(), std::optional<QDateTime>(now));
    // The rule change and the run each notify.
    EXPECT_TRUE(pumpUntil([&] { return notifications == 3; }));

    // Setting a value it already has changes nothing and posts nothing.
    manager->setRuleEnabled(true, 0);
    manager->setRuleEnabled(true, 9);
    manager->setRuleEnabled(false, 0);
    EXPECT_FALSE(manager->hasScheduleTimer());
    EXPECT_TRUE(pumpUntil([&] { return notifications == 4; }));
    KSTTestSupport::pumpFor(50);
    EXPECT_EQ(notifications, 4);
}

TEST_F(AutoCleanTest, TheTimerRunsTheRulesAgainAndAgain)
{
    KSTAutoCleanManager::Options fast = options();
    fast.firstDelay = std::chrono::milliseconds(100);
    fast.interval = std::chrono::milliseconds(150);
    fast.leeway = std::chrono::milliseconds(10);
    KSTAutoCleanManager manager(fast);
    manager.setRuleEnabled(true, 2);
    manager.setAutomationEnabled(true);
    manager.waitUntilIdle(); // the immediate run found nothing to move

    const QString archive = mac.homePath("Pictures/Screenshots Archive/");
    mac.writeHomeFile("Desktop/Screenshot 1.png", "x");
    EXPECT_TRUE(pumpUntil([&] { return exists(archive + "Screenshot 1.png"); }, 20'000));
    mac.writeHomeFile("Desktop/Screenshot 2.png", "x");
    EXPECT_TRUE(pumpUntil([&] { return exists(archive + "Screenshot 2.png"); }, 20'000));
}

// Under ThreadSanitizer this is the race check: the main thread changes and reads the state
// while the timer and reconfigurations keep runs going on the work queue.
TEST_F(AutoCleanTest, ChangesDuringRunsKeepTheTotalsConsistent)
{
    KSTAutoCleanManager::Options fast = options();
    fast.firstDelay = std::chrono::milliseconds(5);
    fast.interval = std::chrono::milliseconds(5);
    fast.leeway = std::chrono::milliseconds(1);
    mac.makeHomeDirectory("Documents");
    KSTAutoCleanManager manager(fast);
    manager.setRuleEnabled(true, 2);
    manager.setAutomationEnabled(true);

    const int screenshots = 40;
    for (int index = 0; index < screenshots; ++index) {
        mac.writeHomeFile(QStringLiteral("Desktop/Screenshot %1.png").arg(index), "x");
        manager.setRuleEnabled(index % 2 == 0, 1); // reconfigures: new timer, run at once
        if (index % 3 == 0)
            manager.addWhitelistPath(QStringLiteral("~/Documents"));
        else
            manager.removeWhitelistPath(QStringLiteral("~/Documents"));
        EXPECT_EQ(manager.rules().size(), 6);
        EXPECT_LE(manager.filesRemovedThisMonth(), quint64(index + 1));
        KSTTestSupport::pumpFor(1);
    }
    manager.runEnabledRulesWithCompletion(nullptr);
    manager.waitUntilIdle();
    EXPECT_EQ(manager.filesRemovedThisMonth(), quint64(screenshots));
    EXPECT_EQ(QDir(mac.homePath("Pictures/Screenshots Archive")).entryList(QDir::Files).size(),
              screenshots);
}

TEST_F(AutoCleanTest, RunsCountScreenshotsAsFilesNotBytesAndTotalsSurviveARestart)
{
    mac.writeHomeFile("Desktop/Screenshot A.png", QByteArray(5000, 'a'));
    mac.writeHomeFile("Desktop/Screenshot B.jpg", QByteArray(5000, 'b'));
    mac.makeHomeDirectory("Documents");
    auto manager = makeManager();
    ASSERT_TRUE(manager->addWhitelistPath(mac.homePath("Documents")));
    manager->setRuleEnabled(true, 2);

    // With automation off a run does nothing and reports zeros.
    std::optional<std::array<quint64, 3>> result;
    const auto record = [&](quint64 rules, quint64 bytes, quint64 files) {
        result = std::array<quint64, 3>{rules, bytes, files};
    };
    manager->runEnabledRulesWithCompletion(record);
    ASSERT_TRUE(pumpUntil([&] { return result.has_value(); }));
    EXPECT_EQ(*result, (std::array<quint64, 3>{0, 0, 0}));
    EXPECT_TRUE(exists(mac.homePath("Desktop/Screenshot A.png")));

    manager->setAutomationEnabled(true); // runs at once
    manager->waitUntilIdle();
    EXPECT_EQ(manager->filesRemovedThisMonth(), 2u);
    EXPECT_EQ(manager->bytesSavedThisMonth(), 0u);

    mac.writeHomeFile("Downloads/screenshot C.png", "c");
    result.reset();
    manager->runEnabledRulesWithCompletion(record);
    ASSERT_TRUE(pumpUntil([&] { return result.has_value(); }));
    EXPECT_EQ(*result, (std::array<quint64, 3>{1, 0, 1}));
    EXPECT_EQ(manager->filesRemovedThisMonth(), 3u);

    // What another process reads: the suite's keys.
    {
        const std::unique_ptr<QSettings> stored = KSTPreferences::suite(Suite);
        EXPECT_TRUE(stored->value("automationEnabled").toBool());
        EXPECT_TRUE(stored->value("ruleEnabled.2").toBool());
        EXPECT_FALSE(stored->value("ruleEnabled.0").toBool());
        EXPECT_TRUE(stored->contains("ruleEnabled.5"));
        EXPECT_EQ(stored->value("filesRemovedThisMonth").toULongLong(), 3u);
        EXPECT_EQ(stored->value("bytesSavedThisMonth").toULongLong(), 0u);
        EXPECT_EQ(stored->value("lastRunDate").toDateTime(), now);
        EXPECT_EQ(stored->value("statsMonth").toString(), now.toString(QStringLiteral("yyyy-MM")));
        EXPECT_EQ(stored->value("whitelistPaths").toStringList(), QStringList{"~/Documents"});
    }

    // Switched off before quitting, everything comes back at the next start.
    manager->setAutomationEnabled(false);
    manager.reset();
    manager = makeManager();
    EXPECT_FALSE(manager->automationEnabled());
    EXPECT_TRUE(manager->isRuleEnabledAtIndex(2));
    EXPECT_EQ(manager->filesRemovedThisMonth(), 3u);
    EXPECT_EQ(manager->bytesSavedThisMonth(), 0u);
    EXPECT_EQ(manager->lastRunDate(), std::optional<QDateTime>(now));
    EXPECT_EQ(manager->whitelistPaths(), QStringList{"~/Documents"});
    EXPECT_FALSE(manager->hasScheduleTimer());
}

TEST_F(AutoCleanTest, ALaunchWithAutomationOnClearsAllButKeepsTheNeverTouchListAside)
{
    // The long-standing start-up behaviour, kept as is for a launch of the window: the switch
    // is applied (and the state saved) before the rules, totals and list are read back. A
    // command-line call is not a launch and reads the state as stored.
    mac.writeHomeFile("Downloads/old.zip", "zip", daysAgo(40));
    mac.makeHomeDirectory("Documents");
    {
        const auto manager = makeManager();
        ASSERT_TRUE(manager->addWhitelistPath(QStringLiteral("~/Documents")));
        manager->setRuleEnabled(true, 0);
        manager->setAutomationEnabled(true);
        manager->waitUntilIdle();
        ASSERT_EQ(manager->filesRemovedThisMonth(), 1u);
    }
    KSTAutoCleanManager::Options command = options();
    command.isLaunch = false;
    {
        const KSTAutoCleanManager manager(command);
        EXPECT_TRUE(manager.isAutomationActive());
        EXPECT_EQ(manager.filesRemovedThisMonth(), 1u);
        EXPECT_EQ(manager.whitelistPaths(), QStringList{"~/Documents"});
        EXPECT_TRUE(manager.keptAsideWhitelistPaths().isEmpty());
    }

    const auto manager = makeManager();
    EXPECT_TRUE(manager->automationEnabled());
    EXPECT_EQ(manager->enabledRuleCount(), 0);
    EXPECT_FALSE(manager->isAutomationActive());
    EXPECT_FALSE(manager->hasScheduleTimer());
    EXPECT_EQ(manager->filesRemovedThisMonth(), 0u);
    EXPECT_EQ(manager->bytesSavedThisMonth(), 0u);
    EXPECT_FALSE(manager->lastRunDate());
    EXPECT_TRUE(manager->whitelistPaths().isEmpty());
    EXPECT_FALSE(KSTPreferences::suite(Suite)->contains("lastRunDate"));
    // The emptied list is kept aside, and still protects, until restored or dismissed.
    EXPECT_EQ(manager->keptAsideWhitelistPaths(), QStringList{"~/Documents"});
    const KSTAutoCleanManager later(command);
    EXPECT_EQ(later.keptAsideWhitelistPaths(), QStringList{"~/Documents"});
    EXPECT_TRUE(manager->restoreKeptAsideWhitelistPaths());
    EXPECT_EQ(manager->whitelistPaths(), QStringList{"~/Documents"});
    EXPECT_TRUE(manager->keptAsideWhitelistPaths().isEmpty());
    EXPECT_FALSE(manager->restoreKeptAsideWhitelistPaths());
    EXPECT_FALSE(manager->dismissKeptAsideWhitelistPaths());
}

TEST_F(AutoCleanTest, TheKeptAsideListProtectsUntilDismissed)
{
    const QString kept = mac.writeHomeFile("Downloads/Keep/plan.txt", "x", daysAgo(60));
    KSTFixtureMac::setModified(QFileInfo(kept).path(), daysAgo(60));
    {
        const std::unique_ptr<QSettings> stored = KSTPreferences::suite(Suite);
        stored->setValue("automationEnabled", true);
        stored->setValue("whitelistPaths", QStringList{"~/Downloads/Keep"});
    }
    const auto manager = makeManager();
    ASSERT_TRUE(manager->whitelistPaths().isEmpty());
    EXPECT_FALSE(manager->cleanDownloadsOlderThanDays(30, nullptr, nullptr));
    EXPECT_TRUE(exists(kept));
    EXPECT_TRUE(manager->dismissKeptAsideWhitelistPaths());
    EXPECT_TRUE(manager->cleanDownloadsOlderThanDays(30, nullptr, nullptr));
    EXPECT_FALSE(exists(kept));
}

TEST_F(AutoCleanTest, ChangesFromTwoProcessesAtOnceAreBothKept)
{
    // Two managers on one suite stand for the window and a command-line call: each change
    // re-reads what the other stored, so neither writes an older state over the other's.
    mac.makeHomeDirectory("Documents");
    mac.makeHomeDirectory("Movies");
    KSTAutoCleanManager::Options command = options();
    command.isLaunch = false;
    KSTAutoCleanManager window(command);
    KSTAutoCleanManager call(command);
    ASSERT_TRUE(call.addWhitelistPath(QStringLiteral("~/Documents")));
    ASSERT_TRUE(window.addWhitelistPath(QStringLiteral("~/Movies")));
    call.setRuleEnabled(true, 3);
    window.setRuleEnabled(true, 1);
    const KSTAutoCleanManager reader(command);
    EXPECT_EQ(reader.whitelistPaths(), (QStringList{"~/Documents", "~/Movies"}));
    EXPECT_TRUE(reader.isRuleEnabledAtIndex(1));
    EXPECT_TRUE(reader.isRuleEnabledAtIndex(3));
}

struct MonthCase
{
    const char *name;
    int monthsBack; // -1: no month stored
    bool reset;
};

class MonthResetTest : public AutoCleanTest, public ::testing::WithParamInterface<MonthCase>
{
};

TEST_P(MonthResetTest, TotalsOfAnotherMonthAreZeroedAtStart)
{
    const MonthCase &c = GetParam();
    {
        const std::unique_ptr<QSettings> stored = KSTPreferences::suite(Suite);
        stored->setValue("automationEnabled", false);
        stored->setValue("bytesSavedThisMonth", quint64(123456789012));
        stored->setValue("filesRemovedThisMonth", 42);
        if (c.monthsBack >= 0) {
            stored->setValue(
                "statsMonth",
                now.date().addMonths(-c.monthsBack).toString(QStringLiteral("yyyy-MM")));
        }
    }
    const auto manager = makeManager();
    EXPECT_EQ(manager->bytesSavedThisMonth(), c.reset ? 0u : 123456789012u);
    EXPECT_EQ(manager->filesRemovedThisMonth(), c.reset ? 0u : 42u);
    if (c.reset) {
        EXPECT_EQ(KSTPreferences::suite(Suite)->value("statsMonth").toString(),
                  manager->currentStatsMonthKey());
        EXPECT_EQ(KSTPreferences::suite(Suite)->value("filesRemovedThisMonth").toULongLong(), 0u);
    }
}

INSTANTIATE_TEST_SUITE_P(Months, MonthResetTest,
                         ::testing::Values(MonthCase{"LastMonth", 1, true},
                                           MonthCase{"LastYearSameMonth", 12, true},
                                           MonthCase{"ThisMonth", 0, false},
                                           MonthCase{"NoMonthStored", -1, false}),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(AutoCleanTest, NeverTouchPathsAreStoredInHomeFormAndCompareByMeaning)
{
    mac.makeHomeDirectory("Documents");
    const QString outside = QFileInfo(mac.writeFile("Shared/notes.txt", "x")).path();
    const auto manager = makeManager();

    EXPECT_TRUE(manager->addWhitelistPath(QStringLiteral("~/Documents/../Documents")));
    EXPECT_FALSE(manager->addWhitelistPath(QStringLiteral("~/Documents")));
    EXPECT_FALSE(manager->addWhitelistPath(mac.homePath("Documents/")));
    EXPECT_FALSE(manager->addWhitelistPath(QStringLiteral("~/Missing")));
    EXPECT_FALSE(manager->addWhitelistPath(QString()));
    EXPECT_TRUE(manager->addWhitelistPath(outside + "/./"));
    EXPECT_EQ(manager->whitelistPaths(), QStringList({"~/Documents", outside}));
    EXPECT_TRUE(manager->containsWhitelistPathEquivalentTo(mac.homePath("Documents")));

    EXPECT_TRUE(manager->isWhitelistedPath(mac.homePath("Documents/a/b.txt")));
    EXPECT_TRUE(manager->isWhitelistedPath(outside + "/notes.txt"));
    EXPECT_FALSE(manager->isWhitelistedPath(mac.homePath("Documents2")));
    EXPECT_FALSE(manager->isWhitelistedPath(mac.home()));

    EXPECT_TRUE(manager->removeWhitelistPath(mac.homePath("Documents/.")));
    EXPECT_FALSE(manager->removeWhitelistPath(QStringLiteral("~/Documents")));
    EXPECT_FALSE(manager->removeWhitelistPath(QString()));
    EXPECT_EQ(manager->whitelistPaths(), QStringList{outside});
}

} // namespace
