#include "KSTReporterModel.h"

#include "KSTDispatch.h"
#include "KSTDispatchQueue.h"
#include "KSTNotificationCenter.h"
#include "KSTReporterCharts.h"
#include "KSTReporterEngine.h"
#include "KSTReporterHistory.h"
#include "KSTReporterSnapshot.h"

#include <QFileInfo>

KSTReporterModel::KSTReporterModel(KSTSystemInfo &systemInfo, QObject *parent)
    : QObject(parent), m_systemInfo(&systemInfo)
{
    KSTNotificationCenter::defaultCenter().addObserver(
        KSTReporterEngine::HistoryDidUpdateNotification, this,
        [this](const KSTNotification &notification) {
            KSTReporterHistory::UpdateResult update;
            update.written = notification.userInfo.value(QStringLiteral("written")).toBool();
            update.reason = notification.userInfo.value(QStringLiteral("reason")).toString();
            update.keptDamagedPath =
                notification.userInfo.value(QStringLiteral("keptDamagedPath")).toString();
            m_lastUpdate = update;
            const QString kept = update.keptDamagedPath;
            if (kept.isEmpty() || kept == m_keptDamagedPath)
                return;
            m_keptDamagedPath = kept;
            Q_EMIT damagedHistoryNoticeChanged();
        });
}

void KSTReporterModel::refresh()
{
    // The placeholder does not end a fetch: the full report is still to come. A fetch the
    // service has since superseded (another caller, a cancel) will never deliver, so it no
    // longer holds the guard.
    if (m_fetchInFlight && m_systemInfo->reporterScanGeneration() == m_fetchGeneration)
        return;
    setFetchInFlight(true);
    m_systemInfo->fetchReporterSnapshotAsync(
        KSTDispatch::onMainFor<KSTSystemInfo::ReporterSnapshotPtr>(
            this, [this](KSTSystemInfo::ReporterSnapshotPtr snapshot) {
                if (!snapshot)
                    return;
                if (!snapshot->isPartial)
                    setFetchInFlight(false);
                if (snapshot == m_snapshot)
                    return;
                m_snapshot = std::move(snapshot);
                Q_EMIT snapshotChanged();
            }));
    m_fetchGeneration = m_systemInfo->reporterScanGeneration();
}

void KSTReporterModel::rebuild()
{
    if (m_fetchInFlight && m_systemInfo->reporterScanGeneration() == m_fetchGeneration)
        return;
    m_systemInfo->setCachedReporterSnapshot(nullptr);
    m_systemInfo->setCachedReporterSnapshotDate({});
    // An application installed since the last walk counts only once the bundles are
    // collected again.
    m_systemInfo->setCachedApplicationBundlePaths({});
    refresh();
}

bool KSTReporterModel::hasCompleteSnapshot() const
{
    return m_snapshot && !m_snapshot->isPartial;
}

QString KSTReporterModel::damagedHistoryNotice() const
{
    if (m_keptDamagedPath.isEmpty())
        return {};
    return QStringLiteral("The damaged history was kept as %1; a new one was started.")
        .arg(QFileInfo(m_keptDamagedPath).fileName());
}

QList<KSTReporterModel::DayFigures>
KSTReporterModel::dayFiguresFromHistory(const QVariantList &records, qint64 days,
                                        const QDateTime &end)
{
    const QList<QDate> dates = KSTReporterCharts::lastDays(days, end);
    const QList<quint64> received =
        KSTReporterCharts::dailyNetworkAmountsFromHistory(records, true, days, end);
    const QList<quint64> sent =
        KSTReporterCharts::dailyNetworkAmountsFromHistory(records, false, days, end);
    QList<DayFigures> figures;
    for (qsizetype index = 0; index < dates.size(); ++index) {
        DayFigures day;
        day.day = dates.at(index);
        const std::optional<QVariantMap> record = KSTReporterCharts::recordForDayKey(
            records, KSTReporterCharts::historyDayKeyForDate(day.day.startOfDay()));
        day.recorded = record.has_value();
        if (record)
            day.storageUsed =
                KSTReporterCharts::unsignedFigure(*record, QStringLiteral("storageUsed"));
        day.downloaded = index < received.size() ? received.at(index) : 0;
        day.uploaded = index < sent.size() ? sent.at(index) : 0;
        figures.append(day);
    }
    return figures;
}

void KSTReporterModel::loadDayFigures()
{
    const auto deliver =
        KSTDispatch::onMainFor<QList<DayFigures>>(this, [this](const QList<DayFigures> &figures) {
            m_dayFigures = figures;
            Q_EMIT dayFiguresChanged();
        });
    m_systemInfo->reporterQueue().async([deliver] {
        deliver(dayFiguresFromHistory(KSTReporterHistory::reporterHistoryRecords(),
                                      KSTReporterEngine::ChartDays, QDateTime::currentDateTime()));
    });
}

void KSTReporterModel::setFetchInFlight(bool inFlight)
{
    if (m_fetchInFlight == inFlight)
        return;
    m_fetchInFlight = inFlight;
    Q_EMIT buildingChanged(inFlight);
}
