#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/// What an application's Info.plist says about the file types it knows: its identity, the
/// document types it opens (with Launch Services' rank) and the types it declares with their
/// filename extensions. Parsed from a property list the app's author wrote, so every value is
/// checked for its type and anything else is skipped.
struct KSTApplicationTypes
{
    struct DocumentType
    {
        QString contentType; ///< a member of LSItemContentTypes
        QString rank;        ///< LSHandlerRank ("Owner", "Default", "Alternate", "None"); may be ""
    };

    QString bundleIdentifier; ///< CFBundleIdentifier; "" when missing or not a string
    QString bundleName;       ///< CFBundleName; "" when missing or not a string
    QList<DocumentType> documentTypes;
    /// Extensions (without the dot, in declared order) of the types the app exports or
    /// imports (UTExportedTypeDeclarations, then UTImportedTypeDeclarations), by the type's
    /// identifier in lower case.
    QMap<QString, QStringList> declaredExtensions;

    /// The content types of CFBundleDocumentTypes in order, whatever their rank.
    QStringList contentTypes() const;

    /// Reads an Info.plist dictionary. Pure.
    static KSTApplicationTypes fromInfoPlist(const QVariantMap &infoPlist);
};
