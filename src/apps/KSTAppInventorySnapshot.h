#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

/// One installed application. The inventory engine fills the full record; the scan-service
/// frame only moves records between snapshots.
struct KSTInstalledAppRecord
{
    QString name;
    QString bundleIdentifier;
    QString bundlePath;
    quint64 sizeBytes = 0;
};

/// The App Manage inventory as far as it has got.
struct KSTAppInventorySnapshot
{
    QList<KSTInstalledAppRecord> apps;
    qint64 scannedCount = 0;
    qint64 totalCount = 0;
    QString statusText; ///< "Discovering applications…", "Scan complete"
    QDateTime scanDate;
    bool isComplete = false;
    bool isSizeCalculationComplete = false;
};

/// The leftover-file index the uninstaller matches against; built by the inventory engine.
struct KSTRelatedPathScanIndex
{
    QDateTime builtDate;
};
