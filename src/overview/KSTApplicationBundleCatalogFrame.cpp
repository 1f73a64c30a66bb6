// The bundle catalog's cache when it works for the service: the service's own bundle list, so
// the Overview, App Manage, the Reporter and the Utilities search once between invalidations.
#include "KSTApplicationBundleCatalog.h"

#include "KSTSystemInfo.h"

KSTApplicationBundleCatalog::PathCache
KSTApplicationBundleCatalog::PathCache::of(KSTSystemInfo &systemInfo)
{
    KSTSystemInfo *info = &systemInfo;
    return {[info] { return info->cachedApplicationBundlePaths(); },
            [info](const QStringList &paths) { info->setCachedApplicationBundlePaths(paths); }};
}
