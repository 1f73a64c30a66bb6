#pragma once

#include <QString>
#include <QStringList>

/// Which paths secure erase may touch, by path alone (see KSTUtilitiesManager).
namespace KSTEraseRules {

QString standardizedPath(const QString &path);
bool isProtectedSystemPath(const QString &path);
bool isVolumeMountPoint(const QString &path);
/// The entries of a volume's root that erasing the volume keeps, by the current layout.
QStringList volumeEntriesKept();

} // namespace KSTEraseRules
