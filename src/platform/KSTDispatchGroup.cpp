#include "KSTDispatchGroup.h"

#include "KSTDispatch.h"

#include <QtGlobal>

#include <condition_variable>
#include <mutex>
#include <vector>

namespace {

struct GroupCore
{
    std::mutex mutex;
    std::condition_variable idle;
    qint64 count = 0;
    std::vector<std::function<void()>> notifications;
};

using GroupState = std::shared_ptr<GroupCore>;

void leaveGroup(const GroupState &state)
{
    std::vector<std::function<void()>> ready;
    {
        std::lock_guard lock(state->mutex);
        if (state->count <= 0)
            qFatal("KSTDispatchGroup::leave() without a matching enter()");
        if (--state->count == 0) {
            ready.swap(state->notifications);
            state->idle.notify_all();
        }
    }
    for (std::function<void()> &block : ready)
        KSTDispatch::mainAsync(std::move(block));
}

// Leaves the group when the block carrying it is destroyed: right after the block ran, or
// when a queue that is gone drops it unrun, so a waiter is never left hanging. The block's
// own captures go first, so a waiter never sees them still alive.
struct GroupWork
{
    GroupWork(GroupState groupState, std::function<void()> work)
        : state(std::move(groupState)), block(std::move(work))
    {
    }
    ~GroupWork()
    {
        block = nullptr;
        leaveGroup(state);
    }
    GroupWork(const GroupWork &) = delete;
    GroupWork &operator=(const GroupWork &) = delete;

    GroupState state;
    std::function<void()> block;
};

std::function<void()> wrapForGroup(const GroupState &state, std::function<void()> block)
{
    auto work = std::make_shared<GroupWork>(state, std::move(block));
    return [work = std::move(work)] { work->block(); };
}

} // namespace

struct KSTDispatchGroup::State : GroupCore
{
};

KSTDispatchGroup::KSTDispatchGroup() : d(std::make_shared<State>()) {}

KSTDispatchGroup::~KSTDispatchGroup() = default;

void KSTDispatchGroup::enter()
{
    std::lock_guard lock(d->mutex);
    ++d->count;
}

void KSTDispatchGroup::leave()
{
    leaveGroup(d);
}

void KSTDispatchGroup::async(KSTDispatchQueue &queue, std::function<void()> block)
{
    enter();
    queue.async(wrapForGroup(d, std::move(block)));
}

void KSTDispatchGroup::async(KSTQualityOfService quality, std::function<void()> block)
{
    enter();
    KSTDispatch::globalAsync(quality, wrapForGroup(d, std::move(block)));
}

bool KSTDispatchGroup::wait(std::chrono::milliseconds timeout)
{
    const auto settled = [&] { return d->count == 0; };
    std::unique_lock lock(d->mutex);
    // Beyond a year counts as forever; it also keeps the clock arithmetic from overflowing.
    if (timeout >= std::chrono::hours(24 * 365)) {
        d->idle.wait(lock, settled);
        return true;
    }
    return d->idle.wait_for(lock, std::max(timeout, std::chrono::milliseconds(0)), settled);
}

void KSTDispatchGroup::notifyMain(std::function<void()> block)
{
    {
        std::lock_guard lock(d->mutex);
        if (d->count > 0) {
            d->notifications.push_back(std::move(block));
            return;
        }
    }
    KSTDispatch::mainAsync(std::move(block));
}
