#include "KSTSystemReportSnapshot.h"

#include <QLocale>

namespace {

// Qt has only short and long date formats; the medium one ("Nov 14, 2026" in English) is the
// long one without the weekday and with abbreviated month names.
QString mediumDateFormat(const QLocale &locale)
{
    QString format = locale.dateFormat(QLocale::LongFormat);
    for (const QLatin1String weekday : {QLatin1String("dddd, "), QLatin1String("dddd "),
                                        QLatin1String(", dddd"), QLatin1String("dddd")})
        format.remove(weekday);
    format.replace(QLatin1String("MMMM"), QLatin1String("MMM"));
    return format.trimmed();
}

} // namespace

QString KSTSystemReportSnapshot::plainTextExport() const
{
    const QLocale locale = QLocale::system();
    const QDateTime when = generatedAt.isValid() ? generatedAt : QDateTime::currentDateTime();
    const QDateTime local = when.toLocalTime();

    QString text = QStringLiteral("Kestrel 3 \u2014 System Report\n");
    text += QLatin1String("Generated ") + locale.toString(local.date(), mediumDateFormat(locale)) +
            QLatin1String(", ") + locale.toString(local.time(), QLocale::ShortFormat) +
            QLatin1Char('\n');
    if (!machineTitle.isEmpty())
        text += machineTitle + QLatin1Char('\n');
    if (!generatedSubtitle.isEmpty())
        text += generatedSubtitle + QLatin1Char('\n');
    text += QLatin1Char('\n');
    for (const KSTReportSummaryCard &card : summaryCards)
        text += card.title + QLatin1String(": ") + card.value + QLatin1String(" (") + card.detail +
                QLatin1String(")\n");
    text += QLatin1Char('\n');
    for (const KSTReportSection &section : sections) {
        text += QLatin1String("=== ") + section.title + QLatin1String(" ===\n");
        if (!section.subtitle.isEmpty())
            text += section.subtitle + QLatin1Char('\n');
        for (const KSTReportRow &row : section.rows)
            text += QLatin1String("  ") + row.label() + QLatin1String(": ") + row.value() +
                    QLatin1Char('\n');
        text += QLatin1Char('\n');
    }
    return text;
}

QString KSTSystemReportSnapshot::exportFileName(const QDate &date, const QString &extension)
{
    return QStringLiteral("Kestrel-SystemReport-%1.%2")
        .arg(date.toString(QStringLiteral("yyyy-MM-dd")), extension);
}
