// Where the Reporter engine meets the frame: its hooks are the frame's Reporter generation and
// bundle cache, so the engine itself never holds the frame.
#include "KSTReporterEngine.h"

#include "KSTSystemInfo.h"

KSTReporterEngine::Hooks KSTReporterEngine::hooksOf(KSTSystemInfo &systemInfo)
{
    KSTSystemInfo *info = &systemInfo;
    return {[info](quint64 generation) { return info->isReporterScanCancelled(generation); },
            KSTApplicationBundleCatalog::PathCache::of(systemInfo)};
}

void KSTReporterEngine::install(KSTSystemInfo &systemInfo)
{
    const KSTReporterEngine engine(hooksOf(systemInfo));
    systemInfo.setReporterSnapshotBuilder([engine](quint64 generation) {
        return engine.fetchReporterSnapshotWithGeneration(generation);
    });
    systemInfo.setReporterPartialSnapshotBuilder(
        [engine] { return engine.fetchReporterSnapshotPartial(); });
}
