#pragma once

#include <QString>

/// One application of the weekly usage list: how long it was in front this week (or, from
/// the last-used index, only that it was used) and its bar's length.
struct KSTReporterAppUsageEntry
{
    QString name;
    QString bundlePath; ///< empty when no installed bundle has the identifier
    QString bundleIdentifier;
    double usageSeconds = 0;
    double barFraction = 0; ///< 0..1, the most used application 1
    QString detailText;     ///< "3 hours this week", "Last used yesterday"
};
