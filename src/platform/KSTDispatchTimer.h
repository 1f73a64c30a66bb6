#pragma once

#include "KSTDispatchQueue.h"

#include <chrono>
#include <functional>
#include <memory>

/// A repeating timer source on a serial queue: the handler first runs @p firstDelay after
/// start(), then every @p interval; the @p leeway is the slack the system may add to each
/// firing. The handler runs on the queue like any other block, so it never overlaps other
/// blocks of that queue. Cancelling stops further firings (a firing already running ends
/// normally); destroying the timer cancels it.
class KSTDispatchTimer
{
public:
    KSTDispatchTimer(KSTDispatchQueue &queue, std::chrono::milliseconds firstDelay,
                     std::chrono::milliseconds interval, std::chrono::milliseconds leeway,
                     std::function<void()> handler);
    ~KSTDispatchTimer();
    KSTDispatchTimer(const KSTDispatchTimer &) = delete;
    KSTDispatchTimer &operator=(const KSTDispatchTimer &) = delete;

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
