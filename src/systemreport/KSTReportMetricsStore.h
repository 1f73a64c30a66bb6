#pragma once

#include <QDateTime>
#include <QString>
#include <QVariantMap>

/// The small file the System Report keeps between runs: the last "total to desktop" figure,
/// so the next report can say how boot-to-desktop time changed.
///
/// Place: report-metrics.plist beside the Reporter's history (mac layout:
/// <home>/Library/Application Support/Kestrel/; linux: the Reporter's data folder). An XML
/// property-list dictionary holding "lastTotalDesktopSeconds" (number) and "savedAt" (date);
/// any other keys in it are kept on every write.
///
/// A file that is there but is not a dictionary property list (or is not a regular file, or is
/// larger than MaximumFileBytes) is damaged: it reads as empty, and the next persist renames it
/// to report-metrics.plist.damaged-<yyyyMMdd-HHmmss>[-n] (never copies or deletes it) before
/// writing a fresh file. Writes go through the removal guard: never through a symbolic link,
/// and never over a file other than the one read.
///
/// Thread safety: any thread; concurrent persists are last-writer-wins.
class KSTReportMetricsStore
{
public:
    KSTReportMetricsStore() = delete;

    /// The metrics file's full path for the current environment (nothing is created).
    static QString metricsPath();
    /// The file's dictionary; empty when it is missing, damaged or unreadable.
    static QVariantMap loadPreviousBootMetrics();
    /// Writes "lastTotalDesktopSeconds" (the "totalDesktopSeconds" number of @p bootMetrics,
    /// 0 when absent) and "savedAt" (@p now) into the file, creating its folder. Failures are
    /// ignored by the report; the return value says what happened for tests and logs.
    struct PersistResult
    {
        bool written = false;
        QString reason;          ///< why not, when not written
        QString keptDamagedPath; ///< where a damaged file was moved before writing, if any
    };
    static PersistResult persistBootMetrics(const QVariantMap &bootMetrics,
                                            const QDateTime &now = QDateTime::currentDateTimeUtc());

    static constexpr qint64 MaximumFileBytes = 256 * 1024;
    static constexpr int MaximumDamagedNameAttempts = 1000;
};
