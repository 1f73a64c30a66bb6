// The weekly sources on fixture Macs: the installer log's tail, the knowledge database, the
// uptime text and the small text helpers.
#include "KSTReporterSources.h"
#include "KSTFixtureMac.h"
#include "KSTPermissionChecker.h"
#include "KSTReporterEngine.h"
#include "KSTReporterTestSupport.h"

#include <gtest/gtest.h>

namespace {

namespace Sources = KSTReporterSources;

const QString KnowledgePath = QStringLiteral("Library/Application Support/Knowledge/knowledgeC.db");

class ReporterSourcesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        KSTPermissionChecker::resetForTesting();
    }
    void TearDown() override { KSTPermissionChecker::resetForTesting(); }

    KSTFixtureMac mac;
};

// ---- Installer log ----

// A log of @p filler bytes of ASCII lines, then @p ending.
QByteArray logWithFiller(qsizetype filler, const QByteArray &ending)
{
    QByteArray log;
    while (log.size() + 40 <= filler)
        log.append("2024-03-05 10:00:00 Mac installd: ok\n");
    log.append(QByteArray(filler - log.size(), 'x'));
    return log + ending;
}

struct LogCase
{
    const char *name;
    QByteArray log;
    QStringList removed;
};

class InstallLogTest : public ReporterSourcesTest, public ::testing::WithParamInterface<LogCase>
{
};

TEST_P(InstallLogTest, RemovalsFromTheLastSixtyFourKiB)
{
    mac.writeFile(QStringLiteral("var/log/install.log"), GetParam().log);
    EXPECT_EQ(Sources::applicationsRemovedSince(QDateTime::currentDateTime()), GetParam().removed);
}

// A log whose last 65,536 bytes start with the second byte of "é".
QByteArray logCutInsideACharacter()
{
    const QByteArray ending = "x: Removed Foo.app\n";
    QByteArray log = "a";
    while (log.size() < 70'000)
        log.append("é");
    log.append(ending);
    if ((quint8(log.at(log.size() - 65'536)) & 0xC0) != 0x80)
        log.insert(log.size() - ending.size(), 'b');
    return log;
}

INSTANTIATE_TEST_SUITE_P(
    Logs, InstallLogTest,
    ::testing::Values(LogCase{"CaseIgnoredEachOnceInOrder",
                              "installd: Removed Foo.app\n"
                              "installd: REMOVED   Bar Baz.APP from /Applications\n"
                              "installd: removed Foo.app again\n"
                              "installd: Removed .app\n"
                              "Installer: nothing Removed here\n"
                              "installd: Removed Über.app\n",
                              {"Foo", "Bar Baz", "Über"}},
                      LogCase{"OnlyTheTailIsRead",
                              "installd: Removed Old.app\n" +
                                  logWithFiller(70'000, "installd: Removed New.app\n"),
                              {"New"}},
                      LogCase{"TailCutInsideACharacter", logCutInsideACharacter(), {}},
                      LogCase{"Empty", "", {}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(ReporterSourcesTest, MissingOrNonRegularLogGivesNoRemovals)
{
    EXPECT_TRUE(Sources::applicationsRemovedSince({}).isEmpty());
    mac.makeDirectory(QStringLiteral("var/log/install.log"));
    EXPECT_TRUE(Sources::applicationsRemovedSince({}).isEmpty());
}

TEST(InstallLogTailTest, ReadsOnlyTheEndOfALargeFile)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("log");
    ASSERT_TRUE(KSTTestSupport::writeFile(path, QByteArray(100'000, 'a') + "end"));
    EXPECT_EQ(Sources::fileTail(path, 3), "end");
    EXPECT_EQ(Sources::fileTail(path, 65'536).size(), 65'536);
    EXPECT_EQ(Sources::fileTail(path, 1'000'000).size(), 100'003);
    EXPECT_TRUE(Sources::fileTail(dir.filePath("missing"), 10).isEmpty());
}

// ---- Knowledge database ----

TEST_F(ReporterSourcesTest, KnowledgeRowsOfTheWeekMostUsedFirst)
{
    const QDateTime now = QDateTime::currentDateTime();
    const QDateTime weekStart = KSTReporterEngine::weekStartForDate(now);
    const QDateTime inWeek = weekStart.addSecs(3600);
    QList<KSTKnowledgeUsageRow> rows = {
        {QStringLiteral("com.example.Safari"), inWeek, 3000},
        {QStringLiteral("com.example.Safari"), inWeek.addSecs(4000), 1000}, // summed: 4000
        {QStringLiteral("com.example.Notes"), inWeek, 2000},
        {std::nullopt, inWeek, 90'000},                                      // no identifier
        {QStringLiteral("com.example.Zero"), inWeek, 0},                     // nothing used
        {QStringLiteral("com.example.Old"), weekStart.addSecs(-60), 99'999}, // before the week
        {QStringLiteral("com.example.Other"), inWeek, 50'000, QStringLiteral("/app/inFocus")},
    };
    for (int extra = 1; extra <= 5; ++extra)
        rows.append({QStringLiteral("com.example.App%1").arg(extra), inWeek, 100.0 * extra});
    ASSERT_TRUE(writeKnowledgeDatabase(mac.homePath(KnowledgePath), rows));

    const QList<KSTReporterAppUsageEntry> entries =
        Sources::appUsageFromKnowledgeDatabaseSince(weekStart, 5, [](const QString &identifier) {
            return identifier == "com.example.Safari" ? QStringLiteral("/Applications/Safari.app")
                                                      : QString();
        });
    QStringList identifiers;
    for (const KSTReporterAppUsageEntry &entry : entries)
        identifiers.append(entry.bundleIdentifier);
    // Seven applications qualify; the query's limit of five also counts the row without an
    // identifier, which is then skipped.
    EXPECT_EQ(identifiers, (QStringList{"com.example.Safari", "com.example.Notes",
                                        "com.example.App5", "com.example.App4"}));
    ASSERT_EQ(entries.size(), 4);
    EXPECT_EQ(entries[0].barFraction, 1.0);
    EXPECT_EQ(entries[0].usageSeconds, 4000);
    EXPECT_EQ(entries[0].bundlePath, "/Applications/Safari.app");
    EXPECT_DOUBLE_EQ(entries[1].barFraction, 0.5);
    EXPECT_EQ(entries[1].bundlePath, "");
    EXPECT_EQ(entries[1].name, "com.example.Notes"); // no bundle: the identifier
    EXPECT_EQ(entries[1].detailText, "33 minutes this week");
}

TEST_F(ReporterSourcesTest, ACorruptOrMissingDatabaseGivesNoEntries)
{
    const QDateTime since = QDateTime::currentDateTime().addDays(-6);
    EXPECT_TRUE(Sources::appUsageTimeSince(since, 5, {}, {}).isEmpty());
    mac.writeHomeFile(KnowledgePath, "SQLite format 3\0 but not really" + QByteArray(4096, 'z'));
    EXPECT_TRUE(Sources::appUsageTimeSince(since, 5, {}, {}).isEmpty());
    // A database without the table.
    ASSERT_TRUE(writeKnowledgeDatabase(mac.homePath(KnowledgePath), {}));
    EXPECT_TRUE(Sources::appUsageFromKnowledgeDatabaseSince(since, 5, {}).isEmpty());
}

TEST_F(ReporterSourcesTest, TheDatabaseIsNeverWritten)
{
    const QString path = mac.homePath(KnowledgePath);
    ASSERT_TRUE(writeKnowledgeDatabase(
        path, {{QStringLiteral("com.example.A"), QDateTime::currentDateTime(), 60}}));
    const QByteArray before = KSTTestSupport::readFile(path);
    EXPECT_EQ(
        Sources::appUsageFromKnowledgeDatabaseSince(QDateTime::currentDateTime().addDays(-1), 5, {})
            .size(),
        1);
    EXPECT_EQ(KSTTestSupport::readFile(path), before);
    EXPECT_FALSE(QFileInfo::exists(path + "-wal"));
    EXPECT_FALSE(QFileInfo::exists(path + "-journal"));
}

TEST_F(ReporterSourcesTest, DisplayNamesFromTheBundle)
{
    KSTFixtureMac::App named;
    named.name = QStringLiteral("Browser");
    named.bundleIdentifier = QStringLiteral("com.example.browser");
    named.extraInfo = {{"CFBundleDisplayName", "Web Browser"}, {"CFBundleName", "Browser X"}};
    KSTFixtureMac::App plain;
    plain.name = QStringLiteral("Plain.Tool");
    plain.bundleIdentifier = QStringLiteral("com.example.plain");
    KSTFixtureMac::App onlyName = plain;
    onlyName.name = QStringLiteral("Short");
    onlyName.extraInfo = {{"CFBundleDisplayName", 42}, {"CFBundleName", "Short Name"}};
    const struct
    {
        QString path;
        QString fallback;
        QString expected;
    } cases[] = {
        {mac.addApp(named), "x", "Web Browser"},     {mac.addApp(onlyName), "x", "Short Name"},
        {mac.addApp(plain), "x", "Plain.Tool"},      {"", "com.example.id", "com.example.id"},
        {"", "/Applications/Gone.app/", "Gone.app"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Sources::displayNameForAppBundlePath(c.path, c.fallback), c.expected)
            << qPrintable(c.path);
}

// ---- Small helpers ----

TEST(ReporterTextTest, NetworkPeriodByUptime)
{
    const struct
    {
        std::optional<qint64> uptime;
        const char *expected;
    } cases[] = {
        {std::nullopt, "Total this week"},   {0, "Since last boot · 1d"},
        {12 * 3600, "Since last boot · 1d"}, {3 * 86'400, "Since last boot · 3d"},
        {604'799, "Since last boot · 6d"},   {604'800, "Total since last boot"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(KSTReporterEngine::networkPeriodDescriptionForUptime(c.uptime),
                  QString::fromUtf8(c.expected));
}

TEST(ReporterTextTest, DeltaTexts)
{
    const struct
    {
        quint64 current;
        quint64 previous;
        const char *expected;
    } cases[] = {
        {125, 100, "+25% files"},       {50, 100, "-50% files"},         {100, 100, "+0% files"},
        {7, 0, "New activity · files"}, {0, 0, "No prior data · files"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(KSTReporterEngine::deltaTextForCurrent(c.current, c.previous, "files"),
                  QString::fromUtf8(c.expected));
}

TEST(ReporterTextTest, JoinedNames)
{
    const QStringList names = {"A", "B", "C", "D"};
    EXPECT_EQ(KSTReporterEngine::joinedStrings(names, 2, "none"), "A, B");
    EXPECT_EQ(KSTReporterEngine::joinedStrings(names, 9, "none"), "A, B, C, D");
    EXPECT_EQ(KSTReporterEngine::joinedStrings({}, 2, "none"), "none");
    QList<KSTAppUsageInfo> apps;
    for (const QString &name : names)
        apps.append({name, "/Applications/" + name + ".app", 0, 0});
    EXPECT_EQ(KSTReporterEngine::joinedAppNames(apps, 3, "none"), "A, B, C");
    EXPECT_EQ(KSTReporterEngine::joinedAppNames({}, 3, "none"), "none");
}

TEST(ReporterTextTest, RelativeDaysAndTimeTokens)
{
    KSTScopedTimeZone zone("Europe/Berlin");
    const QDateTime now = localTime("2024-03-10T00:30");
    const QLocale english(QLocale::English, QLocale::UnitedStates);
    EXPECT_EQ(Sources::relativeDayTextForDate(localTime("2024-03-10T00:01"), now, english),
              "today");
    EXPECT_EQ(Sources::relativeDayTextForDate(localTime("2024-03-09T23:59"), now, english),
              "yesterday");
    EXPECT_EQ(Sources::relativeDayTextForDate(localTime("2024-03-08T12:00"), now, english), "Fri");
    EXPECT_EQ(Sources::spotlightTimeTokenForDate(localTime("2024-03-04T00:00")),
              "2024-03-03T23:00:00Z");
    EXPECT_EQ(Sources::spotlightTimeTokenForDate(QDateTime()), "1970-01-01T00:00:00Z");
    // Outside macOS there is no last-used index to fall back on.
    EXPECT_TRUE(Sources::appUsageFromSpotlightSince(now.addDays(-7), 5).isEmpty());
}

} // namespace
