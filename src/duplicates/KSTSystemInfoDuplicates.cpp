// The Duplicates operations of the scan-service frame. The scan routine delivers its own
// progress and result; the frame keeps the generation in the Duplicates slot, whose
// cancellation check takes no lock (the four hash workers ask it for every file).
#include "KSTSystemInfo.h"

#include "KSTDuplicateSnapshot.h"

void KSTSystemInfo::scanDuplicatesInPaths(const QStringList &paths,
                                          DuplicateSnapshotHandler progress,
                                          DuplicateSnapshotHandler completion)
{
    if (!completion)
        return;
    const quint64 generation = m_duplicates.start();
    if (progress) {
        if (std::shared_ptr<KSTDuplicateSnapshot> first = buildDuplicateSnapshotFromPaths(
                paths, generation, QStringLiteral("Preparing scan…"))) {
            first->scanProgress = 0.01;
            onMain([progress, first = DuplicateSnapshotPtr(std::move(first))] { progress(first); });
        }
    }
    DuplicateScanRoutine routine;
    {
        Lock lock(m_monitor);
        routine = m_duplicateScanRoutine;
    }
    if (routine) {
        m_duplicateQueue->async([routine = std::move(routine), paths, generation, progress,
                                 completion = std::move(completion)] {
            routine(paths, generation, progress, completion);
        });
    }
}

std::shared_ptr<KSTDuplicateSnapshot>
KSTSystemInfo::buildDuplicateSnapshotFromPaths(const QStringList &paths, quint64 generation,
                                               const QString &status)
{
    DuplicateSnapshotBuilder builder;
    {
        Lock lock(m_monitor);
        builder = m_duplicateSnapshotBuilder;
    }
    return builder ? builder(paths, generation, status) : nullptr;
}

void KSTSystemInfo::cancelDuplicateScan()
{
    m_duplicates.cancel();
}

bool KSTSystemInfo::isDuplicateScanCancelled(quint64 generation) const
{
    return m_duplicates.isCancelled(generation);
}

quint64 KSTSystemInfo::duplicateScanGeneration() const
{
    return m_duplicates.generation();
}
