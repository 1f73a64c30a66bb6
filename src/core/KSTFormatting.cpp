#include "KSTFormatting.h"

#include <QLocale>

#include <cmath>
#include <cstdio>

namespace {

constexpr quint64 KiB = 1024;
constexpr quint64 MiB = KiB * 1024;
constexpr quint64 GiB = MiB * 1024;
constexpr quint64 TiB = GiB * 1024;

// printf's "%.Nf" without the locale: the labels are fixed texts, not localised numbers. The
// C library rounds the exact binary value, so a tie goes to the even digit (1.25 gives "1.2",
// 2.5 gives "2"); QString::asprintf would round such ties up.
QString fixed(double value, int decimals)
{
    char buffer[64];
    const int length = std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
    if (length < 0)
        return {};
    if (length < int(sizeof buffer))
        return QString::fromLatin1(buffer, length);
    QByteArray large(length + 1, '\0');
    std::snprintf(large.data(), size_t(large.size()), "%.*f", decimals, value);
    return QString::fromLatin1(large.constData(), length);
}

QString plural(qint64 count, const char *singular)
{
    return QString::asprintf("%lld %s%s", static_cast<long long>(count), singular,
                             count == 1 ? "" : "s");
}

const QLocale &installedDateLocale()
{
    // en_US_POSIX: the month abbreviations are always English, whatever the user's locale.
    static const QLocale locale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

} // namespace

QString KSTFormatting::formatBytes(quint64 bytes)
{
    static const char *const units[] = {"B", "KB", "MB", "GB", "TB"};
    if (bytes == 0)
        return QStringLiteral("0 B");
    if (bytes < KiB)
        return fixed(static_cast<double>(bytes), 1) + QLatin1String(" B");

    double value = static_cast<double>(bytes);
    int unit = 0;
    do {
        value *= 1.0 / 1024.0;
        ++unit;
    } while (unit < 4 && value >= 1024.0);
    return fixed(value, unit == 1 ? 1 : 0) + QLatin1Char(' ') + QLatin1String(units[unit]);
}

QString KSTFormatting::formatBytesShort(quint64 bytes)
{
    if (bytes >= TiB)
        return fixed(static_cast<double>(bytes) / static_cast<double>(TiB), 1) +
               QLatin1String(" TB");
    if (bytes < MiB)
        return formatBytes(bytes);
    if (bytes < GiB)
        return fixed(static_cast<double>(bytes) / static_cast<double>(MiB), 0) +
               QLatin1String(" MB");
    return fixed(static_cast<double>(bytes) / static_cast<double>(GiB), 0) + QLatin1String(" GB");
}

QString KSTFormatting::formatSignedBytesShort(qint64 bytes)
{
    if (bytes == 0)
        return QStringLiteral("0 B");
    // Negating INT64_MIN overflows; go through the unsigned magnitude instead.
    const quint64 magnitude =
        bytes > 0 ? static_cast<quint64>(bytes) : static_cast<quint64>(-(bytes + 1)) + 1;
    const QString sign = bytes > 0 ? QStringLiteral("+") : QString(QChar(0x2212));
    return sign + formatBytesShort(magnitude);
}

QString KSTFormatting::formatThroughput(double megabytesPerSecond)
{
    if (megabytesPerSecond >= 1024.0)
        return fixed(megabytesPerSecond / 1024.0, 1) + QLatin1String(" GB/s");
    if (megabytesPerSecond >= 1.0)
        return fixed(megabytesPerSecond, 1) + QLatin1String(" MB/s");
    return fixed(megabytesPerSecond * 1024.0, 0) + QLatin1String(" KB/s");
}

QString KSTFormatting::formatCount(quint64 count)
{
    const QString grouped = QLocale().toString(static_cast<qulonglong>(count));
    if (!grouped.isEmpty())
        return grouped;
    return QString::number(count);
}

QString KSTFormatting::formatDuration(double seconds)
{
    if (seconds < 60)
        return fixed(seconds, 0) + QLatin1String(" sec");
    if (seconds < 3600)
        return fixed(seconds / 60.0, 0) + QLatin1String(" min");

    const qint64 hours = static_cast<qint64>(seconds / 3600.0);
    if (hours < 24) {
        const qint64 minutes = (static_cast<qint64>(seconds) - hours * 3600) / 60;
        if (minutes == 0)
            return QString::asprintf("%lldh", static_cast<long long>(hours));
        return QString::asprintf("%lldh %lldm", static_cast<long long>(hours),
                                 static_cast<long long>(minutes));
    }
    return QString::asprintf("%lldd %lldh", static_cast<long long>(hours / 24),
                             static_cast<long long>(hours % 24));
}

QString KSTFormatting::formatApproximateUsageDuration(double seconds)
{
    if (seconds < 30)
        return QStringLiteral("Less than 1 minute");

    qint64 minutes = std::llround(seconds / 60.0); // halves away from zero
    if (minutes < 2)
        minutes = 1;
    const qint64 days = minutes / 1440;
    const qint64 hoursInDay = minutes / 60 - days * 24;
    const qint64 minutesInHour = minutes % 60;

    if (minutes >= 1440) {
        QString text = plural(days, "day");
        if (hoursInDay != 0)
            text += QLatin1Char(' ') + plural(hoursInDay, "hour");
        return text;
    }
    if (hoursInDay != 0) {
        QString text = plural(hoursInDay, "hour");
        if (minutesInHour != 0)
            text += QLatin1Char(' ') + plural(minutesInHour, "minute");
        return text;
    }
    return plural(minutesInHour, "minute");
}

QString KSTFormatting::formatRelativeScanTime(const std::optional<QDateTime> &date)
{
    if (!date || !date->isValid())
        return QStringLiteral("just now");
    const double interval =
        static_cast<double>(date->msecsTo(QDateTime::currentDateTimeUtc())) / 1000.0;
    if (interval < 60)
        return QStringLiteral("just now");
    if (interval < 3600)
        return fixed(interval / 60.0, 0) + QLatin1String(" min ago");
    if (interval < 86400)
        return fixed(interval / 3600.0, 0) + QLatin1String(" hr ago");
    return fixed(interval / 86400.0, 0) + QLatin1String(" days ago");
}

QString KSTFormatting::formatAppManageInstalledDate(const std::optional<QDateTime> &date)
{
    if (!date || !date->isValid())
        return QString(QChar(0x2014));
    return installedDateLocale().toString(date->toLocalTime(), QStringLiteral("MMM dd, yyyy"));
}

QString KSTFormatting::formatAppManageLastOpened(const std::optional<QDateTime> &date)
{
    if (!date || !date->isValid())
        return QStringLiteral("Never");

    const QDateTime now = QDateTime::currentDateTime();
    const QDateTime local = date->toLocalTime();
    if (local.date() == now.date()) {
        // "Today" is quoted: unquoted, its letters would be read as date fields.
        return QLocale::system().toString(local, QStringLiteral("'Today', HH:mm"));
    }
    if (local.date() == now.date().addDays(-1))
        return QStringLiteral("Yesterday");

    const double interval = static_cast<double>(local.msecsTo(now)) / 1000.0;
    if (interval < 604800) {
        qint64 days = std::llround(interval / 86400.0);
        if (days < 2)
            days = 1;
        // The plural stays even for one day: the text is a fixed format.
        return QString::asprintf("%lld days ago", static_cast<long long>(days));
    }
    if (interval < 1209600)
        return QStringLiteral("1 week ago");
    if (interval < 1814400)
        return QStringLiteral("2 weeks ago");
    if (interval < 3024000)
        return QStringLiteral("1 month ago");
    return formatAppManageInstalledDate(date);
}

QString KSTFormatting::sourceLabelForInstalledAppSource(qint64 source)
{
    switch (source) {
    case 0:
        return QStringLiteral("App Store");
    case 2:
        return QStringLiteral("System");
    default:
        return QStringLiteral("Direct");
    }
}

QString KSTFormatting::detailSourceLabelForInstalledAppSource(qint64 source)
{
    switch (source) {
    case 0:
        return QStringLiteral("Mac App Store");
    case 2:
        return QStringLiteral("macOS System");
    default:
        return QStringLiteral("Direct Download");
    }
}
