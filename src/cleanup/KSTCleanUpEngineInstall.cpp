// Where the Clean Up engine meets the frame: its cancellation predicate is the frame's Clean Up
// generation check, so the engine itself never holds the frame.
#include "KSTCleanUpEngine.h"

#include "KSTSystemInfo.h"

void KSTCleanUpEngine::install(KSTSystemInfo &systemInfo)
{
    KSTSystemInfo *info = &systemInfo;
    const KSTCleanUpEngine engine(
        [info](quint64 generation) { return info->isCleanUpScanCancelled(generation); });
    systemInfo.setCleanUpSnapshotBuilder([engine](quint64 generation) {
        return engine.fetchCleanUpSnapshotWithGeneration(generation);
    });
}
