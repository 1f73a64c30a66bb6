#pragma once

#include "KSTApplicationTypes.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

class KSTSystemInfo;

/// What Launch Services would answer about file types on the analysed Mac, read from its
/// files: the installed applications (the Overview's application catalog) with their Info.plist
/// types, and the user's choices in com.apple.launchservices.secure.plist. Built once per scan;
/// read-only afterwards.
class KSTDefaultAppIndex
{
public:
    struct App
    {
        QString path; ///< the bundle
        KSTApplicationTypes types;
        QString icon; ///< its icon file (KSTApplicationIconFile), "" when it has none
    };

    /// Reads every application of @p systemInfo's catalog and the user's preferences.
    static KSTDefaultAppIndex load(KSTSystemInfo &systemInfo);
    /// From what was read (for tests).
    KSTDefaultAppIndex(QList<App> apps, QVariantMap preferences);

    /// The first installed app with this identifier (ignoring case); nothing when none is.
    const App *appWithIdentifier(const QString &bundleIdentifier) const;
    /// Identifiers of the apps that list @p uti (ignoring case) in a document type whose rank
    /// is not "None", in catalog order, each once.
    QStringList handlersForType(const QString &uti) const;
    /// The user's choice for all roles, else for the viewer role, else the first handler
    /// ranked "Owner", else the first handler; "" when there is none.
    QString defaultHandlerForType(const QString &uti) const;
    /// The type's filename extensions from the apps' declarations, else the built-in table.
    QStringList extensionsForType(const QString &uti) const;

private:
    QList<App> m_apps;
    QVariantMap m_preferences;
};
