#include "KSTShellEngines.h"

#include "KSTAppInventoryEngine.h"
#include "KSTAutoCleanManager.h"
#include "KSTLiveBaselines.h"
#include "KSTSystemInfo.h"
#include "KSTSystemReportService.h"

KSTShellEngines KSTShellEngines::shared()
{
    KSTShellEngines engines;
    engines.systemInfo = &KSTSystemInfo::shared();
    engines.autoCleanManager = &KSTAutoCleanManager::shared();
    engines.liveSampler = liveSamplerFor(KSTLiveBaselines::shared());
    engines.appInventoryEngine = &KSTAppInventoryEngine::shared();
    engines.systemReportService = &KSTSystemReportService::shared();
    return engines;
}

KSTShellEngines::LiveSampler KSTShellEngines::liveSamplerFor(KSTLiveBaselines &baselines)
{
    return [&baselines](KSTLiveMetrics::Handler handler) {
        KSTLiveMetrics(baselines).sampleLiveMetricsWithCompletion(std::move(handler));
    };
}
