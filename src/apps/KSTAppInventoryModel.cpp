#include "KSTAppInventoryModel.h"

#include "KSTAppInventoryEngine.h"
#include "KSTAppUninstallSelection.h"
#include "KSTFormatting.h"
#include "KSTNotificationCenter.h"
#include "KSTSystemInfo.h"

#include <QPointer>

#include <algorithm>

KSTAppInventoryModel::KSTAppInventoryModel(KSTSystemInfo &systemInfo, QObject *parent)
    : QObject(parent), m_systemInfo(systemInfo)
{
    KSTNotificationCenter::defaultCenter().addObserver(
        KSTAppInventoryEngine::MetadataDidUpdateNotification, this,
        [this](const KSTNotification &notification) {
            // Tests run several services side by side; only ours concerns this model.
            if (notification.object == &m_systemInfo)
                reloadFromCache();
        });
}

KSTAppInventoryModel::~KSTAppInventoryModel() = default;

void KSTAppInventoryModel::refresh()
{
    if (m_waiting)
        return;
    m_waiting = true;
    if (!m_systemInfo.cachedAppInventorySnapshotIfComplete()) {
        m_scanClock.start();
        m_scanSeconds.reset();
    }
    const quint64 request = ++m_request;
    QPointer<KSTAppInventoryModel> self(this);
    // Both answers arrive on the main thread, where the pointer is checked.
    m_systemInfo.scanInstalledApplicationsWithProgress(
        [self, request](SnapshotPtr snapshot) {
            if (self && self->m_request == request)
                self->show(std::move(snapshot));
        },
        [self, request](SnapshotPtr snapshot) {
            if (!self || self->m_request != request)
                return;
            self->m_waiting = false;
            self->show(std::move(snapshot));
        });
}

void KSTAppInventoryModel::cancel()
{
    m_systemInfo.cancelAppInventoryScan();
    // The cancelled scan never answers; a later refresh() must not wait for it.
    m_waiting = false;
    ++m_request;
    // A scan interrupted by a hidden screen has no meaningful duration.
    m_scanClock.invalidate();
}

void KSTAppInventoryModel::rescan()
{
    cancel();
    m_systemInfo.invalidateAppInventoryCache();
    refresh();
}

void KSTAppInventoryModel::reloadFromCache()
{
    if (const SnapshotPtr cached = m_systemInfo.cachedAppInventorySnapshotIfComplete())
        show(cached);
}

void KSTAppInventoryModel::uninstallDidFinish(const KSTAppUninstallOutcome &outcome)
{
    if (!outcome.success)
        return;
    // The cache has lost every record of the identifier: show that at once, and let the scan
    // bring back a copy that stayed.
    reloadFromCache();
    if (outcome.needsRescan)
        rescan();
}

bool KSTAppInventoryModel::isScanComplete() const
{
    return m_snapshot && m_snapshot->isComplete && m_snapshot->isSizeCalculationComplete;
}

std::optional<KSTInstalledAppRecord>
KSTAppInventoryModel::appWithBundlePath(const QString &bundlePath) const
{
    if (!m_snapshot)
        return std::nullopt;
    for (const KSTInstalledAppRecord &app : m_snapshot->apps) {
        if (app.bundlePath == bundlePath)
            return app;
    }
    return std::nullopt;
}

QString KSTAppInventoryModel::summaryText() const
{
    if (!m_snapshot || !m_snapshot->isComplete)
        return QStringLiteral("Discovering applications…");
    const qsizetype count = m_snapshot->apps.size();
    const QString apps =
        count == 1 ? QStringLiteral("1 app")
                   : QStringLiteral("%1 apps").arg(KSTFormatting::formatCount(quint64(count)));
    QString text =
        QStringLiteral("%1 · %2").arg(apps, KSTFormatting::formatBytes(m_snapshot->totalBytes));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const qsizetype unused =
        std::count_if(m_snapshot->apps.cbegin(), m_snapshot->apps.cend(),
                      [&now](const KSTInstalledAppRecord &app) { return app.isUnused(now); });
    if (unused > 0)
        text += QStringLiteral(" · %1 unused").arg(KSTFormatting::formatCount(quint64(unused)));
    return text;
}

void KSTAppInventoryModel::show(SnapshotPtr snapshot)
{
    if (!snapshot || snapshot == m_snapshot)
        return;
    m_snapshot = std::move(snapshot);
    if (isScanComplete() && m_scanClock.isValid()) {
        m_scanSeconds = double(m_scanClock.elapsed()) / 1000.0;
        m_scanClock.invalidate();
    }
    Q_EMIT snapshotChanged();
}
