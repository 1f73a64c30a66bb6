// Startup items on fixture Macs: the three launchd folders with recorded plists, names,
// impact by the program's size on the analysed Mac, the summary, and disabling through
// launchctl and the removal guard.
#include "KSTStartupItemsPanelModel.h"
#include "KSTUtilitiesTestSupport.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

using Domain = KSTFixtureMac::LaunchdDomain;
constexpr qint64 MiB = 1024 * 1024;

class StartupItemsTest : public KSTUtilitiesTest
{
protected:
    QString userAgent(const QString &file)
    {
        return mac.homePath(QStringLiteral("Library/LaunchAgents/") + file);
    }
    void copyRecorded(const QString &recorded, const QString &destination)
    {
        ASSERT_TRUE(KSTTestSupport::writeFile(
            destination, KSTTestSupport::readFile(KSTTestSupport::recordedMacFile(recorded))));
    }
};

TEST(StartupItemNames, DisplayNameRulesInOrder)
{
    const struct
    {
        const char *path;
        const char *fallback;
        const char *name;
    } cases[] = {
        {"", "", "Unknown"},
        {"", "com.example.label", "com.example.label"},
        {"/Applications/Foo.app", "label", "Foo"},
        {"/Applications/Foo.app/Contents/MacOS/foo", "label", "Foo"},
        {"/Applications/Outer.app/Contents/Helpers/Inner.app/Contents/MacOS/x", "l", "Outer"},
        {"/usr/local/bin/postgres", "homebrew.mxcl.postgresql", "homebrew.mxcl.postgresql"},
        {"/usr/local/bin/postgres", "", "postgres"},
        {"/Applications/My.apps/tool", "label", "label"},
    };
    for (const auto &row : cases)
        EXPECT_EQ(KSTUtilitiesManager::displayNameForProgramPath(QString::fromUtf8(row.path),
                                                                 QString::fromUtf8(row.fallback)),
                  QString::fromUtf8(row.name))
            << row.path;
}

TEST(StartupItemSummary, HighestImpactWins)
{
    const auto items = [](std::initializer_list<const char *> impacts) {
        QList<KSTStartupItemRecord> list;
        for (const char *impact : impacts)
            list.append({QStringLiteral("x"), {}, QString::fromLatin1(impact), {}, 1, {}, false});
        return list;
    };
    EXPECT_EQ(KSTUtilitiesManager::bootImpactSummaryForItems({}), "None");
    EXPECT_EQ(KSTUtilitiesManager::bootImpactSummaryForItems(items({"Low", "Low"})), "Low");
    EXPECT_EQ(KSTUtilitiesManager::bootImpactSummaryForItems(items({"Low", "Medium"})), "Medium");
    EXPECT_EQ(KSTUtilitiesManager::bootImpactSummaryForItems(items({"Medium", "High", "Low"})),
              "High");
}

TEST(StartupItemKeys, OnlyABooleanTrueReadsAsTrue)
{
    EXPECT_TRUE(KSTUtilitiesManager::readsAsTrue(true));
    for (const QVariant &value :
         {QVariant(false), QVariant(qint64(1)), QVariant(QStringLiteral("true")), QVariant(),
          QVariant(QVariantMap{{QStringLiteral("SuccessfulExit"), false}})})
        EXPECT_FALSE(KSTUtilitiesManager::readsAsTrue(value)) << value.typeName();
}

TEST_F(StartupItemsTest, ImpactComesFromTheProgramOnTheAnalysedMac)
{
    const struct
    {
        const char *program;
        qint64 bytes;
        const char *impact;
    } cases[] = {
        {"/Applications/Tiny.app/Contents/MacOS/tiny", 1024, "Low"},
        {"/opt/Dropbox/dropboxd", 15 * MiB, "High"},
        {"/opt/Dropbox/dropbox-big", 25 * MiB, "Medium"},
        {"/opt/tools/exactly20", 20 * MiB, "Low"},
        {"/opt/tools/just-over-20", 20 * MiB + 1, "Medium"},
        {"/opt/tools/exactly200", 200 * MiB, "Medium"},
        {"/opt/tools/just-over-200", 200 * MiB + 1, "High"},
        {"/opt/Adobe/missing-here", -1, "High"},
        {"/opt/tools/missing", -1, "Low"},
    };
    for (const auto &row : cases) {
        const QString program = QString::fromUtf8(row.program);
        if (row.bytes >= 0) {
            ASSERT_TRUE(makeSparse(mac.path(program.mid(1)), row.bytes));
        }
        EXPECT_EQ(manager->impactForProgramPath(program), QString::fromUtf8(row.impact))
            << row.program;
        const QVariantMap runs = {{QStringLiteral("RunAtLoad"), true}};
        EXPECT_EQ(manager->impactForLaunchPlist(runs, program, KSTStartupItemRecord::LaunchAgent),
                  QString::fromUtf8(row.impact));
        // Neither key true: low whatever the program; a daemon: high whatever the keys.
        EXPECT_EQ(manager->impactForLaunchPlist({}, program, KSTStartupItemRecord::LaunchAgent),
                  "Low");
        EXPECT_EQ(manager->impactForLaunchPlist({}, program, KSTStartupItemRecord::LaunchDaemon),
                  "High");
    }
    // The host's own file of the same path does not count under another root.
    EXPECT_EQ(manager->impactForProgramPath(QStringLiteral("/usr/bin/find")), "Low");
}

TEST_F(StartupItemsTest, ScansTheThreeFoldersAndSortsByName)
{
    copyRecorded("LaunchAgent.homebrew.mxcl.postgresql.plist",
                 userAgent("homebrew.mxcl.postgresql.plist"));
    copyRecorded("LaunchAgent.com.googlecode.munki.MunkiStatus.plist",
                 mac.path("Library/LaunchAgents/com.googlecode.munki.MunkiStatus.plist"));
    mac.addLaunchdPlist(
        Domain::Daemon, "com.example.daemon",
        {{"ProgramArguments", QVariantList{"/Applications/Zeta.app/Contents/MacOS/z", "-y"}},
         {"RunAtLoad", false}});
    mac.addLaunchdPlist(Domain::UserAgent, "com.example.big",
                        {{"Program", "/Applications/Big.app"}, {"KeepAlive", true}});
    ASSERT_TRUE(makeSparse(mac.path("Applications/Big.app"), 300 * MiB));
    // Without a label the file name stands in; these are never listed.
    mac.writeHomePlist("Library/LaunchAgents/unlabelled.plist",
                       QVariantMap{{"Program", "/usr/local/bin/unlabelled"}});
    mac.writeHomeFile("Library/LaunchAgents/old.plist.disabled", "<plist/>");
    mac.writeHomeFile("Library/LaunchAgents/broken.plist", "<?xml version=\"1.0\"?><plist><dict>");
    mac.writeHomeFile("Library/LaunchAgents/notes.txt", "not a plist");
    mac.writeHomePlist("Library/LaunchAgents/array.plist", QVariantList{"not", "a", "dict"});

    const QList<KSTStartupItemRecord> items = manager->scanStartupItems();
    QStringList names;
    for (const KSTStartupItemRecord &item : items)
        names << item.name;
    // MunkiStatus runs a program inside "Managed Software Center.app".
    EXPECT_EQ(names, (QStringList{"Big", "homebrew.mxcl.postgresql", "Managed Software Center",
                                  "unlabelled", "Zeta"}));

    const auto byName = [&items](const QString &name) {
        return *std::find_if(
            items.cbegin(), items.cend(),
            [&name](const KSTStartupItemRecord &item) { return item.name == name; });
    };
    const KSTStartupItemRecord postgres = byName("homebrew.mxcl.postgresql");
    EXPECT_EQ(postgres.typeLabel, "Launch Agent");
    EXPECT_EQ(postgres.impact, "Low"); // KeepAlive true, but a small program
    EXPECT_EQ(postgres.itemIdentifier, "homebrew.mxcl.postgresql");
    EXPECT_EQ(postgres.path, userAgent("homebrew.mxcl.postgresql.plist"));
    EXPECT_TRUE(postgres.canDisable);
    // KeepAlive as a dictionary of path states and no RunAtLoad: a conditional start.
    const KSTStartupItemRecord munki = byName("Managed Software Center");
    EXPECT_EQ(munki.impact, "Low");
    EXPECT_FALSE(munki.canDisable);
    const KSTStartupItemRecord daemon = byName("Zeta");
    EXPECT_EQ(daemon.typeLabel, "Launch Daemon");
    EXPECT_EQ(daemon.itemType, KSTStartupItemRecord::LaunchDaemon);
    EXPECT_EQ(daemon.impact, "High");
    EXPECT_EQ(byName("Big").impact, "High");
    EXPECT_EQ(byName("unlabelled").itemIdentifier, "unlabelled");
    EXPECT_EQ(KSTUtilitiesManager::bootImpactSummaryForItems(items), "High");
}

TEST_F(StartupItemsTest, AFolderReachedThroughALinkListsNothing)
{
    mac.addLaunchdPlist(Domain::GlobalAgent, "com.example.outside", {});
    QDir(mac.homePath("Library/LaunchAgents")).removeRecursively();
    mac.makeSymlink(QStringLiteral("Users/alice/Library/LaunchAgents"),
                    mac.path("Library/LaunchAgents"));
    const QList<KSTStartupItemRecord> items = manager->scanLaunchPlistsInDirectory(
        mac.homePath("Library/LaunchAgents"), KSTStartupItemRecord::LaunchAgent, true);
    EXPECT_TRUE(items.isEmpty());
}

TEST_F(StartupItemsTest, DisablingRefusesWhatMayNotBeDisabled)
{
    const QString global = mac.addLaunchdPlist(Domain::GlobalAgent, "com.example.global", {});
    const QString daemon = mac.addLaunchdPlist(Domain::Daemon, "com.example.daemon", {});
    const struct
    {
        KSTStartupItemRecord item;
        qint64 code;
    } cases[] = {
        {{"g", "Launch Agent", "Low", global, 1, "com.example.global", false}, 1},
        {{"d", "Launch Daemon", "High", daemon, 2, "com.example.daemon", true}, 2},
        {{"l", "Login Item", "Low", "/Applications/X.app", 0, "/Applications/X.app", true}, 4},
    };
    for (const auto &row : cases) {
        KSTError error;
        EXPECT_FALSE(manager->disableStartupItem(row.item, &error));
        EXPECT_EQ(error.domain, KSTUtilitiesManager::ErrorDomain);
        EXPECT_EQ(error.code, row.code);
        EXPECT_EQ(error.description, KSTUtilitiesManager::messageForErrorCode(
                                         KSTUtilitiesManager::ErrorCode(row.code)));
    }
    EXPECT_TRUE(QFile::exists(global));
    EXPECT_TRUE(QFile::exists(daemon));
}

TEST_F(StartupItemsTest, WithoutLaunchctlNothingIsRenamed)
{
    const QString plist = mac.addLaunchdPlist(Domain::UserAgent, "com.example.agent", {});
    KSTError error;
    EXPECT_FALSE(manager->disableLaunchAgentAtPath(plist, &error));
    EXPECT_EQ(error.code, KSTUtilitiesManager::LaunchAgentUnloadFailed);
    EXPECT_EQ(error.description, "Failed to unload launch agent.");
    EXPECT_TRUE(QFile::exists(plist));
}

TEST_F(StartupItemsTest, DisablingUnloadsThenRenamesReplacingAnOlderCopy)
{
    // launchctl's failure (the agent was not loaded) does not stop the rename.
    mac.addTool("/bin/launchctl", "", 113, "Boot-out failed: 3: No such process\n");
    const QString plist = mac.addLaunchdPlist(Domain::UserAgent, "com.example.agent",
                                              {{"Program", "/usr/local/bin/agent"}});
    mac.writeHomeFile("Library/LaunchAgents/com.example.agent.plist.disabled", "older");

    KSTStartupItemsPanelModel model(*manager);
    model.rescan();
    KSTStartupItemRecord item;
    ASSERT_EQ(model.find("com.example.agent", &item), KSTStartupItemsPanelModel::Match::Found);
    KSTError error;
    ASSERT_TRUE(model.disable(item, &error)) << error.description.toStdString();
    EXPECT_TRUE(model.items().isEmpty());

    EXPECT_FALSE(QFile::exists(plist));
    EXPECT_NE(KSTTestSupport::readFile(plist + ".disabled"), "older");
    EXPECT_EQ(mac.toolCalls("/bin/launchctl"),
              QStringList{QStringLiteral("bootout gui/%1 /Users/alice/Library/LaunchAgents/"
                                         "com.example.agent.plist")
                              .arg(mac.environment().userId())});
}

TEST_F(StartupItemsTest, OnlyTheHomesOwnAgentsAreRenamed)
{
    mac.addTool("/bin/launchctl", "");
    const QString global = mac.addLaunchdPlist(Domain::GlobalAgent, "com.example.global", {});
    KSTError error;
    EXPECT_FALSE(manager->disableLaunchAgentAtPath(global, &error));
    EXPECT_EQ(error.domain, "KSTRemovalGuard");
    EXPECT_TRUE(QFile::exists(global));
}

TEST_F(StartupItemsTest, ItemsAreFoundByPathOrUniqueIdentifier)
{
    const QString first = mac.addLaunchdPlist(Domain::UserAgent, "com.example.same", {});
    mac.addLaunchdPlist(Domain::GlobalAgent, "com.example.same", {});
    mac.addLaunchdPlist(Domain::GlobalAgent, "com.example.only", {});
    KSTStartupItemsPanelModel model(*manager);
    model.rescan();
    KSTStartupItemRecord item;
    EXPECT_EQ(model.find("com.example.same", &item), KSTStartupItemsPanelModel::Match::Ambiguous);
    EXPECT_EQ(model.find(first, &item), KSTStartupItemsPanelModel::Match::Found);
    EXPECT_EQ(item.path, first);
    EXPECT_EQ(model.find("com.example.only", &item), KSTStartupItemsPanelModel::Match::Found);
    EXPECT_EQ(model.find("com.example.none", &item), KSTStartupItemsPanelModel::Match::NotFound);
    EXPECT_EQ(KSTStartupItemsPanelModel::confirmationMessage(item), "Disable com.example.only?");
    EXPECT_EQ(KSTStartupItemsPanelModel::failureText(std::nullopt),
              "Could not disable startup item.");
}

} // namespace
