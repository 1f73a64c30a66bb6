#include "KSTSystemReportModel.h"

#include "KSTDispatch.h"

KSTSystemReportModel::KSTSystemReportModel(KSTSystemReportService &service, QObject *parent)
    : QObject(parent), m_service(service),
      m_snapshot(std::make_shared<const KSTSystemReportSnapshot>(
          KSTSystemReportService::placeholderSnapshot()))
{
}

void KSTSystemReportModel::show()
{
    if (m_fetching)
        return; // its updates keep coming, shown or not
    if (const KSTSystemReportService::SnapshotPtr cached =
            m_service.cachedReportSnapshotIfComplete()) {
        display(cached, true);
        return;
    }
    startFetch();
}

void KSTSystemReportModel::refresh()
{
    m_service.invalidateReportCache();
    m_fetching = false;
    startFetch();
}

void KSTSystemReportModel::startFetch()
{
    display(std::make_shared<const KSTSystemReportSnapshot>(
                KSTSystemReportService::placeholderSnapshot()),
            false);
    const auto update = KSTDispatch::onMainFor<KSTSystemReportService::SnapshotPtr, int>(
        this, [this](KSTSystemReportService::SnapshotPtr snapshot, int kind) {
            display(snapshot, kind == KSTSystemReportService::Final);
        });
    const auto done = KSTDispatch::onMainFor<KSTSystemReportService::SnapshotPtr>(
        this, [this](KSTSystemReportService::SnapshotPtr snapshot) {
            display(snapshot, true);
            m_fetching = false;
            Q_EMIT fetchingChanged();
        });
    m_fetching = m_service.fetchReportProgressive(
        [update](KSTSystemReportService::SnapshotPtr snapshot,
                 KSTSystemReportService::UpdateKind kind) { update(snapshot, kind); },
        done);
    Q_EMIT fetchingChanged();
}

void KSTSystemReportModel::display(KSTSystemReportService::SnapshotPtr snapshot, bool complete)
{
    if (!snapshot)
        return;
    const bool changed = snapshot != m_snapshot;
    m_snapshot = std::move(snapshot);
    const bool completed = complete && !m_complete;
    m_complete = complete;
    if (changed)
        Q_EMIT snapshotChanged();
    if (completed)
        Q_EMIT reportCompleted();
}

QString KSTSystemReportModel::suggestedFileName(KSTSystemReportExport::Format format,
                                                const QDate &today)
{
    return KSTSystemReportSnapshot::exportFileName(today, KSTSystemReportExport::extension(format));
}

std::optional<QString>
KSTSystemReportModel::exportToPath(const QString &path, KSTSystemReportExport::Format format) const
{
    KSTError error;
    const bool written = format == KSTSystemReportExport::Format::Pdf
                             ? KSTSystemReportExport::writePdfToPath(*m_snapshot, path, &error)
                             : KSTSystemReportExport::writeTextToPath(*m_snapshot, path, &error);
    if (written)
        return std::nullopt;
    return KSTSystemReportExport::failureText(error, format);
}
