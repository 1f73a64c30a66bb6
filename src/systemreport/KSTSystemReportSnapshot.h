#pragma once

#include "KSTReportSection.h"
#include "KSTReportSummaryCard.h"

#include <QDateTime>
#include <QList>
#include <QString>

/// The whole System Report as shown and exported. Built on the report queue and posted whole
/// (as a pointer to const), so nobody changes one after it is handed over.
struct KSTSystemReportSnapshot
{
    QDateTime generatedAt; ///< invalid: not known (the text export then says now)
    QString machineTitle;
    QString generatedSubtitle;
    QList<KSTReportSummaryCard> summaryCards;
    QList<KSTReportSection> sections;

    /// The report as plain text, every line ending in one "\n":
    /// "Kestrel 3 — System Report", "Generated <date>" (the user's locale, medium date and
    /// short time), the machine title and the subtitle when non-empty, a blank line, one
    /// "title: value (detail)" line per card, a blank line, then per section "=== title ===",
    /// its subtitle when non-empty, one "  label: value" line per row and a blank line.
    /// Row styles are not part of the text.
    QString plainTextExport() const;

    /// "Kestrel-SystemReport-<yyyy-MM-dd>.<extension>" for @p date's calendar day.
    static QString exportFileName(const QDate &date, const QString &extension);
};
