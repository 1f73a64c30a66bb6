#include "KSTSystemReportModel.h"

#include "KSTDispatch.h"

#include <QFileInfo>

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
    m_updateCount = 0;
    const auto update = KSTDispatch::onMainFor<KSTSystemReportService::SnapshotPtr, int>(
        this, [this](KSTSystemReportService::SnapshotPtr snapshot, int kind) {
            ++m_updateCount;
            display(snapshot, kind == KSTSystemReportService::Final);
            Q_EMIT updateArrived();
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

std::optional<KSTSystemReportExport::Format>
KSTSystemReportModel::formatForExtension(const QString &extension)
{
    for (const KSTSystemReportExport::Format format :
         {KSTSystemReportExport::Format::Text, KSTSystemReportExport::Format::Pdf})
        if (extension == KSTSystemReportExport::extension(format))
            return format;
    return std::nullopt;
}

std::optional<QString> KSTSystemReportModel::exportPathForChosenName(
    const QString &chosen, KSTSystemReportExport::Format format, QString *refusal)
{
    const QString extension = KSTSystemReportExport::extension(format);
    // "report." has an empty extension, like "report".
    const QString suffix = QFileInfo(chosen).suffix();
    if (suffix.isEmpty()) {
        const QString dot = chosen.endsWith(QLatin1Char('.')) ? QString() : QStringLiteral(".");
        return QString(chosen + dot + extension);
    }
    if (suffix.compare(extension, Qt::CaseInsensitive) == 0)
        return chosen;
    if (refusal)
        *refusal = QStringLiteral("A %1 report is saved with the extension \u201c.%2\u201d, "
                                  "not \u201c.%3\u201d. Choose a name ending in \u201c.%2\u201d.")
                       .arg(format == KSTSystemReportExport::Format::Pdf ? QStringLiteral("PDF")
                                                                         : QStringLiteral("text"),
                            extension, suffix);
    return std::nullopt;
}

std::optional<QString>
KSTSystemReportModel::exportToPath(const QString &path, KSTSystemReportExport::Format format) const
{
    KSTError error;
    if (exportToPath(path, format, &error))
        return std::nullopt;
    return error.description;
}

bool KSTSystemReportModel::exportToPath(const QString &path, KSTSystemReportExport::Format format,
                                        KSTError *error) const
{
    KSTError failure;
    const bool written = format == KSTSystemReportExport::Format::Pdf
                             ? KSTSystemReportExport::writePdfToPath(*m_snapshot, path, &failure)
                             : KSTSystemReportExport::writeTextToPath(*m_snapshot, path, &failure);
    if (written)
        return true;
    failure.description = KSTSystemReportExport::failureText(failure, format);
    if (error)
        *error = failure;
    return false;
}
