#pragma once

#include "KSTAppInventorySnapshot.h"
#include "KSTAppUninstallSelection.h"

#include <QJsonObject>
#include <QTextStream>

/// How `kestrel apps` shows the inventory, one application and an uninstall: readable text
/// (every name and path through KSTTerminalText::escaped) and JSON objects whose keys are the
/// records' property names (dates in ISO 8601 or null, byte counts as integers).
namespace KSTAppsOutput {

/// A related path: displayPath, path, bytes, isStrongMatch, isRemovable, matchRule,
/// matchedToken.
QJsonObject relatedPathJson(const KSTInstalledAppRelatedPath &relatedPath);
/// Every record property but the icon, plus isUnused.
QJsonObject recordJson(const KSTInstalledAppRecord &record);
/// The snapshot's properties with its apps as recordJson().
QJsonObject snapshotJson(const KSTAppInventorySnapshot &snapshot);

/// One line per app (name, version, developer, category, architecture, source, installed,
/// last opened, size), then the totals.
void printInventory(QTextStream &out, const KSTAppInventorySnapshot &snapshot);
/// Every field of @p record, then its related paths with their sizes, how sure each match is
/// and why it matched, the tokens and what an uninstall would remove by default.
void printApp(QTextStream &out, const KSTInstalledAppRecord &record, const QStringList &tokens,
              const KSTAppUninstallSelection &selection);
/// The rows of an uninstall, ticked ones marked "[x]", those that cannot change "(fixed)".
void printRows(QTextStream &out, const KSTAppUninstallSelection &selection);

} // namespace KSTAppsOutput
