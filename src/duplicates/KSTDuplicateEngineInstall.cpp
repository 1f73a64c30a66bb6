// The one place the Duplicates engine meets the frame: its hooks come from the frame's
// Duplicates generation, hash workers and main queue, and the frame's scan routine runs it.
#include "KSTDuplicateEngine.h"

#include "KSTSystemInfo.h"

KSTDuplicateScanHooks KSTDuplicateScanHooks::of(KSTSystemInfo &systemInfo)
{
    KSTSystemInfo *info = &systemInfo;
    return {[info](quint64 generation) { return info->isDuplicateScanCancelled(generation); },
            [info](qint32 index) -> KSTDispatchQueue & {
                return info->duplicateHashWorkerQueueForIndex(index);
            },
            [info](std::function<void()> block) { info->onMain(std::move(block)); }};
}

void KSTDuplicateEngine::install(KSTSystemInfo &systemInfo)
{
    auto engine = std::make_shared<KSTDuplicateEngine>(KSTDuplicateScanHooks::of(systemInfo));
    systemInfo.setDuplicateSnapshotBuilder(&KSTDuplicateEngine::buildDuplicateSnapshotFromPaths);
    KSTSystemInfo *info = &systemInfo;
    systemInfo.setDuplicateScanRoutine(
        [engine, info](const QStringList &paths, quint64 generation,
                       KSTSystemInfo::DuplicateSnapshotHandler progress,
                       KSTSystemInfo::DuplicateSnapshotHandler completion) {
            std::shared_ptr<const KSTDuplicateSnapshot> result =
                engine->duplicateSnapshotForPaths(paths, generation, progress);
            if (!result)
                result = std::make_shared<KSTDuplicateSnapshot>();
            info->onMain([info, generation, completion = std::move(completion), result] {
                if (!info->isDuplicateScanCancelled(generation))
                    completion(result);
            });
        });
}
