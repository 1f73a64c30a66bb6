#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>

/// The user's default-application choices as Launch Services keeps them: the LSHandlers array
/// of com.apple.launchservices.secure.plist, one dictionary per content type or URL scheme.
/// Pure functions over the parsed property list, which is the user's file and so hostile
/// input: entries of the wrong shape are skipped, never trusted.
namespace KSTLaunchServicesHandlers {

/// The bundle identifier chosen for @p contentType (compared ignoring case) in @p role
/// ("LSHandlerRoleAll", "LSHandlerRoleViewer", …) by the first entry that names one; "" when
/// none does.
QString handlerForContentType(const QVariantMap &preferences, const QString &contentType,
                              const QString &role);

/// @p preferences with @p bundleIdentifier chosen for @p contentType in all roles: the first
/// entry for the type is updated (its other keys kept), or a new entry appended; every other
/// entry and key stays as it was. LSHandlers that is missing or not an array starts anew.
QVariantMap withHandlerForContentType(const QVariantMap &preferences, const QString &contentType,
                                      const QString &bundleIdentifier);

inline const QString RoleAll = QStringLiteral("LSHandlerRoleAll");
inline const QString RoleViewer = QStringLiteral("LSHandlerRoleViewer");

} // namespace KSTLaunchServicesHandlers
