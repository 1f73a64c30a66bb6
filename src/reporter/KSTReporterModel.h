#pragma once

#include "KSTReporterHistory.h"
#include "KSTSystemInfo.h"

#include <QDate>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantList>

#include <optional>

/// The Reporter screen's contract without its widgets: the report shown, the fetch and its
/// in-flight guard, the refresh that builds the report anew, and the notice about a damaged
/// history that a full build kept aside.
///
/// refresh() asks KSTSystemInfo::fetchReporterSnapshotAsync(): a report built less than ten
/// minutes ago comes at once; otherwise the placeholder (range, totals and charts from the
/// history as it stands, "Scanning in background…") and then the full report. Both arrive on
/// the Reporter queue and are moved to the main thread here; a report arriving after the
/// model is gone is dropped.
///
/// The history's outcome reaches the model through
/// KSTReporterEngine::HistoryDidUpdateNotification, before the full report it belongs to.
/// The window tells only a damaged file kept aside (damagedHistoryNotice()); a failed write
/// stays silent there, as the user could do nothing about it; the command line says both
/// (lastHistoryUpdate()).
///
/// Thread safety: a main-thread object; every call and signal happens on the main thread.
class KSTReporterModel : public QObject
{
    Q_OBJECT

public:
    /// Works for @p systemInfo, which must outlive the model.
    explicit KSTReporterModel(KSTSystemInfo &systemInfo, QObject *parent = nullptr);

    /// Starts a fetch unless one this model started is still under way and current (a second
    /// call would only start the build over).
    void refresh();
    /// Drops the cached report and the collected application bundles and fetches again, so
    /// the report and today's history record are made afresh. Does nothing while a full build this
    /// model started is under way.
    void rebuild();

    /// The report shown; null before the first arrives.
    KSTSystemInfo::ReporterSnapshotPtr snapshot() const { return m_snapshot; }
    /// A full (not placeholder) report is shown.
    bool hasCompleteSnapshot() const;
    /// A fetch this model started has not delivered its full report yet.
    bool isBuilding() const { return m_fetchInFlight; }

    /// What the history holds for one charted day: the figures behind its bars.
    struct DayFigures
    {
        QDate day;
        bool recorded = false;              ///< the history has a record for the day
        std::optional<quint64> storageUsed; ///< its storage figure, when it has one
        quint64 downloaded = 0;             ///< received that day, by the chart's rule
        quint64 uploaded = 0;
    };
    /// Reads the figures behind the charted days from the history, on the Reporter queue
    /// (where the report writes it); dayFiguresChanged() when they have arrived. Call it once
    /// a full report is shown, so the figures match its charts.
    void loadDayFigures();
    /// The charted days as last loaded, oldest first; empty before the first load.
    const QList<DayFigures> &dayFigures() const { return m_dayFigures; }
    /// The figures of the @p days days ending with @p end's day, oldest first.
    static QList<DayFigures> dayFiguresFromHistory(const QVariantList &records, qint64 days,
                                                   const QDateTime &end);

    /// What the last history update of a full build said; nothing before the first.
    std::optional<KSTReporterHistory::UpdateResult> lastHistoryUpdate() const
    {
        return m_lastUpdate;
    }

    /// Where the last damaged history was kept aside; empty when none was this session.
    QString keptDamagedHistoryPath() const { return m_keptDamagedPath; }
    /// "The damaged history was kept as <file name>; a new one was started." or empty.
    QString damagedHistoryNotice() const;

Q_SIGNALS:
    void snapshotChanged();
    /// isBuilding() changed.
    void buildingChanged(bool building);
    void damagedHistoryNoticeChanged();
    void dayFiguresChanged();

private:
    void setFetchInFlight(bool inFlight);

    KSTSystemInfo *m_systemInfo;
    KSTSystemInfo::ReporterSnapshotPtr m_snapshot;
    QString m_keptDamagedPath;
    std::optional<KSTReporterHistory::UpdateResult> m_lastUpdate;
    QList<DayFigures> m_dayFigures;
    bool m_fetchInFlight = false;
    quint64 m_fetchGeneration = 0;
};
