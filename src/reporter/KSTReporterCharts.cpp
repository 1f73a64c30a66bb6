#include "KSTReporterCharts.h"

#include "KSTStorageFigures.h"

#include <QMetaType>

#include <algorithm>

namespace KSTReporterCharts {

namespace {

const QString DayKeyFormat = QStringLiteral("yyyy-MM-dd");

QString dayKey(const QDate &day)
{
    // QDate's own format uses ASCII digits whatever the locale; years outside four digits
    // would not sort as strings.
    if (!day.isValid() || day.year() < 1 || day.year() > 9999)
        return {};
    return day.toString(DayKeyFormat);
}

} // namespace

QString historyDayKeyForDate(const QDateTime &date)
{
    if (!date.isValid())
        return {};
    return dayKey(date.toLocalTime().date());
}

std::optional<QDateTime> dateFromHistoryDayKey(const QString &key)
{
    const QDate day = QDate::fromString(key, DayKeyFormat);
    // fromString accepts some keys that do not round-trip (single digits); a key is only
    // the form the store writes.
    if (!day.isValid() || dayKey(day) != key)
        return std::nullopt;
    return day.startOfDay();
}

QDateTime startOfDay(const QDateTime &date)
{
    if (!date.isValid())
        return {};
    return date.toLocalTime().date().startOfDay();
}

QList<QDate> lastDays(qint64 days, const QDateTime &end)
{
    QList<QDate> result;
    if (days <= 0 || !end.isValid())
        return result;
    const QDate endDay = end.toLocalTime().date();
    result.reserve(days);
    for (qint64 back = days - 1; back >= 0; --back)
        result.append(endDay.addDays(-back));
    return result;
}

QStringList dayLabelsForLastDays(qint64 days, const QDateTime &end, const QLocale &locale)
{
    QStringList labels;
    for (const QDate &day : lastDays(days, end))
        labels.append(locale.dayName(day.dayOfWeek(), QLocale::NarrowFormat));
    return labels;
}

std::optional<QVariantMap> recordForDayKey(const QVariantList &records, const QString &key)
{
    if (key.isEmpty())
        return std::nullopt;
    for (const QVariant &value : records) {
        const QVariantMap record = value.toMap();
        const QVariant day = record.value(QStringLiteral("day"));
        if (day.typeId() == QMetaType::QString && day.toString() == key)
            return record;
    }
    return std::nullopt;
}

std::optional<quint64> unsignedFigure(const QVariantMap &record, const QString &key)
{
    const QVariant value = record.value(key);
    switch (value.typeId()) {
    case QMetaType::ULongLong:
    case QMetaType::UInt:
        return value.toULongLong();
    case QMetaType::LongLong:
    case QMetaType::Int: {
        const qint64 signedValue = value.toLongLong();
        if (signedValue < 0)
            return std::nullopt;
        return quint64(signedValue);
    }
    default:
        return std::nullopt;
    }
}

QList<double> dailyStorageFractionsFromHistory(const QVariantList &records, quint64 totalBytes,
                                               qint64 days, const QDateTime &end,
                                               const std::function<double()> &currentFraction)
{
    QList<double> fractions;
    for (const QDate &day : lastDays(days, end)) {
        double fraction = 0;
        const std::optional<QVariantMap> record = recordForDayKey(records, dayKey(day));
        const std::optional<quint64> used =
            record ? unsignedFigure(*record, QStringLiteral("storageUsed")) : std::nullopt;
        if (totalBytes != 0 && used)
            fraction = std::min(1.0, double(*used) / double(totalBytes));
        fractions.append(fraction);
    }
    // A history younger than the chart would start with empty bars; the current figure is
    // the best guess for them. Once the oldest day has data, gaps are real gaps.
    if (!fractions.isEmpty() && fractions.first() == 0.0) {
        const double current = currentFraction ? currentFraction() : 0.0;
        for (double &fraction : fractions)
            if (fraction == 0.0)
                fraction = current;
    }
    return fractions;
}

QList<double> dailyStorageFractionsFromHistory(const QVariantList &records, quint64 totalBytes,
                                               qint64 days, const QDateTime &end)
{
    return dailyStorageFractionsFromHistory(records, totalBytes, days, end, [] {
        quint64 total = 0;
        quint64 used = 0;
        KSTStorageFigures::bootVolumeUsageTotal(&total, &used);
        return total == 0 ? 0.0 : double(used) / double(total);
    });
}

QList<quint64> dailyNetworkAmountsFromHistory(const QVariantList &records, bool download,
                                              qint64 days, const QDateTime &end)
{
    const QString field = download ? QStringLiteral("networkIn") : QStringLiteral("networkOut");
    auto counterOn = [&](const QDate &day) -> quint64 {
        const std::optional<QVariantMap> record = recordForDayKey(records, dayKey(day));
        return record ? unsignedFigure(*record, field).value_or(0) : 0;
    };
    QList<quint64> amounts;
    const QList<QDate> chartDays = lastDays(days, end);
    for (qsizetype index = 0; index < chartDays.size(); ++index) {
        const quint64 value = counterOn(chartDays[index]);
        // The oldest day has no day before it on the chart: its amount is its whole counter.
        const quint64 previous = index == 0 ? 0 : counterOn(chartDays[index].addDays(-1));
        amounts.append(value >= previous ? value - previous : 0);
    }
    return amounts;
}

QList<double> dailyNetworkFractionsFromHistory(const QVariantList &records, bool download,
                                               qint64 days, const QDateTime &end)
{
    const QList<quint64> amounts = dailyNetworkAmountsFromHistory(records, download, days, end);
    quint64 peak = 1;
    for (quint64 amount : amounts)
        peak = std::max(peak, amount);
    QList<double> fractions;
    fractions.reserve(amounts.size());
    for (quint64 amount : amounts)
        fractions.append(double(amount) / double(peak));
    return fractions;
}

} // namespace KSTReporterCharts
