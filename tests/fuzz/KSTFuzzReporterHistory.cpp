// The Reporter's history file, the installer log's and dpkg log's tails and GNOME Shell's
// application_state: all are read from the user's disk on every weekly report.
#include "KSTReporterCharts.h"
#include "KSTReporterHistory.h"
#include "KSTReporterLinuxSources.h"
#include "KSTReporterSources.h"

#include <QMetaType>
#include <QSet>

#include <cstdint>
#include <cstdlib>

namespace {

void checkHistory(const QByteArray &bytes)
{
    const KSTReporterHistory::Contents contents = KSTReporterHistory::historyFromData(bytes);
    if (contents.state == KSTReporterHistory::State::Missing)
        std::abort(); // bytes were given: never "no file"
    if (contents.state == KSTReporterHistory::State::Damaged &&
        (!contents.records.isEmpty() || contents.problem.isEmpty()))
        std::abort(); // a damaged file reads as no history, and says why
    for (const QVariant &record : contents.records)
        if (record.typeId() != QMetaType::QVariantMap ||
            record.toMap().value(QStringLiteral("day")).typeId() != QMetaType::QString)
            std::abort(); // only dictionaries with a day string are records

    const QDateTime end(QDate(2024, 3, 10), QTime(12, 0));
    const QVariantList merged = KSTReporterHistory::mergedRecords(
        contents.records, KSTReporterHistory::recordForDate(end, 1, 2, 3, 0, 0));
    if (merged.size() > KSTReporterHistory::MaximumRecords || merged.isEmpty())
        std::abort();
    for (qsizetype index = 1; index < merged.size(); ++index)
        if (merged[index - 1].toMap().value(QStringLiteral("day")).toString() >
            merged[index].toMap().value(QStringLiteral("day")).toString())
            std::abort(); // kept sorted by day

    auto inUnitRange = [](const QList<double> &fractions) {
        if (fractions.size() != 7)
            return false;
        for (double fraction : fractions)
            if (!(fraction >= 0.0 && fraction <= 1.0))
                return false;
        return true;
    };
    if (!inUnitRange(KSTReporterCharts::dailyStorageFractionsFromHistory(
            contents.records, 1000, 7, end, [] { return 0.5; })) ||
        !inUnitRange(
            KSTReporterCharts::dailyNetworkFractionsFromHistory(contents.records, true, 7, end)) ||
        !inUnitRange(
            KSTReporterCharts::dailyNetworkFractionsFromHistory(contents.records, false, 7, end)))
        std::abort();
}

void checkInstallLog(const QByteArray &bytes)
{
    const QStringList names = KSTReporterSources::removedApplicationsInLogTail(bytes);
    QSet<QString> seen;
    for (const QString &name : names) {
        if (name.isEmpty() || seen.contains(name))
            std::abort(); // each removal once, never an empty name
        seen.insert(name);
    }
}

void checkLinuxSources(const QByteArray &bytes)
{
    QSet<QString> seen;
    for (const QString &name : KSTReporterLinuxSources::removedPackagesInLogTail(bytes)) {
        if (name.isEmpty() || name.contains(QLatin1Char(':')) || seen.contains(name))
            std::abort(); // each package once, without its architecture
        seen.insert(name);
    }
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000);
    for (const QString &name :
         KSTReporterLinuxSources::installedPackagesInLogTail(bytes, QDateTime()))
        if (name.isEmpty() || name.contains(QLatin1Char(':')))
            std::abort();
    const QList<KSTReporterAppUsageEntry> usage =
        KSTReporterLinuxSources::applicationStateUsage(bytes, now.addDays(-7), 5, now);
    if (usage.size() > 5)
        std::abort();
    for (const KSTReporterAppUsageEntry &entry : usage)
        if (entry.name.isEmpty() || entry.barFraction != 0.2 || entry.usageSeconds != 0)
            std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    checkHistory(bytes);
    checkInstallLog(bytes);
    checkLinuxSources(bytes);
    return 0;
}
