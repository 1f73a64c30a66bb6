#pragma once

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>

/// What dpkg records of the packages installed on the analysed machine: the status file's
/// Installed-Size of each installed package, and which package owns a file (the
/// info/<package>.list files, one path per line).
///
/// Both are hostile input: the status file is read only up to maximumStatusBytes, each list
/// up to maximumListBytes, at most maximumListFiles lists; a larger file, a link or anything
/// but a regular file is not read. Pure parsers plus readers; thread-safe.
namespace KSTDpkgDatabase {

constexpr qint64 maximumStatusBytes = 64 * 1024 * 1024;
constexpr qint64 maximumListBytes = 16 * 1024 * 1024;
constexpr int maximumListFiles = 20000;
/// Larger Installed-Size values (in KiB) are not believed: 2^40 KiB is a petabyte.
constexpr qint64 maximumInstalledSizeKiB = qint64(1) << 40;

/// Installed-Size (KiB) by package name of the stanzas whose Status is "install ok
/// installed" and whose Installed-Size is a plain number. The first stanza of a name wins
/// (a package installed for two architectures counts once).
QHash<QString, qint64> installedSizes(const QByteArray &status);

/// Longer Version values are not believed (Debian's longest are well below 100 bytes).
constexpr qsizetype maximumVersionBytes = 256;

/// Version by package name of the stanzas whose Status is "install ok installed" and whose
/// Version is not empty and at most maximumVersionBytes long; the first stanza of a name wins.
QHash<QString, QString> installedVersions(const QByteArray &status);

/// The lines of a .list file that are in @p wanted.
QSet<QString> listedPaths(const QByteArray &list, const QSet<QString> &wanted);

/// The package name a list file's name stands for ("libfoo1:amd64.list" → "libfoo1"); empty
/// for a name that is no list.
QString packageOfListName(const QString &fileName);

/// Reads <root>/var/lib/dpkg/status (links resolved inside the root) within the caps.
QHash<QString, qint64> readInstalledSizes(const QString &root);
/// installedVersions() of the same file, read the same way.
QHash<QString, QString> readInstalledVersions(const QString &root);

/// The owning package of each of @p machinePaths (paths as the machine spells them,
/// "/usr/share/applications/x.desktop") that some list under <root>/var/lib/dpkg/info names.
QHash<QString, QString> readOwners(const QString &root, const QSet<QString> &machinePaths);

} // namespace KSTDpkgDatabase
