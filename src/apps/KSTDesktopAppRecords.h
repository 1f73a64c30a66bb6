#pragma once

#include "KSTAppInventorySnapshot.h"

#include <QList>
#include <QStringList>

#include <optional>

class KSTEnvironment;
struct KSTDesktopApplication;

/// The App Manage records of a Linux desktop's applications: the menu applications the
/// Overview counts (KSTDesktopEntryCatalog, one counting path) with what
/// KSTDesktopAppDetailsReader finds about each, in the record the bundle reader fills on a
/// Mac:
/// - identifier: the desktop-file ID without ".desktop" (an AppImage's file name); bundle
///   path: the entry file, or the AppImage; name: the entry's;
/// - version: the package's, snap's or Flatpak's, else "—"; build version empty;
/// - developer: the AppStream developer, else the os-release NAME for a package, else the
///   name;
/// - category: the first desktopCategoryLabels row the entry lists, else "Other";
/// - architecture: the label of the program's ELF machine (a Flatpak's deployment
///   architecture), "—" when unknown;
/// - source: 2 distribution package, 0 Flatpak or snap, 1 AppImage or local entry;
/// - bundle size: the payload the Overview sizes (0 for a local entry).
/// Thread-safe; reads the analysed machine through the catalog and the details reader.
namespace KSTDesktopAppRecords {

/// The records of every application of @p environment, in catalog order.
QList<KSTInstalledAppRecord> records(const KSTEnvironment &environment);

/// The category label of an entry's Categories.
QString categoryLabel(const QStringList &categories);

/// The architecture label of an ELF machine, or of a Flatpak architecture when
/// @p flatpakArchitecture is not empty.
QString architectureLabel(std::optional<quint16> machine, const QString &flatpakArchitecture);

} // namespace KSTDesktopAppRecords
