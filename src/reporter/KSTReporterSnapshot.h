#pragma once

#include "KSTReporterAppUsageEntry.h"
#include "KSTReporterFolderChange.h"

#include <QList>
#include <QString>
#include <QStringList>

/// The weekly report: the last seven calendar days, today included. Every chart array has
/// one value per day, oldest first. The files figures, the disk net change and the folder
/// list are part of the report, but the weekly build fills them with fixed values (0, "—",
/// empty) until a source for them exists.
struct KSTReporterSnapshot
{
    QString dateRangeText;     ///< "Mar 4 – Mar 10, 2024"
    QString networkPeriodText; ///< what the byte totals cover
    quint64 filesAddedCount = 0;
    quint64 filesRemovedCount = 0;
    QString filesAddedDeltaText;
    QString filesRemovedDeltaText;
    quint64 appsInstalledCount = 0;
    QString appsInstalledSummary;
    quint64 appsRemovedCount = 0;
    QString appsRemovedSummary;
    qint64 diskNetChangeBytes = 0;
    QList<double> diskDailyFractions;
    QStringList diskDayLabels;
    quint64 networkDownloadBytes = 0; ///< received-bytes counter now (since the last boot)
    quint64 networkUploadBytes = 0;
    QList<double> networkDailyDownloadFractions;
    QList<double> networkDailyUploadFractions;
    QStringList networkDayLabels;
    QList<KSTReporterFolderChange> topFolders;
    QList<KSTReporterAppUsageEntry> appUsageEntries;
    bool isPartial = false; ///< true for the placeholder delivered before the scan
};
