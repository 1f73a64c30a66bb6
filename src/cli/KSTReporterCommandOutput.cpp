#include "KSTReporterCommandOutput.h"
#include "KSTFormatting.h"

#include "KSTReporterCharts.h"
#include "KSTSystemInfo.h"
#include "KSTTerminalText.h"

#include <QJsonValue>

namespace KSTReporterCommandOutput {

namespace {

using KSTTerminalText::escaped;

const QStringList FigureKeys = {QStringLiteral("storageUsed"), QStringLiteral("networkIn"),
                                QStringLiteral("networkOut"), QStringLiteral("filesAdded"),
                                QStringLiteral("trashCount")};

QJsonValue reporterBytesValue(quint64 bytes)
{
    return QJsonValue(qint64(bytes));
}

QJsonArray doubles(const QList<double> &values)
{
    QJsonArray array;
    for (double value : values)
        array.append(value);
    return array;
}

QString percent(double fraction)
{
    return QString::number(fraction * 100.0, 'f', 0) + QLatin1Char('%');
}

QString figureText(const QVariantMap &record, const QString &key)
{
    const std::optional<quint64> figure = KSTReporterCharts::unsignedFigure(record, key);
    return figure ? QString::number(*figure) : QString();
}

// A day's derived amounts by the chart's rule: its counter less the day before's.
std::optional<std::pair<quint64, quint64>> dayAmounts(const QVariantList &records,
                                                      const QString &day)
{
    const std::optional<QDateTime> date = KSTReporterCharts::dateFromHistoryDayKey(day);
    if (!date)
        return std::nullopt;
    return std::pair{
        KSTReporterCharts::dailyNetworkAmountsFromHistory(records, true, 2, *date).last(),
        KSTReporterCharts::dailyNetworkAmountsFromHistory(records, false, 2, *date).last()};
}

QString csvField(const QString &text)
{
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) &&
        !text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

} // namespace

QJsonObject snapshotJson(const KSTReporterSnapshot &snapshot)
{
    QJsonArray folders;
    for (const KSTReporterFolderChange &folder : snapshot.topFolders)
        folders.append(QJsonObject{{QStringLiteral("displayPath"), folder.displayPath},
                                   {QStringLiteral("deltaBytes"), folder.deltaBytes},
                                   {QStringLiteral("barFraction"), folder.barFraction},
                                   {QStringLiteral("colorKey"), folder.colorKey}});
    QJsonArray usage;
    for (const KSTReporterAppUsageEntry &entry : snapshot.appUsageEntries)
        usage.append(
            QJsonObject{{QStringLiteral("name"), entry.name},
                        {QStringLiteral("bundlePath"),
                         entry.bundlePath.isEmpty() ? QJsonValue() : QJsonValue(entry.bundlePath)},
                        {QStringLiteral("bundleIdentifier"), entry.bundleIdentifier},
                        {QStringLiteral("usageSeconds"), entry.usageSeconds},
                        {QStringLiteral("barFraction"), entry.barFraction},
                        {QStringLiteral("detailText"), entry.detailText}});
    return QJsonObject{
        {QStringLiteral("dateRangeText"), snapshot.dateRangeText},
        {QStringLiteral("networkPeriodText"), snapshot.networkPeriodText},
        {QStringLiteral("filesAddedCount"), reporterBytesValue(snapshot.filesAddedCount)},
        {QStringLiteral("filesRemovedCount"), reporterBytesValue(snapshot.filesRemovedCount)},
        {QStringLiteral("filesAddedDeltaText"), snapshot.filesAddedDeltaText},
        {QStringLiteral("filesRemovedDeltaText"), snapshot.filesRemovedDeltaText},
        {QStringLiteral("appsInstalledCount"), reporterBytesValue(snapshot.appsInstalledCount)},
        {QStringLiteral("appsInstalledSummary"), snapshot.appsInstalledSummary},
        {QStringLiteral("appsRemovedCount"), reporterBytesValue(snapshot.appsRemovedCount)},
        {QStringLiteral("appsRemovedSummary"), snapshot.appsRemovedSummary},
        {QStringLiteral("diskNetChangeBytes"), snapshot.diskNetChangeBytes},
        {QStringLiteral("diskDailyFractions"), doubles(snapshot.diskDailyFractions)},
        {QStringLiteral("diskDayLabels"), QJsonArray::fromStringList(snapshot.diskDayLabels)},
        {QStringLiteral("networkDownloadBytes"), reporterBytesValue(snapshot.networkDownloadBytes)},
        {QStringLiteral("networkUploadBytes"), reporterBytesValue(snapshot.networkUploadBytes)},
        {QStringLiteral("networkDailyDownloadFractions"),
         doubles(snapshot.networkDailyDownloadFractions)},
        {QStringLiteral("networkDailyUploadFractions"),
         doubles(snapshot.networkDailyUploadFractions)},
        {QStringLiteral("networkDayLabels"), QJsonArray::fromStringList(snapshot.networkDayLabels)},
        {QStringLiteral("topFolders"), folders},
        {QStringLiteral("appUsageEntries"), usage},
        {QStringLiteral("isPartial"), snapshot.isPartial},
    };
}

void printReport(QTextStream &out, const KSTReporterSnapshot &snapshot)
{
    using Info = KSTFormatting;
    out << "Week          " << snapshot.dateRangeText << '\n';
    out << "Installed     " << snapshot.appsInstalledCount << "  "
        << escaped(snapshot.appsInstalledSummary) << '\n';
    out << "Removed       " << snapshot.appsRemovedCount << "  "
        << escaped(snapshot.appsRemovedSummary) << "\n\n";
    out << "Day   Disk  Download  Upload\n";
    for (qsizetype day = 0; day < snapshot.diskDayLabels.size(); ++day) {
        auto at = [day](const QList<double> &values) {
            return day < values.size() ? percent(values[day]) : QStringLiteral("-");
        };
        out << snapshot.diskDayLabels[day].leftJustified(4)
            << at(snapshot.diskDailyFractions).rightJustified(6)
            << at(snapshot.networkDailyDownloadFractions).rightJustified(10)
            << at(snapshot.networkDailyUploadFractions).rightJustified(8) << '\n';
    }
    out << '\n'
        << "Downloaded    " << Info::formatBytesShort(snapshot.networkDownloadBytes) << '\n'
        << "Uploaded      " << Info::formatBytesShort(snapshot.networkUploadBytes) << '\n'
        << "              " << snapshot.networkPeriodText << "\n\n";
    if (snapshot.appUsageEntries.isEmpty()) {
        out << "Most used     no usage recorded this week\n";
        return;
    }
    out << "Most used\n";
    for (const KSTReporterAppUsageEntry &entry : snapshot.appUsageEntries) {
        const int bar = qBound(0, qRound(entry.barFraction * 20), 20);
        out << "  " << escaped(entry.name).leftJustified(24) << ' '
            << QString(bar, QChar(0x2588)).leftJustified(20) << "  " << escaped(entry.detailText)
            << '\n';
    }
}

QJsonArray historyJson(const QVariantList &records)
{
    QJsonArray array;
    for (const QVariant &value : records) {
        const QVariantMap record = value.toMap();
        QJsonObject object{{QStringLiteral("day"), record.value(QStringLiteral("day")).toString()}};
        for (const QString &key : FigureKeys) {
            const std::optional<quint64> figure = KSTReporterCharts::unsignedFigure(record, key);
            object.insert(key, figure ? reporterBytesValue(*figure) : QJsonValue());
        }
        array.append(object);
    }
    return array;
}

void printHistory(QTextStream &out, const QString &path, const QVariantList &records)
{
    out << "History       " << escaped(path) << '\n';
    if (records.isEmpty()) {
        out << "No days recorded yet.\n";
        return;
    }
    out << "Day          Storage used  Downloaded  Uploaded\n";
    for (const QVariant &value : records) {
        const QVariantMap record = value.toMap();
        const QString day = record.value(QStringLiteral("day")).toString();
        const std::optional<quint64> used =
            KSTReporterCharts::unsignedFigure(record, QStringLiteral("storageUsed"));
        const auto amounts = dayAmounts(records, day);
        out << escaped(day).leftJustified(12) << ' '
            << (used ? KSTFormatting::formatBytesShort(*used) : QStringLiteral("-"))
                   .rightJustified(12)
            << (amounts ? KSTFormatting::formatBytesShort(amounts->first) : QStringLiteral("-"))
                   .rightJustified(12)
            << (amounts ? KSTFormatting::formatBytesShort(amounts->second) : QStringLiteral("-"))
                   .rightJustified(10)
            << '\n';
    }
}

void printHistoryCsv(QTextStream &out, const QVariantList &records)
{
    out << "day," << FigureKeys.join(QLatin1Char(',')) << ",downloaded,uploaded\n";
    for (const QVariant &value : records) {
        const QVariantMap record = value.toMap();
        const QString day = record.value(QStringLiteral("day")).toString();
        QStringList fields{csvField(day)};
        for (const QString &key : FigureKeys)
            fields.append(figureText(record, key));
        const auto amounts = dayAmounts(records, day);
        fields.append(amounts ? QString::number(amounts->first) : QString());
        fields.append(amounts ? QString::number(amounts->second) : QString());
        out << fields.join(QLatin1Char(',')) << '\n';
    }
}

} // namespace KSTReporterCommandOutput
