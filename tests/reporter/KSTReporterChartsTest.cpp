// Calendar days, day keys, labels and the chart fractions drawn from the history: daylight
// saving, year ends and leap days, young, gappy and overlong histories.
#include "KSTReporterCharts.h"
#include "KSTReporterEngine.h"
#include "KSTReporterTestSupport.h"

#include <QTimeZone>

#include <gtest/gtest.h>

namespace Charts = KSTReporterCharts;

namespace {

QStringList keysOf(const QList<QDate> &days)
{
    QStringList keys;
    for (const QDate &day : days)
        keys.append(day.toString(QStringLiteral("yyyy-MM-dd")));
    return keys;
}

struct DaysCase
{
    const char *name;
    const char *zone;
    const char *end; // local time
    QStringList expected;
};

class LastDaysTest : public ::testing::TestWithParam<DaysCase>
{
};

TEST_P(LastDaysTest, SevenConsecutiveCalendarDaysEndingWithTheEndsDay)
{
    const DaysCase &c = GetParam();
    KSTScopedTimeZone zone(c.zone);
    const QDateTime end = localTime(c.end);
    ASSERT_TRUE(end.isValid());
    EXPECT_EQ(keysOf(Charts::lastDays(7, end)), c.expected);
    // The labels and every chart walk the same days.
    EXPECT_EQ(Charts::dayLabelsForLastDays(7, end).size(), 7);
    EXPECT_EQ(Charts::historyDayKeyForDate(end), c.expected.last());
}

INSTANTIATE_TEST_SUITE_P(
    Calendar, LastDaysTest,
    ::testing::Values(
        // Just after midnight following a 23-hour day: 24 hours back lands two days back.
        DaysCase{"SpringForwardNewYork",
                 "America/New_York",
                 "2024-03-11T00:30",
                 {"2024-03-05", "2024-03-06", "2024-03-07", "2024-03-08", "2024-03-09",
                  "2024-03-10", "2024-03-11"}},
        // Late on a 25-hour day: 24 hours back stays on the same day.
        DaysCase{"FallBackNewYork",
                 "America/New_York",
                 "2024-11-03T23:30",
                 {"2024-10-28", "2024-10-29", "2024-10-30", "2024-10-31", "2024-11-01",
                  "2024-11-02", "2024-11-03"}},
        DaysCase{"SpringForwardBerlin",
                 "Europe/Berlin",
                 "2024-04-01T00:15",
                 {"2024-03-26", "2024-03-27", "2024-03-28", "2024-03-29", "2024-03-30",
                  "2024-03-31", "2024-04-01"}},
        DaysCase{"YearEnd",
                 "UTC",
                 "2025-01-02T12:00",
                 {"2024-12-27", "2024-12-28", "2024-12-29", "2024-12-30", "2024-12-31",
                  "2025-01-01", "2025-01-02"}},
        DaysCase{"LeapDay",
                 "Asia/Tokyo",
                 "2024-03-01T23:59",
                 {"2024-02-24", "2024-02-25", "2024-02-26", "2024-02-27", "2024-02-28",
                  "2024-02-29", "2024-03-01"}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(ReporterDayKeyTest, KeysAreLocalCalendarDays)
{
    KSTScopedTimeZone zone("Asia/Tokyo");
    // 20:00 UTC on New Year's Eve is already New Year's Day in Tokyo.
    const QDateTime utc(QDate(2024, 12, 31), QTime(20, 0), Qt::UTC);
    EXPECT_EQ(Charts::historyDayKeyForDate(utc), "2025-01-01");
    EXPECT_EQ(Charts::historyDayKeyForDate(QDateTime()), "");
    EXPECT_EQ(Charts::startOfDay(utc), localTime("2025-01-01T00:00"));
}

TEST(ReporterDayKeyTest, OnlyKeysOfTheStoredFormParse)
{
    const struct
    {
        const char *key;
        bool parses;
    } cases[] = {{"2024-02-29", true},  {"2023-02-29", false},  {"2024-3-08", false},
                 {"", false},           {"2024-03-08x", false}, {"08-03-2024", false},
                 {"0000-01-01", false}, {"9999-12-31", true}};
    for (const auto &c : cases) {
        const std::optional<QDateTime> date = Charts::dateFromHistoryDayKey(QLatin1String(c.key));
        EXPECT_EQ(date.has_value(), c.parses) << c.key;
        if (date) { // a parsed key names the day it came from
            EXPECT_EQ(Charts::historyDayKeyForDate(*date), QLatin1String(c.key));
        }
    }
}

TEST(ReporterLabelsTest, NarrowWeekdaysAndRangeInTwoLocales)
{
    KSTScopedTimeZone zone("UTC");
    const QDateTime sunday = localTime("2024-03-10T18:00");
    const QDateTime weekStart = KSTReporterEngine::weekStartForDate(sunday);
    EXPECT_EQ(weekStart, localTime("2024-03-04T00:00"));
    const struct
    {
        const char *locale;
        QStringList labels;
        QString range;
    } cases[] = {
        {"en_US", {"M", "T", "W", "T", "F", "S", "S"}, QStringLiteral("Mar 4 – Mar 10, 2024")},
        {"de_DE", {"M", "D", "M", "D", "F", "S", "S"}, QStringLiteral("März 4 – März 10, 2024")},
    };
    for (const auto &c : cases) {
        const QLocale locale(QLatin1String(c.locale));
        EXPECT_EQ(Charts::dayLabelsForLastDays(7, sunday, locale), c.labels) << c.locale;
        EXPECT_EQ(KSTReporterEngine::formattedDateRange(weekStart, sunday, locale), c.range)
            << c.locale;
    }
    EXPECT_TRUE(Charts::dayLabelsForLastDays(0, sunday).isEmpty());
    EXPECT_TRUE(Charts::dayLabelsForLastDays(-3, sunday).isEmpty());
}

// ---- Storage ----

struct StorageCase
{
    const char *name;
    QVariantList records;
    quint64 total;
    QList<double> expected;
    bool asksForCurrent;
};

class StorageFractionsTest : public ::testing::TestWithParam<StorageCase>
{
};

TEST_P(StorageFractionsTest, FillsOnlyWhenTheOldestDayIsEmpty)
{
    const StorageCase &c = GetParam();
    KSTScopedTimeZone zone("UTC");
    bool asked = false;
    const QList<double> fractions = Charts::dailyStorageFractionsFromHistory(
        c.records, c.total, 7, localTime("2024-03-10T12:00"), [&asked] {
            asked = true;
            return 0.5;
        });
    EXPECT_EQ(fractions, c.expected);
    EXPECT_EQ(asked, c.asksForCurrent);
}

QVariantList days(std::initializer_list<std::pair<const char *, std::optional<qint64>>> list)
{
    QVariantList records;
    for (const auto &[day, used] : list)
        records.append(historyRecord(QLatin1String(day), used));
    return records;
}

INSTANTIATE_TEST_SUITE_P(
    History, StorageFractionsTest,
    ::testing::Values(
        StorageCase{"Empty", {}, 1000, {0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5}, true},
        StorageCase{"OnlyToday",
                    days({{"2024-03-10", 250}}),
                    1000,
                    {0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.25},
                    true},
        StorageCase{"OldestDayKnownGapsStay",
                    days({{"2024-03-04", 100}, {"2024-03-06", 200}, {"2024-03-10", 400}}),
                    1000,
                    {0.1, 0, 0.2, 0, 0, 0, 0.4},
                    false},
        StorageCase{"OldestDayRecordedAsZeroIsFilled",
                    days({{"2024-03-04", 0}, {"2024-03-05", 300}}),
                    1000,
                    {0.5, 0.3, 0.5, 0.5, 0.5, 0.5, 0.5},
                    true},
        StorageCase{
            "CappedAtOne", days({{"2024-03-04", 5000}}), 1000, {1, 0, 0, 0, 0, 0, 0}, false},
        StorageCase{
            "NoTotal", days({{"2024-03-04", 100}}), 0, {0.5, 0.5, 0.5, 0.5, 0.5, 0.5, 0.5}, true},
        // A figure that is missing or negative is no figure; the day before the chart and
        // after it do not count; the first record of a day wins.
        StorageCase{"MalformedAndOutsideRecords",
                    days({{"2024-03-03", 900},
                          {"2024-03-04", -1},
                          {"2024-03-05", std::nullopt},
                          {"2024-03-06", 600},
                          {"2024-03-06", 100},
                          {"2024-03-11", 900}}),
                    1000,
                    {0.5, 0.5, 0.6, 0.5, 0.5, 0.5, 0.5},
                    true}),
    [](const auto &info) { return std::string(info.param.name); });

// ---- Network ----

struct NetworkCase
{
    const char *name;
    QVariantList records;
    QList<quint64> amounts; // download
    QList<double> fractions;
};

class NetworkFractionsTest : public ::testing::TestWithParam<NetworkCase>
{
};

TEST_P(NetworkFractionsTest, DailyAmountsFromCumulativeCounters)
{
    const NetworkCase &c = GetParam();
    KSTScopedTimeZone zone("UTC");
    const QDateTime end = localTime("2024-03-10T12:00");
    EXPECT_EQ(Charts::dailyNetworkAmountsFromHistory(c.records, true, 7, end), c.amounts);
    EXPECT_EQ(Charts::dailyNetworkFractionsFromHistory(c.records, true, 7, end), c.fractions);
}

QVariantList counters(std::initializer_list<std::pair<const char *, qint64>> list)
{
    QVariantList records;
    for (const auto &[day, received] : list)
        records.append(historyRecord(QLatin1String(day), 1, received, 0));
    return records;
}

INSTANTIATE_TEST_SUITE_P(
    History, NetworkFractionsTest,
    ::testing::Values(
        NetworkCase{"Empty", {}, {0, 0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0, 0}},
        NetworkCase{"OnlyToday",
                    counters({{"2024-03-10", 5000}}),
                    {0, 0, 0, 0, 0, 0, 5000},
                    {0, 0, 0, 0, 0, 0, 1}},
        // The oldest day counts its whole counter, even with a record the day before it.
        NetworkCase{"FirstDay",
                    counters({{"2024-03-03", 900}, {"2024-03-04", 1000}, {"2024-03-05", 1500}}),
                    {1000, 500, 0, 0, 0, 0, 0},
                    {1, 0.5, 0, 0, 0, 0, 0}},
        // A day without a record counts 0, so the day after the gap counts its whole counter.
        NetworkCase{"Gap",
                    counters({{"2024-03-04", 1000}, {"2024-03-05", 1500}, {"2024-03-07", 2000}}),
                    {1000, 500, 0, 2000, 0, 0, 0},
                    {0.5, 0.25, 0, 1, 0, 0, 0}},
        NetworkCase{"DropAfterRestart",
                    counters({{"2024-03-08", 4000}, {"2024-03-09", 100}, {"2024-03-10", 300}}),
                    {0, 0, 0, 0, 4000, 0, 200},
                    {0, 0, 0, 0, 1, 0, 0.05}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(NetworkFractionsTest, UploadReadsTheSentCounterAndNoDaysGiveNothing)
{
    KSTScopedTimeZone zone("UTC");
    const QDateTime end = localTime("2024-03-10T12:00");
    const QVariantList records = {historyRecord("2024-03-09", 1, 10, 100),
                                  historyRecord("2024-03-10", 1, 20, 400)};
    EXPECT_EQ(Charts::dailyNetworkAmountsFromHistory(records, false, 2, end),
              (QList<quint64>{100, 300}));
    EXPECT_EQ(Charts::dailyNetworkFractionsFromHistory(records, false, 2, end),
              (QList<double>{100.0 / 300.0, 1}));
    EXPECT_TRUE(Charts::dailyNetworkFractionsFromHistory(records, true, 0, end).isEmpty());
    EXPECT_TRUE(Charts::dailyStorageFractionsFromHistory(records, 10, -1, end, {}).isEmpty());
}

TEST(NetworkFractionsTest, ThirtyOneDayHistoryChartsOnlyItsLastWeek)
{
    KSTScopedTimeZone zone("UTC");
    const QDateTime end = localTime("2024-03-10T12:00");
    QVariantList records;
    for (int back = 30; back >= 0; --back) // the counter grows by 100 a day, 1000 on the 10th
        records.append(historyRecord(end.date().addDays(-back).toString(Qt::ISODate), 1,
                                     (31 - back) * 100 + (back == 0 ? 900 : 0), 0));
    EXPECT_EQ(Charts::dailyNetworkAmountsFromHistory(records, true, 7, end),
              (QList<quint64>{2500, 100, 100, 100, 100, 100, 1000}));
}

} // namespace
