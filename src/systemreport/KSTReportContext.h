#pragma once

#include "KSTReporterSnapshot.h"
#include "KSTStartupItemRecord.h"

#include <QList>
#include <QString>
#include <QVariantMap>

class KSTSystemInfo;

/// What the collectors gather before a report snapshot is built. Filled stage by stage on the
/// report queue and read only there; the snapshot built from it is what leaves the queue.
struct KSTReportContext
{
    KSTSystemInfo *sys = nullptr; ///< the scan service whose overview figures are used
    KSTReporterSnapshot weekly;   ///< the Reporter's weekly snapshot (partial until answered)
    QList<KSTStartupItemRecord> startupItems;
    quint64 storageTotal = 0; ///< boot volume bytes
    quint64 storageUsed = 0;
    quint64 storageFree = 0;
    bool sipEnabled = false;
    bool fvEnabled = false;
    bool gatekeeperOn = false;
    QString buildNumber;
    QString osName;
    QVariantMap appSignatures;     ///< "apple", "dev", "unsigned", "recent", "outdated" counts
    QVariantMap memoryStats;       ///< "pressure", "pressureLevel", "app", "wired", …
    QVariantMap crashStats;        ///< crash-report counts and names
    QVariantMap networkWeek;       ///< "download", "upload", "topApp", "topDomain"
    QVariantMap bootMetrics;       ///< "bootToLogin", "loginRuntime", "totalDesktop", …
    QVariantMap diskHealth;        ///< "internalSMART", "externalSMART", "apfsHealth", …
    QVariantMap browserExtensions; ///< "safari", "chrome", "suspicious", system extensions
    QString externalDisksSummary;
    QString usbDevicesSummary;
    QString thunderboltDevicesSummary;
};
