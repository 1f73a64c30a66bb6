#pragma once

#include "KSTAutoCleanRuleDefinition.h"
#include "KSTFileIdentity.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

class KSTDispatchQueue;
class KSTDispatchTimer;
class KSTRemovalGuard;

/// Runs six fixed clean-up rules unattended and keeps their state.
///
/// The user turns automation on with a master switch, enables individual rules and keeps a
/// list of never-touch paths. While automation is active (switch on and at least one rule
/// enabled) a repeating timer on the serial queue "com.kestrel.autoclean.work" runs every
/// enabled rule: first 60 seconds after each (re)configuration, then every 3,600 seconds with
/// 30 seconds of leeway; every change of the switch or of a rule's flag while active also runs
/// the rules at once. Each effective run adds to monthly totals of bytes and files removed and
/// records its date. The rules delete permanently (nothing goes to the Trash) and never follow
/// a symbolic link out of the item being removed.
///
/// All state lives in the preferences suite "com.kestrel.autoclean". Loading for a launch of
/// the window keeps a long-standing behaviour on purpose: after a launch with automation stored
/// as on, automation stays on but every rule is off, the totals are zero, the last-run date is
/// gone and the never-touch list is empty (the switch is applied, and saved, before the rest is
/// read back). The emptied list is first kept aside under its own key; it still protects its
/// entries, and keptAsideWhitelistPaths() offers it back until the user restores or dismisses
/// it. A load that is not a launch (every command-line call) reads the stored state as it is.
///
/// Several processes (the window, command-line calls) may change the suite at once: every
/// change re-reads the stored state and writes it back under a lock file shared by all of
/// them, so no process writes an older state over another's change.
///
/// Every change posts "KSTAutoCleanStateDidChangeNotification" (object: the manager)
/// asynchronously on the main thread; run completions also arrive on the main thread.
///
/// Files are reached through KSTPermissionChecker. The rule locations are the layout's
/// (KSTAutoCleanLocations): on a Mac "~/Downloads" and the others, relative to its
/// accessibleUserHomeDirectoryPath(), the current environment's home; on a Linux desktop the
/// user folders and XDG places (the Downloads user folder, the freedesktop trash's files/ with
/// each entry's .trashinfo going along, the browsers' caches in ~/.cache and their Flatpak
/// and snap homes, $XDG_DATA_HOME/xorg). A place the user switched off gives nothing.
///
/// Thread safety: every member may be called from any thread. One mutex guards the switch,
/// the rules' flags, the totals, the last-run date and the never-touch list; it is held only
/// to read or write them, never across file work, so a getter on the main thread never waits
/// for a rule. Rules run only on the work queue, so two runs never overlap.
class KSTAutoCleanManager
{
public:
    static inline const QString StateDidChangeNotification =
        QStringLiteral("KSTAutoCleanStateDidChangeNotification");
    static inline const QString DefaultSuiteName = QStringLiteral("com.kestrel.autoclean");
    static inline const QString WorkQueueLabel = QStringLiteral("com.kestrel.autoclean.work");
    /// How long a change waits for another process's change of the suite to finish.
    static constexpr int LockWaitMs = 10'000;

    /// Completion of a run: rules that acted, bytes removed, files removed.
    using RunCompletion =
        std::function<void(quint64 rulesActed, quint64 bytesRemoved, quint64 filesRemoved)>;

    /// What a separate instance (a test) may choose; the defaults are the program's.
    struct Options
    {
        /// The preferences suite; empty means the standard user preferences.
        QString suiteName = DefaultSuiteName;
        std::chrono::milliseconds firstDelay{std::chrono::seconds(60)};
        std::chrono::milliseconds interval{std::chrono::seconds(3600)};
        std::chrono::milliseconds leeway{std::chrono::seconds(30)};
        /// "Now" for age cut-offs, the last-run date and the month key; the wall clock when
        /// empty. Called from any thread.
        std::function<QDateTime()> clock;
        /// Whether loading is a launch of the window, with the reset described above.
        bool isLaunch = true;
    };

    /// Whether the shared instance loads as a launch (the default) or, for a command-line
    /// call, as it is stored. Takes effect only before the first shared().
    static void setSharedInstanceIsLaunch(bool isLaunch);

    /// The program's instance, created on first call with the default options; it lives until
    /// the process ends. Creating it loads the stored state and resets last month's totals,
    /// but starts no timer: the application calls applyAutomationConfiguration() at launch.
    static KSTAutoCleanManager &shared();

    /// A separate instance: builds the six rules, loads the state of @p options.suiteName and
    /// resets last month's totals, exactly as shared() does.
    explicit KSTAutoCleanManager(Options options);
    /// Cancels the timer, then waits for the runs already queued to finish.
    ~KSTAutoCleanManager();
    KSTAutoCleanManager(const KSTAutoCleanManager &) = delete;
    KSTAutoCleanManager &operator=(const KSTAutoCleanManager &) = delete;

    // ---- State ----

    bool automationEnabled() const;
    /// The switch is on and at least one rule is enabled.
    bool isAutomationActive() const;
    qsizetype enabledRuleCount() const;
    /// False for an index out of range.
    bool isRuleEnabledAtIndex(qsizetype index) const;
    /// Copies of the six rules in their fixed order (index = ruleType).
    QList<KSTAutoCleanRuleDefinition> rules() const;
    /// Copy of the never-touch list, in display form ("~/Documents").
    QStringList whitelistPaths() const;
    quint64 bytesSavedThisMonth() const;
    /// Items removed or moved this statistics month (a folder counts as one).
    quint64 filesRemovedThisMonth() const;
    /// End of the last run in which at least one rule acted.
    std::optional<QDateTime> lastRunDate() const;
    /// Whether the schedule timer exists; it does exactly while automation is active.
    bool hasScheduleTimer() const;
    /// Year and month of now: "2026-03".
    QString currentStatsMonthKey() const;

    // ---- Changes (persisted at once; each posts the notification) ----

    /// On a change: store, saveState(), applyAutomationConfiguration(), postStateChange().
    /// The same value again does nothing.
    void setAutomationEnabled(bool enabled);
    /// As setAutomationEnabled(), for one rule; an index out of range does nothing.
    void setRuleEnabled(bool enabled, qsizetype index);

    /// Adds a never-touch path ("~/Documents", or absolute). False when it normalises to
    /// nothing, does not exist, or an equivalent entry is already listed.
    bool addWhitelistPath(const QString &path);
    /// Removes the first entry equivalent to @p path; false when none is.
    bool removeWhitelistPath(const QString &path);
    /// Whether @p path is a never-touch entry or lies below one. A sibling that merely shares
    /// a name prefix ("~/Downloads/Keeper" next to "~/Downloads/Keep") is not protected.
    bool isWhitelistedPath(const QString &path) const;
    /// Whether an entry expands to the same clean absolute path as @p path.
    bool containsWhitelistPathEquivalentTo(const QString &path) const;

    /// The never-touch list a launch reset emptied, as it was stored; empty when there is
    /// none or the user restored or dismissed it.
    QStringList keptAsideWhitelistPaths() const;
    /// Adds the kept-aside entries back (those not already listed) and forgets the kept-aside
    /// list; false when there was none.
    bool restoreKeptAsideWhitelistPaths();
    /// Forgets the kept-aside list; false when there was none.
    bool dismissKeptAsideWhitelistPaths();

    /// "~/x" against the accessible home; any other path by ordinary tilde expansion ("~"
    /// alone and "~user" from the password database), else unchanged.
    static QString expandedPath(const QString &path);
    /// "~" for the home itself, "~/rest" below it, anything else unchanged.
    static QString displayPathForExpandedPath(const QString &path);
    /// Expanded, cleaned ("." and ".." resolved textually) and in display form; empty for an
    /// empty path.
    static QString normalizedWhitelistPath(const QString &path);

    // ---- Running ----

    /// Tears down any timer; when active, starts a new one and runs the rules at once.
    void applyAutomationConfiguration();
    /// Runs every enabled rule on the work queue and calls @p completion (may be empty) on the
    /// main thread. With automation off it reports zeros without running anything. A run in
    /// which a rule acted updates the totals and the last-run date, saves and notifies.
    void runEnabledRulesWithCompletion(RunCompletion completion);
    /// Blocks until everything queued on the work queue so far (runs included) has finished.
    /// For the command line and tests; never call it on the window's main thread.
    void waitUntilIdle();

    /// Runs @p rule's action, adding to the counters; false when it achieved nothing or the
    /// type is above 5.
    bool executeRule(const KSTAutoCleanRuleDefinition &rule, quint64 *bytesRemoved,
                     quint64 *filesRemoved);

    // ---- Rule actions: each adds to the optional counters (never resets them) and returns
    // true when it removed or moved at least one item. Call them off the main thread. ----

    /// Top-level entries of ~/Downloads modified strictly before now - @p days days.
    bool cleanDownloadsOlderThanDays(int days, quint64 *bytesRemoved, quint64 *filesRemoved);
    /// Everything in ~/.Trash except hidden entries (".DS_Store" among them).
    bool emptyTrash(quint64 *bytesRemoved, quint64 *filesRemoved);
    /// Moves "Screen Shot"/"screenshot" PNG and JPEG files from the top of ~/Desktop,
    /// ~/Downloads and ~/Pictures into ~/Pictures/Screenshots Archive, never replacing a file
    /// there. Counts files only: moving frees no space.
    bool archiveScreenshots(quint64 *bytesRemoved, quint64 *filesRemoved);
    /// The Safari, Chrome and Firefox cache folders, each removed whole (one file each).
    bool cleanBrowserCaches(quint64 *bytesRemoved, quint64 *filesRemoved);
    /// Top-level entries of ~/Library/Logs older than @p days days.
    bool cleanApplicationLogsOlderThanDays(int days, quint64 *bytesRemoved, quint64 *filesRemoved);
    /// Keeps the @p keep newest iOS backups (by folder modification date) and removes the rest.
    bool trimIOSBackupsKeeping(int keep, quint64 *bytesRemoved, quint64 *filesRemoved);

    /// Top-level entries of @p directory modified strictly before the cut-off; hidden and
    /// never-touch entries are left alone, folders go whole.
    bool removeFilesInDirectory(const QString &directory, int days, quint64 *bytesRemoved,
                                quint64 *filesRemoved);
    /// Deletes one item permanently (a link as a link, a folder with its contents) through
    /// KSTRemovalGuard; counts its size, measured before, and 1 file. False when never-touch,
    /// missing, refused by the guard or not removed.
    bool removeItemAtPath(const QString &path, quint64 *bytesRemoved, quint64 *filesRemoved);
    /// The same, and only while the item is still what @p expected describes.
    bool removeItemAtPath(const QString &path, const std::optional<KSTFileIdentity> &expected,
                          quint64 *bytesRemoved, quint64 *filesRemoved);
    /// @p path when nothing is there, else the first free "name N.ext" (N from 1 to 999) in
    /// the same folder; @p path again when all are taken.
    static QString uniquePathForPath(const QString &path);
    static quint64 fileSizeAtPath(const QString &path);
    static quint64 folderSizeAtPath(const QString &path);

    // ---- Persistence (called by the constructor and the changes above) ----

    /// Writes every key as held now: "automationEnabled", "ruleEnabled.N",
    /// "bytesSavedThisMonth", "filesRemovedThisMonth", "lastRunDate" (removed when none),
    /// "statsMonth" (the month of the save) and "whitelistPaths", in that order, then the
    /// kept-aside list "whitelistPathsBeforeReset" (removed when none).
    void saveState();
    void loadPersistedState();
    /// Zeroes the totals when the stored month is a different, non-empty month key.
    void resetMonthlyStatsIfNeeded();
    /// Posts the notification on the main thread, later (never before returning).
    void postStateChange();

private:
    struct Snapshot;
    Snapshot snapshot() const;

    // The guard every rule acts through: the home, the never-touch list and the kept-aside one.
    KSTRemovalGuard removalGuard() const;
    // Re-reads the stored state, applies @p change (which returns whether it changed
    // anything) and, when it did, writes the state back: all under the suite's lock file.
    bool changeStoredState(const std::function<bool()> &change);
    void readStoredState();
    void writeStoredState();

    void buildDefaultRules();
    void runRulesOnWorkQueue(const RunCompletion &completion);
    QDateTime now() const;

    const QString m_suiteName;
    const std::chrono::milliseconds m_firstDelay;
    const std::chrono::milliseconds m_interval;
    const std::chrono::milliseconds m_leeway;
    const std::function<QDateTime()> m_clock;
    const bool m_isLaunch;

    mutable std::mutex m_stateMutex; // guards the members below it up to m_whitelistPaths
    bool m_automationEnabled = false;
    QList<KSTAutoCleanRuleDefinition> m_rules;
    quint64 m_bytesSavedThisMonth = 0;
    quint64 m_filesRemovedThisMonth = 0;
    std::optional<QDateTime> m_lastRunDate;
    QStringList m_whitelistPaths;
    QStringList m_keptAsideWhitelistPaths;

    // Serialises saves, so a slower save never writes an older state over a newer one.
    std::mutex m_saveMutex;
    // Serialises reconfiguration and guards the timer; a timer firing never takes it.
    mutable std::mutex m_timerMutex;
    std::unique_ptr<KSTDispatchTimer> m_scheduleTimer;
    std::unique_ptr<KSTDispatchQueue> m_workQueue;
};
