#pragma once

#include "KSTDispatchQueue.h"

#include <functional>

/// Hops and global pools.
namespace KSTDispatch {

/// Runs @p block on the main thread's event loop (the Qt main thread), asynchronously, in
/// submission order. Requires a QCoreApplication; blocks posted before the loop runs wait for
/// it.
void mainAsync(std::function<void()> block);

/// Runs @p block on the global pool of @p quality (a shared thread pool, one per quality).
void globalAsync(KSTQualityOfService quality, std::function<void()> block);

/// True on the thread of the QCoreApplication.
bool isMainThread();

/// Processes events on the main thread until @p done returns true or @p timeoutMs passes;
/// returns @p done's last answer. For the command line and tests, which wait for a
/// completion that arrives through mainAsync().
bool runMainLoopUntil(const std::function<bool()> &done, int timeoutMs);

} // namespace KSTDispatch
