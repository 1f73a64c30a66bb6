#include "KSTLaunchServicesHandlers.h"

namespace {

const QString HandlersKey = QStringLiteral("LSHandlers");
const QString ContentTypeKey = QStringLiteral("LSHandlerContentType");
const QString PreferredVersionsKey = QStringLiteral("LSHandlerPreferredVersions");

bool isEntryFor(const QVariant &entry, const QString &contentType)
{
    if (entry.typeId() != QMetaType::QVariantMap)
        return false;
    const QVariant type = entry.toMap().value(ContentTypeKey);
    return type.typeId() == QMetaType::QString &&
           type.toString().compare(contentType, Qt::CaseInsensitive) == 0;
}

} // namespace

namespace KSTLaunchServicesHandlers {

QString handlerForContentType(const QVariantMap &preferences, const QString &contentType,
                              const QString &role)
{
    const QVariant handlers = preferences.value(HandlersKey);
    if (handlers.typeId() != QMetaType::QVariantList || contentType.isEmpty())
        return {};
    for (const QVariant &entry : handlers.toList()) {
        if (!isEntryFor(entry, contentType))
            continue;
        const QVariant handler = entry.toMap().value(role);
        if (handler.typeId() == QMetaType::QString && !handler.toString().isEmpty())
            return handler.toString();
    }
    return {};
}

QVariantMap withHandlerForContentType(const QVariantMap &preferences, const QString &contentType,
                                      const QString &bundleIdentifier)
{
    QVariantMap result = preferences;
    const QVariant existing = preferences.value(HandlersKey);
    QVariantList handlers =
        existing.typeId() == QMetaType::QVariantList ? existing.toList() : QVariantList();
    const QVariantMap versions = {{RoleAll, QStringLiteral("-")}};
    bool updated = false;
    for (QVariant &entry : handlers) {
        if (!isEntryFor(entry, contentType))
            continue;
        QVariantMap map = entry.toMap();
        map.insert(RoleAll, bundleIdentifier);
        if (map.value(PreferredVersionsKey).typeId() != QMetaType::QVariantMap)
            map.insert(PreferredVersionsKey, versions);
        entry = map;
        updated = true;
        break;
    }
    if (!updated)
        handlers.append(QVariantMap{{ContentTypeKey, contentType},
                                    {RoleAll, bundleIdentifier},
                                    {PreferredVersionsKey, versions}});
    result.insert(HandlersKey, handlers);
    return result;
}

} // namespace KSTLaunchServicesHandlers
