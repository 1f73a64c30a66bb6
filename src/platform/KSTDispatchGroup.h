#pragma once

#include "KSTDispatchQueue.h"

#include <chrono>
#include <functional>
#include <memory>

/// Joins fan-out work: enter() before each piece, leave() after it; wait() blocks until the
/// count returns to zero; notifyMain() runs a block on the main thread when it does.
///
/// Thread-safe. Work submitted with async() holds the group's state, so the group object may
/// be destroyed before that work ends (pending notifications still run). A piece submitted
/// with async() leaves once its block has run and its captures are destroyed; if the queue
/// drops the block unrun (queue gone, process exiting), it leaves all the same. An unmatched
/// leave() is a programming error and aborts.
class KSTDispatchGroup
{
public:
    KSTDispatchGroup();
    ~KSTDispatchGroup();
    KSTDispatchGroup(const KSTDispatchGroup &) = delete;
    KSTDispatchGroup &operator=(const KSTDispatchGroup &) = delete;

    void enter();
    void leave();

    /// enter(), runs @p block on @p queue, leave().
    void async(KSTDispatchQueue &queue, std::function<void()> block);
    /// enter(), runs @p block on the global pool of @p quality, leave().
    void async(KSTQualityOfService quality, std::function<void()> block);

    /// Blocks until every entered piece has left; false when @p timeout expired first. A
    /// time-out of a year or more (the default) waits without limit.
    bool wait(std::chrono::milliseconds timeout = std::chrono::milliseconds::max());

    /// Once the count is zero (now, or later), runs @p block with mainAsync(): always
    /// asynchronously, even when the count is already zero.
    void notifyMain(std::function<void()> block);

private:
    struct State;
    std::shared_ptr<State> d;
};
