#pragma once

#include <QString>

/// Places and names a Debian-like desktop shares between its menu, its applications' details
/// and its snaps, as the analysed machine spells them.
namespace KSTDesktopPlaces {

/// Where the programs that Exec and TryExec lines name without a folder are looked for.
inline constexpr const char *executableFolders[] = {"/usr/local/bin", "/usr/bin", "/bin"};
/// Where snapd mounts each snap ("/snap/<name>/<revision>", "/snap/<name>/current").
inline const QString snapMounts = QStringLiteral("/snap");

/// A name that stands for one entry of a folder, never a way out of it.
inline bool isPlainName(const QString &name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && name != QLatin1String(".") &&
           name != QLatin1String("..");
}

} // namespace KSTDesktopPlaces
