#include "KSTShellEngines.h"

#include "KSTAutoCleanManager.h"
#include "KSTSystemInfo.h"

KSTShellEngines KSTShellEngines::shared()
{
    KSTShellEngines engines;
    engines.systemInfo = &KSTSystemInfo::shared();
    engines.autoCleanManager = &KSTAutoCleanManager::shared();
    engines.liveSampler = liveSamplerFor(KSTSystemInfo::shared());
    return engines;
}

KSTShellEngines::LiveSampler KSTShellEngines::liveSamplerFor(KSTSystemInfo &systemInfo)
{
    return [&systemInfo](KSTLiveMetrics::Handler handler) {
        KSTLiveMetrics(systemInfo).sampleLiveMetricsWithCompletion(std::move(handler));
    };
}
