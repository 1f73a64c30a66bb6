// `kestrel autoclean` run in-process against a fixture Mac. The command works on the program's
// one manager, which lives as long as this test process, so the steps form one story.
#include "KSTCommandLine.h"

#include "KSTAutoCleanManager.h"
#include "KSTCommandLineRun.h"
#include "KSTMachineTest.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

// Every run restores the environment it found: this machine, never the real home.
class AutoCleanCommandTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        // The manager outlives each test: start every test from the switches off and an
        // empty never-touch list (the totals and date of earlier tests remain).
        KSTAutoCleanManager &manager = KSTAutoCleanManager::shared();
        manager.setAutomationEnabled(false);
        for (qsizetype index = 0; index < manager.rules().size(); ++index)
            manager.setRuleEnabled(false, index);
        for (const QString &path : manager.whitelistPaths())
            manager.removeWhitelistPath(path);
    }

    void TearDown() override
    {
        // The manager outlives the test: leave it without a timer that could fire later.
        KSTAutoCleanManager::shared().setAutomationEnabled(false);
        KSTAutoCleanManager::shared().waitUntilIdle();
        KSTMachineTest::TearDown();
    }

    KSTProgramRun kestrel(const QStringList &arguments)
    {
        return runKestrelInProcess(QStringList{QStringLiteral("--root"), mac.root()} + arguments);
    }
    static QJsonObject json(const KSTProgramRun &run) { return run.json().object(); }

    QDateTime daysAgo(int days) const { return QDateTime::currentDateTime().addDays(-days); }
};

TEST_F(AutoCleanCommandTest, ShowsChangesAndRunsTheRules)
{
    const KSTProgramRun initial = kestrel({"autoclean", "--json"});
    ASSERT_EQ(initial.status, 0) << initial.err.toStdString();
    QJsonObject state = json(initial);
    for (const char *key : {"automationEnabled", "isAutomationActive", "enabledRuleCount",
                            "bytesSavedThisMonth", "filesRemovedThisMonth", "whitelistPaths"})
        EXPECT_TRUE(state.contains(key)) << key;
    EXPECT_FALSE(state.value("automationEnabled").toBool());
    EXPECT_TRUE(state.value("whitelistPaths").toArray().isEmpty());
    const QJsonArray rules = state.value("rules").toArray();
    ASSERT_EQ(rules.size(), 6);
    EXPECT_EQ(rules.at(1).toObject(),
              (QJsonObject{{"ruleType", 1},
                           {"symbolName", "trash.fill"},
                           {"title", "Trash"},
                           {"detail", "Empty automatically"},
                           {"schedule", QString::fromUtf8("Weekly \u00B7 Sunday")},
                           {"enabled", false}}));

    // "~" is the analysed home; a refusal says why and exits 1.
    const QString kept = mac.writeHomeFile("Downloads/Keep/plan.txt", "x", daysAgo(60));
    KSTFixtureMac::setModified(QFileInfo(kept).path(), daysAgo(60));
    EXPECT_EQ(kestrel({"autoclean", "whitelist", "add", "~/Downloads/Keep"}).status, 0);
    const KSTProgramRun again = kestrel({"autoclean", "whitelist", "add", "~/Downloads/Keep/"});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.err.contains("already on the never-touch list")) << again.err.toStdString();

    // On without a rule: nothing runs. Enabling the Downloads rule runs it before returning.
    const QString old = mac.writeSizedHomeFile("Downloads/old.iso", 1500, daysAgo(45));
    state = json(kestrel({"autoclean", "on", "--json"}));
    EXPECT_TRUE(state.value("automationEnabled").toBool());
    EXPECT_FALSE(state.value("isAutomationActive").toBool());
    EXPECT_TRUE(QFileInfo::exists(old));
    const KSTProgramRun ruleOn = kestrel({"autoclean", "rule", "0", "on"});
    EXPECT_EQ(ruleOn.status, 0);
    EXPECT_TRUE(ruleOn.out.contains("on, active")) << ruleOn.out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(old));
    EXPECT_TRUE(QFileInfo::exists(kept));

    mac.writeSizedHomeFile("Downloads/older.iso", 2500, daysAgo(50));
    const KSTProgramRun run = kestrel({"autoclean", "run", "--json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(json(run),
              (QJsonObject{{"rulesActed", 1}, {"bytesRemoved", 2500}, {"filesRemoved", 1}}));
    const KSTProgramRun idle = kestrel({"autoclean", "run"});
    EXPECT_TRUE(idle.out.contains("Rules acted:   0")) << idle.out.toStdString();

    state = json(kestrel({"autoclean", "off", "--json"}));
    EXPECT_FALSE(state.value("automationEnabled").toBool());
    EXPECT_TRUE(
        QDateTime::fromString(state.value("lastRunDate").toString(), Qt::ISODate).isValid());
    EXPECT_FALSE(KSTAutoCleanManager::shared().hasScheduleTimer());
}

TEST_F(AutoCleanCommandTest, BadUsageIsRefusedWithStatusTwo)
{
    const QList<QStringList> bad = {
        {"autoclean", "rule", "6", "on"},        {"autoclean", "rule", "03", "on"},
        {"autoclean", "rule", "2", "yes"},       {"autoclean", "on", "now"},
        {"autoclean", "whitelist", "list", "~"}, {"autoclean", "sweep"},
    };
    const bool automationBefore = KSTAutoCleanManager::shared().automationEnabled();
    const qsizetype rulesBefore = KSTAutoCleanManager::shared().enabledRuleCount();
    for (const QStringList &arguments : bad) {
        const KSTProgramRun run = kestrel(arguments);
        EXPECT_EQ(run.status, 2) << arguments.join(' ').toStdString();
        EXPECT_TRUE(run.out.isEmpty()) << arguments.join(' ').toStdString();
    }
    EXPECT_EQ(KSTAutoCleanManager::shared().automationEnabled(), automationBefore);
    EXPECT_EQ(KSTAutoCleanManager::shared().enabledRuleCount(), rulesBefore);
}

} // namespace
