#include "KSTDispatchTimer.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class TimerScheduler;

// What the timer object, the scheduler thread and the firings on the queue share.
struct TimerCore
{
    milliseconds interval{0};
    milliseconds leeway{0};
    // Hands a firing to the timer's queue; false once that queue is going away.
    std::function<bool(std::function<void()>)> submit;

    std::mutex mutex;
    std::condition_variable handlerReturned;
    std::function<void()> handler;
    std::weak_ptr<TimerScheduler> scheduler; // set by start()
    bool started = false;
    bool cancelled = false;
    bool firingQueued = false; // a firing waits on the queue: later deadlines coalesce into it
    bool running = false;
    std::thread::id runningOn;

    Clock::time_point deadline; // guarded by the scheduler's mutex, not this one
};

// Durations beyond this are "never" for practical purposes and keep the arithmetic on the
// nanosecond clock from overflowing.
constexpr milliseconds FarFuture = std::chrono::hours(24 * 365 * 10);

milliseconds bounded(milliseconds value)
{
    return std::clamp(value, milliseconds(0), FarFuture);
}

void runFiring(const std::shared_ptr<TimerCore> &core)
{
    {
        std::lock_guard lock(core->mutex);
        core->firingQueued = false;
        if (core->cancelled || !core->handler)
            return;
        core->running = true;
        core->runningOn = std::this_thread::get_id();
    }
    // Not under the lock: the handler may cancel its own timer. Nothing replaces or releases
    // the handler while running is set.
    core->handler();
    // A cancel that came while the handler ran left its release to us. The handler's
    // captures die before running is cleared, so a destructor waiting for that sees them
    // gone; they die outside the lock, as their destructors may use the timer.
    for (;;) {
        std::function<void()> released;
        {
            std::lock_guard lock(core->mutex);
            if (!core->cancelled || !core->handler) {
                core->running = false;
                core->handlerReturned.notify_all();
                return;
            }
            released = std::move(core->handler);
        }
    }
}

// One thread for every timer of the process. It never runs a handler itself, it only hands
// firings to the timers' queues, so it can always be joined promptly.
class TimerScheduler
{
public:
    TimerScheduler() = default;
    ~TimerScheduler() { shutdown(); }
    TimerScheduler(const TimerScheduler &) = delete;
    TimerScheduler &operator=(const TimerScheduler &) = delete;

    void arm(const std::shared_ptr<TimerCore> &core, Clock::time_point deadline)
    {
        {
            std::lock_guard lock(m_mutex);
            if (m_stopping)
                return;
            core->deadline = deadline;
            m_armed.push_back(core);
            if (!m_thread.joinable())
                m_thread = std::thread([this] { run(); });
        }
        m_wake.notify_one();
    }

    void disarm(const TimerCore *core)
    {
        std::shared_ptr<TimerCore> removed; // released outside the lock
        {
            std::lock_guard lock(m_mutex);
            const auto found = std::find_if(m_armed.begin(), m_armed.end(),
                                            [&](const auto &armed) { return armed.get() == core; });
            if (found == m_armed.end())
                return;
            removed = std::move(*found);
            m_armed.erase(found);
        }
        m_wake.notify_one();
    }

    void shutdown()
    {
        std::vector<std::shared_ptr<TimerCore>> dropped;
        std::thread thread;
        {
            std::lock_guard lock(m_mutex);
            m_stopping = true;
            dropped.swap(m_armed);
            thread = std::move(m_thread);
        }
        m_wake.notify_one();
        if (!thread.joinable())
            return;
        if (thread.get_id() == std::this_thread::get_id())
            thread.detach();
        else
            thread.join();
    }

private:
    void run()
    {
        KSTDispatchQueue::configureCurrentThread(QStringLiteral("com.kestrel.timers"),
                                                 KSTQualityOfService::UserInitiated);
        std::unique_lock lock(m_mutex);
        while (!m_stopping) {
            if (m_armed.empty()) {
                m_wake.wait(lock);
                continue;
            }
            // Coalescing: every timer due before the earliest end of a leeway window fires in
            // one wake-up, at the latest of their deadlines, which lies inside each window.
            Clock::time_point windowEnd = Clock::time_point::max();
            for (const auto &core : m_armed)
                windowEnd = std::min(windowEnd, core->deadline + core->leeway);
            Clock::time_point fireAt = Clock::time_point::min();
            for (const auto &core : m_armed) {
                if (core->deadline <= windowEnd)
                    fireAt = std::max(fireAt, core->deadline);
            }
            if (Clock::now() < fireAt) {
                m_wake.wait_until(lock, fireAt);
                continue;
            }

            const Clock::time_point now = Clock::now();
            std::vector<std::shared_ptr<TimerCore>> finished;
            for (auto it = m_armed.begin(); it != m_armed.end();) {
                if ((*it)->deadline <= fireAt && !fire(*it, now)) {
                    finished.push_back(std::move(*it));
                    it = m_armed.erase(it);
                } else {
                    ++it;
                }
            }
            if (!finished.empty()) {
                lock.unlock();
                finished.clear();
                lock.lock();
            }
        }
    }

    // Queues one firing and moves the deadline on; false when the timer is done.
    static bool fire(const std::shared_ptr<TimerCore> &core, Clock::time_point now)
    {
        std::lock_guard lock(core->mutex);
        if (core->cancelled)
            return false;
        if (!core->firingQueued) {
            if (!core->submit([core] { runFiring(core); })) {
                // The queue is being destroyed: the timer ends with it.
                core->cancelled = true;
                return false;
            }
            core->firingQueued = true;
        }
        if (core->interval <= milliseconds(0))
            return false;
        // Deadlines stay on the grid of the first one; missed ones are skipped, not queued.
        Clock::time_point next = core->deadline + core->interval;
        if (next <= now)
            next = core->deadline + ((now - core->deadline) / core->interval + 1) * core->interval;
        core->deadline = next;
        return true;
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::shared_ptr<TimerCore>> m_armed;
    std::thread m_thread;
    bool m_stopping = false;
};

// Shut down (its thread joined) when static objects are destroyed at exit; timers that
// outlive it hold only a weak reference and simply stop.
std::shared_ptr<TimerScheduler> sharedScheduler()
{
    struct Holder
    {
        std::shared_ptr<TimerScheduler> scheduler = std::make_shared<TimerScheduler>();
        ~Holder() { scheduler->shutdown(); }
    };
    static Holder holder;
    return holder.scheduler;
}

} // namespace

struct KSTDispatchTimer::State : TimerCore
{
};

KSTDispatchTimer::KSTDispatchTimer(KSTDispatchQueue &queue, std::chrono::milliseconds firstDelay,
                                   std::chrono::milliseconds interval,
                                   std::chrono::milliseconds leeway, std::function<void()> handler)
    : d(std::make_shared<State>()), m_firstDelay(firstDelay), m_interval(interval), m_leeway(leeway)
{
    d->interval = bounded(interval);
    d->leeway = bounded(leeway);
    d->handler = std::move(handler);
    // A weak reference: the timer must not keep a queue alive past its owner's destructor.
    d->submit = [weakQueue =
                     std::weak_ptr<KSTDispatchQueue::State>(queue.d)](std::function<void()> block) {
        const std::shared_ptr<KSTDispatchQueue::State> state = weakQueue.lock();
        return state && KSTDispatchQueue::enqueueTimerBlock(state, std::move(block));
    };
}

KSTDispatchTimer::~KSTDispatchTimer()
{
    cancel();
    // A handler running on another thread may still use what its owner is about to destroy.
    std::unique_lock lock(d->mutex);
    if (d->running && d->runningOn != std::this_thread::get_id())
        d->handlerReturned.wait(lock, [&] { return !d->running; });
}

void KSTDispatchTimer::start()
{
    std::shared_ptr<TimerScheduler> scheduler;
    {
        std::lock_guard lock(d->mutex);
        if (d->started || d->cancelled)
            return;
        d->started = true;
        scheduler = sharedScheduler();
        d->scheduler = scheduler;
    }
    scheduler->arm(d, Clock::now() + bounded(m_firstDelay));
}

void KSTDispatchTimer::cancel()
{
    std::function<void()> released;
    std::weak_ptr<TimerScheduler> scheduler;
    {
        std::lock_guard lock(d->mutex);
        d->cancelled = true;
        // A running handler is released by its firing once it returns.
        if (!d->running)
            released = std::move(d->handler);
        scheduler = d->scheduler;
    }
    if (const std::shared_ptr<TimerScheduler> armedOn = scheduler.lock())
        armedOn->disarm(d.get());
}

bool KSTDispatchTimer::isCancelled() const
{
    std::lock_guard lock(d->mutex);
    return d->cancelled;
}
