// Every size, rate, count, duration and date format at the boundaries where its form changes.
#include "KSTFormatting.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <limits>

using Info = KSTFormatting;

namespace {

constexpr quint64 KiB = 1024;
constexpr quint64 MiB = KiB * KiB;
constexpr quint64 GiB = MiB * KiB;
constexpr quint64 TiB = GiB * KiB;

struct BytesCase
{
    quint64 bytes;
    const char *full;
    const char *shortForm;
};

class FormatBytesTest : public ::testing::TestWithParam<BytesCase>
{
};

TEST_P(FormatBytesTest, FullAndShortForms)
{
    const BytesCase &c = GetParam();
    EXPECT_EQ(Info::formatBytes(c.bytes), QString::fromUtf8(c.full)) << c.bytes;
    EXPECT_EQ(Info::formatBytesShort(c.bytes), QString::fromUtf8(c.shortForm)) << c.bytes;
}

INSTANTIATE_TEST_SUITE_P(
    Boundaries, FormatBytesTest,
    ::testing::Values(BytesCase{0, "0 B", "0 B"}, BytesCase{1, "1.0 B", "1.0 B"},
                      BytesCase{1023, "1023.0 B", "1023.0 B"}, BytesCase{1024, "1.0 KB", "1.0 KB"},
                      BytesCase{1536, "1.5 KB", "1.5 KB"},
                      // Exact halves round to even, as printf does: 1.25 KB and 2.5 MB.
                      BytesCase{1280, "1.2 KB", "1.2 KB"}, BytesCase{1792, "1.8 KB", "1.8 KB"},
                      BytesCase{MiB - 1, "1024.0 KB", "1024.0 KB"}, BytesCase{MiB, "1 MB", "1 MB"},
                      BytesCase{MiB + MiB / 2, "2 MB", "2 MB"}, // %.0f rounds half to even
                      BytesCase{GiB - 1, "1024 MB", "1024 MB"},
                      BytesCase{1610612736, "2 GB", "2 GB"},
                      BytesCase{TiB - 1, "1024 GB", "1024 GB"}, BytesCase{TiB, "1 TB", "1.0 TB"},
                      BytesCase{TiB * 3 / 2, "2 TB", "1.5 TB"},
                      BytesCase{TiB * 2048, "2048 TB", "2048.0 TB"}));

TEST(FormatTest, SignedBytesThroughputAndCounts)
{
    const QString minus(QChar(0x2212));
    const struct
    {
        QString actual;
        QString expected;
    } cases[] = {
        {Info::formatSignedBytesShort(0), "0 B"},
        {Info::formatSignedBytesShort(-1), minus + "1.0 B"},
        {Info::formatSignedBytesShort(3 * GiB), "+3 GB"},
        {Info::formatSignedBytesShort(-512 * qint64(MiB)), minus + "512 MB"},
        // The most negative value has no positive counterpart; it must not overflow.
        {Info::formatSignedBytesShort(std::numeric_limits<qint64>::min()), minus + "8388608.0 TB"},
        {Info::formatThroughput(0), "0 KB/s"},
        {Info::formatThroughput(0.5), "512 KB/s"},
        {Info::formatThroughput(1), "1.0 MB/s"},
        {Info::formatThroughput(1023.96), "1024.0 MB/s"},
        {Info::formatThroughput(1024), "1.0 GB/s"},
        {Info::formatThroughput(3072), "3.0 GB/s"},
        // 2.5 KB/s and 1.25 MB/s are exact halves: to even.
        {Info::formatThroughput(2.5 / 1024), "2 KB/s"},
        {Info::formatThroughput(1.25), "1.2 MB/s"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.actual, c.expected);

    // Counts group their digits as the user's locale does.
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(Info::formatCount(12345), QStringLiteral("12,345"));
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(Info::formatCount(1234567), QStringLiteral("1.234.567"));
    QLocale::setDefault(previous);
}

TEST(FormatTest, DurationsAndUsage)
{
    const std::pair<double, const char *> durations[] = {
        {0, "0 sec"},
        {59.4, "59 sec"},
        {59.6, "60 sec"},
        {60, "1 min"},
        {3599, "60 min"},
        {3600, "1h"},
        {3659, "1h"},
        {3660, "1h 1m"},
        {86399, "23h 59m"},
        {86400, "1d 0h"},
        {90000, "1d 1h"},
        {90061, "1d 1h"},
        // Exact halves round to even: 2.5 s, 150 s (2.5 min), 210 s (3.5 min).
        {2.5, "2 sec"},
        {150, "2 min"},
        {210, "4 min"},
    };
    for (const auto &[seconds, text] : durations)
        EXPECT_EQ(Info::formatDuration(seconds), QString::fromUtf8(text)) << seconds;

    const std::pair<double, const char *> usage[] = {
        {0, "Less than 1 minute"},
        {29.9, "Less than 1 minute"},
        {30, "1 minute"},
        {89, "1 minute"},
        {90, "2 minutes"},
        {59 * 60, "59 minutes"},
        {60 * 60, "1 hour"},
        {61 * 60, "1 hour 1 minute"},
        {150 * 60, "2 hours 30 minutes"},
        {86400, "1 day"},
        {1500 * 60, "1 day 1 hour"},
        {3 * 86400 + 7200 + 300, "3 days 2 hours"},
    };
    for (const auto &[seconds, text] : usage)
        EXPECT_EQ(Info::formatApproximateUsageDuration(seconds), QString::fromUtf8(text))
            << seconds;
}

TEST(FormatTest, RelativeScanTimeAgesFromNow)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const struct
    {
        std::optional<QDateTime> scan;
        const char *text;
    } cases[] = {
        {std::nullopt, "just now"},
        {now.addSecs(-30), "just now"},
        {now.addSecs(3600), "just now"},
        {now.addSecs(-90), "2 min ago"},
        {now.addSecs(-3 * 3600 - 60), "3 hr ago"},
        {now.addSecs(-4 * 86400), "4 days ago"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Info::formatRelativeScanTime(c.scan), QString::fromUtf8(c.text)) << c.text;
}

TEST(FormatTest, AppManageDates)
{
    // The installed date is English whatever the locale.
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
    EXPECT_EQ(Info::formatAppManageInstalledDate(QDateTime(QDate(2024, 3, 4), QTime(12, 0))),
              QStringLiteral("Mar 04, 2024"));
    QLocale::setDefault(previous);
    EXPECT_EQ(Info::formatAppManageInstalledDate(std::nullopt), QString(QChar(0x2014)));
    const QDateTime now = QDateTime::currentDateTime();
    const struct
    {
        std::optional<QDateTime> opened;
        QString text;
    } cases[] = {
        {std::nullopt, "Never"},
        {now.addDays(-1), "Yesterday"},
        {now.addDays(-2), "2 days ago"},
        {now.addSecs(-7 * 86400), "1 week ago"},
        {now.addDays(-10), "1 week ago"},
        {now.addDays(-16), "2 weeks ago"},
        {now.addDays(-30), "1 month ago"},
        {now.addDays(-40), Info::formatAppManageInstalledDate(now.addDays(-40))},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Info::formatAppManageLastOpened(c.opened), c.text);

    // Today shows the time of day. Late at night "a minute ago" may fall on yesterday, so the
    // current moment is used; the minute may turn meanwhile.
    const QString today = Info::formatAppManageLastOpened(now);
    EXPECT_TRUE(today == now.toString(QStringLiteral("'Today', HH:mm")) ||
                today == now.addSecs(-60).toString(QStringLiteral("'Today', HH:mm")))
        << today.toStdString();
}

TEST(FormatTest, SourceLabelsFallBackToDirect)
{
    const struct
    {
        int source;
        const char *label;
        const char *detail;
    } cases[] = {
        {0, "App Store", "Mac App Store"}, {1, "Direct", "Direct Download"},
        {2, "System", "macOS System"},     {7, "Direct", "Direct Download"},
        {-1, "Direct", "Direct Download"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(Info::sourceLabelForInstalledAppSource(c.source), QString::fromUtf8(c.label));
        EXPECT_EQ(Info::detailSourceLabelForInstalledAppSource(c.source),
                  QString::fromUtf8(c.detail));
    }
}

} // namespace
