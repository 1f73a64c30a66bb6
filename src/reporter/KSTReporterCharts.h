#pragma once

#include <QDateTime>
#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <functional>
#include <optional>

/// The calendar arithmetic of the Reporter's history and the seven-day charts drawn from it.
///
/// Days are calendar days of the local time zone: "N days ending at a date" are that date's
/// day and the N − 1 days before it, counted on the calendar, so a day of 23 or 25 hours
/// (a daylight-saving change) is neither skipped nor counted twice. Day keys are "yyyy-MM-dd"
/// with ASCII digits whatever the locale, so they sort as plain strings.
///
/// Records are the history's dictionaries (KSTReporterHistory): "day", "storageUsed",
/// "networkIn", "networkOut", "filesAdded", "trashCount". A figure that is missing, negative
/// or not a number counts as missing. All functions are pure apart from reading the clock's
/// time zone and, for the storage fill, the boot volume; safe from any thread.
namespace KSTReporterCharts {

/// "2024-03-10" for the local calendar day of @p date; empty for an invalid date or a year
/// outside 1..9999.
QString historyDayKeyForDate(const QDateTime &date);
/// The start of the day a key names; nothing for an empty or malformed key.
std::optional<QDateTime> dateFromHistoryDayKey(const QString &key);
/// The start of @p date's local calendar day (the first valid moment when midnight does not
/// exist there).
QDateTime startOfDay(const QDateTime &date);
/// The local calendar days of the @p days days ending with @p end's day, oldest first;
/// empty for 0 or fewer.
QList<QDate> lastDays(qint64 days, const QDateTime &end);

/// The narrow one-letter weekday names ("M", "T", …) of the @p days days ending with @p end's
/// day, oldest first, in @p locale; empty for 0 or fewer.
QStringList dayLabelsForLastDays(qint64 days, const QDateTime &end,
                                 const QLocale &locale = QLocale());

/// The used share of @p totalBytes of each of the @p days days ending with @p end's day
/// (oldest first): the day's "storageUsed" ÷ total, capped at 1; 0 when the day has no
/// figure or the total is 0. When the oldest day is exactly 0, every day at exactly 0 is
/// filled with @p currentFraction() (asked once, only then), so a young history does not
/// draw empty bars.
QList<double> dailyStorageFractionsFromHistory(const QVariantList &records, quint64 totalBytes,
                                               qint64 days, const QDateTime &end,
                                               const std::function<double()> &currentFraction);
/// The same with the boot volume's used ÷ total now as the fill (0 when its total is 0).
QList<double> dailyStorageFractionsFromHistory(const QVariantList &records, quint64 totalBytes,
                                               qint64 days, const QDateTime &end);

/// Each day's received (@p download) or sent bytes derived from the cumulative counters:
/// the day's counter minus the day before's (a day without a record counts 0), 0 when the
/// counter went down (a restart reset it); the oldest day's amount is its whole counter.
/// Oldest first; empty for 0 or fewer days.
QList<quint64> dailyNetworkAmountsFromHistory(const QVariantList &records, bool download,
                                              qint64 days, const QDateTime &end);
/// Those amounts ÷ the largest of them (at least 1), so the busiest day is 1.0.
QList<double> dailyNetworkFractionsFromHistory(const QVariantList &records, bool download,
                                               qint64 days, const QDateTime &end);

/// The first record whose "day" is @p key; nothing when there is none.
std::optional<QVariantMap> recordForDayKey(const QVariantList &records, const QString &key);
/// A record's unsigned figure; nothing when missing, negative or not an integer.
std::optional<quint64> unsignedFigure(const QVariantMap &record, const QString &key);

} // namespace KSTReporterCharts
