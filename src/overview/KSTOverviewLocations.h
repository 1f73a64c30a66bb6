#pragma once

#include "KSTEnvironment.h"
#include "KSTLinuxPlaces.h"

#include <QString>
#include <QStringList>

/// Every place the Overview engine reads, in one table. System paths are fixed absolute
/// paths resolved under the analysed root (KSTEnvironment::systemPath); home paths are
/// relative to the accessible home folder.
namespace KSTOverviewLocations {

/// Where applications are installed system-wide, in search order.
inline const QStringList applicationRoots = {QStringLiteral("/Applications"),
                                             QStringLiteral("/System/Applications")};

/// Home-relative folders of the storage categories.
inline const QString homeApplications = QStringLiteral("Applications");
inline const QString homeDocuments = QStringLiteral("Documents");
inline const QStringList homeMedia = {QStringLiteral("Movies"), QStringLiteral("Pictures")};

/// Home-relative folders searched for stray application bundles, outside and inside a
/// sandbox (where only the media and developer folders may be read).
inline const QStringList userAppFolders = {QStringLiteral("Desktop"),   QStringLiteral("Documents"),
                                           QStringLiteral("Downloads"), QStringLiteral("Movies"),
                                           QStringLiteral("Pictures"),  QStringLiteral("Public"),
                                           QStringLiteral("Developer")};
inline const QStringList sandboxedUserAppFolders = {
    QStringLiteral("Movies"), QStringLiteral("Pictures"), QStringLiteral("Public"),
    QStringLiteral("Developer")};

/// Folder names never searched for bundles: build products, package caches, the music
/// library and version-control data.
inline const QStringList userAppSearchSkippedNames = {
    QStringLiteral("Library"), QStringLiteral("node_modules"), QStringLiteral("DerivedData"),
    QStringLiteral("Pods"),    QStringLiteral(".git"),         QStringLiteral("Build"),
    QStringLiteral("Music"),   QStringLiteral("Intermediates")};

/// The hardware report and the tool that prints it.
inline const QString systemProfiler = QStringLiteral("/usr/sbin/system_profiler");
inline const QString systemProfilerHardwareLine =
    QStringLiteral("/usr/sbin/system_profiler SPHardwareDataType");

/// The operating-system version of a Mac volume.
inline const QString systemVersionPlist =
    QStringLiteral("/System/Library/CoreServices/SystemVersion.plist");
/// The computer name a Mac volume stores (System → System → ComputerName).
inline const QString systemConfigurationPreferences =
    QStringLiteral("/Library/Preferences/SystemConfiguration/preferences.plist");

/// The user folders of the storage categories on a Linux desktop (KSTLinuxPlaces).
inline constexpr KSTLinuxPlaces::UserFolder linuxDocuments = KSTLinuxPlaces::UserFolder::Documents;
inline constexpr KSTLinuxPlaces::UserFolder linuxMedia[] = {KSTLinuxPlaces::UserFolder::Movies,
                                                            KSTLinuxPlaces::UserFolder::Pictures};

/// Which catalog lists a layout's applications: bundles in the Applications folders, or the
/// desktop entries (and AppImages) a Linux menu shows.
enum class ApplicationCatalog { Bundles, DesktopEntries };
inline ApplicationCatalog applicationCatalog(KSTLayout layout)
{
    return layout == KSTLayout::Mac ? ApplicationCatalog::Bundles
                                    : ApplicationCatalog::DesktopEntries;
}

} // namespace KSTOverviewLocations
