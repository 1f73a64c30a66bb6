#include "KSTSystemInfo.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

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
    EXPECT_EQ(KSTSystemInfo::formatBytes(c.bytes), QString::fromUtf8(c.full)) << c.bytes;
    EXPECT_EQ(KSTSystemInfo::formatBytesShort(c.bytes), QString::fromUtf8(c.shortForm)) << c.bytes;
}

constexpr quint64 KiB = 1024;
constexpr quint64 MiB = KiB * KiB;
constexpr quint64 GiB = MiB * KiB;
constexpr quint64 TiB = GiB * KiB;

INSTANTIATE_TEST_SUITE_P(
    Boundaries, FormatBytesTest,
    ::testing::Values(BytesCase{0, "0 B", "0 B"}, BytesCase{1, "1.0 B", "1.0 B"},
                      BytesCase{512, "512.0 B", "512.0 B"}, BytesCase{1023, "1023.0 B", "1023.0 B"},
                      BytesCase{1024, "1.0 KB", "1.0 KB"}, BytesCase{1536, "1.5 KB", "1.5 KB"},
                      BytesCase{MiB - 1, "1024.0 KB", "1024.0 KB"}, BytesCase{MiB, "1 MB", "1 MB"},
                      BytesCase{MiB + MiB / 2, "2 MB", "2 MB"}, // %.0f rounds half to even
                      BytesCase{GiB - 1, "1024 MB", "1024 MB"},
                      BytesCase{1610612736, "2 GB", "2 GB"},
                      BytesCase{TiB - 1, "1024 GB", "1024 GB"}, BytesCase{TiB, "1 TB", "1.0 TB"},
                      BytesCase{TiB * 3 / 2, "2 TB", "1.5 TB"},
                      BytesCase{TiB * 2048, "2048 TB", "2048.0 TB"}));

TEST(FormatSignedBytesShortTest, SignAndMagnitude)
{
    const QString minus(QChar(0x2212));
    EXPECT_EQ(KSTSystemInfo::formatSignedBytesShort(0), QStringLiteral("0 B"));
    EXPECT_EQ(KSTSystemInfo::formatSignedBytesShort(-1), minus + QStringLiteral("1.0 B"));
    EXPECT_EQ(KSTSystemInfo::formatSignedBytesShort(3 * GiB), QStringLiteral("+3 GB"));
    EXPECT_EQ(KSTSystemInfo::formatSignedBytesShort(-512 * qint64(MiB)),
              minus + QStringLiteral("512 MB"));
    // The most negative value has no positive counterpart; it must not overflow.
    EXPECT_EQ(KSTSystemInfo::formatSignedBytesShort(std::numeric_limits<qint64>::min()),
              minus + QStringLiteral("8388608.0 TB"));
}

TEST(FormatThroughputTest, UnitThresholds)
{
    EXPECT_EQ(KSTSystemInfo::formatThroughput(0), QStringLiteral("0 KB/s"));
    EXPECT_EQ(KSTSystemInfo::formatThroughput(0.5), QStringLiteral("512 KB/s"));
    EXPECT_EQ(KSTSystemInfo::formatThroughput(1), QStringLiteral("1.0 MB/s"));
    EXPECT_EQ(KSTSystemInfo::formatThroughput(1023.96), QStringLiteral("1024.0 MB/s"));
    EXPECT_EQ(KSTSystemInfo::formatThroughput(1024), QStringLiteral("1.0 GB/s"));
    EXPECT_EQ(KSTSystemInfo::formatThroughput(3072), QStringLiteral("3.0 GB/s"));
}

TEST(FormatCountTest, GroupsDigitsWithTheUserLocale)
{
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(KSTSystemInfo::formatCount(12345), QStringLiteral("12,345"));
    EXPECT_EQ(KSTSystemInfo::formatCount(0), QStringLiteral("0"));
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(KSTSystemInfo::formatCount(1234567), QStringLiteral("1.234.567"));
    QLocale::setDefault(previous);
}

struct DurationCase
{
    double seconds;
    const char *expected;
};

class FormatDurationTest : public ::testing::TestWithParam<DurationCase>
{
};

TEST_P(FormatDurationTest, Forms)
{
    EXPECT_EQ(KSTSystemInfo::formatDuration(GetParam().seconds),
              QString::fromUtf8(GetParam().expected))
        << GetParam().seconds;
}

INSTANTIATE_TEST_SUITE_P(Boundaries, FormatDurationTest,
                         ::testing::Values(DurationCase{0, "0 sec"}, DurationCase{59.4, "59 sec"},
                                           DurationCase{59.6, "60 sec"}, DurationCase{60, "1 min"},
                                           DurationCase{3599, "60 min"}, DurationCase{3600, "1h"},
                                           DurationCase{3659, "1h"}, DurationCase{3660, "1h 1m"},
                                           DurationCase{86399, "23h 59m"},
                                           DurationCase{86400, "1d 0h"},
                                           DurationCase{90000, "1d 1h"},
                                           DurationCase{90061, "1d 1h"}));

class FormatUsageTest : public ::testing::TestWithParam<DurationCase>
{
};

TEST_P(FormatUsageTest, Forms)
{
    EXPECT_EQ(KSTSystemInfo::formatApproximateUsageDuration(GetParam().seconds),
              QString::fromUtf8(GetParam().expected))
        << GetParam().seconds;
}

INSTANTIATE_TEST_SUITE_P(
    Boundaries, FormatUsageTest,
    ::testing::Values(DurationCase{0, "Less than 1 minute"},
                      DurationCase{29.9, "Less than 1 minute"}, DurationCase{30, "1 minute"},
                      DurationCase{89, "1 minute"}, DurationCase{90, "2 minutes"},
                      DurationCase{59 * 60, "59 minutes"}, DurationCase{60 * 60, "1 hour"},
                      DurationCase{61 * 60, "1 hour 1 minute"},
                      DurationCase{150 * 60, "2 hours 30 minutes"}, DurationCase{86400, "1 day"},
                      DurationCase{1500 * 60, "1 day 1 hour"},
                      DurationCase{3 * 86400 + 7200 + 300, "3 days 2 hours"}));

TEST(FormatRelativeScanTimeTest, AgesFromNow)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    EXPECT_EQ(KSTSystemInfo::formatRelativeScanTime(std::nullopt), QStringLiteral("just now"));
    EXPECT_EQ(KSTSystemInfo::formatRelativeScanTime(now.addSecs(-30)), QStringLiteral("just now"));
    EXPECT_EQ(KSTSystemInfo::formatRelativeScanTime(now.addSecs(3600)), QStringLiteral("just now"));
    EXPECT_EQ(KSTSystemInfo::formatRelativeScanTime(now.addSecs(-90)), QStringLiteral("2 min ago"));
    EXPECT_EQ(KSTSystemInfo::formatRelativeScanTime(now.addSecs(-3 * 3600 - 60)),
              QStringLiteral("3 hr ago"));
    EXPECT_EQ(KSTSystemInfo::formatRelativeScanTime(now.addSecs(-4 * 86400)),
              QStringLiteral("4 days ago"));
}

TEST(FormatAppManageDatesTest, InstalledDateIsEnglishWhateverTheLocale)
{
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
    const QDateTime date(QDate(2024, 3, 4), QTime(12, 0));
    EXPECT_EQ(KSTSystemInfo::formatAppManageInstalledDate(date), QStringLiteral("Mar 04, 2024"));
    EXPECT_EQ(KSTSystemInfo::formatAppManageInstalledDate(std::nullopt), QString(QChar(0x2014)));
    QLocale::setDefault(previous);
}

TEST(FormatAppManageDatesTest, LastOpenedForms)
{
    const QDateTime now = QDateTime::currentDateTime();
    EXPECT_EQ(KSTSystemInfo::formatAppManageLastOpened(std::nullopt), QStringLiteral("Never"));
    EXPECT_EQ(KSTSystemInfo::formatAppManageLastOpened(now.addDays(-1)),
              QStringLiteral("Yesterday"));
    EXPECT_EQ(KSTSystemInfo::formatAppManageLastOpened(now.addDays(-2)),
              QStringLiteral("2 days ago"));
    EXPECT_EQ(KSTSystemInfo::formatAppManageLastOpened(now.addSecs(-7 * 86400)),
              QStringLiteral("1 week ago"));
    EXPECT_EQ(KSTSystemInfo::formatAppManageLastOpened(now.addDays(-10)),
              QStringLiteral("1 week ago"));
    EXPECT_EQ(KSTSystemInfo::formatAppManageLastOpened(now.addDays(-16)),
              QStringLiteral("2 weeks ago"));
    EXPECT_EQ(KSTSystemInfo::formatAppManageLastOpened(now.addDays(-30)),
              QStringLiteral("1 month ago"));
    const QDateTime old = now.addDays(-40);
    EXPECT_EQ(KSTSystemInfo::formatAppManageLastOpened(old),
              KSTSystemInfo::formatAppManageInstalledDate(old));
}

TEST(FormatAppManageDatesTest, TodayShowsTheTimeOfDay)
{
    const QDateTime now = QDateTime::currentDateTime();
    // Late at night "a minute ago" may fall on yesterday; use the current moment.
    const QString text = KSTSystemInfo::formatAppManageLastOpened(now);
    EXPECT_TRUE(text.endsWith(now.toString(QStringLiteral(", HH:mm"))) ||
                text.endsWith(now.addSecs(-60).toString(QStringLiteral(", HH:mm"))))
        << text.toStdString();
}

TEST(SourceLabelTest, KnownAndUnknownCodes)
{
    EXPECT_EQ(KSTSystemInfo::sourceLabelForInstalledAppSource(0), QStringLiteral("App Store"));
    EXPECT_EQ(KSTSystemInfo::sourceLabelForInstalledAppSource(1), QStringLiteral("Direct"));
    EXPECT_EQ(KSTSystemInfo::sourceLabelForInstalledAppSource(2), QStringLiteral("System"));
    EXPECT_EQ(KSTSystemInfo::sourceLabelForInstalledAppSource(7), QStringLiteral("Direct"));
    EXPECT_EQ(KSTSystemInfo::detailSourceLabelForInstalledAppSource(0),
              QStringLiteral("Mac App Store"));
    EXPECT_EQ(KSTSystemInfo::detailSourceLabelForInstalledAppSource(2),
              QStringLiteral("macOS System"));
    EXPECT_EQ(KSTSystemInfo::detailSourceLabelForInstalledAppSource(-1),
              QStringLiteral("Direct Download"));
}

} // namespace
