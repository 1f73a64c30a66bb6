#include "KSTReportRow.h"

#include <utility>

KSTReportRow::KSTReportRow(QString label, QString value, qint64 style)
    : m_label(label.isNull() ? QString(QLatin1String("")) : std::move(label)),
      m_value(value.isEmpty() ? QStringLiteral("\u2014") : std::move(value)), m_valueStyle(style)
{
}

KSTReportRow KSTReportRow::rowWithLabel(const QString &label, const QString &value)
{
    return KSTReportRow(label, value, Normal);
}

KSTReportRow KSTReportRow::rowWithLabel(const QString &label, const QString &value, qint64 style)
{
    return KSTReportRow(label, value, style);
}

KSTReportRow::Style KSTReportRow::effectiveStyle() const
{
    switch (m_valueStyle) {
    case Good:
        return Good;
    case Warning:
        return Warning;
    case Critical:
        return Critical;
    default:
        return Normal;
    }
}

QString KSTReportRow::styleColorName() const
{
    switch (effectiveStyle()) {
    case Good:
        return QStringLiteral("emerald");
    case Warning:
        return QStringLiteral("orange");
    case Critical:
        return QStringLiteral("rose");
    case Normal:
        break;
    }
    return QStringLiteral("zinc");
}
