#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// Every place and tool the Utilities read or act on, in one table. Paths starting with "/"
/// are the analysed Mac's fixed paths (resolved under its root with
/// KSTEnvironment::systemPath); the others are relative to the analysed home.
namespace KSTUtilitiesLocations {

// ---- Startup items ----
inline const QString UserLaunchAgents = QStringLiteral("Library/LaunchAgents");
inline const QString GlobalLaunchAgents = QStringLiteral("/Library/LaunchAgents");
inline const QString LaunchDaemons = QStringLiteral("/Library/LaunchDaemons");
inline const QString Launchctl = QStringLiteral("/bin/launchctl");
/// What a disabled launch plist's name gets at its end.
inline const QString DisabledSuffix = QStringLiteral(".disabled");

// ---- Startup items on a Linux desktop ----
/// Below the config home and each config dir (the home's first): the XDG autostart entries.
inline const QString Autostart = QStringLiteral("autostart");
/// Below the config home: the user's own units, enabled by links in its "*.wants" folders.
inline const QString UserUnits = QStringLiteral("systemd/user");
/// Units enabled for every user, which a user cannot disable.
inline const QString GlobalUserUnits = QStringLiteral("/etc/systemd/user");
/// Services the system starts.
inline const QString SystemUnits = QStringLiteral("/etc/systemd/system");
inline const QString Systemctl = QStringLiteral("/usr/bin/systemctl");
/// The type labels of the autostart entries, user units and system services.
inline const QString AutostartLabel = QStringLiteral("Autostart Entry");
inline const QString UserUnitLabel = QStringLiteral("User Service");
inline const QString SystemUnitLabel = QStringLiteral("System Service");

// ---- Secure erase ----
/// Paths under these (and the roots themselves) are never erased, on the host and under the
/// analysed root alike.
inline const QStringList ProtectedRoots = {QStringLiteral("/"),       QStringLiteral("/System"),
                                           QStringLiteral("/usr"),    QStringLiteral("/bin"),
                                           QStringLiteral("/sbin"),   QStringLiteral("/var"),
                                           QStringLiteral("/private")};
/// Under a root other than "/", the analysed Mac's volumes are the folders here.
inline const QString Volumes = QStringLiteral("/Volumes");
/// Entries of a volume's root that erasing the volume leaves in place.
inline const QStringList VolumeEntriesKept = {
    QStringLiteral(".Trashes"), QStringLiteral(".DS_Store"), QStringLiteral(".fseventsd"),
    QStringLiteral(".Spotlight-V100")};

/// The same on a Linux desktop: the system's own folders, the kernel's and the running
/// system's file systems. /run holds removable media in /run/media, which stays the user's.
inline const QStringList LinuxProtectedRoots = {
    QStringLiteral("/"),       QStringLiteral("/usr"),   QStringLiteral("/etc"),
    QStringLiteral("/boot"),   QStringLiteral("/bin"),   QStringLiteral("/sbin"),
    QStringLiteral("/lib"),    QStringLiteral("/lib32"), QStringLiteral("/lib64"),
    QStringLiteral("/libx32"), QStringLiteral("/var"),   QStringLiteral("/run"),
    QStringLiteral("/proc"),   QStringLiteral("/sys"),   QStringLiteral("/dev"),
    QStringLiteral("/snap")};
inline const QStringList LinuxUnprotectedFolders = {QStringLiteral("/run/media")};
/// Under a root other than "/", a Linux desktop's removable volumes are the folders in these
/// folders followed by the login ("/media/alice/USB").
inline const QStringList LinuxVolumeParents = {QStringLiteral("/media"),
                                               QStringLiteral("/run/media")};
/// Entries of a Linux volume's root that erasing the volume leaves in place (with the
/// volume's own trash, ".Trash-<uid>").
inline const QStringList LinuxVolumeEntriesKept = {QStringLiteral("lost+found"),
                                                   QStringLiteral(".Trash")};

// ---- Default apps ----
/// Folders whose direct ".app" entries declare the listed types.
inline const QStringList ApplicationFolders = {QStringLiteral("/Applications"),
                                               QStringLiteral("/System/Applications")};
inline const QString HomeApplications = QStringLiteral("Applications");
inline const QString InfoPlist = QStringLiteral("Contents/Info.plist");
/// The user's Launch Services choices (LSHandlers).
inline const QString LaunchServicesFolder =
    QStringLiteral("Library/Preferences/com.apple.LaunchServices");
inline const QString LaunchServicesPlist =
    QStringLiteral("Library/Preferences/com.apple.LaunchServices/"
                   "com.apple.launchservices.secure.plist");

/// Where an application bundle keeps the icon file its Info.plist names (CFBundleIconFile).
inline const QString BundleResources = QStringLiteral("Contents/Resources");
/// The icon theme folders a desktop entry's Icon= name is looked up in, in this order (the
/// home's first, as the freedesktop look-up does), each with the sizes below; then the
/// pixmaps folder, whose files are named by the icon alone.
inline const QString HomeIconTheme = QStringLiteral(".local/share/icons/hicolor");
inline const QStringList SystemIconThemes = {QStringLiteral("/usr/local/share/icons/hicolor"),
                                             QStringLiteral("/usr/share/icons/hicolor")};
/// Sizes nearest the screen's 14-48 pixel icons first, then larger, then smaller.
inline const QStringList IconThemeSizes = {
    QStringLiteral("48x48"),    QStringLiteral("64x64"),   QStringLiteral("96x96"),
    QStringLiteral("128x128"),  QStringLiteral("256x256"), QStringLiteral("512x512"),
    QStringLiteral("scalable"), QStringLiteral("32x32"),   QStringLiteral("24x24"),
    QStringLiteral("22x22"),    QStringLiteral("16x16")};
inline const QString Pixmaps = QStringLiteral("/usr/share/pixmaps");
inline const QStringList IconFileExtensions = {QStringLiteral("png"), QStringLiteral("svg"),
                                               QStringLiteral("xpm")};

// ---- Default apps on a Linux desktop ----
/// The user's and the system's choices: below the config home and each config dir, then
/// below the data home and each data dir (the XDG order).
inline const QString MimeAppsList = QStringLiteral("mimeapps.list");
inline const QString DataMimeAppsList = QStringLiteral("applications/mimeapps.list");
inline const QByteArray DefaultApplicationsGroup = QByteArrayLiteral("Default Applications");
/// Below each data dir: the extensions of the MIME types.
inline const QString MimeGlobs = QStringLiteral("mime/globs2");
/// Types an application lists that are not files' types (URL schemes).
inline const QString SchemeHandlerPrefix = QStringLiteral("x-scheme-handler/");

// ---- Trash origins ----
inline const QString Trash = QStringLiteral(".Trash");
inline const QString TrashStore = QStringLiteral(".DS_Store");
inline const QString QuarantineDatabase =
    QStringLiteral("Library/Preferences/com.apple.LaunchServices.QuarantineEventsV2");
inline const QString WhereFromsAttribute = QStringLiteral("com.apple.metadata:kMDItemWhereFroms");
inline const QString QuarantineAttribute = QStringLiteral("com.apple.quarantine");
/// A Linux desktop's home Trash, below the data home: the items in files/, each described
/// by info/<name>.trashinfo.
inline const QString LinuxTrash = QStringLiteral("Trash");
inline const QString LinuxTrashFiles = QStringLiteral("files");
inline const QString LinuxTrashInfo = QStringLiteral("info");
inline const QString TrashInfoSuffix = QStringLiteral(".trashinfo");
/// Where a desktop records the URL a file was downloaded from (read with the "user." prefix).
inline const QString OriginUrlAttribute = QStringLiteral("xdg.origin.url");
/// Linux keeps attributes an unprivileged user may set in the "user." namespace.
inline const QString LinuxAttributePrefix = QStringLiteral("user.");

// ---- Home-folder sizes ----
inline const QStringList HomeFolders = {
    QStringLiteral("Applications"), QStringLiteral("Desktop"),  QStringLiteral("Documents"),
    QStringLiteral("Downloads"),    QStringLiteral("Library"),  QStringLiteral("Movies"),
    QStringLiteral("Music"),        QStringLiteral("Pictures"), QStringLiteral("Public"),
    QStringLiteral("Developer")};
/// On a Linux desktop: the user folders (by their own names) and these hidden ones.
inline const QStringList LinuxHiddenHomeFolders = {
    QStringLiteral(".cache"), QStringLiteral(".config"), QStringLiteral(".local"),
    QStringLiteral(".var")};
inline const QString Du = QStringLiteral("/usr/bin/du");

} // namespace KSTUtilitiesLocations
