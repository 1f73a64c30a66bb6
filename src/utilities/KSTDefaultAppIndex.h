#pragma once

#include "KSTApplicationBundleCatalog.h"
#include "KSTApplicationTypes.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

class KSTEnvironment;

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

    /// Reads every application of the bundle catalog (its list kept in @p bundlePaths) and the
    /// user's preferences.
    static KSTDefaultAppIndex load(const KSTApplicationBundleCatalog::PathCache &bundlePaths);
    /// The same for a Linux desktop: the applications of the desktop-entry catalog
    /// (KSTDesktopEntryCatalog) with the MIME types of their MimeType key (not
    /// "x-scheme-handler/*") as document types, identified by desktop-file ID without
    /// ".desktop"; the user's choice of a type is the first entry of [Default Applications]
    /// naming an installed application in the mimeapps.list files, in the XDG order (config
    /// home, config dirs, data home's applications, data dirs' applications); extensions from
    /// the data dirs' mime/globs2 (the first that has the type).
    static KSTDefaultAppIndex loadLinuxDesktop(const KSTEnvironment &environment);
    /// From what was read (for tests). @p extensions: the system's own extensions of types
    /// by type in lower case, used before the built-in table.
    KSTDefaultAppIndex(QList<App> apps, QVariantMap preferences,
                       QMap<QString, QStringList> extensions = {});

    /// Every application, in catalog order.
    const QList<App> &apps() const { return m_apps; }

    /// The first installed app with this identifier (ignoring case); nothing when none is.
    const App *appWithIdentifier(const QString &bundleIdentifier) const;
    /// Identifiers of the apps that list @p uti (ignoring case) in a document type whose rank
    /// is not "None", in catalog order, each once.
    QStringList handlersForType(const QString &uti) const;
    /// The user's choice for all roles, else for the viewer role, else the first handler
    /// ranked "Owner", else the first handler; "" when there is none.
    QString defaultHandlerForType(const QString &uti) const;
    /// The type's filename extensions from the apps' declarations, else the system's, else
    /// the built-in table.
    QStringList extensionsForType(const QString &uti) const;

private:
    QList<App> m_apps;
    QVariantMap m_preferences;
    QMap<QString, QStringList> m_extensions;
};
