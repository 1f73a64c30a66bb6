// Startup items of a Linux desktop: XDG autostart entries, the user's enabled units and the
// system's enabled services, rated and disabled as launchd jobs are on a Mac.
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesManagerPrivate.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTIniKeyEdit.h"
#include "KSTLinuxPlaces.h"
#include "KSTNoFollowPath.h"
#include "KSTPathText.h"
#include "KSTReadOnlyFile.h"
#include "KSTRemovalGuard.h"
#include "KSTToolRunner.h"
#include "KSTUserConfigFile.h"
#include "KSTUtilitiesLocations.h"
#include "linux/KSTDesktopEntry.h"
#include "linux/KSTDesktopEntryCatalog.h"
#include "linux/KSTLinuxStartupEntries.h"
#include "linux/KSTRootedPath.h"

#include <QDir>

#include <fcntl.h>
#include <unistd.h>

namespace {

// systemctl asks the user's service manager and returns at once; one that hangs is given up.
constexpr int SystemctlTimeoutMs = 30'000;

QString userAutostartFolder(const KSTEnvironment &environment)
{
    return QDir::cleanPath(environment.places()->configHome() + QLatin1Char('/') +
                           KSTUtilitiesLocations::Autostart);
}

QString userUnitFolder(const KSTEnvironment &environment)
{
    return QDir::cleanPath(environment.places()->configHome() + QLatin1Char('/') +
                           KSTUtilitiesLocations::UserUnits);
}

// Whether the user may change the folder @p path, or make it in the nearest existing folder.
bool userMayWrite(const QString &path)
{
    QString folder = QDir::cleanPath(path);
    while (!KSTNoFollowPath::status(folder) && folder != QLatin1String("/"))
        folder = KSTPathText::deletingLastPathComponent(folder);
    return ::faccessat(AT_FDCWD, KSTFileName::encoded(folder).constData(), W_OK, AT_EACCESS) == 0;
}

} // namespace

QList<KSTStartupItemRecord> KSTUtilitiesManager::scanLinuxStartupItems() const
{
    using namespace KSTUtilitiesLocations;
    const KSTEnvironment environment = KSTEnvironment::current();
    const std::shared_ptr<const KSTLinuxPlaces> places = environment.places();
    QList<KSTStartupItemRecord> items;

    const QString userAutostart = userAutostartFolder(environment);
    QStringList autostartFolders{userAutostart};
    for (const QString &configDir : places->configDirs())
        autostartFolders << QDir::cleanPath(configDir + QLatin1Char('/') + Autostart);
    const bool mayWriteAutostart = userMayWrite(userAutostart);
    for (const KSTLinuxStartupEntry &entry : KSTLinuxStartupEntries::autostartEntries(
             environment, autostartFolders, KSTDesktopEntryCatalog(environment).locale())) {
        items.append({displayNameForProgramPath(entry.program, entry.name), AutostartLabel,
                      impactForProgramPath(entry.program), entry.path,
                      KSTStartupItemRecord::LoginItem, entry.identifier, mayWriteAutostart});
    }

    const auto addUnits = [&](const QString &folder, quint64 type, const QString &label,
                              bool userOwned) {
        for (const KSTLinuxStartupEntry &entry :
             KSTLinuxStartupEntries::enabledServices(environment, folder)) {
            const bool canDisable =
                userOwned && userMayWrite(KSTPathText::deletingLastPathComponent(entry.path));
            items.append({displayNameForProgramPath(entry.program, entry.name), label,
                          type == KSTStartupItemRecord::LaunchDaemon
                              ? QStringLiteral("High")
                              : impactForProgramPath(entry.program),
                          entry.path, type, entry.identifier, canDisable});
        }
    };
    addUnits(userUnitFolder(environment), KSTStartupItemRecord::LaunchAgent, UserUnitLabel, true);
    addUnits(environment.systemPath(GlobalUserUnits), KSTStartupItemRecord::LaunchAgent,
             UserUnitLabel, false);
    addUnits(environment.systemPath(SystemUnits), KSTStartupItemRecord::LaunchDaemon,
             SystemUnitLabel, false);
    return items;
}

bool KSTUtilitiesManager::disableAutostartEntryAtPath(const QString &entryPath,
                                                      KSTError *error) const
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString folder = userAutostartFolder(environment);
    const QString name = KSTPathText::lastPathComponent(QDir::cleanPath(entryPath));
    const QString target = folder + QLatin1Char('/') + name;

    // The user's own entry is read as it stands (a link there is refused); a system entry is
    // only ever read, inside the root, to start the user's copy from.
    const std::optional<KSTUserConfigFile::Contents> own =
        KSTUserConfigFile::read(target, KSTDesktopEntry::maximumFileBytes, error);
    if (!own)
        return false;
    QByteArray source = own->bytes;
    if (!own->identity) {
        const QString resolved =
            KSTRootedPath::resolve(QDir::cleanPath(environment.root()), QDir::cleanPath(entryPath));
        if (resolved.isEmpty() ||
            KSTReadOnlyFile::readWholeFile(resolved, KSTDesktopEntry::maximumFileBytes, &source) !=
                KSTReadOnlyFile::Status::Read) {
            if (error)
                *error = KSTError::fromErrno(ENOENT, entryPath);
            return false;
        }
    }
    const QByteArray changed =
        KSTIniKeyEdit::withKey(source, QByteArrayLiteral("Desktop Entry"),
                               QByteArrayLiteral("Hidden"), QByteArrayLiteral("true"));
    if (changed.isEmpty()) {
        if (error)
            *error = KSTError::fromErrno(EFBIG, entryPath);
        return false;
    }
    return KSTUserConfigFile::write(folder, target, *own, changed, error);
}

bool KSTUtilitiesManager::disableUserUnitAtPath(const QString &wantsPath, bool throughSystemctl,
                                                KSTError *error) const
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString unit = KSTPathText::lastPathComponent(QDir::cleanPath(wantsPath));
    if (throughSystemctl) {
        // The service manager also stops the running unit; its exit status is not examined,
        // as launchctl's is not: only a systemctl that never ran counts.
        const KSTToolResult result = KSTToolRunner::run(
            KSTUtilitiesLocations::Systemctl,
            {QStringLiteral("--user"), QStringLiteral("disable"), QStringLiteral("--now"), unit},
            KSTToolRunner::Channels::Separate, SystemctlTimeoutMs);
        if (!result.started) {
            if (error)
                *error = makeError(LaunchAgentUnloadFailed);
            return false;
        }
        return true;
    }
    // Without the service manager (another machine's disk), the unit is disabled as systemctl
    // would: every link enabling it goes, the unit file stays. The links go to the Trash, from
    // where putting one back enables the unit again.
    const QString folder = userUnitFolder(environment);
    const KSTRemovalGuard guard({{folder}, KSTRemovalGuard::storedNeverTouchPaths()});
    const QStringList links = KSTLinuxStartupEntries::wantsEntries(folder, unit);
    if (links.isEmpty()) {
        if (error)
            *error = KSTError::fromErrno(ENOENT, wantsPath);
        return false;
    }
    for (const QString &link : links) {
        if (!guard.moveToTrash(link, std::nullopt, nullptr, error))
            return false;
    }
    return true;
}
