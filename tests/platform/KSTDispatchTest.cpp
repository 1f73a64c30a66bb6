#include "KSTDispatch.h"
#include "KSTDispatchGroup.h"
#include "KSTDispatchQueue.h"
#include "KSTDispatchTimer.h"
#include "KSTTestSupport.h"

#include <QElapsedTimer>
#include <QStringList>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <numeric>
#include <thread>
#include <vector>

#ifdef Q_OS_LINUX
#include <sys/resource.h>
#include <unistd.h>
#endif

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Clock = std::chrono::steady_clock;
using KSTTestSupport::pumpFor;
using KSTTestSupport::pumpUntil;

namespace {

// Holds blocks back until the test opens it.
struct Gate
{
    std::promise<void> opener;
    std::shared_future<void> opened = opener.get_future().share();

    void open() { opener.set_value(); }
    bool wait() const { return opened.wait_for(5s) == std::future_status::ready; }
};

// Notes any moment at which two blocks that must be serial run at once.
struct OverlapProbe
{
    std::atomic<int> inFlight{0};
    std::atomic<bool> overlapped{false};

    void enter()
    {
        if (inFlight.fetch_add(1) != 0)
            overlapped = true;
    }
    void leave() { inFlight.fetch_sub(1); }
};

std::vector<int> upTo(int count)
{
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

} // namespace

// ---- Serial queues ----------------------------------------------------------------------

TEST(KSTDispatchQueueTest, SeveralSendersLoseNothingAndKeepTheirOrderOneBlockAtATime)
{
    KSTDispatchQueue queue(u"com.kestrel.test.stress"_s);
    constexpr int Senders = 4;
    constexpr int PerSender = 500;
    OverlapProbe probe;
    std::vector<std::vector<int>> seen(Senders); // queue only, without a lock
    std::vector<std::thread> senders;
    for (int sender = 0; sender < Senders; ++sender) {
        senders.emplace_back([&, sender] {
            for (int index = 0; index < PerSender; ++index) {
                queue.async([&, sender, index] {
                    probe.enter();
                    seen[sender].push_back(index);
                    probe.leave();
                });
            }
        });
    }
    for (std::thread &sender : senders)
        sender.join();
    queue.sync([] {});
    for (int sender = 0; sender < Senders; ++sender)
        EXPECT_EQ(seen[sender], upTo(PerSender)) << "sender " << sender;
    EXPECT_FALSE(probe.overlapped);
}

TEST(KSTDispatchQueueTest, SyncWaitsForEarlierBlocksAndNestsWithoutDeadlock)
{
    KSTDispatchQueue outer(u"com.kestrel.test.outer"_s);
    KSTDispatchQueue inner(u"com.kestrel.test.inner"_s, KSTQualityOfService::UserInitiated);
    Gate gate;
    int value = 0; // plain: only sync's ordering makes reading it here safe
    outer.async([&] {
        gate.wait();
        value = 1;
    });
    std::thread opener([&] {
        std::this_thread::sleep_for(20ms);
        gate.open();
    });
    outer.sync([&] { value *= 10; });
    opener.join();
    EXPECT_EQ(value, 10) << "sync ran before the block queued ahead of it";

    // A sync from the queue's own block runs inline; the label follows each nested block.
    std::thread::id outerThread;
    std::thread::id nestedThread;
    QStringList labels;
    outer.sync([&] {
        outerThread = std::this_thread::get_id();
        outer.sync([&] { nestedThread = std::this_thread::get_id(); });
        inner.sync([&] { labels << KSTDispatchQueue::currentLabel(); });
        labels << KSTDispatchQueue::currentLabel();
    });
    EXPECT_EQ(nestedThread, outerThread);
    EXPECT_NE(outerThread, std::this_thread::get_id());
    EXPECT_EQ(labels, (QStringList{u"com.kestrel.test.inner"_s, u"com.kestrel.test.outer"_s}));
    EXPECT_TRUE(KSTDispatchQueue::currentLabel().isEmpty()) << "main thread";
}

#ifdef Q_OS_LINUX
TEST(KSTDispatchQueueTest, UtilityWorkRunsAtALowerPriorityThanUserInitiatedWork)
{
    const int mainNice = getpriority(PRIO_PROCESS, 0);
    if (mainNice >= 19)
        GTEST_SKIP() << "already at the lowest priority";
    const auto niceOf = [](KSTQualityOfService quality, bool onPool) {
        int nice = 0;
        const auto measure = [&] { nice = getpriority(PRIO_PROCESS, id_t(gettid())); };
        KSTDispatchQueue queue(u"com.kestrel.test.nice"_s, quality);
        KSTDispatchGroup group;
        onPool ? group.async(quality, measure) : queue.sync(measure);
        EXPECT_TRUE(group.wait(5s));
        return nice;
    };
    for (const bool onPool : {false, true}) {
        EXPECT_EQ(niceOf(KSTQualityOfService::UserInitiated, onPool), mainNice) << onPool;
        EXPECT_GT(niceOf(KSTQualityOfService::Utility, onPool), mainNice) << onPool;
    }
}
#endif

TEST(KSTDispatchQueueTest, DestructorRunsEverythingSubmittedIncludingWhatBlocksSubmit)
{
    std::vector<int> order; // read after the destructor joined the worker
    int lateBlocks = 0;
    std::function<void(int)> chain; // outlives the queue, whose destructor still calls it
    {
        KSTDispatchQueue queue(u"com.kestrel.test.drain"_s);
        queue.async([] { std::this_thread::sleep_for(30ms); });
        for (int index = 0; index < 100; ++index)
            queue.async([&, index] { order.push_back(index); });
        chain = [&](int remaining) {
            ++lateBlocks;
            if (remaining > 0)
                queue.async([&, remaining] { chain(remaining - 1); });
        };
        queue.async([&] { chain(49); });
    }
    EXPECT_EQ(order, upTo(100));
    EXPECT_EQ(lateBlocks, 50);
}

TEST(KSTDispatchQueueTest, QueueDestroyedByItsOwnBlockFinishesTheRest)
{
    auto *queue = new KSTDispatchQueue(u"com.kestrel.test.selfdelete"_s);
    Gate gate; // everything is submitted before the queue can be gone
    std::atomic<int> ranAfterDelete{0};
    queue->async([&gate] { gate.wait(); });
    queue->async([queue] { delete queue; });
    for (int index = 0; index < 10; ++index)
        queue->async([&] { ranAfterDelete.fetch_add(1); });
    gate.open();
    EXPECT_TRUE(pumpUntil([&] { return ranAfterDelete.load() == 10; }, 5000));
}

// ---- Main queue and pools ---------------------------------------------------------------

TEST(KSTDispatchMainQueueTest, RunsOnlyOnTheMainThreadInEachSendersOrder)
{
    constexpr int Senders = 4;
    constexpr int PerSender = 200;
    std::vector<std::vector<int>> seen(Senders); // main thread only
    int arrived = 0;
    std::atomic<bool> offMainThread{false};
    std::vector<std::thread> senders;
    for (int sender = 0; sender < Senders; ++sender) {
        senders.emplace_back([&, sender] {
            for (int index = 0; index < PerSender; ++index) {
                KSTDispatch::mainAsync([&, sender, index] {
                    if (!KSTDispatch::isMainThread() || !KSTDispatchQueue::currentLabel().isEmpty())
                        offMainThread = true;
                    seen[sender].push_back(index);
                    ++arrived;
                });
            }
        });
    }
    for (std::thread &sender : senders)
        sender.join();
    ASSERT_TRUE(pumpUntil([&] { return arrived == Senders * PerSender; }));
    EXPECT_FALSE(offMainThread);
    for (int sender = 0; sender < Senders; ++sender)
        EXPECT_EQ(seen[sender], upTo(PerSender)) << "sender " << sender;
}

TEST(KSTDispatchMainQueueTest, RunsLaterEvenWhenPostedFromTheMainThread)
{
    std::vector<char> order;
    KSTDispatch::mainAsync([&] {
        order.push_back('a');
        KSTDispatch::mainAsync([&] { order.push_back('c'); });
    });
    KSTDispatch::mainAsync([&] { order.push_back('b'); });
    EXPECT_TRUE(order.empty()) << "a main-queue block ran inside mainAsync()";
    ASSERT_TRUE(pumpUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order, (std::vector<char>{'a', 'b', 'c'}));
}

TEST(KSTDispatchMainQueueTest, RunMainLoopUntilStopsWhenDoneOrAtTheDeadline)
{
    // Satisfied by another thread without any event reaching the loop.
    std::atomic<bool> flag{false};
    std::thread setter([&] {
        std::this_thread::sleep_for(20ms);
        flag = true;
    });
    EXPECT_TRUE(KSTDispatch::runMainLoopUntil([&] { return flag.load(); }, 10'000));
    setter.join();

    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_FALSE(KSTDispatch::runMainLoopUntil([] { return false; }, 50));
    EXPECT_GE(elapsed.elapsed(), 50);
    EXPECT_LT(elapsed.elapsed(), 5000);
}

class KSTDispatchPoolTest : public ::testing::TestWithParam<KSTQualityOfService>
{
};

TEST_P(KSTDispatchPoolTest, RunsBlocksConcurrentlyOffTheMainThread)
{
    // The first block waits for the second to start: a pool that ran them one after the
    // other would leave it waiting.
    Gate secondStarted;
    std::atomic<bool> firstSawSecond{false};
    bool onMain = true;
    QString label = u"unset"_s;
    KSTDispatchGroup group;
    group.async(GetParam(), [&] { firstSawSecond = secondStarted.wait(); });
    group.async(GetParam(), [&] {
        onMain = KSTDispatch::isMainThread();
        label = KSTDispatchQueue::currentLabel();
        secondStarted.open();
    });
    ASSERT_TRUE(group.wait(10s));
    EXPECT_TRUE(firstSawSecond);
    EXPECT_FALSE(onMain);
    EXPECT_TRUE(label.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Qualities, KSTDispatchPoolTest,
                         ::testing::Values(KSTQualityOfService::Utility,
                                           KSTQualityOfService::UserInitiated));

// ---- Groups -----------------------------------------------------------------------------

TEST(KSTDispatchGroupTest, WaitJoinsWorkSpreadOverQueuesPoolsAndManualPieces)
{
    KSTDispatchQueue queue(u"com.kestrel.test.group"_s);
    KSTDispatchGroup group;
    EXPECT_TRUE(group.wait(0ms)) << "an empty group is already done";
    constexpr int Pieces = 150;
    std::vector<int> results(Pieces, -1); // each slot written by one block, no lock
    for (int index = 0; index < Pieces; ++index) {
        const auto work = [&results, index] { results[index] = index; };
        if (index % 3 == 0)
            group.async(queue, work);
        else
            group.async(index % 3 == 1 ? KSTQualityOfService::Utility
                                       : KSTQualityOfService::UserInitiated,
                        work);
    }
    Gate gate;
    int manual = 0;
    group.enter();
    std::thread worker([&] {
        gate.wait();
        manual = 42;
        group.leave();
    });
    EXPECT_FALSE(group.wait(20ms)) << "returned while a manual piece was outstanding";
    gate.open();
    ASSERT_TRUE(group.wait(10s));
    EXPECT_EQ(results, upTo(Pieces));
    EXPECT_EQ(manual, 42);
    worker.join();
}

TEST(KSTDispatchGroupTest, NotifyMainRunsOnTheMainThreadOnceAllWorkHasLeftEvenWithoutTheGroup)
{
    KSTDispatchQueue queue(u"com.kestrel.test.group.notify"_s);
    Gate gate;
    std::atomic<int> finished{0};
    std::vector<int> seenByNotifications;
    bool notifiedOffMain = false;
    {
        KSTDispatchGroup group;
        bool idleNotified = false;
        group.notifyMain([&] { idleNotified = true; });
        EXPECT_FALSE(idleNotified) << "must not run inside notifyMain()";
        EXPECT_TRUE(pumpUntil([&] { return idleNotified; }));

        const auto work = [&] {
            gate.wait();
            finished.fetch_add(1);
        };
        for (int index = 0; index < 20; ++index) {
            if (index % 3 == 0)
                group.async(queue, work);
            else
                group.async(index % 3 == 1 ? KSTQualityOfService::Utility
                                           : KSTQualityOfService::UserInitiated,
                            work);
        }
        for (int copy = 0; copy < 2; ++copy) {
            group.notifyMain([&] {
                notifiedOffMain |= !KSTDispatch::isMainThread();
                seenByNotifications.push_back(finished.load());
            });
        }
    } // the group object goes; its work and pending notifications do not
    pumpFor(20);
    EXPECT_TRUE(seenByNotifications.empty()) << "notified while work was outstanding";
    gate.open();
    ASSERT_TRUE(pumpUntil([&] { return seenByNotifications.size() == 2; }));
    EXPECT_EQ(seenByNotifications, (std::vector<int>{20, 20}));
    EXPECT_FALSE(notifiedOffMain);
}

// ---- Timers -----------------------------------------------------------------------------

TEST(KSTDispatchTimerTest, FiresOnItsQueueAfterItsDelayThenAtEachIntervalOrJustOnce)
{
    KSTDispatchQueue queue(u"com.kestrel.test.timer"_s);
    std::vector<Clock::time_point> firings; // handler only, read through queue.sync
    bool offQueue = false;
    std::atomic<int> count{0};
    std::atomic<int> once{0};
    KSTDispatchTimer timer(queue, 80ms, 25ms, 5ms, [&] {
        firings.push_back(Clock::now());
        offQueue |= KSTDispatchQueue::currentLabel() != u"com.kestrel.test.timer"_s;
        count.fetch_add(1);
    });
    KSTDispatchTimer single(queue, 10ms, 0ms, 0ms, [&] { once.fetch_add(1); });
    pumpFor(40);
    EXPECT_EQ(count.load() + once.load(), 0) << "fired before start()";

    const Clock::time_point started = Clock::now();
    timer.start();
    single.start();
    ASSERT_TRUE(pumpUntil([&] { return count.load() >= 4; }));
    timer.cancel();
    std::vector<Clock::time_point> seen;
    queue.sync([&] { seen = firings; });
    ASSERT_GE(seen.size(), 4u);
    for (std::size_t index = 0; index < seen.size(); ++index)
        EXPECT_GE(seen[index], started + 80ms + index * 25ms) << "firing " << index << " early";
    EXPECT_FALSE(offQueue);
    EXPECT_EQ(once.load(), 1) << "an interval of zero fires once";
}

enum class CancelFrom { Queue, Main, Handler };

class KSTDispatchTimerCancelTest : public ::testing::TestWithParam<CancelFrom>
{
};

TEST_P(KSTDispatchTimerCancelTest, CancelStopsFurtherFiringsForGood)
{
    const CancelFrom from = GetParam();
    KSTDispatchQueue queue(u"com.kestrel.test.timer.cancel"_s);
    std::atomic<int> count{0};
    KSTDispatchTimer *self = nullptr;
    KSTDispatchTimer timer(queue, 0ms, 5ms, 0ms, [&] {
        if (count.fetch_add(1) + 1 == 3 && from == CancelFrom::Handler)
            self->cancel();
    });
    self = &timer;
    timer.start();
    ASSERT_TRUE(pumpUntil([&] { return count.load() >= 3; }));

    int atCancel = 3;
    if (from == CancelFrom::Queue) {
        // Serial with the handler, so no firing is half-way through.
        queue.sync([&] {
            timer.cancel();
            atCancel = count.load();
        });
    } else if (from == CancelFrom::Main) {
        timer.cancel();
        atCancel = count.load();
    }
    EXPECT_TRUE(timer.isCancelled());
    // From another thread, a firing already running when cancel() came may still finish.
    const int allowed = atCancel + (from == CancelFrom::Main ? 1 : 0);
    pumpFor(60);
    EXPECT_LE(count.load(), allowed);
    timer.start();
    pumpFor(30);
    EXPECT_LE(count.load(), allowed) << "restarted after cancel";
}

INSTANTIATE_TEST_SUITE_P(FromWhere, KSTDispatchTimerCancelTest,
                         ::testing::Values(CancelFrom::Queue, CancelFrom::Main,
                                           CancelFrom::Handler),
                         [](const auto &info) {
                             return info.param == CancelFrom::Queue  ? "OnQueue"
                                    : info.param == CancelFrom::Main ? "OnMain"
                                                                     : "InHandler";
                         });

TEST(KSTDispatchTimerTest, DestroyingTheTimerDropsAQueuedFiringAndReleasesTheHandler)
{
    KSTDispatchQueue queue(u"com.kestrel.test.timer.destroy"_s);
    Gate gate;
    queue.async([&] { gate.wait(); }); // keeps a firing waiting on the queue
    auto sentinel = std::make_shared<int>(0);
    const std::weak_ptr<int> captured = sentinel;
    std::atomic<int> count{0};
    {
        KSTDispatchTimer timer(queue, 0ms, 5ms, 0ms,
                               [&count, keepAlive = sentinel] { count.fetch_add(1); });
        sentinel.reset();
        timer.start();
        pumpFor(30);
    }
    EXPECT_TRUE(captured.expired()) << "the handler outlived its timer";
    gate.open();
    queue.sync([] {});
    pumpFor(30);
    EXPECT_EQ(count.load(), 0);
}

TEST(KSTDispatchTimerTest, DestroyingTheTimerWaitsForARunningHandler)
{
    KSTDispatchQueue queue(u"com.kestrel.test.timer.wait"_s);
    std::atomic<bool> running{false};
    bool finished = false; // plain: destruction must order the handler's write before us
    {
        KSTDispatchTimer timer(queue, 0ms, 1000ms, 0ms, [&] {
            running = true;
            std::this_thread::sleep_for(50ms);
            finished = true;
        });
        timer.start();
        ASSERT_TRUE(pumpUntil([&] { return running.load(); }));
    }
    EXPECT_TRUE(finished);
}

TEST(KSTDispatchTimerTest, HandlerNeverOverlapsOtherBlocksOfItsQueue)
{
    KSTDispatchQueue queue(u"com.kestrel.test.timer.serial"_s);
    OverlapProbe probe;
    int touches = 0; // plain: the handler and the blocks share it without a lock
    std::atomic<int> firings{0};
    std::atomic<int> blocks{0};
    const auto touch = [&](std::atomic<int> &counter) {
        probe.enter();
        ++touches;
        std::this_thread::sleep_for(20us);
        probe.leave();
        counter.fetch_add(1);
    };
    KSTDispatchTimer timer(queue, 0ms, 1ms, 0ms, [&] { touch(firings); });
    timer.start();
    for (int index = 0; index < 200; ++index)
        queue.async([&] { touch(blocks); });
    ASSERT_TRUE(pumpUntil([&] { return blocks.load() == 200 && firings >= 5; }));
    int total = 0;
    queue.sync([&] {
        timer.cancel();
        total = touches;
    });
    EXPECT_EQ(total, 200 + firings.load());
    EXPECT_FALSE(probe.overlapped);
}

TEST(KSTDispatchTimerTest, TimerOutlivingItsQueueStopsQuietly)
{
    auto queue = std::make_unique<KSTDispatchQueue>(u"com.kestrel.test.timer.gone"_s);
    std::atomic<int> count{0};
    KSTDispatchTimer timer(*queue, 0ms, 2ms, 0ms, [&] { count.fetch_add(1); });
    timer.start();
    ASSERT_TRUE(pumpUntil([&] { return count.load() >= 2; }));
    queue.reset();
    ASSERT_TRUE(pumpUntil([&] { return timer.isCancelled(); }));
    const int afterQueue = count.load();
    pumpFor(30);
    EXPECT_EQ(count.load(), afterQueue);
}

TEST(KSTDispatchTimerTest, ManyTimersStartedAndDestroyedFromSeveralThreads)
{
    constexpr int Threads = 3;
    constexpr int TimersPerThread = 8;
    std::atomic<int> silentTimers{0};
    std::atomic<int> handlersLeftAlive{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&, thread] {
            KSTDispatchQueue queue(u"com.kestrel.test.timers."_s + QString::number(thread));
            std::vector<std::unique_ptr<KSTDispatchTimer>> timers;
            std::vector<std::shared_ptr<std::atomic<int>>> counts;
            for (int index = 0; index < TimersPerThread; ++index) {
                auto fired = counts.emplace_back(std::make_shared<std::atomic<int>>(0));
                timers.push_back(std::make_unique<KSTDispatchTimer>(
                    queue, std::chrono::milliseconds(index % 3),
                    std::chrono::milliseconds(1 + index % 4), std::chrono::milliseconds(index % 2),
                    [fired] { fired->fetch_add(1); }));
                timers.back()->start();
            }
            const auto deadline = Clock::now() + 5s;
            for (const auto &fired : counts) {
                while (fired->load() == 0 && Clock::now() < deadline)
                    std::this_thread::sleep_for(1ms);
                silentTimers.fetch_add(fired->load() == 0 ? 1 : 0);
            }
            // While the queue still runs: destroying a timer must release its handler.
            timers.clear();
            for (const auto &fired : counts)
                handlersLeftAlive.fetch_add(fired.use_count() > 1 ? 1 : 0);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(silentTimers.load(), 0);
    EXPECT_EQ(handlersLeftAlive.load(), 0);
}
