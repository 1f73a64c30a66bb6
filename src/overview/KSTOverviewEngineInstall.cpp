// Where the Overview engine meets the frame: it keeps its bundle list in the frame's cache, so
// the engine itself never holds the frame.
#include "KSTOverviewEngine.h"

#include "KSTSystemInfo.h"

void KSTOverviewEngine::install(KSTSystemInfo &systemInfo, KSTLiveBaselines &baselines)
{
    const KSTOverviewEngine engine(KSTApplicationBundleCatalog::PathCache::of(systemInfo),
                                   baselines);
    systemInfo.setOverviewSnapshotBuilder([engine] { return engine.fetchSnapshot(); });
}
