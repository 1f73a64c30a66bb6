#pragma once

#include <QtGlobal>

#include <functional>

class KSTDispatchQueue;
class KSTSystemInfo;

/// What a duplicate scan needs of the service it runs for: whether its generation is still
/// current, the hash workers, and the hop to the main queue. The engine, its comparison and
/// its hasher hold these, never the service; install() builds them from the service.
struct KSTDuplicateScanHooks
{
    /// Whether generation G should stop (a newer scan or a cancel moved on); an empty
    /// predicate never stops.
    std::function<bool(quint64 generation)> isCancelled;
    /// Hash worker @p index (0 to 3); each is a serial queue.
    std::function<KSTDispatchQueue &(qint32 index)> hashWorkerQueue;
    /// Runs a block on the main queue.
    std::function<void(std::function<void()>)> onMain;

    bool cancelled(quint64 generation) const { return isCancelled && isCancelled(generation); }

    /// The hooks of @p systemInfo's Duplicates generation, hash workers and main queue;
    /// @p systemInfo must outlive every use of them.
    static KSTDuplicateScanHooks of(KSTSystemInfo &systemInfo);
};
