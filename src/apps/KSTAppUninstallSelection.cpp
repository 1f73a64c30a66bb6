#include "KSTAppUninstallSelection.h"

#include "KSTAppInventoryEngine.h"
#include "KSTAppManageLocations.h"
#include "KSTFormatting.h"
#include "KSTRelatedPathMatcher.h"

#include <QDir>
#include <QHash>

KSTAppUninstallSelection::KSTAppUninstallSelection(KSTAppInventoryEngine &engine, QObject *parent)
    : QObject(parent), m_engine(&engine), m_self(std::make_shared<KSTAppUninstallSelection *>(this))
{
}

KSTAppUninstallSelection::~KSTAppUninstallSelection() = default;

void KSTAppUninstallSelection::setApp(const KSTInstalledAppRecord &app,
                                      const QList<KSTInstalledAppRecord> &installedApps)
{
    m_app = app;
    m_anotherCopy = std::any_of(
        installedApps.cbegin(), installedApps.cend(), [&app](const KSTInstalledAppRecord &other) {
            return other.bundleIdentifier == app.bundleIdentifier &&
                   QDir::cleanPath(other.bundlePath) != QDir::cleanPath(app.bundlePath);
        });
    m_ticked.clear();
    for (const KSTInstalledAppRelatedPath &related : std::as_const(m_app.relatedPaths)) {
        if (related.isStrongMatch && isTickable(related.path))
            m_ticked.insert(related.path);
    }
    Q_EMIT selectionChanged();
}

QList<KSTAppUninstallRow> KSTAppUninstallSelection::rows() const
{
    QList<KSTAppUninstallRow> rows;
    KSTAppUninstallRow bundle;
    bundle.path = m_app.bundlePath;
    bundle.displayPath = KSTRelatedPathMatcher::shortenHomePath(m_app.bundlePath);
    bundle.bytes = m_app.bundleSizeBytes;
    bundle.isBundle = true;
    bundle.isStrongMatch = true;
    bundle.isRemovable = KSTAppUninstaller::isSafeUninstallPath(m_app.bundlePath);
    bundle.isTicked = bundle.isRemovable;
    rows << bundle;
    for (const KSTInstalledAppRelatedPath &related : m_app.relatedPaths) {
        KSTAppUninstallRow row;
        row.path = related.path;
        row.displayPath = related.displayPath;
        row.bytes = related.bytes;
        row.isStrongMatch = related.isStrongMatch;
        row.isRemovable = related.isRemovable;
        row.isTickable = isTickable(related.path);
        row.isTicked = m_ticked.contains(related.path);
        row.explanation = KSTRelatedPathMatcher::explanation(related);
        rows << row;
    }
    return rows;
}

bool KSTAppUninstallSelection::isListed(const QString &path) const
{
    if (path.isEmpty())
        return false;
    if (path == m_app.bundlePath)
        return true;
    return std::any_of(
        m_app.relatedPaths.cbegin(), m_app.relatedPaths.cend(),
        [&path](const KSTInstalledAppRelatedPath &related) { return related.path == path; });
}

bool KSTAppUninstallSelection::isTickable(const QString &path) const
{
    if (m_anotherCopy || path == m_app.bundlePath)
        return false;
    return std::any_of(m_app.relatedPaths.cbegin(), m_app.relatedPaths.cend(),
                       [&path](const KSTInstalledAppRelatedPath &related) {
                           return related.path == path && related.isRemovable;
                       });
}

bool KSTAppUninstallSelection::isTicked(const QString &path) const
{
    if (path == m_app.bundlePath)
        return KSTAppUninstaller::isSafeUninstallPath(path);
    return m_ticked.contains(path);
}

bool KSTAppUninstallSelection::setTicked(const QString &path, bool ticked)
{
    if (m_uninstalling || !isTickable(path))
        return false;
    if (ticked == m_ticked.contains(path))
        return true;
    if (ticked)
        m_ticked.insert(path);
    else
        m_ticked.remove(path);
    Q_EMIT selectionChanged();
    return true;
}

KSTInstalledAppRecord KSTAppUninstallSelection::recordForUninstall() const
{
    KSTInstalledAppRecord record = m_app;
    record.relatedPaths.clear();
    for (const KSTInstalledAppRelatedPath &related : m_app.relatedPaths) {
        if (m_ticked.contains(related.path))
            record.relatedPaths << related;
    }
    record.relatedPathsLoaded = true;
    return record;
}

QStringList KSTAppUninstallSelection::uninstallPaths() const
{
    return KSTAppUninstaller::uninstallPathsForApp(recordForUninstall());
}

quint64 KSTAppUninstallSelection::selectedBytes() const
{
    QHash<QString, quint64> bytes;
    bytes.insert(QDir::cleanPath(m_app.bundlePath), m_app.bundleSizeBytes);
    for (const KSTInstalledAppRelatedPath &related : m_app.relatedPaths)
        bytes.insert(QDir::cleanPath(related.path), related.bytes);
    quint64 total = 0;
    for (const QString &path : uninstallPaths())
        total += bytes.value(path);
    return total;
}

bool KSTAppUninstallSelection::canUninstall() const
{
    return !m_uninstalling && m_app.source != 2 && !m_app.bundlePath.isEmpty();
}

QString KSTAppUninstallSelection::unavailableReason() const
{
    if (m_app.source == 2) {
        // A desktop's packages are its package manager's to remove; the exact command comes
        // with an uninstall's error, this is only the hint beside the disabled button.
        if (KSTAppInventoryEngine::usesDesktopEntries())
            return KSTAppManageLocations::packageManagerHint;
        return KSTAppUninstaller::errorForCode(KSTAppUninstaller::SystemApplication).description;
    }
    if (m_app.bundlePath.isEmpty())
        return KSTAppUninstaller::errorForCode(KSTAppUninstaller::MissingBundlePath).description;
    return {};
}

QString KSTAppUninstallSelection::confirmationMessage() const
{
    return QStringLiteral("Uninstall “%1”?").arg(m_app.name);
}

QString KSTAppUninstallSelection::confirmationInformativeText() const
{
    return QStringLiteral("%1 item(s) (%2) will be moved to the Trash.")
        .arg(uninstallPaths().size())
        .arg(KSTFormatting::formatBytes(selectedBytes()));
}

bool KSTAppUninstallSelection::startUninstall(
    std::function<void(const KSTAppUninstallOutcome &)> finished)
{
    if (!canUninstall())
        return false;
    m_uninstalling = true;
    Q_EMIT uninstallingChanged(true);
    std::weak_ptr<KSTAppUninstallSelection *> self = m_self;
    KSTAppUninstaller(*m_engine).uninstallApp(
        recordForUninstall(), std::function<void(const KSTAppUninstaller::Result &)>(
                                  [self, finished](const KSTAppUninstaller::Result &result) {
                                      if (const auto model = self.lock())
                                          (*model)->finish(result, finished);
                                  }));
    return true;
}

void KSTAppUninstallSelection::finish(
    const KSTAppUninstaller::Result &result,
    const std::function<void(const KSTAppUninstallOutcome &)> &finished)
{
    m_uninstalling = false;
    const KSTAppUninstallOutcome outcome = outcomeFor(result, m_app.name, m_anotherCopy);
    if (result.success) {
        // The identifier's records leave the inventory; a copy that stayed comes back with
        // the rescan the outcome asks for.
        const KSTAppInventoryEngine::Hooks &hooks = m_engine->hooks();
        if (const auto cached = hooks.cachedInventory(); cached && cached->isComplete) {
            QList<KSTInstalledAppRecord> remaining = cached->apps;
            remaining.removeIf([this](const KSTInstalledAppRecord &record) {
                return record.bundleIdentifier == m_app.bundleIdentifier;
            });
            hooks.refreshInventory(remaining, QStringLiteral("Scan complete"), true,
                                   quint64(remaining.size()));
        }
    }
    Q_EMIT uninstallingChanged(false);
    Q_EMIT uninstallFinished(outcome);
    if (finished)
        finished(outcome);
}

KSTAppUninstallOutcome KSTAppUninstallSelection::outcomeFor(const KSTAppUninstaller::Result &result,
                                                            const QString &appName,
                                                            bool anotherCopy)
{
    KSTAppUninstallOutcome outcome;
    outcome.success = result.success;
    outcome.removedCount = result.removedCount;
    outcome.error = result.error;
    outcome.uninstallPaths = result.uninstallPaths;
    if (result.error) {
        outcome.failedPaths =
            result.error->userInfo.value(KSTAppUninstaller::FailedPathsKey).toStringList();
        outcome.informativeText = result.error->description;
    }
    if (!result.success) {
        outcome.alert = KSTAppUninstallOutcome::Alert::Failed;
        outcome.message = QStringLiteral("Uninstall failed");
    } else {
        outcome.alert = result.error ? KSTAppUninstallOutcome::Alert::Partly
                                     : KSTAppUninstallOutcome::Alert::None;
        outcome.message = QStringLiteral("Uninstalled “%1”").arg(appName);
        outcome.needsRescan = anotherCopy;
    }
    return outcome;
}
