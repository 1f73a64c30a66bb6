#pragma once

#include "KSTAppInventorySnapshot.h"
#include "KSTAppUninstallHistory.h"
#include "KSTError.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

class KSTAppInventoryEngine;

/// Uninstalling an application: its bundle and the related paths it is handed go to the
/// Trash, through KSTRemovalGuard.
///
/// An uninstall (on appInventoryQueue, between two records of a running pass):
/// 1. a system application (source 2): error 100, nothing touched; an empty bundle path: 101;
///    on a Linux desktop (KSTDesktopAppUninstall) a package, a snap or a system Flatpak gives
///    error 100 naming the package manager's command instead, and a user's Flatpak is
///    uninstalled by flatpak (its related paths still go to the Trash as below);
/// 2. the application's running instances are asked to quit (politely, never forced) and
///    given up to 3 seconds;
/// 3. the record's related paths are looked up when they are not loaded (a record handed over
///    by KSTAppUninstallSelection always has them: exactly the ticked ones);
/// 4. the paths to remove (uninstallPathsForApp()): the bundle and each related path that is
///    safe to remove, collapsed to their topmost roots, deepest first; none: error 102;
/// 5. each is moved to the Trash by the guard, scoped to the analysed home, the root's
///    Applications folder and its installer receipts, with the never-touch entries, and
///    checked against what the look-up saw (a link moves as the link). A path gone meanwhile
///    is skipped silently; any other refusal or failure is a failed path;
/// 6. the related-path index is cleared; what moved is remembered for "Put Back"
///    (KSTAppUninstallHistory) and the bundle's working record is forgotten.
/// Result: nothing moved: NO with error 103; some moved, some failed: YES with error 104;
/// else YES. Errors are in the domain "KSTSystemInfo"; 103 and 104 carry "failedPaths".
///
/// Thread safety: any thread; the completion arrives on the main thread.
class KSTAppUninstaller
{
public:
    static inline const QString ErrorDomain = QStringLiteral("KSTSystemInfo");
    static inline const QString FailedPathsKey = QStringLiteral("failedPaths");

    enum Code : qint64 {
        SystemApplication = 100,
        MissingBundlePath = 101,
        NothingToUninstall = 102,
        NothingRemoved = 103,
        PartlyRemoved = 104,
    };

    struct Result
    {
        bool success = false;
        quint64 removedCount = 0;
        std::optional<KSTError> error;
        /// The paths that were to be removed, in removal order.
        QStringList uninstallPaths;
        /// What moved and where to.
        QList<KSTAppUninstallHistory::Item> moved;
    };

    using Completion = std::function<void(bool success, quint64 removedCount,
                                          const std::optional<KSTError> &error)>;

    /// Works for @p engine (its queue, frame and look-up), which must outlive it.
    explicit KSTAppUninstaller(KSTAppInventoryEngine &engine);

    /// Uninstalls @p record as described above; @p completion (required: without it nothing
    /// happens) is called on the main thread.
    void uninstallApp(const KSTInstalledAppRecord &record, Completion completion);
    /// The same with the whole result; @p finished may be null.
    void uninstallApp(const KSTInstalledAppRecord &record,
                      std::function<void(const Result &)> finished);

    /// The uninstall itself, on the calling thread (appInventoryQueue when called by the
    /// above).
    Result uninstallAppNow(KSTInstalledAppRecord record);

    /// Puts back what the last uninstall moved (KSTAppUninstallHistory) on appInventoryQueue;
    /// when anything came back the inventory cache is invalidated, so the next scan sees it.
    /// @p finished (may be null) is called on the main thread.
    void putBackLastUninstall(
        std::function<void(const KSTAppUninstallHistory::PutBackResult &)> finished);

    /// Asks every running instance of the bundle to quit (SIGTERM on Linux; on macOS the
    /// running applications whose bundle is this one, never the host's copy of the same
    /// application under --root) and waits until none runs, polling 20 times every
    /// @p pollInterval. Nothing for an empty identifier. Instances still running afterwards do
    /// not stop the uninstall.
    static void terminateRunningInstancesForBundleIdentifier(
        const QString &bundleIdentifier, const QString &bundlePath,
        std::chrono::milliseconds pollInterval = std::chrono::milliseconds(150));

    /// The bundle when safe, then each safe related path of the record, each once and
    /// standardised, then minimalRootPathsFromPaths() of them.
    static QStringList uninstallPathsForApp(const KSTInstalledAppRecord &record);
    /// Safe: inside the accessible home; or a ".app" directly in, or below, the analysed
    /// root's /Applications or the home's Applications folder; or below /private/var/db/receipts.
    /// Never empty, the root, or anything below /System/. Compared on standardised paths.
    static bool isSafeUninstallPath(const QString &path);
    /// Shortest first (equal lengths in plain order), each kept unless it equals or lies
    /// below a kept one; returned deepest first (equal lengths in plain order).
    static QStringList minimalRootPathsFromPaths(const QStringList &paths);
    /// Where an uninstall may act at all: the accessible home, and the analysed root's
    /// Applications folder and installer receipts.
    static QStringList removalScopeRoots();

    /// Error 100 for @p record when it is not the user's to uninstall: a system application,
    /// or on a Linux desktop a package, snap or system Flatpak (naming the package manager's
    /// command, read from the desktop's catalog: blocking); nothing otherwise.
    static std::optional<KSTError> refusalForApp(const KSTInstalledAppRecord &record);

    /// The error of @p code (its fixed text; 104 counts @p removedCount items), with
    /// "failedPaths" for 103 and 104.
    static KSTError errorForCode(Code code, quint64 removedCount = 0,
                                 const QStringList &failedPaths = {});

private:
    KSTAppInventoryEngine *m_engine;
};
