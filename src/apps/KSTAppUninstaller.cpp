#include "KSTAppUninstaller.h"

#include "KSTAppInventoryEngine.h"
#include "KSTAppManageLocations.h"
#include "KSTAppsLog.h"
#include "KSTDesktopAppUninstall.h"
#include "KSTEnvironment.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTRelatedPathLookup.h"
#include "KSTRemovalGuard.h"
#include "KSTRunningApplications.h"

#include <QDir>
#include <QHash>
#include <QSet>

#include <algorithm>
#include <thread>

namespace Locations = KSTAppManageLocations;
using Checker = KSTPermissionChecker;

namespace {

constexpr int TerminationPolls = 20;

QString standardized(const QString &path)
{
    return path.isEmpty() ? path : QDir::cleanPath(path);
}

bool isBelow(const QString &path, const QString &folder)
{
    return !folder.isEmpty() && path.startsWith(folder + QLatin1Char('/'));
}

bool hasAppExtension(const QString &path)
{
    const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot >= 0 && QStringView(name).mid(dot + 1) == QLatin1String("app");
}

bool lessByLength(const QString &a, const QString &b)
{
    if (a.size() != b.size())
        return a.size() < b.size();
    return a < b;
}

} // namespace

KSTAppUninstaller::KSTAppUninstaller(KSTAppInventoryEngine &engine) : m_engine(&engine) {}

KSTError KSTAppUninstaller::errorForCode(Code code, quint64 removedCount,
                                         const QStringList &failedPaths)
{
    KSTError error;
    error.domain = ErrorDomain;
    error.code = code;
    switch (code) {
    case SystemApplication:
        error.description = QStringLiteral("System apps cannot be uninstalled.");
        break;
    case MissingBundlePath:
        error.description = QStringLiteral("Application bundle path is missing.");
        break;
    case NothingToUninstall:
        error.description = QStringLiteral("Nothing found to uninstall.");
        break;
    case NothingRemoved:
        error.description =
            QStringLiteral("Could not remove the application or its related files.");
        break;
    case PartlyRemoved:
        error.description =
            QStringLiteral("Removed %1 item(s), but some related files could not be deleted.")
                .arg(removedCount);
        break;
    }
    if (code == NothingRemoved || code == PartlyRemoved)
        error.userInfo.insert(FailedPathsKey, failedPaths);
    return error;
}

std::optional<KSTError> KSTAppUninstaller::refusalForApp(const KSTInstalledAppRecord &record)
{
    if (KSTAppInventoryEngine::usesDesktopEntries() && !record.bundlePath.isEmpty()) {
        const std::optional<KSTDesktopAppUninstall::Plan> plan =
            KSTDesktopAppUninstall::planFor(KSTEnvironment::current(), record.bundlePath);
        if (plan && plan->action == KSTDesktopAppUninstall::Action::Refuse) {
            KSTError error = errorForCode(SystemApplication);
            error.description = KSTDesktopAppUninstall::refusalText(plan->command);
            return error;
        }
    }
    if (record.source == 2)
        return errorForCode(SystemApplication);
    return std::nullopt;
}

void KSTAppUninstaller::uninstallApp(const KSTInstalledAppRecord &record, Completion completion)
{
    if (!completion)
        return;
    uninstallApp(record, std::function<void(const Result &)>([completion](const Result &result) {
                     completion(result.success, result.removedCount, result.error);
                 }));
}

void KSTAppUninstaller::uninstallApp(const KSTInstalledAppRecord &record,
                                     std::function<void(const Result &)> finished)
{
    // The uninstaller is a light handle that callers often make for one call: the work keeps
    // the engine, never the handle.
    KSTAppInventoryEngine *engine = m_engine;
    engine->performSoon([engine, record, finished] {
        const Result result = KSTAppUninstaller(*engine).uninstallAppNow(record);
        if (finished)
            engine->hooks().onMain([finished, result] { finished(result); });
    });
}

KSTAppUninstaller::Result KSTAppUninstaller::uninstallAppNow(KSTInstalledAppRecord record)
{
    Result result;
    // A Linux desktop's package managers decide for themselves: what needs more rights than
    // the user's is refused with the command to run, a user's Flatpak is flatpak's to remove.
    std::optional<KSTDesktopAppUninstall::Plan> plan;
    if (KSTAppInventoryEngine::usesDesktopEntries() && !record.bundlePath.isEmpty()) {
        plan = KSTDesktopAppUninstall::planFor(KSTEnvironment::current(), record.bundlePath);
        if (plan && plan->action == KSTDesktopAppUninstall::Action::Refuse) {
            result.error = errorForCode(SystemApplication);
            result.error->description = KSTDesktopAppUninstall::refusalText(plan->command);
            return result;
        }
        if (!plan && record.source != 1) {
            // Gone from the menu meanwhile, or never the user's to remove.
            result.error =
                errorForCode(record.source == 2 ? SystemApplication : NothingToUninstall);
            return result;
        }
    } else if (record.source == 2) {
        result.error = errorForCode(SystemApplication);
        return result;
    }
    if (record.bundlePath.isEmpty()) {
        result.error = errorForCode(MissingBundlePath);
        return result;
    }
    terminateRunningInstancesForBundleIdentifier(record.bundleIdentifier, record.bundlePath);
    if (!record.relatedPathsLoaded) {
        KSTRelatedPathLookup::applyRelatedPaths(
            record, m_engine->relatedPaths().relatedPathsForInstalledApp(record));
    }
    const bool byFlatpak =
        plan && plan->action == KSTDesktopAppUninstall::Action::UninstallUserFlatpak;
    if (byFlatpak) {
        // The exported entry and the deployment are flatpak's: only the data goes to the Trash.
        KSTInstalledAppRecord dataOnly = record;
        dataOnly.bundlePath.clear();
        result.uninstallPaths = uninstallPathsForApp(dataOnly);
    } else {
        result.uninstallPaths = uninstallPathsForApp(record);
    }
    if (result.uninstallPaths.isEmpty() && !byFlatpak) {
        result.error = errorForCode(NothingToUninstall);
        return result;
    }
    QStringList failed;
    bool flatpakRemoved = false;
    if (byFlatpak) {
        const KSTToolResult run = KSTDesktopAppUninstall::uninstallUserFlatpak(
            KSTEnvironment::current(), plan->flatpakId);
        flatpakRemoved = run.succeeded();
        if (flatpakRemoved) {
            ++result.removedCount;
        } else {
            qCInfo(lcApps) << "flatpak did not uninstall" << plan->flatpakId << run.exitCode
                           << run.timedOut;
            failed << record.bundlePath;
        }
    }

    // What each path was when it was listed: the guard acts only on that very entry.
    QHash<QString, std::optional<KSTFileIdentity>> seen;
    seen.insert(standardized(record.bundlePath), record.bundleIdentity);
    for (const KSTInstalledAppRelatedPath &related : std::as_const(record.relatedPaths))
        seen.insert(standardized(related.path), related.identity);

    const KSTRemovalGuard guard(
        KSTRemovalGuard::Policy{removalScopeRoots(), KSTRemovalGuard::storedNeverTouchPaths()});
    for (const QString &path : std::as_const(result.uninstallPaths)) {
        if (!KSTNoFollowPath::status(path))
            continue; // gone since the listing: neither removed nor failed
        const std::optional<KSTFileIdentity> identity = seen.value(path);
        QString trashed;
        KSTError error;
        if (guard.moveToTrash(path, identity, &trashed, &error)) {
            ++result.removedCount;
            if (identity)
                result.moved.append({path, trashed, *identity});
        } else if (!(error.domain == KSTRemovalGuard::ErrorDomain &&
                     error.code == KSTRemovalGuard::RefusedMissing)) {
            qCInfo(lcApps) << "not moved to the Trash:" << error.description;
            failed << path;
        }
    }
    m_engine->hooks().storeRelatedPathIndex(nullptr);

    if (!result.moved.isEmpty())
        KSTAppUninstallHistory::remember(result.moved);
    if (result.removedCount == 0) {
        result.error = errorForCode(NothingRemoved, 0, failed);
        return result;
    }
    if (flatpakRemoved || !KSTNoFollowPath::status(record.bundlePath))
        m_engine->forgetRecord(record.bundlePath);
    result.success = true;
    if (!failed.isEmpty())
        result.error = errorForCode(PartlyRemoved, result.removedCount, failed);
    return result;
}

void KSTAppUninstaller::putBackLastUninstall(
    std::function<void(const KSTAppUninstallHistory::PutBackResult &)> finished)
{
    KSTAppInventoryEngine *engine = m_engine;
    engine->performSoon([engine, finished] {
        const KSTAppUninstallHistory::PutBackResult result =
            KSTAppUninstallHistory::putBackLastUninstall();
        if (!result.restoredPaths.isEmpty())
            engine->hooks().invalidateInventory();
        if (finished)
            engine->hooks().onMain([finished, result] { finished(result); });
    });
}

void KSTAppUninstaller::terminateRunningInstancesForBundleIdentifier(
    const QString &bundleIdentifier, const QString &bundlePath,
    std::chrono::milliseconds pollInterval)
{
    if (bundleIdentifier.isEmpty() || bundlePath.isEmpty())
        return;
    const uint user = KSTEnvironment::current().userId();
    const QList<qint64> instances = KSTRunningApplications::instancesOfBundle(bundlePath, user);
    if (instances.isEmpty())
        return;
    KSTRunningApplications::requestQuit(instances);
    for (int poll = 0; poll < TerminationPolls; ++poll) {
        const bool anyRunning =
            std::any_of(instances.cbegin(), instances.cend(), &KSTRunningApplications::isRunning);
        if (!anyRunning)
            return;
        std::this_thread::sleep_for(pollInterval);
    }
}

QStringList KSTAppUninstaller::uninstallPathsForApp(const KSTInstalledAppRecord &record)
{
    QStringList paths;
    const auto addIfSafe = [&paths](const QString &path) {
        const QString clean = standardized(path);
        if (!clean.isEmpty() && isSafeUninstallPath(clean) && !paths.contains(clean))
            paths << clean;
    };
    addIfSafe(record.bundlePath);
    for (const KSTInstalledAppRelatedPath &related : record.relatedPaths)
        addIfSafe(related.path);
    return minimalRootPathsFromPaths(paths);
}

bool KSTAppUninstaller::isSafeUninstallPath(const QString &path)
{
    const QString clean = standardized(path);
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString root = environment.root();
    if (clean.isEmpty() || clean == QLatin1String("/") || clean == root)
        return false;
    const QString macPath = environment.pathRelativeToRoot(clean);
    if (macPath.startsWith(Locations::systemFolderPrefix))
        return false;
    const QString home = standardized(Checker::accessibleUserHomeDirectoryPath());
    if (isBelow(clean, home))
        return true;
    if (hasAppExtension(clean) &&
        (isBelow(clean, standardized(environment.systemPath(Locations::applications))) ||
         isBelow(clean, home + QLatin1Char('/') + Locations::homeApplications)))
        return true;
    return isBelow(clean, standardized(environment.systemPath(Locations::receipts)));
}

QStringList KSTAppUninstaller::minimalRootPathsFromPaths(const QStringList &paths)
{
    QStringList sorted = paths;
    std::sort(sorted.begin(), sorted.end(), lessByLength);
    QStringList kept;
    for (const QString &path : std::as_const(sorted)) {
        const bool covered = std::any_of(kept.cbegin(), kept.cend(), [&path](const QString &root) {
            return path == root || path.startsWith(root + QLatin1Char('/'));
        });
        if (!covered)
            kept << path;
    }
    std::sort(kept.begin(), kept.end(), [](const QString &a, const QString &b) {
        if (a.size() != b.size())
            return a.size() > b.size();
        return a < b;
    });
    return kept;
}

QStringList KSTAppUninstaller::removalScopeRoots()
{
    const KSTEnvironment environment = KSTEnvironment::current();
    return {standardized(Checker::accessibleUserHomeDirectoryPath()),
            standardized(environment.systemPath(Locations::applications)),
            standardized(environment.systemPath(Locations::receipts))};
}
