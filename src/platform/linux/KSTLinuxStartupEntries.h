#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class KSTEnvironment;

/// One thing a Linux desktop starts on its own: an XDG autostart entry or an enabled systemd
/// service.
struct KSTLinuxStartupEntry
{
    QString name;       ///< the entry's Name (localised), else the identifier
    QString identifier; ///< the desktop-file ID without ".desktop", or the unit's file name
    /// The program it runs: the machine's absolute path when the first word of Exec= or
    /// ExecStart= is one or names a file in /usr/local/bin, /usr/bin or /bin; else as written.
    QString program;
    QString path; ///< the entry file, or the unit's first ".wants" link, as found on this host
    bool operator==(const KSTLinuxStartupEntry &) const = default;
};

/// Reading what starts with a Linux desktop from the analysed machine's files.
///
/// Everything read is hostile: folders are listed without following a link below the home or
/// root (a folder that is a link lists nothing), at most maximumEntries names per folder;
/// entry and unit files are read through KSTRootedPath (links followed inside the root only)
/// within KSTDesktopEntry's and KSTSystemdUnit's caps, and only when regular files, so a FIFO
/// never blocks a scan. Holds nothing; thread-safe.
namespace KSTLinuxStartupEntries {

constexpr int maximumEntries = 1024;

/// The autostart entries of @p folders (absolute, resolved under the root, most important
/// first: the user's before the system's). An entry's file name decides: the first folder
/// holding a name wins, and when that file says Hidden=true or X-GNOME-Autostart-enabled=false
/// (or is no [Desktop Entry]) the name is off everywhere. Sorted by file name within a folder.
/// @p locale chooses the Name as KSTDesktopEntry::parse() does.
QList<KSTLinuxStartupEntry> autostartEntries(const KSTEnvironment &environment,
                                             const QStringList &folders, const QString &locale);

/// The enabled services of the unit folder @p unitFolder: the "*.service" entries of its
/// "*.wants" folders (in name order), one per unit name, its path the first link met.
QList<KSTLinuxStartupEntry> enabledServices(const KSTEnvironment &environment,
                                            const QString &unitFolder);

/// Every "<unitFolder>/*.wants/<unitName>" entry there is (a link or not), in name order.
QStringList wantsEntries(const QString &unitFolder, const QString &unitName);

/// @p word as a machine path: itself when absolute, else the first of /usr/local/bin,
/// /usr/bin, /bin holding an entry of that name under the root, else @p word.
QString programPath(const KSTEnvironment &environment, const QString &word);

} // namespace KSTLinuxStartupEntries
