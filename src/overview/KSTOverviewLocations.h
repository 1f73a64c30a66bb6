#pragma once

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

} // namespace KSTOverviewLocations
