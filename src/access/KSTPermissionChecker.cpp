// Full Disk Access, the folder-access prompt and the sandbox home-folder grant.
#include "KSTPermissionChecker.h"

#include "KSTPermissionCheckerState.h"

#include "KSTApplicationInfo.h"
#include "KSTDispatch.h"
#include "KSTEnvironment.h"
#include "KSTNotificationCenter.h"
#include "KSTPreferences.h"
#include "KSTReadOnlyFile.h"
#include "KSTSecurityScopedBookmark.h"
#include "KSTSqliteDatabase.h"

#include <QDir>
#include <QFileInfo>
#include <QOperatingSystemVersion>

KSTPermissionCheckerState &KSTPermissionCheckerState::instance()
{
    static KSTPermissionCheckerState state;
    return state;
}

// ---- Build mode and home ----

bool KSTPermissionChecker::isRunningSandboxed()
{
    if (isDirectDistributionBuild())
        return false;
    return QDir::homePath().contains(QLatin1String("/Library/Containers/"));
}

QString KSTPermissionChecker::realUserHomeDirectoryPath()
{
    return KSTEnvironment::current().home();
}

QString KSTPermissionChecker::applicationDisplayName()
{
    const QString name = KSTApplicationInfo::bundleName();
    if (!name.isEmpty())
        return name;
    const QString displayName = KSTApplicationInfo::bundleDisplayName();
    if (!displayName.isEmpty())
        return displayName;
    return QStringLiteral("Kestrel 3");
}

// ---- Full Disk Access ----

bool KSTPermissionChecker::hasFullDiskAccess()
{
    if (isRunningSandboxed())
        return false;
    KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
    if (checker.fullDiskAccessCacheValid.load())
        return checker.fullDiskAccessCachedValue.load();

    bool granted = true;
    // A Linux machine has no privacy database and nothing it protects: the answer is yes.
    if (KSTEnvironment::current().layout() == KSTLayout::Mac) {
        const std::optional<bool> fromDatabase = tccFullDiskAccessGrantedValue();
        granted = fromDatabase ? *fromDatabase : hasFullDiskAccessViaCriticalProbes();
    }
    checker.fullDiskAccessCachedValue.store(granted);
    checker.fullDiskAccessCacheValid.store(true);
    return granted;
}

bool KSTPermissionChecker::needsFullDiskAccessReminder()
{
    if (isRunningSandboxed())
        return false;
    return !hasFullDiskAccess();
}

KSTFullDiskAccessStatus KSTPermissionChecker::fullDiskAccessStatus()
{
    if (hasFullDiskAccess())
        return KSTFullDiskAccessStatusGranted;
    const KSTFullDiskAccessStatus fromDatabase =
        fullDiskAccessStatusFromTCCDatabaseAtPath(tccDatabasePath());
    if (fromDatabase == KSTFullDiskAccessStatusListedButOff)
        return KSTFullDiskAccessStatusListedButOff;
    const std::optional<bool> granted = tccFullDiskAccessGrantedValue();
    if (granted && !*granted)
        return KSTFullDiskAccessStatusListedButOff;
    if (KSTPreferences::standard()->value(UserOpenedFDASettingsKey).toBool())
        return KSTFullDiskAccessStatusListedButOff;
    return fromDatabase == KSTFullDiskAccessStatusNotListed ? KSTFullDiskAccessStatusNotListed
                                                            : KSTFullDiskAccessStatusStale;
}

QString KSTPermissionChecker::fullDiskAccessReminderTitle()
{
    if (fullDiskAccessStatus() == KSTFullDiskAccessStatusListedButOff)
        return QStringLiteral("Turn On Full Disk Access");
    return QStringLiteral("Allow Full Disk Access");
}

QString KSTPermissionChecker::fullDiskAccessReminderMessage()
{
    const QString name = applicationDisplayName();
    if (fullDiskAccessStatus() == KSTFullDiskAccessStatusListedButOff) {
        return QStringLiteral("%1 is already listed in Full Disk Access, but the permission switch "
                              "is turned off. Open System Settings, turn on the switch next to "
                              "%2, then quit and reopen the app.")
            .arg(name, name);
    }
    return QStringLiteral("%1 needs Full Disk Access to scan protected folders. Add %2 to the Full "
                          "Disk Access list and turn on the switch in System Settings.")
        .arg(name, name);
}

void KSTPermissionChecker::invalidateFullDiskAccessCache()
{
    KSTPermissionCheckerState::instance().fullDiskAccessCacheValid.store(false);
}

void KSTPermissionChecker::refreshFullDiskAccessStatus()
{
    KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
    const bool previous =
        checker.fullDiskAccessCacheValid.load() ? checker.fullDiskAccessCachedValue.load() : false;
    checker.fullDiskAccessCacheValid.store(false);
    const bool current = hasFullDiskAccess();
    if (current)
        KSTPreferences::standard()->remove(UserOpenedFDASettingsKey);
    postAccessStatusChangeIfNeeded(previous, current);
}

QString KSTPermissionChecker::fullDiskAccessSettingsURL()
{
    const QOperatingSystemVersion system = QOperatingSystemVersion::current();
    if (system.type() == QOperatingSystemVersion::MacOS &&
        system < QOperatingSystemVersion::MacOSVentura)
        return QStringLiteral(
            "x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles");
    return QStringLiteral(
        "x-apple.systempreferences:com.apple.settings.PrivacySecurity.extension?Privacy_AllFiles");
}

void KSTPermissionChecker::openFullDiskAccessSettings()
{
    {
        const auto preferences = KSTPreferences::standard();
        preferences->setValue(UserOpenedFDASettingsKey, true);
        preferences->sync();
    }
    kstOpenSystemSettingsURL(fullDiskAccessSettingsURL());
}

QStringList KSTPermissionChecker::fullDiskAccessClientIdentifiers()
{
    QStringList clients;
    const QString identifier = KSTApplicationInfo::bundleIdentifier();
    if (!identifier.isEmpty())
        clients << identifier;
    const QString bundlePath =
        KSTPermissionCheckerState::standardized(KSTApplicationInfo::bundlePath());
    if (!bundlePath.isEmpty())
        clients << bundlePath;
    const QString executablePath =
        KSTPermissionCheckerState::standardized(KSTApplicationInfo::executablePath());
    if (!executablePath.isEmpty() && !clients.contains(executablePath))
        clients << executablePath;
    return clients;
}

QString KSTPermissionChecker::tccDatabasePath()
{
    return realUserHomeDirectoryPath() +
           QLatin1String("/Library/Application Support/com.apple.TCC/TCC.db");
}

QStringList KSTPermissionChecker::criticalFullDiskAccessProbePaths()
{
    const QString home = realUserHomeDirectoryPath();
    return {home + QLatin1String("/Library/Messages/chat.db"),
            home + QLatin1String("/Library/Safari/Bookmarks.plist")};
}

QStringList KSTPermissionChecker::protectedProbePaths()
{
    const QString home = realUserHomeDirectoryPath();
    return {home + QLatin1String("/Library/Safari/Bookmarks.plist"),
            home + QLatin1String("/Library/Mail"),
            home + QLatin1String("/Library/Messages/chat.db"),
            home + QLatin1String("/Library/Containers")};
}

bool KSTPermissionChecker::canAccessProtectedPath(const QString &path)
{
    if (path.isEmpty())
        return false;
    const QFileInfo info(path);
    if (!info.exists())
        return false;
    if (info.isDir()) {
        return !QDir(path)
                    .entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                               QDir::NoDotAndDotDot)
                    .isEmpty();
    }
    // One byte tells whether the contents can be read and are not empty; the message
    // database can be gigabytes, and a FIFO in its place must not block the caller (the
    // window asks on its main thread).
    QByteArray firstByte;
    return KSTReadOnlyFile::readPrefix(path, 1, &firstByte) == KSTReadOnlyFile::Status::Read &&
           !firstByte.isEmpty();
}

bool KSTPermissionChecker::hasFullDiskAccessViaCriticalProbes()
{
    for (const QString &probe : criticalFullDiskAccessProbePaths()) {
        if (canAccessProtectedPath(probe))
            return true;
    }
    return false;
}

std::optional<bool> KSTPermissionChecker::tccFullDiskAccessGrantedValue()
{
    const QString databasePath = tccDatabasePath();
    bool foundRow = false;
    for (const QString &client : fullDiskAccessClientIdentifiers()) {
        const std::optional<int> authValue = authValueForFullDiskAccessClient(client, databasePath);
        if (!authValue)
            continue;
        if (isFullDiskAccessAuthValueGranted(*authValue))
            return true;
        foundRow = true;
    }
    if (foundRow)
        return false;
    return std::nullopt;
}

std::optional<int>
KSTPermissionChecker::authValueForFullDiskAccessClient(const QString &client,
                                                       const QString &databasePath)
{
    if (client.isEmpty() || databasePath.isEmpty())
        return std::nullopt;
    KSTSqliteDatabase database(databasePath);
    if (!database.isOpen())
        return std::nullopt;
    KSTSqliteStatement statement = database.prepare(QStringLiteral(
        "SELECT auth_value FROM access WHERE service = 'kTCCServiceSystemPolicyAllFiles' AND "
        "client = ? LIMIT 1"));
    if (!statement.isValid() || !statement.bindText(1, client))
        return std::nullopt;
    if (statement.step() != KSTSqliteStatement::StepResult::Row)
        return std::nullopt;
    return statement.columnInt(0);
}

bool KSTPermissionChecker::isFullDiskAccessAuthValueGranted(int authValue)
{
    // 1 and 2 grant; the unsigned subtraction also rejects 0 and every negative value.
    return static_cast<unsigned>(authValue) - 1u < 2u;
}

KSTFullDiskAccessStatus
KSTPermissionChecker::fullDiskAccessStatusFromTCCDatabaseAtPath(const QString &path)
{
    bool foundRow = false;
    for (const QString &client : fullDiskAccessClientIdentifiers()) {
        const std::optional<int> authValue = authValueForFullDiskAccessClient(client, path);
        if (!authValue)
            continue;
        if (isFullDiskAccessAuthValueGranted(*authValue))
            return KSTFullDiskAccessStatusGranted;
        foundRow = true;
    }
    return foundRow ? KSTFullDiskAccessStatusListedButOff : KSTFullDiskAccessStatusNotListed;
}

// ---- Folder access ----

bool KSTPermissionChecker::hasRequiredFolderAccess()
{
    if (isDirectDistributionBuild())
        return hasFullDiskAccess();
    return isRunningSandboxed() ? hasHomeFolderAccess() : hasFullDiskAccess();
}

void KSTPermissionChecker::refreshFolderAccessStatus()
{
    if (!isRunningSandboxed()) {
        refreshFullDiskAccessStatus();
        return;
    }
    KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
    bool previous = false;
    {
        std::lock_guard lock(checker.homeMutex);
        previous = checker.homeAccessResolved ? checker.homeAccessCachedValue : false;
    }
    const bool current = ensureHomeFolderAccessStarted();
    {
        std::lock_guard lock(checker.homeMutex);
        checker.homeAccessCachedValue = current;
        checker.homeAccessResolved = true;
    }
    postAccessStatusChangeIfNeeded(previous, current);
}

bool KSTPermissionChecker::shouldShowFolderAccessPrompt()
{
    return !hasRequiredFolderAccess() && !isRemindLaterSet();
}

void KSTPermissionChecker::setRemindLater(bool remindLater)
{
    KSTPreferences::standard()->setValue(FolderAccessRemindLaterKey, remindLater);
}

void KSTPermissionChecker::clearRemindLater()
{
    KSTPreferences::standard()->remove(FolderAccessRemindLaterKey);
}

bool KSTPermissionChecker::isRemindLaterSet()
{
    return KSTPreferences::standard()->value(FolderAccessRemindLaterKey).toBool();
}

void KSTPermissionChecker::postAccessStatusChangeIfNeeded(bool oldValue, bool newValue)
{
    if (oldValue != newValue)
        KSTNotificationCenter::defaultCenter().post(FolderAccessStatusDidChangeNotification);
}

void KSTPermissionChecker::resetForTesting()
{
    KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
    checker.fullDiskAccessCacheValid.store(false);
    checker.fullDiskAccessCachedValue.store(false);
    std::lock_guard lock(checker.homeMutex);
    checker.grantedHomeURL.clear();
    checker.homeAccessStarted = false;
    checker.homeAccessResolved = false;
    checker.homeAccessCachedValue = false;
}
