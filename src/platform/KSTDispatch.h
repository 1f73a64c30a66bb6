#pragma once

#include "KSTDispatchQueue.h"

#include <QPointer>

#include <functional>
#include <type_traits>

class QObject;

/// Hops and global pools.
namespace KSTDispatch {

/// Runs @p block on the main thread's event loop (the Qt main thread), asynchronously (never
/// before returning, even when called on the main thread), in submission order, one block
/// at a time. Requires a QCoreApplication; blocks posted before it exists or before its loop
/// runs wait for it. Thread-safe.
void mainAsync(std::function<void()> block);

/// As mainAsync(), but the block is dropped when @p context has been destroyed by the time it
/// would run: the one liveness rule for work that reports back to a main-thread object. Call
/// it while @p context is alive (from its own thread, or from work it outlives).
void mainAsync(const QObject *context, std::function<void()> block);

/// A handler that hops to the main queue and there calls @p handler with the arguments it was
/// given, unless @p context has been destroyed by then (the same rule as mainAsync(context, …)).
/// Make it while @p context is alive, on its thread; the handler may then be called from any
/// thread, at any time, even after @p context is gone.
template <typename... Args>
std::function<void(Args...)> onMainFor(const QObject *context,
                                       std::type_identity_t<std::function<void(Args...)>> handler)
{
    QPointer<const QObject> guard(context);
    return [guard = std::move(guard), handler = std::move(handler)](Args... args) {
        mainAsync([guard, handler, args...] {
            if (guard)
                handler(args...);
        });
    };
}

/// Runs @p block on the global pool of @p quality: one pool per quality, each with
/// max(2, hardware threads) threads started with its first block; FIFO start order, blocks
/// run concurrently. At process exit the pools drop blocks not yet started, wait up to a
/// second for running ones, and leave any still running to end with the process rather
/// than hang the exit. Thread-safe.
void globalAsync(KSTQualityOfService quality, std::function<void()> block);

/// True on the thread that created the QCoreApplication; false on every thread before one
/// exists.
bool isMainThread();

/// Processes events on the main thread until @p done returns true or @p timeoutMs passes
/// (a negative time-out waits without limit); returns @p done's last answer. For the
/// command line and tests, which wait for a completion that arrives through mainAsync().
/// @p done is checked at least every few milliseconds even when no event arrives. Off the
/// main thread it only polls @p done.
bool runMainLoopUntil(const std::function<bool()> &done, int timeoutMs);

} // namespace KSTDispatch
