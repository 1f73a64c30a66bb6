#pragma once

#include "KSTDefaultAppRecord.h"
#include "KSTDiskFolderRecord.h"
#include "KSTError.h"
#include "KSTStartupItemRecord.h"
#include "KSTTrashSourceRecord.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

class KSTDispatchQueue;
class KSTSystemInfo;

/// The engine behind the Utilities: startup items, secure erase, encrypted archives, default
/// apps, trash origins and home-folder sizes, on the Mac of the current KSTEnvironment.
///
/// Scans never fail: what cannot be read is left out or reads as 0, "Unknown" or "Finder".
/// Operations that change the machine return a success flag and fill a KSTError in the domain
/// "KSTUtilitiesManager" (codes below) or, for what the file system or the removal guard
/// refuses, their own domains. Every deletion, overwrite and rename goes through
/// KSTRemovalGuard: a symbolic link is acted on as the link and never followed, never-touch
/// entries and privacy-protected places are left as they are.
///
/// The erase, archive and home-size jobs run one at a time, in submission order, on the serial
/// queue "com.kestrel.utilities" (backgroundQueue()); their progress and completions arrive on
/// the main queue. Everything else is synchronous on the caller's thread. Every member may be
/// called from any thread: the manager keeps no mutable state besides its queue.
class KSTUtilitiesManager
{
public:
    static inline const QString ErrorDomain = QStringLiteral("KSTUtilitiesManager");
    static inline const QString QueueLabel = QStringLiteral("com.kestrel.utilities");
    /// The domain of the file errors Foundation names (a missing file is code 4 there).
    static inline const QString CocoaErrorDomain = QStringLiteral("NSCocoaErrorDomain");
    /// The domain of the status a rejected default-app change carries.
    static inline const QString StatusErrorDomain = QStringLiteral("NSOSStatusErrorDomain");

    enum ErrorCode : qint64 {
        StartupItemNeedsAdministrator = 1,
        LaunchDaemonCannotBeDisabled = 2,
        LaunchAgentUnloadFailed = 3,
        LoginItemsUnavailable = 4,
        LoginItemNotRemoved = 5,
        ProtectedErasePath = 10,
        ArchiveSourceMissing = 20,
        ArchiveWriterFailed = 21,
        ArchiveWritingFailed = 22,
        ArchiveNotCreated = 23,
        DefaultAppArgumentsMissing = 30,
    };
    /// Foundation's code for "no such file".
    static constexpr qint64 FileNoSuchFileError = 4;
    /// Launch Services' status for an application it does not know, and for a failure of its
    /// own store (here: preferences that cannot be read back or written).
    static constexpr qint64 ApplicationNotFoundStatus = -10814;
    static constexpr qint64 LaunchServicesUnknownStatus = -10810;

    /// The message of a code that has a fixed one ("" for 3, 10, 21 and 22, whose text
    /// depends on the case).
    static QString messageForErrorCode(ErrorCode code);
    /// An error of this domain with @p description, or the code's own message when empty.
    static KSTError makeError(ErrorCode code, const QString &description = {});

    /// The program's instance, made once (thread-safe) on first use.
    static KSTUtilitiesManager &sharedManager();
    /// A separate instance with its own queue; default apps look applications up through
    /// @p systemInfo (the shared service when null), which must outlive it. Destroying it
    /// waits for the jobs already queued.
    explicit KSTUtilitiesManager(KSTSystemInfo *systemInfo = nullptr);
    ~KSTUtilitiesManager();
    KSTUtilitiesManager(const KSTUtilitiesManager &) = delete;
    KSTUtilitiesManager &operator=(const KSTUtilitiesManager &) = delete;

    /// The serial queue of the erase, archive and home-size jobs.
    KSTDispatchQueue &backgroundQueue() const;
    /// Runs @p work on a worker of the user-initiated pool, for the panels' scans that must
    /// not wait behind an erase on backgroundQueue(). The destructor waits for every such
    /// work, so @p work may use this manager throughout.
    void scanInBackground(std::function<void()> work);

    // ---- Startup items ----

    /// The home's launch agents, the system's launch agents and launch daemons, then the login
    /// items (under the linux layout: scanLinuxStartupItems()), sorted by name (localized,
    /// case-insensitive).
    QList<KSTStartupItemRecord> scanStartupItems() const;
    /// The "*.plist" files of @p directory (not those ending ".disabled", not recursive) that
    /// parse as dictionaries. @p canDisable asks for items the user may disable: those whose
    /// plist the user may write. A folder reached through a link lists nothing.
    QList<KSTStartupItemRecord> scanLaunchPlistsInDirectory(const QString &directory, quint64 type,
                                                            bool canDisable) const;
    /// The session's login items; none where the platform offers no list (off macOS).
    QList<KSTStartupItemRecord> scanLoginItems() const;
    /// The app's name when @p programPath ends in ".app" or lies inside one (cut after its first
    /// ".app"), else @p fallback, else the last component; "Unknown" for an empty path without
    /// fallback.
    static QString displayNameForProgramPath(const QString &programPath, const QString &fallback);
    /// "High" for a daemon; "Low" unless RunAtLoad or KeepAlive reads as true
    /// (readsAsTrue()); else the program's impact.
    QString impactForLaunchPlist(const QVariantMap &plist, const QString &programPath,
                                 quint64 type) const;
    /// By the size of the program's own entry on the analysed Mac (<root><path>, a link not
    /// followed): over 200 MiB "High", over 20 MiB "Medium", else "High" when the path (as
    /// written) contains "Adobe", "Docker" or "Dropbox", else "Low".
    QString impactForProgramPath(const QString &programPath) const;
    /// "High", "Medium", "Low" (a non-empty list of lows) or "None".
    static QString bootImpactSummaryForItems(const QList<KSTStartupItemRecord> &items);
    /// Whether a launchd key reads as true: only a boolean true does. A dictionary KeepAlive
    /// (keep the job alive while a path exists, after a successful exit, …) asks launchd to
    /// start the job on a condition, not at every boot, so it reads as false, as do numbers
    /// and strings.
    static bool readsAsTrue(const QVariant &value);
    /// Disables @p item: code 1 when it may not be disabled, code 2 for a daemon.
    bool disableStartupItem(const KSTStartupItemRecord &item, KSTError *error) const;
    /// Unloads the agent (the analysed Mac's launchctl "bootout gui/<uid> <plist>", its exit
    /// status not examined) and renames the plist to "<name>.disabled", replacing an older
    /// disabled copy. Code 3 (nothing renamed) when launchctl is not there or cannot start.
    bool disableLaunchAgentAtPath(const QString &plistPath, KSTError *error) const;
    /// Removes a login item; code 4 where the list cannot be reached (off macOS, always).
    bool disableLoginItemAtPath(const QString &path, KSTError *error) const;

    /// A Linux desktop's startup items (what scanStartupItems() lists under the linux layout,
    /// unsorted): the XDG autostart entries (the config home's over the config dirs', by file
    /// name) as type 0, the enabled user units of the config home (disableable when the user
    /// may write their ".wants" folder) and of /etc/systemd/user (never) as type 1, the
    /// system's enabled services as type 2 ("High"). An autostart entry may be disabled when
    /// the user may write the config home's autostart folder.
    QList<KSTStartupItemRecord> scanLinuxStartupItems() const;
    /// Writes Hidden=true into the user's entry of @p entryPath's file name in the config
    /// home's autostart folder, made from the system entry when the user has none; the system
    /// entry is never changed. The user's file is replaced atomically; a link standing there
    /// is refused, never written through.
    bool disableAutostartEntryAtPath(const QString &entryPath, KSTError *error) const;
    /// Disables the user unit named by @p wantsPath's last component: with @p throughSystemctl
    /// by "systemctl --user disable --now <unit>" (code 3 when it cannot start), else by
    /// moving every link of it in the config home's "systemd/user/*.wants" folders to the
    /// Trash through the removal guard.
    bool disableUserUnitAtPath(const QString &wantsPath, bool throughSystemctl,
                               KSTError *error) const;

    // ---- Secure erase ----

    using ProgressCallback = std::function<void(const QString &text)>;
    using EraseCompletion = std::function<void(bool success, const std::optional<KSTError> &)>;

    /// Erases @p paths in order as one job on the background queue: each path standardized;
    /// a protected one stops the job with code 10; before each item "Erasing <name>…" goes
    /// to @p progress; the first failure stops the job (what went before stays erased). The
    /// completion gets the outcome. Both callbacks run on the main queue.
    void secureErasePaths(const QStringList &paths, quint64 passes, ProgressCallback progress,
                          EraseCompletion completion);
    /// One item, by kind: nothing there (not even a link) gives NSCocoaErrorDomain code 4; a
    /// link is removed as the link; a mounted volume is emptied; a folder is erased depth
    /// first and removed; a regular file is overwritten and removed; anything else is removed.
    bool secureErasePath(const QString &path, quint64 passes, KSTError *error) const;
    /// Erases every entry (hidden ones too) and then removes the folder. Another file system
    /// mounted inside is never entered: the folder then stays, with an error.
    bool secureEraseDirectoryAtPath(const QString &path, quint64 passes, KSTError *error) const;
    /// Erases every entry of the volume's root but .Trashes, .DS_Store, .fseventsd and
    /// .Spotlight-V100 (under the linux layout: lost+found, .Trash and .Trash-<uid>); the root
    /// itself stays.
    bool secureEraseVolumeAtPath(const QString &path, quint64 passes, KSTError *error) const;
    /// Overwrites a regular file in place @p passes times (0x00, 0xFF alternating, the last
    /// pass random), flushing each pass to the device, then removes it. A file that cannot be
    /// opened for writing, or that has other hard links (its data lives on under a name the
    /// user did not choose), is only removed.
    bool secureEraseFileAtPath(const QString &path, quint64 passes, KSTError *error) const;
    /// The standardized path is a mounted volume: one of the host's mounts, or under an
    /// analysed root other than "/" a folder in <root>/Volumes (under the linux layout: in
    /// <root>/media/<login> or <root>/run/media/<login>).
    bool isVolumeMountPoint(const QString &path) const;
    /// The path, standardized and also with its folders' links resolved, is "/", "/System",
    /// "/usr", "/bin", "/sbin", "/var" or "/private" or lies under one of the last six, on the
    /// host or under the analysed root (<root> itself standing for "/"). Under the linux
    /// layout the roots are "/", "/usr", "/etc", "/boot", "/bin", "/sbin", "/lib", "/lib32",
    /// "/lib64", "/libx32", "/var", "/run", "/proc", "/sys", "/dev" and "/snap", but never
    /// what lies in "/run/media".
    bool isProtectedSystemPath(const QString &path) const;
    /// Absolute ("~" is the analysed home, a relative path starts at the current folder),
    /// "." and ".." resolved by text, no trailing slash, and a leading "/private" dropped
    /// when the rest exists (as macOS shows /private/var as /var).
    static QString standardizedPath(const QString &path);

    // ---- Encrypted archives ----

    using EncryptCompletion =
        std::function<void(quint64 archivesCreated, const std::optional<KSTError> &lastError)>;

    /// Makes one archive per path, in order, as one job on the background queue; a failure
    /// does not stop the others and the last one is reported. Completion on the main queue.
    void encryptPaths(const QStringList &paths, const QString &password,
                      EncryptCompletion completion);
    /// The same job; before each item's archive is started "Encrypting <name>…" (the path's
    /// last component) goes to @p progress, on the main queue and ahead of the completion.
    /// The texts never carry the password.
    void encryptPaths(const QStringList &paths, const QString &password, ProgressCallback progress,
                      EncryptCompletion completion);
    /// Writes "<path>.zip" (or uniquePathForPath() of it when taken) next to @p path, in
    /// process: traditional PKWARE encryption with @p password, entry names relative to the
    /// parent folder ("Photos/", "Photos/a.jpg"), links stored as links, Zip64 when needed,
    /// linked into place only once complete and never over an existing file. Codes 20 (no
    /// source), 21 (the writer cannot start), 22 (writing failed; nothing is left behind),
    /// 23 (nothing to write). The source is never changed. @p archivePath gets where it went.
    bool createPasswordProtectedZipForPath(const QString &path, const QString &password,
                                           KSTError *error, QString *archivePath = nullptr) const;
    /// "<base>-N.<ext>" for the first N in 1…999 that does not exist (a link counts), else a
    /// random number in its place, unchecked.
    static QString uniquePathForPath(const QString &path);

    // ---- Default apps ----

    /// The common types and every type an installed app declares, each with its handler and
    /// candidates, sorted by label (localized, case-insensitive); types without a candidate
    /// are left out.
    QList<KSTDefaultAppRecord> scanDefaultAppBindings() const;
    /// Twelve {"uti", "label"} entries, ".pdf" first.
    static QList<QVariantMap> commonDefaultAppDefinitions();
    void addDefaultAppRecordsFromDefinitions(const QList<QVariantMap> &definitions,
                                             QMap<QString, KSTDefaultAppRecord> &map) const;
    void
    addDefaultAppRecordsFromInstalledAppsIntoMap(QMap<QString, KSTDefaultAppRecord> &map) const;
    /// ".<preferred extension>" from the apps' type declarations or the built-in table, else
    /// the type itself.
    QString extensionLabelForUTI(const QString &uti) const;
    std::optional<KSTDefaultAppRecord> defaultAppRecordForUTI(const QString &uti,
                                                              const QString &label) const;
    /// Nothing for an empty identifier; the identifier itself when no installed app has it;
    /// else CFBundleName, else the bundle's name without ".app".
    std::optional<QString> appNameForBundleIdentifier(const QString &bundleIdentifier) const;
    /// The app's icon file (KSTApplicationIconFile); empty when unknown or without one.
    QString iconForBundleIdentifier(const QString &bundleIdentifier) const;
    /// Makes @p bundleIdentifier the handler of @p uti for all roles: code 30 when either is
    /// empty; an app that is not installed, or preferences that cannot be parsed or written,
    /// give "macOS rejected the default app change." (NSOSStatusErrorDomain; the layout's
    /// system name in place of macOS). The preferences
    /// file is replaced atomically through the removal guard with every other entry kept, and
    /// one that does not parse is never overwritten.
    bool setDefaultAppWithBundleIdentifier(const QString &bundleIdentifier, const QString &uti,
                                           KSTError *error) const;
    /// On a Linux desktop (what setDefaultAppWithBundleIdentifier() does under the linux
    /// layout, @p identifier an installed application's): "<mimeType>=<identifier>.desktop"
    /// in [Default Applications] of the config home's mimeapps.list, every other line and
    /// group kept, the file replaced atomically through the removal guard (made when
    /// missing). A link at its path, or a list that cannot be read, is never written.
    bool setLinuxDefaultApp(const QString &identifier, const QString &mimeType,
                            KSTError *error) const;

    // ---- Trash origins ----

    /// The Trash's visible entries with their origins, sorted by name (localized,
    /// case-insensitive). Read-only; a Trash that is missing or a link gives nothing. Under
    /// the linux layout: scanLinuxTrashSourceItems().
    QList<KSTTrashSourceRecord> scanTrashSourceItems() const;
    /// The entries of a Linux desktop's home Trash (<data home>/Trash/files, hidden ones too):
    /// the origin is the "user.xdg.origin.url" attribute, else the Path of the item's
    /// .trashinfo (percent-decoded, the analysed machine's path; a .trashinfo that is a link
    /// is not read), else "Unknown"; deleted by the file manager (the layout's word).
    QList<KSTTrashSourceRecord> scanLinuxTrashSourceItems() const;
    /// The put-back paths a heuristic search of the Trash's ".DS_Store" finds, in file order.
    static QStringList originalPathsFromTrashDSStoreAtPath(const QString &path);
    /// The same for the store's bytes.
    static QStringList originalPathsFromTrashDSStoreData(const QByteArray &data);
    static std::optional<QString> bud1StringFromUTF16Data(const QByteArray &data);
    static std::optional<QString> bud1FullPathFromDirectoryPath(const QString &directory,
                                                                const QString &fileName);
    QString originalLocationForTrashItem(const QString &itemPath, const QStringList &bud1Paths,
                                         QSet<QString> &usedBud1Paths) const;
    /// The first where-from URL, else the quarantine data URL without its last component,
    /// else "Unknown".
    QString originalLocationFromExtendedAttributesForTrashItem(const QString &itemPath) const;
    static QString originalLocationFromBud1Paths(const QStringList &paths,
                                                 const QString &trashFileName,
                                                 QSet<QString> &usedBud1Paths);
    static std::optional<QString> firstUnusedBud1PathInPaths(const QStringList &paths,
                                                             const QString &trashFileName,
                                                             QSet<QString> &usedBud1Paths,
                                                             bool caseInsensitive);
    static void markUsedBud1PathForTrashFileName(const QString &trashFileName,
                                                 const QStringList &paths,
                                                 QSet<QString> &usedBud1Paths);
    /// The quarantine agent's name, else its bundle identifier's app name, else "Finder" (the
    /// layout's word for the file manager).
    QString deletedByAppForTrashItem(const QString &itemPath) const;
    /// An extended attribute of the entry itself (a link's own, never its target's), under
    /// @p name and on Linux also "user." + @p name; nothing when absent or over 1 MiB.
    static std::optional<QByteArray> xattrDataForPath(const QString &path, const QString &name);

    // ---- Home-folder sizes ----

    using HomeSizesCompletion = std::function<void(const QList<KSTDiskFolderRecord> &folders,
                                                   quint64 totalBytes, quint64 usedBytes)>;
    /// Sizes the home's standard folders that exist (a link is not one; under the linux
    /// layout the user folders by their names on disk, each once, then .cache, .config,
    /// .local and .var) with
    /// fastFolderSizeAtFilePath(), largest first (equal sizes by name), as one job on the
    /// background queue; the completion gets them with the volume's figures on the main queue.
    /// Nothing happens without a completion.
    void scanHomeDirectoryFolderSizesWithCompletion(HomeSizesCompletion completion);
    /// du's figure: 0 for an empty, privacy-protected or missing path; a file's size; for a
    /// folder "<root>/usr/bin/du -k -d 0 PATH" (time-out 15 minutes) read by
    /// folderSizeFromDuOutput(), 0 when du is missing, fails or says nothing.
    static quint64 fastFolderSizeAtFilePath(const QString &path);
    /// The leading integer of the text before the first space, times 1024; 0 below 1.
    static quint64 folderSizeFromDuOutput(const QByteArray &output);
    /// How long one du may run.
    static constexpr int DuTimeoutMs = 15 * 60 * 1000;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
