// Where the App Manage engine meets the frame: its hooks are the frame's App Manage slot and
// queue, so the engine itself never holds the frame.
#include "KSTAppInventoryEngine.h"

#include "KSTApplicationBundleCatalog.h"
#include "KSTNotificationCenter.h"
#include "KSTSystemInfo.h"

namespace {

KSTAppInventoryEngine::Hooks hooksOf(KSTSystemInfo &info)
{
    KSTAppInventoryEngine::Hooks hooks;
    hooks.isCancelled = [&info](quint64 generation) {
        return info.isAppInventoryScanCancelled(generation);
    };
    hooks.nextGeneration = [&info] { return info.nextAppInventoryScanGeneration(); };
    hooks.queue = &info.appInventoryQueue();
    hooks.onMain = [&info](KSTAppInventoryEngine::Block block) { info.onMain(std::move(block)); };
    hooks.cachedInventory = [&info] { return info.cachedAppInventorySnapshot(); };
    hooks.storeInventory = [&info](KSTAppInventoryEngine::SnapshotPtr snapshot) {
        info.storeCachedAppInventorySnapshot(std::move(snapshot));
    };
    hooks.refreshInventory = [&info](const QList<KSTInstalledAppRecord> &apps,
                                     const QString &statusText, bool isSizeCalculationComplete,
                                     quint64 scannedCount) {
        info.refreshCachedAppInventoryAfterMetadataUpdate(apps, statusText,
                                                          isSizeCalculationComplete, scannedCount);
    };
    hooks.refreshInventoryApps = [&info](const QList<KSTInstalledAppRecord> &apps) {
        info.refreshCachedAppInventoryAfterMetadataUpdate(apps);
    };
    hooks.invalidateInventory = [&info] { info.invalidateAppInventoryCache(); };
    hooks.cachedRelatedPathIndex = [&info] { return info.cachedRelatedPathScanIndex(); };
    hooks.storeRelatedPathIndex = [&info](std::shared_ptr<const KSTRelatedPathScanIndex> index) {
        info.setCachedRelatedPathScanIndex(std::move(index));
    };
    hooks.applicationBundlePaths = [&info] {
        return KSTApplicationBundleCatalog(KSTApplicationBundleCatalog::PathCache::of(info))
            .applicationBundlePaths();
    };
    // The frame is the notification's object: models listen to the frame they were given.
    hooks.postMetadataUpdate = [&info](const QVariantMap &userInfo) {
        const void *object = &info;
        info.onMain([object, userInfo] {
            KSTNotificationCenter::defaultCenter().post(
                KSTAppInventoryEngine::MetadataDidUpdateNotification, object, userInfo);
        });
    };
    return hooks;
}

} // namespace

std::shared_ptr<KSTAppInventoryEngine> KSTAppInventoryEngine::install(KSTSystemInfo &systemInfo)
{
    return install(systemInfo, Options());
}

std::shared_ptr<KSTAppInventoryEngine> KSTAppInventoryEngine::install(KSTSystemInfo &systemInfo,
                                                                      Options options)
{
    auto engine = std::make_shared<KSTAppInventoryEngine>(hooksOf(systemInfo), options);
    systemInfo.setAppInventoryScanRoutine(
        [engine](quint64 generation, KSTSystemInfo::AppInventorySnapshotHandler progress,
                 KSTSystemInfo::AppInventorySnapshotHandler completion) {
            engine->scanForGeneration(generation, std::move(progress), std::move(completion));
        });
    systemInfo.setAppInventorySizeResumeRoutine(
        [engine] { engine->resumeAppInventorySizeCalculationIfNeeded(); });
    return engine;
}

KSTAppInventoryEngine &KSTAppInventoryEngine::shared()
{
    // Kept for the life of the process, like the service it works for.
    static const std::shared_ptr<KSTAppInventoryEngine> *const instance =
        new std::shared_ptr<KSTAppInventoryEngine>(install(KSTSystemInfo::shared()));
    return **instance;
}
