#pragma once

#include "KSTDispatchQueue.h"

#include <chrono>
#include <functional>
#include <memory>

/// A repeating timer source on a serial queue: the handler first runs @p firstDelay after
/// start(), then every @p interval; the @p leeway is the slack the system may add to each
/// firing (timers whose windows overlap are woken together). The handler runs on the queue
/// like any other block, so it never overlaps other blocks of that queue. Firings stay on the
/// grid of the first deadline; when the queue is too busy to keep up, missed firings are
/// skipped rather than piled up. An interval of zero fires once.
///
/// Cancelling (from any thread, the handler included) stops further firings (a firing already
/// running ends normally) and releases the handler once it is not running. Destroying the
/// timer cancels it and, when the handler is running on another thread, waits for it to
/// return, so whatever the handler captured may be destroyed right after. A timer whose
/// queue is destroyed stops firing and reports isCancelled().
class KSTDispatchTimer
{
public:
    KSTDispatchTimer(KSTDispatchQueue &queue, std::chrono::milliseconds firstDelay,
                     std::chrono::milliseconds interval, std::chrono::milliseconds leeway,
                     std::function<void()> handler);
    ~KSTDispatchTimer();
    KSTDispatchTimer(const KSTDispatchTimer &) = delete;
    KSTDispatchTimer &operator=(const KSTDispatchTimer &) = delete;

    /// Arms the timer; only the first call counts, and none after cancel().
    void start();
    void cancel();
    bool isCancelled() const;

    std::chrono::milliseconds firstDelay() const { return m_firstDelay; }
    std::chrono::milliseconds interval() const { return m_interval; }
    std::chrono::milliseconds leeway() const { return m_leeway; }

private:
    struct State;
    std::shared_ptr<State> d;
    std::chrono::milliseconds m_firstDelay;
    std::chrono::milliseconds m_interval;
    std::chrono::milliseconds m_leeway;
};
