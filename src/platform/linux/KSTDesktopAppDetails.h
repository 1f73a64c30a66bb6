#pragma once

#include "KSTDesktopEntryCatalog.h"
#include "KSTEnvironment.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <optional>

/// What a Linux desktop keeps about one of its applications beyond the menu entry: the
/// version, the developer, the program a menu starts and the dates, each from the file its
/// installer wrote.
///
/// - version: the owning dpkg package's Version; a snap's meta/snap.yaml "version" (of the
///   mounted revision /snap/<name>/current); a Flatpak's newest AppStream release (its
///   deployment's files/share/metainfo/<id>.metainfo.xml, else …/<id>.appdata.xml, else the
///   same two in files/share/appdata);
/// - developer: the Flatpak's AppStream developer name (packages and snaps name none);
/// - program: the Exec line's program resolved under the root (an absolute path, else the
///   first of /usr/local/bin, /usr/bin, /bin holding it), an AppImage itself; its ELF machine;
///   a Flatpak's architecture is its deployment's (…/<id>/current → <arch>/<branch>);
/// - last opened: GNOME Shell's application_state last-seen of the ID, else the program's
///   access time (not for a Flatpak or snap: their Exec starts the launcher all of them
///   share); installed: the entry's (or AppImage's) birth time, or its modification time
///   when later.
///
/// Every file is the analysed machine's and hostile: paths are resolved with KSTRootedPath
/// (no link leads out of the root), read through KSTQuietFiles (no link below the root, no
/// FIFO or device, capped, access times kept) and parsed by capped parsers. The constructor
/// reads dpkg's status and application_state once; details() may then run on any thread.
class KSTDesktopAppDetailsReader
{
public:
    struct Details
    {
        QString version;
        QString developer;
        QString program;                ///< the resolved program; empty when not found
        std::optional<quint16> machine; ///< the program's ELF e_machine
        QString flatpakArchitecture;    ///< "x86_64", "aarch64", … for a Flatpak
        std::optional<QDateTime> installedDate;
        std::optional<QDateTime> lastOpenedDate;
    };

    explicit KSTDesktopAppDetailsReader(const KSTEnvironment &environment);

    Details details(const KSTDesktopApplication &application) const;

    /// The program of an Exec line: its first word (one pair of double quotes removed, an
    /// "env" and its VAR=value words skipped); empty when there is none.
    static QString programOfExec(const QString &exec);
    /// The host path of @p program as the analysed machine would run it: an absolute path
    /// under the root, a plain name in /usr/local/bin, /usr/bin or /bin; no link leads out of
    /// the root. Empty when it is not there.
    static QString resolveProgram(const KSTEnvironment &environment, const QString &program);

private:
    void readFlatpak(const KSTDesktopApplication &application, Details &details) const;
    void readSnap(const KSTDesktopApplication &application, Details &details) const;

    KSTEnvironment m_environment;
    QHash<QString, QString> m_packageVersions;
    QHash<QString, qint64> m_lastSeen; ///< by desktop-file ID without ".desktop"
};
