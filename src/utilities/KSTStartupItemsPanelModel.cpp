#include "KSTStartupItemsPanelModel.h"

#include "KSTUtilitiesManager.h"

#include <QDir>

KSTStartupItemsPanelModel::KSTStartupItemsPanelModel(KSTUtilitiesManager &manager)
    : m_manager(manager)
{
}

void KSTStartupItemsPanelModel::rescan()
{
    m_items = m_manager.scanStartupItems();
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

QString KSTStartupItemsPanelModel::failureText(const std::optional<KSTError> &error)
{
    if (error && !error->description.isEmpty())
        return error->description;
    return QStringLiteral("Could not disable startup item.");
}
