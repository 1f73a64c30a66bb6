#pragma once

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

/// Every place the App Manage engine reads or removes, in one table. Bundle paths are
/// relative to a bundle ("/Contents/…", appended to its path); system paths are fixed macOS
/// paths resolved under the analysed root (KSTEnvironment::systemPath), "%1" standing for
/// the login name; home templates are relative to the accessible home, "%1" standing for a
/// token.
namespace KSTAppManageLocations {

// ---- Inside a bundle ----
inline const QString infoPlist = QStringLiteral("/Contents/Info.plist");
inline const QString executableFolder = QStringLiteral("/Contents/MacOS");
inline const QString resourcesFolder = QStringLiteral("/Contents/Resources");
inline const QString infoPlistStrings = QStringLiteral("InfoPlist.strings");
inline const QString appStoreReceipt = QStringLiteral("/Contents/_MASReceipt/receipt");
inline const QString appStoreRereceipt = QStringLiteral("/Contents/_MASReceipt/rereceipt");
/// Where bundles keep the helpers, extensions and frameworks whose identifiers also name the
/// app's files, searched two levels deep.
inline const QStringList embeddedBundleFolders = {QStringLiteral("/Contents/PlugIns"),
                                                  QStringLiteral("/Contents/Frameworks"),
                                                  QStringLiteral("/Contents/XPCServices"),
                                                  QStringLiteral("/Contents/Helpers"),
                                                  QStringLiteral("/Contents/Library/LoginItems"),
                                                  QStringLiteral("/Contents/Resources")};
inline constexpr int embeddedBundleDepth = 2;

// ---- The machine ----
/// Bundles below this (Mac path) are part of the operating system.
inline const QString systemFolderPrefix = QStringLiteral("/System/");
/// The analysed user's language list (home-relative, with the leading slash).
inline const QString globalPreferences =
    QStringLiteral("/Library/Preferences/.GlobalPreferences.plist");

// ---- Related paths ----
inline const QString containers = QStringLiteral("Library/Containers");
inline const QString groupContainers = QStringLiteral("Library/Group Containers");
inline const QString launchAgents = QStringLiteral("/Users/%1/Library/LaunchAgents");
/// Folders whose entries are matched by name, in this order (system paths).
inline const QStringList sharedFolders = {
    QStringLiteral("/Users/%1/Library/Application Support/CrashReporter"),
    QStringLiteral("/Users/%1/Library/Logs/DiagnosticReports"),
    QStringLiteral("/private/var/db/BootCaches"),
    QStringLiteral("/Users/%1/Library/Caches/com.apple.helpd/Generated"),
    QStringLiteral("/Users/%1/Library/Application Support/com.apple.sharedfilelist/"
                   "com.apple.LSSharedFileList.ApplicationRecentDocuments"),
    QStringLiteral("/Users/Shared"),
    QStringLiteral("/Users/%1/Library/Cookies"),
    QStringLiteral("/private/var/db/receipts")};
/// Per-user temporary folders, listed four levels deep.
inline const QString temporaryFolders = QStringLiteral("/private/var/folders");
inline constexpr int temporaryFolderDepth = 4;
/// Home templates filled with one token, in this order.
inline const QStringList directTemplates = {
    QStringLiteral("Library/Caches/%1"),
    QStringLiteral("Library/Preferences/%1.plist"),
    QStringLiteral("Library/Application Support/%1"),
    QStringLiteral("Library/Logs/%1"),
    QStringLiteral("Library/Containers/%1"),
    QStringLiteral("Library/Saved Application State/%1.savedState"),
    QStringLiteral("Library/WebKit/%1"),
    QStringLiteral("Library/HTTPStorages/%1"),
    QStringLiteral("Library/Cookies/%1.binarycookies")};
/// Installer receipts, filled with the bundle identifier (system paths).
inline const QStringList receiptTemplates = {QStringLiteral("/private/var/db/receipts/%1.plist"),
                                             QStringLiteral("/private/var/db/receipts/%1.bom")};

// ---- Removal ----
/// Where an uninstall may act besides the home (system paths).
inline const QString applications = QStringLiteral("/Applications");
inline const QString receipts = QStringLiteral("/private/var/db/receipts");
inline const QString homeApplications = QStringLiteral("Applications");
/// Home folders never listed as related paths (besides the home, ~/Library and every folder
/// directly in it).
inline const QStringList neverListedHomeFolders = {
    QStringLiteral("Applications"), QStringLiteral("Desktop"), QStringLiteral("Documents"),
    QStringLiteral("Downloads"),    QStringLiteral("Movies"),  QStringLiteral("Music"),
    QStringLiteral("Pictures"),     QStringLiteral("Public"),  QStringLiteral(".Trash")};
inline const QString library = QStringLiteral("Library");

// ---- A Linux desktop (the linux layout) ----
/// Freedesktop menu categories and the category label each stands for; the first row whose
/// category an entry lists wins (the specific additional categories before the main ones).
inline const QList<QPair<QString, QString>> desktopCategoryLabels = {
    {QStringLiteral("Photography"), QStringLiteral("Photography")},
    {QStringLiteral("Finance"), QStringLiteral("Finance")},
    {QStringLiteral("News"), QStringLiteral("News")},
    {QStringLiteral("Chat"), QStringLiteral("Social")},
    {QStringLiteral("InstantMessaging"), QStringLiteral("Social")},
    {QStringLiteral("Audio"), QStringLiteral("Audio")},
    {QStringLiteral("Video"), QStringLiteral("Video")},
    {QStringLiteral("AudioVideo"), QStringLiteral("Video")},
    {QStringLiteral("Development"), QStringLiteral("Developer Tools")},
    {QStringLiteral("Education"), QStringLiteral("Education")},
    {QStringLiteral("Science"), QStringLiteral("Education")},
    {QStringLiteral("Game"), QStringLiteral("Games")},
    {QStringLiteral("Graphics"), QStringLiteral("Design")},
    {QStringLiteral("Office"), QStringLiteral("Productivity")},
    {QStringLiteral("Network"), QStringLiteral("Productivity")},
    {QStringLiteral("Settings"), QStringLiteral("Utilities")},
    {QStringLiteral("System"), QStringLiteral("Utilities")},
    {QStringLiteral("Utility"), QStringLiteral("Utilities")},
};
/// A Linux program's architecture column by its ELF machine (e_machine), in the words Linux
/// uses for processor families (a Mac's labels name Apple's chips).
inline const QList<QPair<quint16, QString>> elfMachineLabels = {
    {3, QStringLiteral("x86")},
    {62, QStringLiteral("x86-64")},
    {40, QStringLiteral("ARM")},
    {183, QStringLiteral("ARM64")},
};
/// The same by a Flatpak deployment's architecture folder.
inline const QList<QPair<QString, QString>> flatpakArchitectureLabels = {
    {QStringLiteral("i386"), QStringLiteral("x86")},
    {QStringLiteral("x86_64"), QStringLiteral("x86-64")},
    {QStringLiteral("arm"), QStringLiteral("ARM")},
    {QStringLiteral("aarch64"), QStringLiteral("ARM64")},
};

/// Related paths: each token in every XDG base dir (cache, config, data, state) and as
/// "~/.<token>"; a Flatpak's sandbox data, a snap's data and the user's autostart entry of the
/// desktop-file ID are the application's for sure (home- or config-relative, "%1" the
/// Flatpak ID, snap name or desktop-file ID).
inline const QString desktopHiddenHomeTemplate = QStringLiteral(".%1");
inline const QString flatpakDataTemplate = QStringLiteral(".var/app/%1");
inline const QString snapDataTemplate = QStringLiteral("snap/%1");
inline const QString autostartTemplate = QStringLiteral("autostart/%1.desktop");
/// The user's own autostart entries and systemd units (config-relative folders) whose program
/// is the application's are the application's for sure; at most desktopRunnerFilesPerFolder
/// names are looked at in each folder.
inline const QString userAutostartFolder = QStringLiteral("autostart");
inline const QString userUnitFolder = QStringLiteral("systemd/user");
inline constexpr qsizetype desktopRunnerFilesPerFolder = 512;
/// Home folders a desktop's related paths never are (nor any folder holding one), besides the
/// home, the base dirs and the user folders.
inline const QStringList desktopNeverListedHomeFolders = {
    QStringLiteral(".local"),
    QStringLiteral(".var/app"),
    QStringLiteral("snap"),
    QStringLiteral("Applications"),
    QStringLiteral(".ssh"),
    QStringLiteral(".gnupg"),
    QStringLiteral(".pki"),
    QStringLiteral(".local/share/keyrings"),
    QStringLiteral(".local/share/applications"),
    QStringLiteral(".local/share/flatpak"),
    QStringLiteral(".config/autostart"),
    QStringLiteral(".config/systemd")};

/// What a person runs to remove what App Manage will not: a distribution package, a snap, a
/// Flatpak of the system installation ("%1": the package, snap or Flatpak), in the error's
/// sentence.
inline const QString packageRemoveCommand = QStringLiteral("sudo apt remove %1");
inline const QString snapRemoveCommand = QStringLiteral("sudo snap remove %1");
inline const QString systemFlatpakUninstallCommand = QStringLiteral("flatpak uninstall %1");
inline const QString packageManagerHint =
    QStringLiteral("Installed by the system's package manager: remove it with apt.");
inline const QString packageManagerRefusal =
    QStringLiteral("Installed by a package manager: run “%1” to uninstall it.");
/// A Flatpak of the user's own installation is uninstalled by flatpak itself, without a question
/// and never with more rights than the user's.
inline const QString flatpakTool = QStringLiteral("/usr/bin/flatpak");
inline const QStringList userFlatpakUninstallArguments = {
    QStringLiteral("uninstall"), QStringLiteral("--user"), QStringLiteral("--noninteractive")};
inline constexpr int flatpakUninstallTimeoutMs = 300'000;

/// The preference key of the last uninstall's moved items (standard preferences).
inline const QString lastUninstallItemsKey = QStringLiteral("KSTLastUninstallItems");

} // namespace KSTAppManageLocations
