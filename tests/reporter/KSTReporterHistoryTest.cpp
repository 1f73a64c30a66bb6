// The history file on a fixture Mac: where it lives, the last scan of a day winning, the
// 30-day limit, damaged files kept aside byte for byte, interrupted writes and two writers.
#include "KSTReporterHistory.h"
#include "KSTEnvironment.h"
#include "KSTFixtureMac.h"
#include "KSTPropertyList.h"
#include "KSTReporterTestSupport.h"

#include <QDir>
#include <QLockFile>

#include <gtest/gtest.h>

#include <thread>

namespace {

using History = KSTReporterHistory;

class ReporterHistoryTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        mac.activate();
        path = mac.homePath(QStringLiteral("Library/Application Support/Kestrel/"
                                           "reporter-history.plist"));
    }

    QStringList storedDays() const
    {
        QStringList days;
        for (const QVariant &record : History::reporterHistoryRecords())
            days.append(record.toMap().value(QStringLiteral("day")).toString());
        return days;
    }

    QStringList damagedCopies() const
    {
        return QDir(QFileInfo(path).path())
            .entryList({QStringLiteral("reporter-history.plist.damaged-*")}, QDir::Files,
                       QDir::Name);
    }

    KSTFixtureMac mac;
    QString path;
};

TEST_F(ReporterHistoryTest, LivesInTheUsersApplicationSupportOrDataFolder)
{
    EXPECT_EQ(History::reporterHistoryPath(), path);
    EXPECT_TRUE(QFileInfo(QFileInfo(path).path()).isDir()); // asking made the folder

    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment scoped(linux);
    // Not the running user's home: $XDG_DATA_HOME is someone else's.
    KSTScopedEnvironmentVariable data("XDG_DATA_HOME", QByteArray("/elsewhere"));
    EXPECT_EQ(History::reporterHistoryPath(),
              mac.homePath(QStringLiteral(".local/share/kestrel/reporter-history.plist")));
}

TEST_F(ReporterHistoryTest, WritesExactlyTheSixKeysSortedByDay)
{
    KSTScopedTimeZone zone("UTC");
    ASSERT_TRUE(History::updateReporterHistoryForDate(localTime("2024-03-10T09:00"), 7, 8, 9, 0, 0)
                    .written);
    ASSERT_TRUE(History::updateReporterHistoryForDate(localTime("2024-03-08T09:00"), 1, 2, 3, 4, 5)
                    .written);
    const QVariant root = KSTPropertyList::readFile(path);
    ASSERT_EQ(root.typeId(), QMetaType::QVariantList);
    const QVariantList records = root.toList();
    ASSERT_EQ(records.size(), 2);
    EXPECT_EQ(records[0].toMap(), (QVariantMap{{"day", "2024-03-08"},
                                               {"storageUsed", qint64(1)},
                                               {"networkIn", qint64(2)},
                                               {"networkOut", qint64(3)},
                                               {"filesAdded", qint64(4)},
                                               {"trashCount", qint64(5)}}));
    EXPECT_EQ(records[1].toMap().value("day"), "2024-03-10");
    EXPECT_TRUE(KSTTestSupport::readFile(path).startsWith("<?xml")); // an XML property list
    EXPECT_FALSE(QFileInfo::exists(path + ".lock"));                 // the lock is let go
}

TEST_F(ReporterHistoryTest, TheLastScanOfADayWins)
{
    KSTScopedTimeZone zone("UTC");
    History::updateReporterHistoryForDate(localTime("2024-03-10T00:05"), 100, 10, 1, 0, 0);
    History::updateReporterHistoryForDate(localTime("2024-03-10T23:55"), 300, 30, 3, 0, 0);
    const QVariantList records = History::reporterHistoryRecords();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].toMap().value("storageUsed").toLongLong(), 300);
    EXPECT_EQ(records[0].toMap().value("networkIn").toLongLong(), 30);
}

TEST_F(ReporterHistoryTest, KeepsTheNewestThirtyDays)
{
    KSTScopedTimeZone zone("UTC");
    const QDate first(2024, 1, 1);
    QVariantList records;
    for (int day = 0; day < 31; ++day)
        records.append(historyRecord(first.addDays(day).toString(Qt::ISODate), day));
    ASSERT_TRUE(KSTTestSupport::writeFile(path, KSTPropertyList::toXml(records)));
    ASSERT_EQ(History::reporterHistoryRecords().size(), 31); // read as it is

    History::updateReporterHistoryForDate(first.addDays(40).startOfDay(), 1, 0, 0, 0, 0);
    const QStringList days = storedDays();
    ASSERT_EQ(days.size(), 30);
    EXPECT_EQ(days.first(), "2024-01-03"); // the two oldest are gone
    EXPECT_EQ(days.last(), "2024-02-10");
    EXPECT_TRUE(std::is_sorted(days.begin(), days.end()));
}

TEST_F(ReporterHistoryTest, SkipsElementsThatAreNotDayRecords)
{
    const QVariantList records = {historyRecord("2024-03-09", 1), QStringLiteral("text"),
                                  QVariantMap{{"day", 7}}, QVariantList{1},
                                  historyRecord("2024-03-10", 2)};
    ASSERT_TRUE(KSTTestSupport::writeFile(path, KSTPropertyList::toXml(records)));
    EXPECT_EQ(storedDays(), (QStringList{"2024-03-09", "2024-03-10"}));
    EXPECT_EQ(History::readHistoryAtPath(path).state, History::State::Valid);
}

struct DamagedCase
{
    const char *name;
    QByteArray contents;
};

// A valid history padded with white space past 1 MiB.
QByteArray oversizedHistory()
{
    QByteArray padded = QByteArray("<array>");
    padded.append(QByteArray(1024 * 1024, ' '));
    return KSTPropertyList::toXml(QVariantList{historyRecord("2024-03-10", 1)})
        .replace(QByteArray("<array>"), padded);
}

class DamagedHistoryTest : public ReporterHistoryTest,
                           public ::testing::WithParamInterface<DamagedCase>
{
};

TEST_P(DamagedHistoryTest, ReadsAsNoneAndIsKeptAsideByteForByte)
{
    const QByteArray original = GetParam().contents;
    ASSERT_TRUE(KSTTestSupport::writeFile(path, original));
    EXPECT_TRUE(History::reporterHistoryRecords().isEmpty());
    const History::Contents contents = History::readHistoryAtPath(path);
    EXPECT_EQ(contents.state, History::State::Damaged);
    EXPECT_FALSE(contents.problem.isEmpty());

    const QDateTime now = QDateTime::currentDateTime();
    const History::UpdateResult first = History::updateReporterHistoryForDate(now, 5, 6, 7, 0, 0);
    ASSERT_TRUE(first.written) << qPrintable(first.reason);
    ASSERT_FALSE(first.keptDamagedPath.isEmpty());
    EXPECT_TRUE(QFileInfo(first.keptDamagedPath)
                    .fileName()
                    .startsWith("reporter-history.plist.damaged-" + now.toString("yyyyMMdd-")));
    EXPECT_EQ(KSTTestSupport::readFile(first.keptDamagedPath), original);
    EXPECT_EQ(History::reporterHistoryRecords().size(), 1); // a fresh file with only today

    // Damaged again within the same second: a second, unique name; the first copy stays.
    ASSERT_TRUE(KSTTestSupport::writeFile(path, original));
    const History::UpdateResult second = History::updateReporterHistoryForDate(now, 5, 6, 7, 0, 0);
    ASSERT_TRUE(second.written);
    EXPECT_NE(second.keptDamagedPath, first.keptDamagedPath);
    EXPECT_EQ(KSTTestSupport::readFile(second.keptDamagedPath), original);
    EXPECT_EQ(KSTTestSupport::readFile(first.keptDamagedPath), original);
    EXPECT_EQ(damagedCopies().size(), 2);
}

INSTANTIATE_TEST_SUITE_P(
    Files, DamagedHistoryTest,
    ::testing::Values(
        DamagedCase{"NotAPropertyList", QByteArray("day,storageUsed\n2024,1\n")},
        DamagedCase{"DictionaryRoot", KSTPropertyList::toXml(QVariantMap{{"day", "2024-03-10"}})},
        DamagedCase{"CutShort",
                    KSTPropertyList::toXml(QVariantList{historyRecord("2024-03-10", 1)}).left(60)},
        DamagedCase{"OverOneMiB", oversizedHistory()}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(ReporterHistoryTest, DamagedNamesCountOnAfterAClash)
{
    ASSERT_TRUE(KSTTestSupport::writeFile(path, "junk"));
    const QDateTime now = QDateTime::currentDateTime();
    // Someone's file already has the first two names of this second (and of the next, in
    // case the clock moves on meanwhile).
    for (const QDateTime &second : {now, now.addSecs(1)})
        for (const QString &suffix : {QString(), QStringLiteral("-2")})
            KSTTestSupport::writeFile(
                path + ".damaged-" + second.toString("yyyyMMdd-HHmmss") + suffix, "theirs");
    const History::UpdateResult result = History::updateReporterHistoryForDate(now, 1, 1, 1, 0, 0);
    ASSERT_TRUE(result.written);
    EXPECT_TRUE(result.keptDamagedPath.endsWith("-3")) << qPrintable(result.keptDamagedPath);
    EXPECT_EQ(KSTTestSupport::readFile(result.keptDamagedPath), "junk");
    for (const QString &copy : damagedCopies()) {
        if (!result.keptDamagedPath.endsWith(copy)) {
            EXPECT_EQ(KSTTestSupport::readFile(QFileInfo(path).path() + '/' + copy), "theirs");
        }
    }
}

TEST_F(ReporterHistoryTest, AFolderInItsPlaceIsKeptAsideToo)
{
    ASSERT_TRUE(KSTTestSupport::writeFile(path + "/inside.txt", "x"));
    EXPECT_EQ(History::readHistoryAtPath(path).state, History::State::Damaged);
    const History::UpdateResult result =
        History::updateReporterHistoryForDate(QDateTime::currentDateTime(), 1, 1, 1, 0, 0);
    ASSERT_TRUE(result.written);
    EXPECT_EQ(KSTTestSupport::readFile(result.keptDamagedPath + "/inside.txt"), "x");
}

// A link at the history's place, or in place of its folder, is never written through: what it
// leads to outside the home stays as it was.
TEST_F(ReporterHistoryTest, NeverWritesThroughALink)
{
    ASSERT_TRUE(
        History::updateReporterHistoryForDate(QDateTime::currentDateTime(), 1, 1, 1, 0, 0).written);
    const QByteArray history = KSTTestSupport::readFile(path);
    ASSERT_TRUE(KSTTestSupport::writeFile(mac.path("Victim/history.plist"), history));
    ASSERT_TRUE(QFile::remove(path));
    mac.makeSymlink("Users/alice/Library/Application Support/Kestrel/reporter-history.plist",
                    mac.path("Victim/history.plist"));
    const History::UpdateResult throughFile = History::updateReporterHistoryForDate(
        QDateTime::currentDateTime().addDays(1), 2, 2, 2, 0, 0);
    EXPECT_FALSE(throughFile.written);
    EXPECT_EQ(KSTTestSupport::readFile(mac.path("Victim/history.plist")), history);

    const QString folder = QFileInfo(path).path();
    ASSERT_TRUE(QDir(folder).removeRecursively());
    QDir().mkpath(mac.path("Victim/folder"));
    mac.makeSymlink("Users/alice/Library/Application Support/Kestrel", mac.path("Victim/folder"));
    const History::UpdateResult throughFolder =
        History::updateReporterHistoryForDate(QDateTime::currentDateTime(), 3, 3, 3, 0, 0);
    EXPECT_FALSE(throughFolder.written);
    EXPECT_TRUE(QDir(mac.path("Victim/folder"))
                    .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                    .isEmpty());
}

TEST_F(ReporterHistoryTest, AnInterruptedWriteLeavesTheOldFile)
{
    KSTScopedTimeZone zone("UTC");
    History::updateReporterHistoryForDate(localTime("2024-03-09T10:00"), 1, 1, 1, 0, 0);
    const QByteArray before = KSTTestSupport::readFile(path);
    History::setInterruptWritesForTesting(true);
    const History::UpdateResult result =
        History::updateReporterHistoryForDate(localTime("2024-03-10T10:00"), 2, 2, 2, 0, 0);
    History::setInterruptWritesForTesting(false);
    EXPECT_FALSE(result.written);
    EXPECT_FALSE(result.reason.isEmpty());
    EXPECT_EQ(KSTTestSupport::readFile(path), before);
    // Nothing half-written is left beside it either.
    EXPECT_EQ(QDir(QFileInfo(path).path()).entryList(QDir::Files | QDir::Hidden),
              QStringList{"reporter-history.plist"});
}

TEST_F(ReporterHistoryTest, ALockHeldElsewhereFailsTheUpdateAfterFiveSeconds)
{
    QLockFile other(History::reporterHistoryPath() + ".lock");
    ASSERT_TRUE(other.tryLock(0));
    const History::UpdateResult result =
        History::updateReporterHistoryForDate(QDateTime::currentDateTime(), 1, 1, 1, 0, 0);
    EXPECT_FALSE(result.written);
    EXPECT_TRUE(result.reason.contains("lock")) << qPrintable(result.reason);
    EXPECT_FALSE(QFileInfo::exists(path));
}

TEST_F(ReporterHistoryTest, TwoWritersAtOnceKeepEachOthersDays)
{
    KSTScopedTimeZone zone("UTC");
    auto writer = [&](int firstDay) {
        for (int round = 0; round < 10; ++round)
            History::updateReporterHistoryForDate(
                QDate(2024, 3, firstDay + round * 2).startOfDay().addSecs(3600), 1, 1, 1, 0, 0);
    };
    std::thread even(writer, 2);
    std::thread odd(writer, 1);
    even.join();
    odd.join();
    EXPECT_EQ(storedDays().size(), 20);
}

} // namespace
