#pragma once

#include "KSTApplicationBundleCatalog.h"
#include "KSTReporterHistory.h"
#include "KSTReporterSnapshot.h"
#include "KSTSystemSnapshot.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

class KSTSystemInfo;

/// The Reporter engine: the weekly report of the last seven calendar days (today and the six
/// before it), plugged into the scan-service frame (install()): a placeholder at once, then
/// the full report, which also records today in the history (KSTReporterHistory).
///
/// Where the figures come from:
/// - installs: the Overview's application bundle collection (KSTApplicationBundleCatalog,
///   cached in the service); a bundle's date is its modification date when that is later than
///   its birth date, else its birth date (where the file system keeps one);
/// - removals and usage: KSTReporterSources;
/// - storage, network counters and uptime: the Overview's figures (KSTStorageFigures,
///   KSTLiveMetrics, KSTHostInfo). The network counters and the uptime are the running
///   host's even when another machine's volume is analysed.
///
/// Every operation may be called from any thread; the engine keeps no state but its hooks,
/// and never holds the frame.
class KSTReporterEngine
{
public:
    /// What the engine asks of the frame it works for; each member may be called from any
    /// thread.
    struct Hooks
    {
        /// Whether generation G should stop (a newer scan or a cancel moved on); an empty
        /// predicate never stops.
        std::function<bool(quint64 generation)> isCancelled;
        /// Where the application search's list is kept.
        KSTApplicationBundleCatalog::PathCache bundlePaths;
    };

    explicit KSTReporterEngine(Hooks hooks);

    /// The hooks of @p systemInfo's Reporter generation and bundle cache; @p systemInfo must
    /// outlive every use of them.
    static Hooks hooksOf(KSTSystemInfo &systemInfo);
    /// Installs the full and the placeholder builds of an engine hooked to @p systemInfo.
    static void install(KSTSystemInfo &systemInfo);

    /// Posted (KSTNotificationCenter, delivered on the main thread) after every history update
    /// of the full build, before the build's report is delivered, with the user-info keys
    /// "written" (bool), "reason" and "keptDamagedPath" (strings, as in
    /// KSTReporterHistory::UpdateResult). KSTReporterModel listens for it.
    static inline const QString HistoryDidUpdateNotification =
        QStringLiteral("KSTReporterHistoryDidUpdateNotification");

    /// The full report for @p generation; nullptr, with no history written, when the
    /// generation is cancelled by the time the date range is made.
    std::shared_ptr<KSTReporterSnapshot>
    fetchReporterSnapshotWithGeneration(quint64 generation) const;
    /// The placeholder: range, byte totals, charts from the history as it stands, summaries
    /// "Scanning in background…"; writes nothing.
    std::shared_ptr<KSTReporterSnapshot> fetchReporterSnapshotPartial() const;

    /// The start of the calendar day six days before @p now's.
    static QDateTime weekStartForDate(const QDateTime &now);
    /// "Mar 4 – Mar 10, 2024" (start "MMM d", end "MMM d, yyyy", en dash) in @p locale.
    static QString formattedDateRange(const QDateTime &from, const QDateTime &to,
                                      const QLocale &locale = QLocale());
    /// What the byte totals cover, from the host's uptime now.
    static QString networkPeriodDescription();
    /// "Total this week" without an uptime; "Since last boot · Nd" (whole days, at least 1)
    /// below a week; "Total since last boot" from a week on.
    static QString networkPeriodDescriptionForUptime(std::optional<qint64> uptimeSeconds);
    /// "+25% <suffix>" against a non-zero previous; "New activity · <suffix>" from nothing;
    /// "No prior data · <suffix>" when both are 0.
    static QString deltaTextForCurrent(quint64 current, quint64 previous, const QString &suffix);
    /// The first @p limit names joined with ", ", or @p emptyText for an empty list.
    static QString joinedAppNames(const QList<KSTAppUsageInfo> &apps, qsizetype limit,
                                  const QString &emptyText);
    static QString joinedStrings(const QStringList &strings, qsizetype limit,
                                 const QString &emptyText);

    /// Bundles whose date (see the class) is not earlier than @p since, as records with the
    /// name without ".app", the path and size 0, and with the linux layout the packages dpkg
    /// installed since then (no path; one named as a bundle is left out), sorted by name.
    QList<KSTAppUsageInfo> applicationsInstalledSince(const QDateTime &since) const;
    /// The date by which a bundle counts as installed (see the class).
    static std::optional<QDateTime> installDateOfBundle(const QString &bundlePath);
    /// The first collected bundle whose CFBundleIdentifier is @p bundleIdentifier; empty
    /// when none.
    QString bundlePathForIdentifier(const QString &bundleIdentifier) const;
    /// Each collected bundle's CFBundleIdentifier with the first bundle that has it.
    QHash<QString, QString> bundlePathsByIdentifier() const;
    /// @p path with the accessible home replaced by "~".
    static QString shortenHomePath(const QString &path);

    /// How many names the summaries show and how many usage rows there are.
    static constexpr qsizetype InstalledSummaryLimit = 3;
    static constexpr qsizetype RemovedSummaryLimit = 2;
    static constexpr int UsageEntryLimit = 5;
    static constexpr int ChartDays = 7;

private:
    // The charts of both builds from the history as it stands, 7 days ending at @p now.
    static void fillCharts(KSTReporterSnapshot &snapshot, quint64 totalBytes, const QDateTime &now);

    bool isCancelled(quint64 generation) const;

    Hooks m_hooks;
};
