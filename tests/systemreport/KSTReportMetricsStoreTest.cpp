// The metrics file on a fixture Mac: its place per layout, first write with its folder, other
// keys kept, and a damaged file kept aside byte for byte instead of being overwritten.
#include "KSTReportMetricsStore.h"
#include "KSTEnvironment.h"
#include "KSTMachineTest.h"
#include "KSTPropertyList.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFileInfo>

namespace {

using Store = KSTReportMetricsStore;

class ReportMetricsStoreTest : public KSTMachineTest
{
protected:
    void SetUp() override
    {
        KSTMachineTest::SetUp();
        path = mac.homePath(
            QStringLiteral("Library/Application Support/Kestrel/report-metrics.plist"));
    }

    QStringList damagedCopies() const
    {
        return QDir(QFileInfo(path).path())
            .entryList({QStringLiteral("report-metrics.plist.damaged-*")}, QDir::Files);
    }

    QString path;
    const QDateTime now = QDateTime(QDate(2026, 11, 14), QTime(8, 0), Qt::UTC);
};

} // namespace

TEST_F(ReportMetricsStoreTest, LivesBesideTheReporterHistory)
{
    EXPECT_EQ(Store::metricsPath(), path);
    EXPECT_FALSE(QFileInfo::exists(QFileInfo(path).path())); // asking creates nothing

    KSTEnvironment linux = mac.environment();
    linux.setLayout(KSTLayout::Linux);
    KSTScopedEnvironment scoped(linux);
    KSTScopedEnvironmentVariable data("XDG_DATA_HOME", QByteArray("/elsewhere"));
    EXPECT_EQ(Store::metricsPath(),
              mac.homePath(QStringLiteral(".local/share/kestrel/report-metrics.plist")));
}

TEST_F(ReportMetricsStoreTest, FirstPersistCreatesTheFolderAndLaterOnesKeepOtherKeys)
{
    EXPECT_TRUE(Store::loadPreviousBootMetrics().isEmpty());
    const Store::PersistResult first =
        Store::persistBootMetrics({{QStringLiteral("totalDesktopSeconds"), 31.5}}, now);
    ASSERT_TRUE(first.written) << first.reason.toStdString();
    QVariantMap stored = Store::loadPreviousBootMetrics();
    EXPECT_DOUBLE_EQ(stored.value(QStringLiteral("lastTotalDesktopSeconds")).toDouble(), 31.5);
    EXPECT_EQ(stored.value(QStringLiteral("savedAt")).toDateTime(), now);
    EXPECT_TRUE(KSTTestSupport::readFile(path).contains("<dict>")); // XML, as stated

    stored.insert(QStringLiteral("someoneElses"), QStringLiteral("kept"));
    ASSERT_TRUE(KSTPropertyList::writeXmlFile(path, stored));
    ASSERT_TRUE(Store::persistBootMetrics({}, now.addDays(1)).written);
    stored = Store::loadPreviousBootMetrics();
    EXPECT_EQ(stored.value(QStringLiteral("someoneElses")).toString(), QStringLiteral("kept"));
    // No figure, or one that is not a number, is recorded as 0.
    EXPECT_EQ(stored.value(QStringLiteral("lastTotalDesktopSeconds")).toDouble(), 0.0);
    EXPECT_EQ(stored.value(QStringLiteral("savedAt")).toDateTime(), now.addDays(1));
    ASSERT_TRUE(Store::persistBootMetrics(
                    {{QStringLiteral("totalDesktopSeconds"), QStringLiteral("9")}}, now)
                    .written);
    EXPECT_EQ(Store::loadPreviousBootMetrics().value(QStringLiteral("lastTotalDesktopSeconds")),
              QVariant(0.0));
    EXPECT_TRUE(damagedCopies().isEmpty());
}

TEST_F(ReportMetricsStoreTest, DamagedFilesAreKeptAsideNeverOverwritten)
{
    const QByteArray cases[] = {
        QByteArray("not a property list \x01\x02", 22),
        KSTPropertyList::toXml(QVariantList{1, 2}), // a list, not a dictionary
        QByteArray(Store::MaximumFileBytes + 1, '<'),
    };
    for (const QByteArray &damaged : cases) {
        for (const QString &copy : damagedCopies())
            QFile::remove(QFileInfo(path).path() + QLatin1Char('/') + copy);
        ASSERT_TRUE(KSTTestSupport::writeFile(path, damaged));
        EXPECT_TRUE(Store::loadPreviousBootMetrics().isEmpty());
        const Store::PersistResult result =
            Store::persistBootMetrics({{QStringLiteral("totalDesktopSeconds"), 20}}, now);
        ASSERT_TRUE(result.written) << result.reason.toStdString();
        ASSERT_EQ(damagedCopies().size(), 1);
        EXPECT_EQ(QFileInfo(result.keptDamagedPath).fileName(), damagedCopies().first());
        EXPECT_EQ(KSTTestSupport::readFile(result.keptDamagedPath), damaged);
        EXPECT_DOUBLE_EQ(Store::loadPreviousBootMetrics()
                             .value(QStringLiteral("lastTotalDesktopSeconds"))
                             .toDouble(),
                         20);
    }
}

TEST_F(ReportMetricsStoreTest, NeverWritesThroughALink)
{
    const QString elsewhere = mac.homePath(QStringLiteral("elsewhere.plist"));
    ASSERT_TRUE(KSTPropertyList::writeXmlFile(elsewhere, QVariantMap{{"a", 1}}));
    const QByteArray before = KSTTestSupport::readFile(elsewhere);
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    ASSERT_TRUE(QFile::link(elsewhere, path));
    Store::persistBootMetrics({}, now);
    EXPECT_EQ(KSTTestSupport::readFile(elsewhere), before);
}
