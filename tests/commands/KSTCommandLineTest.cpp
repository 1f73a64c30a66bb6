// The command line run in-process against fixture Macs: global options, usage errors and
// the access command's JSON.
#include "KSTCommandLine.h"

#include "KSTApplicationInfo.h"
#include "KSTCommandLineRun.h"
#include "KSTFixtureMac.h"
#include "KSTPreferences.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace {

TEST(CommandLineTest, HelpVersionAndUsageErrors)
{
    const KSTProgramRun help = runKestrelInProcess({QStringLiteral("--help")});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.out.contains(QLatin1String("--root DIR")));
    EXPECT_TRUE(help.out.contains(QLatin1String("access")));

    const KSTProgramRun version = runKestrelInProcess({QStringLiteral("--version")});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.trimmed(), QStringLiteral("kestrel " KESTREL_VERSION));

    const struct
    {
        QStringList arguments;
        const char *mentions;
    } bad[] = {
        {{QStringLiteral("frobnicate")}, "unknown command"},
        {{QStringLiteral("--layout"), QStringLiteral("windows"), QStringLiteral("access")},
         "--layout"},
        {{QStringLiteral("--root")}, "--root needs a value"},
        {{QStringLiteral("--root"), QStringLiteral("/no/such/folder"), QStringLiteral("access")},
         "not an existing folder"},
        {{QStringLiteral("access"), QStringLiteral("extra")}, "no arguments"},
    };
    for (const auto &c : bad) {
        const KSTProgramRun run = runKestrelInProcess(c.arguments);
        EXPECT_EQ(run.status, 2) << c.arguments.join(' ').toStdString();
        EXPECT_TRUE(run.err.contains(QLatin1String(c.mentions))) << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty());
    }
}

// Refusing a root with several users is the environment's (tested there); a refusal exits 2
// like the unknown root above.
TEST(CommandLineTest, UserChoosesAmongSeveralUsers)
{
    KSTFixtureMac mac;
    mac.addUser(QStringLiteral("bob"));
    const KSTProgramRun chosen = runKestrelInProcess(
        {QStringLiteral("--root"), mac.root(), QStringLiteral("--user"), QStringLiteral("bob"),
         QStringLiteral("access"), QStringLiteral("--json")});
    EXPECT_EQ(chosen.status, 0);
    EXPECT_EQ(
        chosen.json().object().value(QStringLiteral("accessibleUserHomeDirectoryPath")).toString(),
        mac.root() + QStringLiteral("/Users/bob"));
}

// The decision itself is the access layer's (tested there for every kind of database); here
// each answer it can give must reach the JSON, and --layout must reach the checker.
struct AccessCase
{
    const char *name;
    int authValue; // -1: no row for Kestrel
    QStringList options;
    bool granted;
    int status;
    const char *title;
};

class AccessCommandTest : public ::testing::TestWithParam<AccessCase>
{
};

TEST_P(AccessCommandTest, JsonForEachAnswer)
{
    const AccessCase &c = GetParam();
    KSTPreferences::standard()->clear();
    KSTFixtureMac mac;
    QList<KSTFixtureMac::PrivacyRow> rows = {{QStringLiteral("com.apple.Terminal"), 2}};
    if (c.authValue >= 0)
        rows << KSTFixtureMac::PrivacyRow{KSTApplicationInfo::bundleIdentifier(), c.authValue};
    mac.writePrivacyDatabase(rows);

    // The linux layout looks for users in home/, which a fixture Mac does not have.
    QStringList options = c.options;
    if (options.contains(QStringLiteral("linux")))
        options << QStringLiteral("--home") << mac.home();
    // Global options after the command work as well as before it.
    const KSTProgramRun run =
        runKestrelInProcess(QStringList{QStringLiteral("--root"), mac.root(),
                                        QStringLiteral("access"), QStringLiteral("--json")} +
                            options);
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject json = run.json().object();
    EXPECT_EQ(json.keys(),
              (QStringList{"accessibleUserHomeDirectoryPath", "fullDiskAccessClientIdentifiers",
                           "fullDiskAccessReminderMessage", "fullDiskAccessReminderTitle",
                           "fullDiskAccessStatus", "hasFullDiskAccess", "hasRequiredFolderAccess",
                           "shouldShowFolderAccessPrompt"}));
    EXPECT_EQ(json.value(QStringLiteral("hasFullDiskAccess")).toBool(), c.granted);
    EXPECT_EQ(json.value(QStringLiteral("fullDiskAccessStatus")).toInt(), c.status);
    EXPECT_EQ(json.value(QStringLiteral("fullDiskAccessReminderTitle")).toString(),
              QString::fromUtf8(c.title));
    EXPECT_EQ(json.value(QStringLiteral("hasRequiredFolderAccess")).toBool(), c.granted);
    EXPECT_EQ(json.value(QStringLiteral("shouldShowFolderAccessPrompt")).toBool(), !c.granted);
    EXPECT_EQ(json.value(QStringLiteral("accessibleUserHomeDirectoryPath")).toString(), mac.home());
    EXPECT_EQ(
        json.value(QStringLiteral("fullDiskAccessClientIdentifiers")).toArray().first().toString(),
        KSTApplicationInfo::bundleIdentifier());
}

INSTANTIATE_TEST_SUITE_P(
    Answers, AccessCommandTest,
    ::testing::Values(
        AccessCase{"grants", 2, {}, true, 0, "Allow Full Disk Access"},
        AccessCase{"denies", 0, {}, false, 2, "Turn On Full Disk Access"},
        AccessCase{"noRow", -1, {}, false, 1, "Allow Full Disk Access"},
        // The Linux layout has nothing to grant, whatever the database says.
        AccessCase{"linuxLayout", 0, {"--layout", "linux"}, true, 0, "Allow Full Disk Access"}),
    [](const ::testing::TestParamInfo<AccessCase> &info) { return std::string(info.param.name); });

TEST(CommandLineTest, ReadableAccessSummary)
{
    KSTFixtureMac mac;
    const KSTProgramRun run =
        runKestrelInProcess({QStringLiteral("access"), QStringLiteral("--root"), mac.root()});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.out.startsWith(QLatin1String("Full Disk Access: not granted (status 1")))
        << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(QLatin1String("Allow Full Disk Access")));
}

} // namespace
