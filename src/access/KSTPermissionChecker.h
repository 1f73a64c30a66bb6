#pragma once

#include "KSTTreeSize.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <optional>

/// Values of fullDiskAccessStatus().
enum KSTFullDiskAccessStatus : qint64 {
    KSTFullDiskAccessStatusGranted = 0,
    /// No row for this application in the privacy database, or it could not be read.
    KSTFullDiskAccessStatusNotListed = 1,
    /// Listed but switched off, or the user was already sent to the settings pane.
    KSTFullDiskAccessStatusListedButOff = 2,
    /// The cached answer says no although a row now grants; stale until a refresh.
    KSTFullDiskAccessStatusStale = 3,
};

/// What the user grants before the engines may read the home: Full Disk Access in the
/// direct-distribution build, the home folder itself (chosen in an open panel) in a sandbox.
enum class KSTAccessGrant {
    FullDiskAccess,
    HomeFolder,
};

#ifdef KESTREL_SANDBOXED_BUILD
inline constexpr bool KSTDirectDistributionBuild = false;
#else
inline constexpr bool KSTDirectDistributionBuild = true;
#endif

/// What the engines ask before they read user files: may this path be read, through which
/// URL; and does the user still have to grant access.
///
/// Two build modes share this code. In the direct-distribution build (this program) the
/// engines read the file system directly and what the user must grant is Full Disk Access;
/// the checker reads the privacy database, probes protected files, words the reminder and
/// notices changes. In a sandboxed build the engines may only read the home folder through a
/// bookmark the user grants once; those branches are kept but dormant here.
///
/// One privacy rule holds in both modes: the user's Music folder and photo/music library
/// packages are never read (shouldSkipPrivacyProtectedPath()).
///
/// "URL" results are local paths; an empty string stands for no URL. The machine analysed
/// is the current KSTEnvironment: the real user home is its home, and on the linux layout,
/// where no privacy database exists, Full Disk Access is granted.
///
/// Every operation may be called from any thread; the cached answers are replaced wholesale
/// and never block. Notifications are posted synchronously on the calling thread's behalf
/// through KSTNotificationCenter (delivered on the main thread).
class KSTPermissionChecker
{
public:
    KSTPermissionChecker() = delete;

    static inline const QString FolderAccessStatusDidChangeNotification =
        QStringLiteral("KSTFolderAccessStatusDidChangeNotification");
    static inline const QString HomeFolderBookmarkDataKey =
        QStringLiteral("KSTHomeFolderBookmarkData");
    static inline const QString FolderAccessRemindLaterKey =
        QStringLiteral("KSTFolderAccessRemindLater");
    static inline const QString UserOpenedFDASettingsKey =
        QStringLiteral("KSTUserOpenedFDASettings");

    // ---- Build mode and home ----

    static constexpr bool isDirectDistributionBuild() { return KSTDirectDistributionBuild; }
    /// False in a direct-distribution build; else whether the home is a sandbox container.
    static bool isRunningSandboxed();
    /// The analysed user's home (the environment's home); "" when unknown.
    static QString realUserHomeDirectoryPath();
    /// Bundle name, else display name, else "Kestrel 3".
    static QString applicationDisplayName();

    // ---- Questions whose answer depends on the build ----
    // Each form with @p sandboxed gives either build's answer; the other gives this build's.

    /// KSTAccessGrant::FullDiskAccess outside a sandbox, KSTAccessGrant::HomeFolder in one.
    static KSTAccessGrant requiredAccessGrant();
    static KSTAccessGrant requiredAccessGrant(bool sandboxed);
    /// The title of the screen that asks for that grant: "Full Disk Access" or "User Folder
    /// Access".
    static QString accessGrantTitle();
    static QString accessGrantTitle(bool sandboxed);
    /// Whether engines may walk the home's own folders (Applications, Documents, the media
    /// folders): always outside a sandbox; in a sandbox only while a home grant is in force.
    static bool mayWalkUserHome();
    static bool mayWalkUserHome(bool sandboxed);
    /// The home's folders a search reads, as relative names: @p folders outside a sandbox,
    /// @p sandboxedFolders (those a sandbox can reach through the grant) in one.
    static QStringList userFoldersToSearch(const QStringList &folders,
                                           const QStringList &sandboxedFolders);
    static QStringList userFoldersToSearch(const QStringList &folders,
                                           const QStringList &sandboxedFolders, bool sandboxed);
    /// Where searches of those folders start: outside a sandbox each of @p folders inside the
    /// accessible home; in a sandbox @p sandboxedFolders as they stand (relative names, which
    /// the granted home resolves).
    static QStringList userFolderSearchRoots(const QStringList &folders,
                                             const QStringList &sandboxedFolders);
    static QStringList userFolderSearchRoots(const QStringList &folders,
                                             const QStringList &sandboxedFolders, bool sandboxed);

    // ---- Full Disk Access ----

    /// Cached after the first call: the privacy database decides when it has a row for one of
    /// the client identifiers, else the critical probes. Always true on the linux layout.
    static bool hasFullDiskAccess();
    /// False when sandboxed, else !hasFullDiskAccess().
    static bool needsFullDiskAccessReminder();
    static KSTFullDiskAccessStatus fullDiskAccessStatus();
    /// "Turn On Full Disk Access" for status 2, else "Allow Full Disk Access".
    static QString fullDiskAccessReminderTitle();
    static QString fullDiskAccessReminderMessage();
    /// Marks the cached answer invalid; the next hasFullDiskAccess() recomputes it.
    static void invalidateFullDiskAccessCache();
    /// Recomputes; removes the settings-visit mark when granted; notifies on a change (the
    /// first refresh compares against "not granted").
    static void refreshFullDiskAccessStatus();
    /// Remembers the visit and opens the Full Disk Access pane of System Settings.
    static void openFullDiskAccessSettings();
    /// The pane's address for the running system.
    static QString fullDiskAccessSettingsURL();

    /// Bundle identifier, standardised bundle path, standardised executable path (skipped
    /// when equal to one already listed); empty values left out.
    static QStringList fullDiskAccessClientIdentifiers();
    /// <home>/Library/Application Support/com.apple.TCC/TCC.db.
    static QString tccDatabasePath();
    static QStringList criticalFullDiskAccessProbePaths();
    static QStringList protectedProbePaths();
    static bool canAccessProtectedPath(const QString &path);
    static bool hasFullDiskAccessViaCriticalProbes();
    /// True/false when the database has a row for a client (true as soon as one grants);
    /// nothing when it has none or cannot be read.
    static std::optional<bool> tccFullDiskAccessGrantedValue();
    static std::optional<int> authValueForFullDiskAccessClient(const QString &client,
                                                               const QString &databasePath);
    /// Granted exactly for 1 and 2.
    static bool isFullDiskAccessAuthValueGranted(int authValue);
    /// 0 when a client is granted, 2 when a row exists but none grants, else 1.
    static KSTFullDiskAccessStatus fullDiskAccessStatusFromTCCDatabaseAtPath(const QString &path);

    // ---- Folder access, mode-independent ----

    static bool hasRequiredFolderAccess();
    /// Called whenever the application becomes active.
    static void refreshFolderAccessStatus();
    static bool shouldShowFolderAccessPrompt();
    static bool shouldShowFullDiskAccessPrompt() { return shouldShowFolderAccessPrompt(); }
    static void setRemindLater(bool remindLater);
    static void clearRemindLater();
    static bool isRemindLaterSet();
    static void postAccessStatusChangeIfNeeded(bool oldValue, bool newValue);

    // ---- Home-folder bookmark (sandboxed build) ----

    /// What the open panel shows; the window supplies the presenter.
    struct HomeFolderPanelRequest
    {
        QString message;
        QString prompt;
        QString startDirectory;
    };
    /// Shows the panel and calls back on the main thread with (accepted, chosen path).
    using HomeFolderPanelPresenter = std::function<void(
        const HomeFolderPanelRequest &, std::function<void(bool accepted, const QString &path)>)>;
    /// Shows a modal alert (message, informative text, one button).
    using AlertPresenter = std::function<void(const QString &message, const QString &informative,
                                              const QString &button)>;
    static void setHomeFolderPanelPresenter(HomeFolderPanelPresenter presenter);
    static void setAlertPresenter(AlertPresenter presenter);

    /// Asks for the home folder; @p completion(granted) runs on the main thread. Without a
    /// presenter the answer is false.
    static void requestHomeFolderAccessWithCompletion(std::function<void(bool granted)> completion);
    static bool saveHomeFolderBookmarkForURL(const QString &path);
    static bool resolveStoredHomeFolderBookmark();
    static bool ensureHomeFolderAccessStarted();
    static bool restoreStoredHomeFolderAccess();
    /// True outside a sandbox; in a sandbox whether the stored home grant is in force.
    static bool hasHomeFolderAccess();
    static QString grantedHomeFolderURL();
    static void stopHomeFolderAccessIfNeeded();
    static bool canReadGrantedHomeFolderAtURL(const QString &path);
    static bool isSelectedHomeFolderURL(const QString &path);

    // ---- Accessible paths: what engines call instead of touching the file system ----

    static QString accessibleUserHomeDirectoryPath();
    /// Runs @p block synchronously (in a sandbox only when the home grant is in force).
    static void performWithGrantedHomeFolderAccess(const std::function<void()> &block);
    /// Before a scan starts: a sandboxed build takes up the stored home grant again; any other
    /// build has nothing to do.
    static void prepareHomeFolderAccessForScan();
    /// A scan's build: like performWithGrantedHomeFolderAccess(), but a sandboxed build
    /// without a home grant does not even try to start one (the screen asks the user first).
    static void performWithHomeFolderAccessForScan(const std::function<void()> &block);
    static QString directoryURLInGrantedHomeWithRelativePath(const QString &relativePath);
    static quint64 directorySizeAtAccessibleRelativePath(const QString &relativePath);
    /// The root dictionary of a plist (XML or binary); nothing when unreadable or not a
    /// dictionary.
    static std::optional<QVariantMap> dictionaryFromAccessiblePlistAtPath(const QString &path);
    static bool isSandboxReadableApplicationRootPath(const QString &path);
    static QString directoryURLForSizeAtPath(const QString &path);
    static QString fileURLInGrantedHomeForPath(const QString &path, bool isDirectory);
    /// True when @p path (standardised) is the analysed user's home or lies inside it.
    static bool isPathInsideRealUserHome(const QString &path);
    /// The folder a search below @p path reads through: empty for an empty or
    /// privacy-protected path; the path itself outside a sandbox. In a sandbox: nothing for a
    /// path in the real home without a home grant; the granted folder or a path below it as
    /// the grant gives it; a path outside the home as it is.
    static QString directoryURLForScanRoot(const QString &path);
    /// Where an engine reaches an item it found at @p path: the path itself outside a sandbox;
    /// in a sandbox the item inside the granted home (fileURLInGrantedHomeForPath()), nothing
    /// for one outside it or without a grant. The form with @p sandboxed gives either build's
    /// answer; the other gives this build's.
    static QString itemURLForPath(const QString &path, bool isDirectory);
    static QString itemURLForPath(const QString &path, bool isDirectory, bool sandboxed);
    /// What a search of the user's folder reads: the folder that counts as its home (what
    /// results must lie in) and the folders to search below.
    struct HomeSearchScope
    {
        QString home;
        QStringList roots;
    };
    /// Outside a sandbox @p userFolder whole: it is the home and the one root. In a sandbox
    /// the granted home (clean) and, below it, those of @p sandboxedFolders (relative paths, in
    /// order) that are folders and not privacy-protected; nothing without a grant. The form
    /// with @p sandboxed gives either build's answer; the other gives this build's.
    static HomeSearchScope homeSearchScope(const QString &userFolder,
                                           const QStringList &sandboxedFolders);
    static HomeSearchScope homeSearchScope(const QString &userFolder,
                                           const QStringList &sandboxedFolders, bool sandboxed);
    /// Whether @p url names an existing file or folder; @p isDirectory tells which.
    static bool URLExists(const QString &url, bool *isDirectory = nullptr);
    static QString accessibleURLForPath(const QString &path, bool isDirectory);
    static bool accessibleItemExistsAtPath(const QString &path, bool *isDirectory = nullptr);
    /// Names of a folder's entries without hidden ones, in listing order; nothing when the
    /// folder cannot be listed.
    static std::optional<QStringList> directoryContentsAtAccessiblePath(const QString &path);
    /// A file's size; a folder's summed allocated size (hidden entries and privacy-protected
    /// places skipped); 0 when protected or unreadable.
    static quint64 fileSizeAtAccessiblePath(const QString &path);
    /// Path of the file to show an icon for; empty when none (icons are drawn by the window).
    static QString workspaceIconForAccessiblePath(const QString &path);
    /// The Music folder of the home and everything in it, and any photo or music library
    /// package, in any letter case.
    static bool shouldSkipPrivacyProtectedPath(const QString &path);
    /// shouldSkipPrivacyProtectedPath() for @p path or any folder above it: true for
    /// anything inside a photo or music library package too.
    static bool liesInPrivacyProtectedPlace(const QString &path);
    /// The extensions of the protected library packages, lower case, without the dot.
    static const QByteArrayList &privacyProtectedExtensions();
    /// The rules of a deep folder walk that reads only what may be read: hidden entries
    /// skipped, and the places shouldSkipPrivacyProtectedPath() names skipped with their
    /// contents (the home's Music folder by its standardised path, library packages by
    /// extension). Walks of standardised folder paths match the rule exactly.
    static KSTTreeSize::Options accessibleTreeSizeOptions();

    /// Forgets every cached answer and the home grant; for tests switching machines.
    static void resetForTesting();
};
