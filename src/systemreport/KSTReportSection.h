#pragma once

#include "KSTReportRow.h"

#include <QList>
#include <QString>

/// One titled block of the report with its rows in display order.
struct KSTReportSection
{
    QString title;
    QString symbolName; ///< a symbol image name ("apple.logo")
    QString iconColor;  ///< a palette colour name ("zinc", "purple", …)
    QString subtitle;   ///< may be empty
    QList<KSTReportRow> rows;
};
