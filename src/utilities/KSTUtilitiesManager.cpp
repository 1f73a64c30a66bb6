#include "KSTUtilitiesManager.h"

#include "KSTUtilitiesManagerPrivate.h"

#include "KSTSystemInfo.h"

KSTUtilitiesManager::KSTUtilitiesManager(KSTSystemInfo *systemInfo) : d(std::make_unique<Private>())
{
    d->bundlePaths = KSTApplicationBundleCatalog::PathCache::of(
        systemInfo ? *systemInfo : KSTSystemInfo::shared());
    d->queue = std::make_unique<KSTDispatchQueue>(QueueLabel, KSTQualityOfService::Utility);
}

KSTUtilitiesManager::~KSTUtilitiesManager()
{
    // The queue's destructor runs what was queued; the jobs and scans reach d through this
    // object.
    d->scans.wait();
    d->queue.reset();
}

KSTUtilitiesManager &KSTUtilitiesManager::sharedManager()
{
    static KSTUtilitiesManager *manager = new KSTUtilitiesManager(); // lives with the process
    return *manager;
}

KSTDispatchQueue &KSTUtilitiesManager::backgroundQueue() const
{
    return *d->queue;
}

void KSTUtilitiesManager::scanInBackground(std::function<void()> work)
{
    d->scans.async(KSTQualityOfService::UserInitiated, std::move(work));
}

QString KSTUtilitiesManager::messageForErrorCode(ErrorCode code)
{
    switch (code) {
    case StartupItemNeedsAdministrator:
        return QStringLiteral("This startup item requires administrator privileges to disable.");
    case LaunchDaemonCannotBeDisabled:
        return QStringLiteral("System launch daemons cannot be disabled from this app.");
    case LaunchAgentUnloadFailed:
        return QStringLiteral("Failed to unload launch agent.");
    case LoginItemsUnavailable:
        return QStringLiteral("Unable to access login items list.");
    case LoginItemNotRemoved:
        return QStringLiteral("Login item not found or could not be removed.");
    case ArchiveSourceMissing:
        return QStringLiteral("File or folder not found.");
    case ArchiveWriterFailed:
        return QStringLiteral("Could not create encrypted ZIP.");
    case ArchiveWritingFailed:
        return QStringLiteral("ZIP encryption failed.");
    case ArchiveNotCreated:
        return QStringLiteral("Encrypted ZIP was not created.");
    case DefaultAppArgumentsMissing:
        return QStringLiteral("Missing app or file type.");
    case ProtectedErasePath:
        break;
    }
    return {};
}

KSTError KSTUtilitiesManager::makeError(ErrorCode code, const QString &description)
{
    return {ErrorDomain, code, description.isEmpty() ? messageForErrorCode(code) : description, {}};
}
