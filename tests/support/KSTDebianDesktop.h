#pragma once

#include <QList>
#include <QString>

class KSTFixtureLinux;

/// A lived-in Debian 12 GNOME desktop on a fixture Linux machine, for tests, screenshots and
/// trying the program by hand (kst_fixture_linux).
///
/// Ten desktop applications are visible: five from Debian packages (one through the user's
/// own copy of its entry), a system and a user Flatpak, a snap and two AppImages (in
/// ~/Applications and ~/Downloads). Present but not applications a menu would show: an entry
/// the user hid with Hidden=true over a system one, a NoDisplay entry, an entry whose TryExec
/// program is not installed and a Link entry. Beside them: the DMI and processor of a
/// Dell XPS 13, the Debian 12 os-release, documents, pictures and videos, mimeapps.list and a
/// freedesktop Trash with two items. lsblk and findmnt print what they printed on a Debian 12
/// virtual machine (tests/data/linux/debian-vm/tools), whatever their arguments.
namespace KSTDebianDesktop {

/// One visible application and where its size comes from: a package's Installed-Size in
/// KiB (installedSizeKiB > 0), else the allocated size of payloadPath (a folder or a file).
struct VisibleApp
{
    QString name;
    qint64 installedSizeKiB = 0;
    QString payloadPath;
};

/// Builds the desktop on @p machine and returns its ten visible applications.
QList<VisibleApp> populate(KSTFixtureLinux &machine);

/// What populate() adds for the Utilities: autostart entries (GNOME Software and Evolution's
/// alarms, the latter through the user's own copy, and the user's Nextcloud; the network
/// applet hidden by the user's Hidden=true copy and Orca switched off with
/// X-GNOME-Autostart-enabled=false), the user's enabled Syncthing unit, PipeWire enabled for
/// every user, the CUPS and SSH system services, MimeType lines on the packaged entries, the
/// system's mimeapps.list beside the user's, a globs2 and the host's du linked in. Call once,
/// after the rest.
void populateUtilities(KSTFixtureLinux &machine);
/// What App Manage reads about the applications of populate() (which calls this last):
/// menu categories, ELF programs (Firefox x86-64, Files AArch64, VS Code's /snap/bin/code
/// x86-64, Obsidian an AArch64 AppImage, krita x86-64), AppStream files of both Flatpaks
/// (Calculator's metainfo with its releases oldest first, VLC's legacy appdata), the snap's
/// snap.yaml and GNOME Shell's application_state (Firefox and Calculator seen).
void populateAppDetails(KSTFixtureLinux &machine);

} // namespace KSTDebianDesktop
