#pragma once

#include "KSTLiveMetrics.h"

#include <functional>

class KSTAppInventoryEngine;
class KSTAutoCleanManager;
class KSTLiveBaselines;
class KSTSystemInfo;
class KSTSystemReportService;

/// The engines the window presents. The program uses the shared instances; a test hands in
/// its own (a manager with its own preferences suite, a service with its own builder, a
/// sampler that counts), so nothing it does reaches the real ones.
struct KSTShellEngines
{
    /// Takes one live sample (processor, memory, download, upload, activity) and calls the
    /// handler on the main thread.
    using LiveSampler = KSTLiveMetrics::Sampler;

    KSTSystemInfo *systemInfo = nullptr;
    KSTAutoCleanManager *autoCleanManager = nullptr;
    LiveSampler liveSampler;
    /// App Manage's engine, installed on systemInfo; without one the section says it is not
    /// available.
    KSTAppInventoryEngine *appInventoryEngine = nullptr;
    /// The System Report's service; without one the report is not offered.
    KSTSystemReportService *systemReportService = nullptr;

    /// KSTSystemInfo::shared(), KSTAutoCleanManager::shared() and live samples against the
    /// shared baselines.
    static KSTShellEngines shared();
    /// A sampler measuring against @p baselines, which must outlive every sample.
    static LiveSampler liveSamplerFor(KSTLiveBaselines &baselines);
};
