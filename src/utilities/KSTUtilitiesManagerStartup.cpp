// Startup items: the launch agents and daemons of the analysed Mac, rated and disabled.
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesManagerPrivate.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTLaunchJob.h"
#include "KSTNoFollowPath.h"
#include "KSTPathText.h"
#include "KSTPropertyList.h"
#include "KSTRemovalGuard.h"
#include "KSTToolRunner.h"
#include "KSTUtilitiesLocations.h"

#include <QDir>

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr qint64 MediumImpactBytes = 20'971'521;
constexpr qint64 HighImpactBytes = 209'715'201;
// launchctl talks to launchd and returns at once; one that hangs is given up on.
constexpr int LaunchctlTimeoutMs = 30'000;

} // namespace

QList<KSTStartupItemRecord> KSTUtilitiesManager::scanStartupItems() const
{
    using namespace KSTUtilitiesLocations;
    const KSTEnvironment environment = KSTEnvironment::current();
    QList<KSTStartupItemRecord> items;
    if (environment.layout() == KSTLayout::Linux) {
        items = scanLinuxStartupItems();
    } else {
        items = scanLaunchPlistsInDirectory(environment.homePath(UserLaunchAgents),
                                            KSTStartupItemRecord::LaunchAgent, true);
        items += scanLaunchPlistsInDirectory(environment.systemPath(GlobalLaunchAgents),
                                             KSTStartupItemRecord::LaunchAgent, false);
        items += scanLaunchPlistsInDirectory(environment.systemPath(LaunchDaemons),
                                             KSTStartupItemRecord::LaunchDaemon, false);
        items += scanLoginItems();
    }
    std::stable_sort(items.begin(), items.end(),
                     [](const KSTStartupItemRecord &a, const KSTStartupItemRecord &b) {
                         return KSTUtilitiesOrder::localizedCaseInsensitiveLess(a.name, b.name);
                     });
    return items;
}

QList<KSTStartupItemRecord>
KSTUtilitiesManager::scanLaunchPlistsInDirectory(const QString &directory, quint64 type,
                                                 bool canDisable) const
{
    QList<KSTStartupItemRecord> items;
    if (!directory.startsWith(QLatin1Char('/')))
        return items;
    const QString folder = QDir::cleanPath(directory);
    const std::optional<QStringList> names = KSTNoFollowPath::listFolder(folder, false);
    if (!names)
        return items;
    for (const QString &name : *names) {
        if (!name.endsWith(QLatin1String(".plist")) ||
            name.endsWith(KSTUtilitiesLocations::DisabledSuffix))
            continue;
        const QString path = folder + QLatin1Char('/') + name;
        const QVariant plist = KSTPropertyList::readFile(path);
        if (plist.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap dictionary = plist.toMap();
        const KSTLaunchJob job = KSTLaunchJob::fromPlist(dictionary, name);
        const QString &label = job.label;
        const QString &program = job.program;

        KSTStartupItemRecord item;
        item.name = displayNameForProgramPath(program, label);
        item.typeLabel = type == KSTStartupItemRecord::LaunchDaemon
                             ? QStringLiteral("Launch Daemon")
                             : QStringLiteral("Launch Agent");
        item.impact = impactForLaunchPlist(dictionary, program, type);
        item.path = path;
        item.itemType = type;
        item.itemIdentifier = label;
        item.canDisable =
            canDisable &&
            ::faccessat(AT_FDCWD, KSTFileName::encoded(path).constData(), W_OK, AT_EACCESS) == 0;
        items.append(item);
    }
    return items;
}

QList<KSTStartupItemRecord> KSTUtilitiesManager::scanLoginItems() const
{
    // Login items live in the session of a running Mac; a Mac analysed from another system
    // and the Linux host have none to list.
    return {};
}

QString KSTUtilitiesManager::displayNameForProgramPath(const QString &programPath,
                                                       const QString &fallback)
{
    if (programPath.isEmpty())
        return fallback.isEmpty() ? QStringLiteral("Unknown") : fallback;
    if (programPath.endsWith(QLatin1String(".app")))
        return KSTPathText::deletingPathExtension(KSTPathText::lastPathComponent(programPath));
    const qsizetype inside = programPath.indexOf(QLatin1String(".app/"));
    if (inside >= 0) {
        const QString bundle = programPath.left(inside + 4);
        return KSTPathText::deletingPathExtension(KSTPathText::lastPathComponent(bundle));
    }
    if (!fallback.isEmpty())
        return fallback;
    return KSTPathText::lastPathComponent(programPath);
}

bool KSTUtilitiesManager::readsAsTrue(const QVariant &value)
{
    return value.typeId() == QMetaType::Bool && value.toBool();
}

QString KSTUtilitiesManager::impactForLaunchPlist(const QVariantMap &plist,
                                                  const QString &programPath, quint64 type) const
{
    if (type == KSTStartupItemRecord::LaunchDaemon)
        return QStringLiteral("High");
    if (!readsAsTrue(plist.value(QStringLiteral("RunAtLoad"))) &&
        !readsAsTrue(plist.value(QStringLiteral("KeepAlive"))))
        return QStringLiteral("Low");
    return impactForProgramPath(programPath);
}

QString KSTUtilitiesManager::impactForProgramPath(const QString &programPath) const
{
    if (programPath.isEmpty())
        return QStringLiteral("Low");
    // The path is the analysed Mac's own; its entry is read there, a final link as the link.
    qint64 size = 0;
    const QString onDisk = KSTEnvironment::current().systemPath(programPath);
    if (onDisk.startsWith(QLatin1Char('/'))) {
        if (const std::optional<struct stat> status =
                KSTNoFollowPath::status(QDir::cleanPath(onDisk)))
            size = qint64(status->st_size);
    }
    if (size >= HighImpactBytes)
        return QStringLiteral("High");
    if (size >= MediumImpactBytes)
        return QStringLiteral("Medium");
    for (const char *name : {"Adobe", "Docker", "Dropbox"}) {
        if (programPath.contains(QLatin1String(name)))
            return QStringLiteral("High");
    }
    return QStringLiteral("Low");
}

QString KSTUtilitiesManager::bootImpactSummaryForItems(const QList<KSTStartupItemRecord> &items)
{
    for (const char *level : {"High", "Medium"}) {
        if (std::any_of(items.cbegin(), items.cend(), [level](const KSTStartupItemRecord &item) {
                return item.impact == QLatin1String(level);
            }))
            return QString::fromLatin1(level);
    }
    return items.isEmpty() ? QStringLiteral("None") : QStringLiteral("Low");
}

bool KSTUtilitiesManager::disableStartupItem(const KSTStartupItemRecord &item,
                                             KSTError *error) const
{
    if (!item.canDisable) {
        if (error)
            *error = makeError(StartupItemNeedsAdministrator);
        return false;
    }
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Linux) {
        if (item.itemType == KSTStartupItemRecord::LoginItem)
            return disableAutostartEntryAtPath(item.path, error);
        // Only the running user's own service manager is asked; another machine's disk has
        // none running.
        if (item.itemType == KSTStartupItemRecord::LaunchAgent)
            return disableUserUnitAtPath(
                item.path, QDir::cleanPath(environment.root()) == QLatin1String("/"), error);
        if (error)
            *error = makeError(LaunchDaemonCannotBeDisabled);
        return false;
    }
    if (item.itemType == KSTStartupItemRecord::LoginItem)
        return disableLoginItemAtPath(item.path, error);
    if (item.itemType == KSTStartupItemRecord::LaunchAgent)
        return disableLaunchAgentAtPath(item.path, error);
    if (error)
        *error = makeError(LaunchDaemonCannotBeDisabled);
    return false;
}

bool KSTUtilitiesManager::disableLaunchAgentAtPath(const QString &plistPath, KSTError *error) const
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString path = QDir::cleanPath(plistPath);
    const KSTToolResult unload = KSTToolRunner::run(
        KSTUtilitiesLocations::Launchctl,
        {QStringLiteral("bootout"), QStringLiteral("gui/%1").arg(environment.userId()),
         environment.pathRelativeToRoot(path)},
        KSTToolRunner::Channels::Separate, LaunchctlTimeoutMs);
    // Whether the agent was loaded does not matter; only a launchctl that never ran does.
    if (!unload.started) {
        if (error)
            *error = makeError(LaunchAgentUnloadFailed);
        return false;
    }

    // Only the user's own agents are ever renamed, and only as the guard allows.
    const QString folder = environment.homePath(KSTUtilitiesLocations::UserLaunchAgents);
    const KSTRemovalGuard guard({{folder}, KSTRemovalGuard::storedNeverTouchPaths()});
    const QString name = KSTPathText::lastPathComponent(path);
    const QString target = path + KSTUtilitiesLocations::DisabledSuffix;
    if (KSTNoFollowPath::status(target))
        guard.removePermanently(target); // an older disabled copy; failing that, the move says
    return guard.moveIntoFolder(path, std::nullopt, KSTPathText::deletingLastPathComponent(path),
                                name + KSTUtilitiesLocations::DisabledSuffix, nullptr, error);
}

bool KSTUtilitiesManager::disableLoginItemAtPath(const QString &path, KSTError *error) const
{
    Q_UNUSED(path);
    if (error)
        *error = makeError(LoginItemsUnavailable);
    return false;
}
