#pragma once

#include "KSTFixtureMachine.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

/// A Debian 12 machine under a temporary root, as KSTFixtureMac is a Mac: one user with an
/// entry in etc/passwd and an English home (Desktop, Documents, Downloads, Music, Pictures,
/// Public, Templates, Videos and ~/.config/user-dirs.dirs naming them), etc/os-release, and
/// builders for what a Linux desktop keeps: desktop entries, dpkg records, Flatpaks, snaps,
/// AppImages, mimeapps.list, the freedesktop Trash, DMI and cpuinfo.
///
/// environment() has the linux layout and the passwd entry's user id, as
/// KSTEnvironment::fromOptions() finds them for this root.
class KSTFixtureLinux : public KSTFixtureMachine
{
public:
    /// Builds the machine with one user @p login (home /home/<login>) of user id @p userId.
    explicit KSTFixtureLinux(const QString &login = QStringLiteral("alice"), uint userId = 1000);

    /// One line of ~/.config/user-dirs.dirs: the key's middle ("PICTURES") and the value
    /// exactly as it stands between the quotes ("$HOME/Bilder", "/srv/photos", "$HOME/").
    using UserDir = QPair<QString, QString>;
    /// Rewrites ~/.config/user-dirs.dirs with these lines (creating each "$HOME/…" folder).
    QString writeUserDirs(const QList<UserDir> &lines);
    /// etc/os-release of a Debian 12 machine (the default) or the given text.
    QString writeOsRelease(const QByteArray &contents = debianOsRelease());
    static QByteArray debianOsRelease();

    /// Adds a passwd line for another user; the folder under home is made too.
    QString addUser(const QString &login, uint userId);
    /// etc/default/locale naming @p lang ("de_DE.UTF-8").
    QString setLocale(const QString &lang);
    /// sys/class/dmi/id/sys_vendor and product_name.
    void setDmi(const QString &vendor, const QString &product);
    /// proc/cpuinfo with one processor of this model name (two lines per processor as the
    /// kernel prints them, shortened to what readers look at).
    QString writeCpuInfo(const QString &modelName, int processors = 4);
    /// addTool() printing a recording of tests/data/linux ("debian-vm/tools/lsblk-J.json").
    QString addRecordedTool(const QString &toolPath, const QString &recordedName, int exitCode = 0);
    /// An executable at a root-relative path ("usr/bin/gedit"), for Exec and TryExec.
    QString addExecutable(const QString &rootRelative);

    // ---- Desktop entries ----
    /// Where a desktop entry file lies.
    enum class EntryPlace {
        System,        ///< usr/share/applications
        User,          ///< ~/.local/share/applications
        FlatpakSystem, ///< var/lib/flatpak/exports/share/applications
        FlatpakUser,   ///< ~/.local/share/flatpak/exports/share/applications
        Snap,          ///< var/lib/snapd/desktop/applications
    };
    /// The root-relative folder of @p place for this user.
    QString entryFolder(EntryPlace place) const;

    struct DesktopEntry
    {
        QString fileName; ///< "org.gnome.TextEditor.desktop" (may hold "/" for a subfolder)
        QString name;
        QString exec;
        QString tryExec; ///< left out when empty
        QString type = QStringLiteral("Application");
        bool noDisplay = false;
        bool hidden = false;
        QByteArray extraLines; ///< further lines of the [Desktop Entry] group
        EntryPlace place = EntryPlace::System;
    };
    static QByteArray desktopEntryText(const DesktopEntry &entry);
    QString addDesktopEntry(const DesktopEntry &entry);

    // ---- Packages ----
    struct DebPackage
    {
        QString name;
        QString version = QStringLiteral("1.0-1");
        qint64 installedSizeKiB = 0;
        QString architecture = QStringLiteral("amd64");
        QStringList files; ///< absolute as dpkg lists them; their folders are listed too
    };
    /// Appends the package's stanza to var/lib/dpkg/status and writes info/<name>.list.
    void addDebPackage(const DebPackage &package);

    struct Flatpak
    {
        QString id;   ///< "org.gnome.Calculator"
        QString name; ///< the exported entry's Name
        bool user = false;
        qint64 payloadBytes = 0; ///< one file in files/ of the deployment
        QString arch = QStringLiteral("x86_64");
        QString branch = QStringLiteral("stable");
        QString commit =
            QStringLiteral("5c1a33c1e0f2ab67d0f5e2b1d0c4e9a8f7b6c5d4e3f2a1b0c9d8e7f6a5b4c3d2");
    };
    /// A deployed Flatpak as flatpak lays it out: app/<id>/<arch>/<branch>/<commit>/ with the
    /// links current → <arch>/<branch> and active → <commit>, its desktop entry in
    /// export/share/applications and the relative link to it from the exports folder.
    /// Returns the deployment folder (…/<commit>).
    QString addFlatpak(const Flatpak &flatpak);

    struct Snap
    {
        QString name;
        QString app;         ///< the desktop entry is <name>_<app>.desktop
        QString displayName; ///< its Name
        QString revision = QStringLiteral("42");
        qint64 snapBytes = 0;
    };
    /// var/lib/snapd/snaps/<name>_<revision>.snap, the link snap/<name>/current → revision
    /// and the entry snapd writes in var/lib/snapd/desktop/applications. Returns the .snap.
    QString addSnap(const Snap &snap);

    /// A home file of @p bytes that is an AppImage of type 2 (an ELF file with "AI\x02" at
    /// offset 8).
    QString addAppImage(const QString &homeRelative, qint64 bytes);
    static QByteArray appImageBytes(qint64 bytes);

    /// ~/.config/mimeapps.list.
    QString writeMimeApps(const QByteArray &contents);
    /// An item of the freedesktop Trash: files/<name> and info/<name>.trashinfo naming
    /// @p originalPath (as the machine spells it) and @p deleted.
    QString addTrashItem(const QString &name, const QByteArray &contents,
                         const QString &originalPath, const QDateTime &deleted);

    // ---- Startup ----
    /// An XDG autostart entry: ~/.config/autostart/<fileName> when @p user, else
    /// etc/xdg/autostart/<fileName>. Returns the entry.
    QString addAutostartEntry(const QString &fileName, const QByteArray &contents, bool user);
    /// A unit file of @p execStart enabled by a link in <folder>/<wantedBy>.wants, the unit
    /// lying in @p unitFolder (root-relative: "usr/lib/systemd/user"), the link in
    /// @p enabledFolder (root-relative: "home/alice/.config/systemd/user", "etc/systemd/system").
    /// Returns the link.
    QString addEnabledUnit(const QString &unitFolder, const QString &enabledFolder,
                           const QString &wantedBy, const QString &unitName,
                           const QString &execStart);

    // ---- Default applications ----
    /// etc/xdg/mimeapps.list, the system's defaults under the user's.
    QString writeSystemMimeApps(const QByteArray &contents);
    /// usr/share/mime/globs2 with these lines after its header ("50:text/plain:*.txt").
    QString writeGlobs2(const QByteArray &lines);

    // ---- What App Manage reads about applications ----
    /// An executable at a root-relative path whose first 64 bytes are a 64-bit little-endian
    /// ELF header for the machine @p elfMachine (62 x86-64, 183 AArch64).
    QString addElfProgram(const QString &rootRelative, quint16 elfMachine);
    /// Writes @p elfMachine into e_machine (offset 18, little-endian) of an existing ELF file
    /// (an AppImage of addAppImage()).
    static void setElfMachine(const QString &absolutePath, quint16 elfMachine);
    /// Adds @p lines to the [Desktop Entry] group of the entry file at @p absolutePath (right
    /// after its header, before the actions' groups).
    static void addDesktopEntryLines(const QString &absolutePath, const QByteArray &lines);
    /// An AppStream file of a deployment of addFlatpak(): files/share/metainfo/<id>.metainfo.xml
    /// or, with @p legacy, files/share/appdata/<id>.appdata.xml.
    QString writeFlatpakMetainfo(const QString &deployment, const QString &id,
                                 const QByteArray &xml, bool legacy = false);
    /// snap/<name>/<revision>/meta/snap.yaml.
    QString writeSnapYaml(const QString &name, const QString &revision, const QByteArray &yaml);
    /// GNOME Shell's ~/.local/share/gnome-shell/application_state with one running context
    /// listing these desktop-file IDs ("firefox-esr.desktop") and last-seen times.
    QString writeApplicationState(const QList<QPair<QString, QDateTime>> &lastSeen);

private:
    QString writePasswd();

    QList<QPair<QString, uint>> m_users;
};
