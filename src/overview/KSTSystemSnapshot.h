#pragma once

#include <QList>
#include <QString>

#include <optional>

/// One slice of the boot volume's used space, shown as a coloured bar segment.
struct KSTStorageCategory
{
    QString name; ///< "Apps", "Media", "Documents", "System & Other"
    quint64 bytes = 0;
    QString colorKey; ///< palette colour: "blue", "purple", "emerald", "zinc"
};

/// One application bundle with its size on disk.
struct KSTAppUsageInfo
{
    QString name;       ///< bundle file name without ".app"
    QString bundlePath; ///< absolute path of the bundle
    quint64 sizeBytes = 0;
    double cpuUsage = 0; ///< always 0: the Overview does not sample per-app load
};

/// Everything the Overview screen shows at once. Filled by one fetch, read-only afterwards.
struct KSTSystemSnapshot
{
    QString machineTitle;     ///< "MacBook Pro · Apple M2", else the model, else the computer name
    QString specsLine;        ///< version · RAM · SSD · masked serial
    QString macOSVersionLine; ///< "macOS Sonoma 14.5" or the platform's own version text
    QString uptimeText;       ///< "Uptime 2d 3h", "Uptime unavailable"
    std::optional<QString> batteryText; ///< nothing when there is no battery
    bool hasBattery = false;
    quint64 storageTotalBytes = 0;
    quint64 storageUsedBytes = 0;
    double storageUsedFraction = 0;
    quint64 memoryTotalBytes = 0;
    quint64 memoryUsedBytes = 0;
    double memoryUsedFraction = 0;
    double cpuUsageFraction = 0;
    qint64 cpuCoreCount = 0;
    QString networkInterfaceName; ///< display name of the primary interface ("Wi-Fi")
    double networkDownloadMBps = 0;
    double networkUploadMBps = 0;
    double networkActivityFraction = 0;
    QList<KSTStorageCategory> storageCategories; ///< always four, in display order
    QList<KSTAppUsageInfo> topApps;              ///< largest first
    qint64 installedAppCount = 0;
};
