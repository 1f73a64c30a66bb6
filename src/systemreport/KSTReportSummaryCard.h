#pragma once

#include <QString>

/// One of the cards at the top of the report.
struct KSTReportSummaryCard
{
    QString title;
    QString symbolName; ///< a symbol image name ("cpu")
    QString iconColor;  ///< a palette colour name ("blue", …)
    QString value;
    QString detail;

    /// The card with its fields in this argument order.
    static KSTReportSummaryCard summaryCard(const QString &title, const QString &symbol,
                                            const QString &color, const QString &value,
                                            const QString &detail)
    {
        return {title, symbol, color, value, detail};
    }
};
