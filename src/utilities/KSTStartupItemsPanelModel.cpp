#include "KSTStartupItemsPanelModel.h"

#include "KSTDispatch.h"
#include "KSTLayoutWords.h"
#include "KSTUtilitiesManager.h"

#include <QDir>

QString KSTStartupItemsPanelModel::emptyText()
{
    return QStringLiteral("No startup items detected on %1.")
        .arg(KSTLayoutWords::current().thisComputer);
}

KSTStartupItemsPanelModel::KSTStartupItemsPanelModel(KSTUtilitiesManager &manager)
    : m_manager(manager)
{
}

void KSTStartupItemsPanelModel::rescan()
{
    m_items = m_manager.scanStartupItems();
}

void KSTStartupItemsPanelModel::rescanAsync(const QObject *context, std::function<void()> done)
{
    if (m_scanning)
        return;
    m_scanning = true;
    // Reading every launchd plist and sizing each program is file-system work the window
    // must not wait for; the model itself is only touched on the main thread.
    auto deliver = KSTDispatch::onMainFor<QList<KSTStartupItemRecord>>(
        context, [this, done = std::move(done)](const QList<KSTStartupItemRecord> &items) {
            m_items = items;
            m_scanning = false;
            if (done)
                done();
        });
    KSTUtilitiesManager *manager = &m_manager;
    manager->scanInBackground(
        [manager, deliver = std::move(deliver)] { deliver(manager->scanStartupItems()); });
}

QString KSTStartupItemsPanelModel::bootImpact() const
{
    return KSTUtilitiesManager::bootImpactSummaryForItems(m_items);
}

KSTStartupItemsPanelModel::Match KSTStartupItemsPanelModel::find(const QString &text,
                                                                 KSTStartupItemRecord *item) const
{
    const QString asPath = text.startsWith(QLatin1Char('/')) ? QDir::cleanPath(text) : QString();
    for (const KSTStartupItemRecord &candidate : m_items) {
        if (!asPath.isEmpty() && candidate.path == asPath) {
            *item = candidate;
            return Match::Found;
        }
    }
    qsizetype matches = 0;
    for (const KSTStartupItemRecord &candidate : m_items) {
        if (candidate.itemIdentifier == text) {
            *item = candidate;
            ++matches;
        }
    }
    return matches == 1 ? Match::Found : matches == 0 ? Match::NotFound : Match::Ambiguous;
}

QString KSTStartupItemsPanelModel::confirmationMessage(const KSTStartupItemRecord &item)
{
    return QStringLiteral("Disable %1?").arg(item.name);
}

QString KSTStartupItemsPanelModel::confirmationInformativeText()
{
    return QStringLiteral(
        "This will stop the item from launching at login. You can re-enable it manually later.");
}

bool KSTStartupItemsPanelModel::disable(const KSTStartupItemRecord &item, KSTError *error)
{
    if (!m_manager.disableStartupItem(item, error))
        return false;
    rescan();
    return true;
}

bool KSTStartupItemsPanelModel::disableAsync(
    const QObject *context, const KSTStartupItemRecord &item,
    std::function<void(bool disabled, const std::optional<KSTError> &)> done)
{
    if (m_scanning)
        return false;
    m_scanning = true;
    auto deliver = KSTDispatch::onMainFor<bool, KSTError, QList<KSTStartupItemRecord>>(
        context, [this, done = std::move(done)](bool disabled, const KSTError &error,
                                                const QList<KSTStartupItemRecord> &items) {
            m_scanning = false;
            if (disabled)
                m_items = items;
            if (done)
                done(disabled, disabled ? std::nullopt : std::optional<KSTError>(error));
        });
    KSTUtilitiesManager *manager = &m_manager;
    // launchctl runs with a time-out, but the window must not wait even for that.
    manager->scanInBackground([manager, item, deliver = std::move(deliver)] {
        KSTError error;
        const bool disabled = manager->disableStartupItem(item, &error);
        deliver(disabled, error,
                disabled ? manager->scanStartupItems() : QList<KSTStartupItemRecord>());
    });
    return true;
}

QString KSTStartupItemsPanelModel::failureText(const std::optional<KSTError> &error)
{
    if (error && !error->description.isEmpty())
        return error->description;
    return QStringLiteral("Could not disable startup item.");
}
