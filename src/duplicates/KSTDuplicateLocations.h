#pragma once

#include "KSTLinuxPlaces.h"

#include <QString>
#include <QStringList>

#include <optional>

/// Every place the Duplicates engine treats specially, in one table. Paths are relative to
/// the accessible home folder.
namespace KSTDuplicateLocations {

/// The default scan folders, in this order, those that exist as folders.
inline const QStringList defaultScanFolders = {QStringLiteral("Pictures"),
                                               QStringLiteral("Downloads")};

/// The folders the Duplicates screen offers, in this order, those that exist as folders; the
/// default scan folders among them start selected. Music is never offered (it is never read).
inline const QStringList offeredScanFolders = {
    QStringLiteral("Pictures"),  QStringLiteral("Downloads"), QStringLiteral("Desktop"),
    QStringLiteral("Documents"), QStringLiteral("Movies"),
};

/// The role of each offered folder among a Linux desktop's user folders (user-dirs.dirs), which
/// may have other names ("Bilder") or be switched off.
inline std::optional<KSTLinuxPlaces::UserFolder> linuxRoleOf(const QString &folder)
{
    using Role = KSTLinuxPlaces::UserFolder;
    static const QList<QPair<QString, Role>> roles = {
        {QStringLiteral("Pictures"), Role::Pictures},
        {QStringLiteral("Downloads"), Role::Downloads},
        {QStringLiteral("Desktop"), Role::Desktop},
        {QStringLiteral("Documents"), Role::Documents},
        {QStringLiteral("Movies"), Role::Movies},
    };
    for (const auto &[name, role] : roles) {
        if (name == folder)
            return role;
    }
    return std::nullopt;
}

/// Hidden under the mac layout although its name has no leading dot: macOS flags the home's
/// Library folder hidden.
inline const QString hiddenLibraryFolder = QStringLiteral("Library");

/// Never read (the access layer's privacy rule); also recognised by identity inside a walk.
inline const QString musicFolder = QStringLiteral("Music");

/// Folders with these extensions (any letter case) are packages: a walk neither enters nor
/// compares them.
inline const QStringList packageExtensions = {
    QStringLiteral("app"),           QStringLiteral("appex"),
    QStringLiteral("bundle"),        QStringLiteral("component"),
    QStringLiteral("framework"),     QStringLiteral("kext"),
    QStringLiteral("plugin"),        QStringLiteral("prefpane"),
    QStringLiteral("qlgenerator"),   QStringLiteral("mdimporter"),
    QStringLiteral("saver"),         QStringLiteral("service"),
    QStringLiteral("xpc"),           QStringLiteral("systemextension"),
    QStringLiteral("wdgt"),          QStringLiteral("photoslibrary"),
    QStringLiteral("photolibrary"),  QStringLiteral("musiclibrary"),
    QStringLiteral("ituneslibrary"), QStringLiteral("aplibrary"),
    QStringLiteral("imovielibrary"), QStringLiteral("fcpbundle"),
    QStringLiteral("tvlibrary"),     QStringLiteral("theater"),
    QStringLiteral("rtfd"),          QStringLiteral("pkg"),
    QStringLiteral("mpkg"),          QStringLiteral("download"),
    QStringLiteral("xcodeproj"),     QStringLiteral("xcworkspace"),
    QStringLiteral("xcarchive"),     QStringLiteral("playground"),
    QStringLiteral("dsym"),          QStringLiteral("scptd"),
    QStringLiteral("sparsebundle"),  QStringLiteral("band"),
    QStringLiteral("logicx"),        QStringLiteral("pages"),
    QStringLiteral("numbers"),       QStringLiteral("key"),
    QStringLiteral("nib"),           QStringLiteral("docset"),
};

} // namespace KSTDuplicateLocations
