#pragma once

#include <QDateTime>

/// The weekly report. The scan-service frame needs only its completeness flag; the report's
/// figures are added with the Reporter engine.
struct KSTReporterSnapshot
{
    QDateTime generatedDate;
    bool isPartial = false; ///< true for the placeholder delivered before the scan
};
