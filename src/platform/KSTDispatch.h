#pragma once

#include "KSTDispatchQueue.h"

#include <functional>

/// Hops and global pools.
namespace KSTDispatch {

/// Runs @p block on the main thread's event loop (the Qt main thread), asynchronously (never
/// before returning, even when called on the main thread), in submission order, one block
/// at a time. Requires a QCoreApplication; blocks posted before it exists or before its loop
/// runs wait for it. Thread-safe.
void mainAsync(std::function<void()> block);

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
