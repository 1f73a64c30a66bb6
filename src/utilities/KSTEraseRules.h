#pragma once

#include <QString>

/// Which paths secure erase may touch, by path alone (see KSTUtilitiesManager).
namespace KSTEraseRules {

QString standardizedPath(const QString &path);
bool isProtectedSystemPath(const QString &path);
bool isVolumeMountPoint(const QString &path);

} // namespace KSTEraseRules
