#include "KSTDispatch.h"
#include "KSTDispatchGroup.h"
#include "KSTDispatchQueue.h"
#include "KSTDispatchTimer.h"
#include "KSTTestSupport.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

#ifdef Q_OS_LINUX
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// Holds blocks back until the test lets them go.
class Gate
{
public:
    void open()
    {
        std::lock_guard lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    bool wait(std::chrono::milliseconds timeout = 5s)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
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

// Counts the objects alive, to show when a handler's captures are released.
struct LiveCounter
{
    explicit LiveCounter(std::atomic<int> &alive) : m_alive(alive) { m_alive.fetch_add(1); }
    ~LiveCounter() { m_alive.fetch_sub(1); }
    LiveCounter(const LiveCounter &) = delete;
    LiveCounter &operator=(const LiveCounter &) = delete;

private:
    std::atomic<int> &m_alive;
};

QString currentLabelOn(KSTDispatchQueue &queue)
{
    QString label;
    queue.sync([&] { label = KSTDispatchQueue::currentLabel(); });
    return label;
}

} // namespace

// ---- Serial queues ----------------------------------------------------------------------

TEST(KSTDispatchQueueTest, RunsBlocksInSubmissionOrderOneAtATime)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.fifo"));
    OverlapProbe probe;
    std::vector<int> order; // touched by the queue's blocks only, without a lock
    constexpr int Count = 1000;
    for (int index = 0; index < Count; ++index) {
        queue.async([&, index] {
            probe.enter();
            order.push_back(index);
            if (index % 50 == 0)
                std::this_thread::yield();
            probe.leave();
        });
    }
    queue.sync([] {});

    std::vector<int> expected(Count);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_FALSE(probe.overlapped);
}

TEST(KSTDispatchQueueTest, StressFromSeveralThreadsLosesNothingAndKeepsEachSendersOrder)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.stress"));
    KSTDispatchGroup poolWork;
    constexpr int Senders = 4;
    constexpr int PerSender = 2500;
    OverlapProbe probe;
    int executed = 0;                       // queue only
    std::vector<int> lastSeen(Senders, -1); // queue only
    bool outOfOrder = false;                // queue only
    std::atomic<int> poolExecuted{0};

    std::vector<std::thread> senders;
    for (int sender = 0; sender < Senders; ++sender) {
        senders.emplace_back([&, sender] {
            for (int index = 0; index < PerSender; ++index) {
                queue.async([&, sender, index] {
                    probe.enter();
                    ++executed;
                    if (index <= lastSeen[sender])
                        outOfOrder = true;
                    lastSeen[sender] = index;
                    probe.leave();
                });
                if (index % 10 == 0) {
                    const auto quality = index % 20 == 0 ? KSTQualityOfService::Utility
                                                         : KSTQualityOfService::UserInitiated;
                    poolWork.async(quality, [&] { poolExecuted.fetch_add(1); });
                }
            }
        });
    }
    for (std::thread &sender : senders)
        sender.join();
    queue.sync([] {});
    ASSERT_TRUE(poolWork.wait(10s));

    EXPECT_EQ(executed, Senders * PerSender);
    EXPECT_FALSE(outOfOrder);
    EXPECT_FALSE(probe.overlapped);
    EXPECT_EQ(poolExecuted.load(), Senders * PerSender / 10);
}

TEST(KSTDispatchQueueTest, CurrentLabelNamesTheQueueWhoseBlockRuns)
{
    KSTDispatchQueue outer(QStringLiteral("com.kestrel.test.outer"));
    KSTDispatchQueue inner(QStringLiteral("com.kestrel.test.inner"),
                           KSTQualityOfService::UserInitiated);

    EXPECT_TRUE(KSTDispatchQueue::currentLabel().isEmpty()) << "main thread";
    EXPECT_EQ(currentLabelOn(outer), outer.label());

    QString insideInner;
    QString backOnOuter;
    outer.sync([&] {
        insideInner = currentLabelOn(inner);
        backOnOuter = KSTDispatchQueue::currentLabel();
    });
    EXPECT_EQ(insideInner, QStringLiteral("com.kestrel.test.inner"));
    EXPECT_EQ(backOnOuter, QStringLiteral("com.kestrel.test.outer"));

    KSTDispatchGroup group;
    QString onUtilityPool = QStringLiteral("unset");
    QString onUserPool = QStringLiteral("unset");
    group.async(KSTQualityOfService::Utility,
                [&] { onUtilityPool = KSTDispatchQueue::currentLabel(); });
    group.async(KSTQualityOfService::UserInitiated,
                [&] { onUserPool = KSTDispatchQueue::currentLabel(); });
    ASSERT_TRUE(group.wait(5s));
    EXPECT_TRUE(onUtilityPool.isEmpty());
    EXPECT_TRUE(onUserPool.isEmpty());
}

#ifdef Q_OS_LINUX
TEST(KSTDispatchQueueTest, NamesItsThreadAfterTheMostTellingTailOfTheLabel)
{
    const struct
    {
        const char *label;
        const char *threadName;
    } cases[] = {
        {"com.kestrel.cleanup", "kestrel.cleanup"},
        {"com.kestrel.autoclean", "autoclean"},
        {"com.kestrel.duplicates.hash.0", "duplicat.hash.0"},
        {"com.kestrel.duplicates.hash.12", "duplica.hash.12"},
        {"com.kestrel.overview.sampler", "overvie.sampler"},
        {"local", "local"},
        {"an.extraordinarilylongcomponent", "lylongcomponent"},
        {"", "kestrel.queue"},
    };
    for (const auto &testCase : cases) {
        KSTDispatchQueue queue(QString::fromUtf8(testCase.label));
        char name[32] = {};
        queue.sync([&] { pthread_getname_np(pthread_self(), name, sizeof name); });
        EXPECT_STREQ(name, testCase.threadName) << testCase.label;
    }
}

TEST(KSTDispatchQueueTest, UtilityWorkRunsAtALowerPriorityThanUserInitiatedWork)
{
    const int mainNice = getpriority(PRIO_PROCESS, 0);
    if (mainNice >= 19)
        GTEST_SKIP() << "already at the lowest priority";
    const auto niceOf = [](auto submit) {
        int nice = 0;
        submit([&] { nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid())); });
        return nice;
    };
    KSTDispatchQueue utility(QStringLiteral("com.kestrel.test.utility"),
                             KSTQualityOfService::Utility);
    KSTDispatchQueue userInitiated(QStringLiteral("com.kestrel.test.user"),
                                   KSTQualityOfService::UserInitiated);
    const auto onPool = [](KSTQualityOfService quality) {
        return [quality](const std::function<void()> &block) {
            KSTDispatchGroup group;
            group.async(quality, block);
            group.wait(5s);
        };
    };

    const int utilityQueue = niceOf([&](const auto &block) { utility.sync(block); });
    const int userQueue = niceOf([&](const auto &block) { userInitiated.sync(block); });
    const int utilityPool = niceOf(onPool(KSTQualityOfService::Utility));
    const int userPool = niceOf(onPool(KSTQualityOfService::UserInitiated));
    EXPECT_EQ(userQueue, mainNice);
    EXPECT_EQ(userPool, mainNice);
    EXPECT_GT(utilityQueue, mainNice);
    EXPECT_GT(utilityPool, mainNice);
}
#endif

TEST(KSTDispatchQueueTest, SyncWaitsFromOutsideAndRunsInlineFromInside)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.sync"));
    Gate gate;
    int value = 0; // plain: only sync's ordering makes reading it here safe
    queue.async([&] {
        gate.wait();
        value = 1;
    });
    std::thread opener([&] {
        std::this_thread::sleep_for(20ms);
        gate.open();
    });
    queue.sync([&] { value *= 10; });
    opener.join();
    EXPECT_EQ(value, 10) << "sync ran before the block queued ahead of it";

    std::thread::id outerThread;
    std::thread::id innerThread;
    bool innerRan = false;
    queue.sync([&] {
        outerThread = std::this_thread::get_id();
        queue.sync([&] {
            innerThread = std::this_thread::get_id();
            innerRan = true;
        });
    });
    EXPECT_TRUE(innerRan);
    EXPECT_EQ(innerThread, outerThread);
    EXPECT_NE(outerThread, std::this_thread::get_id());
}

TEST(KSTDispatchQueueTest, DestructorRunsEverythingSubmittedIncludingWhatBlocksSubmit)
{
    std::vector<int> order; // read after the destructor joined the worker
    int lateBlocks = 0;
    std::function<void(int)> chain; // outlives the queue, whose destructor still calls it
    {
        KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.drain"));
        queue.async([] { std::this_thread::sleep_for(30ms); });
        for (int index = 0; index < 200; ++index)
            queue.async([&, index] { order.push_back(index); });
        // A chain of blocks that each submit the next one.
        chain = [&](int remaining) {
            ++lateBlocks;
            if (remaining > 0)
                queue.async([&, remaining] { chain(remaining - 1); });
        };
        queue.async([&] { chain(49); });
    }
    std::vector<int> expected(200);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_EQ(lateBlocks, 50);
}

TEST(KSTDispatchQueueTest, QueueDestroyedByItsOwnBlockFinishesTheRest)
{
    auto *queue = new KSTDispatchQueue(QStringLiteral("com.kestrel.test.selfdelete"));
    Gate gate; // everything is submitted before the queue can be gone
    std::atomic<int> ranAfterDelete{0};
    queue->async([&gate] { gate.wait(); });
    queue->async([queue] { delete queue; });
    for (int index = 0; index < 10; ++index)
        queue->async([&] { ranAfterDelete.fetch_add(1); });
    gate.open();
    EXPECT_TRUE(KSTTestSupport::pumpUntil([&] { return ranAfterDelete.load() == 10; }, 5000));
}

// ---- Main queue and pools ---------------------------------------------------------------

TEST(KSTDispatchMainQueueTest, RunsOnlyOnTheMainThreadInSubmissionOrder)
{
    constexpr int Senders = 4;
    constexpr int PerSender = 500;
    std::vector<std::pair<int, int>> arrivals; // main thread only
    std::atomic<bool> offMainThread{false};

    std::vector<std::thread> senders;
    for (int sender = 0; sender < Senders; ++sender) {
        senders.emplace_back([&, sender] {
            for (int index = 0; index < PerSender; ++index) {
                KSTDispatch::mainAsync([&, sender, index] {
                    if (!KSTDispatch::isMainThread() || !KSTDispatchQueue::currentLabel().isEmpty())
                        offMainThread = true;
                    arrivals.emplace_back(sender, index);
                });
            }
        });
    }
    for (std::thread &sender : senders)
        sender.join();
    ASSERT_TRUE(KSTTestSupport::pumpUntil(
        [&] { return arrivals.size() == std::size_t(Senders * PerSender); }));

    EXPECT_FALSE(offMainThread);
    std::vector<int> next(Senders, 0);
    for (const auto &[sender, index] : arrivals) {
        ASSERT_EQ(index, next[sender]) << "sender " << sender;
        ++next[sender];
    }
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
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return order.size() == 3; }));
    EXPECT_EQ(order, (std::vector<char>{'a', 'b', 'c'}));
}

TEST(KSTDispatchMainQueueTest, RunMainLoopUntilStopsWhenDoneOrAtTheDeadline)
{
    EXPECT_TRUE(KSTDispatch::isMainThread());

    bool hopped = false;
    bool poolWasMain = true;
    KSTDispatch::globalAsync(KSTQualityOfService::UserInitiated, [&] {
        const bool onMain = KSTDispatch::isMainThread();
        KSTDispatch::mainAsync([&, onMain] {
            poolWasMain = onMain;
            hopped = true;
        });
    });
    EXPECT_TRUE(KSTDispatch::runMainLoopUntil([&] { return hopped; }, 10'000));
    EXPECT_FALSE(poolWasMain);

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
    std::thread::id firstThread;
    std::thread::id secondThread;
    bool anyOnMain = false;
    QString label = QStringLiteral("unset");
    KSTDispatchGroup group;
    group.async(GetParam(), [&] {
        firstThread = std::this_thread::get_id();
        firstSawSecond = secondStarted.wait(5s);
    });
    group.async(GetParam(), [&] {
        secondThread = std::this_thread::get_id();
        anyOnMain = KSTDispatch::isMainThread();
        label = KSTDispatchQueue::currentLabel();
        secondStarted.open();
    });
    ASSERT_TRUE(group.wait(10s));
    EXPECT_TRUE(firstSawSecond);
    EXPECT_NE(firstThread, secondThread);
    EXPECT_FALSE(anyOnMain);
    EXPECT_TRUE(label.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Qualities, KSTDispatchPoolTest,
                         ::testing::Values(KSTQualityOfService::Utility,
                                           KSTQualityOfService::UserInitiated));

// ---- Groups -----------------------------------------------------------------------------

TEST(KSTDispatchGroupTest, JoinsWorkSpreadOverQueuesPoolsAndManualPieces)
{
    KSTDispatchQueue first(QStringLiteral("com.kestrel.test.group.0"));
    KSTDispatchQueue second(QStringLiteral("com.kestrel.test.group.1"),
                            KSTQualityOfService::UserInitiated);
    KSTDispatchQueue third(QStringLiteral("com.kestrel.test.group.2"));
    KSTDispatchQueue *queues[] = {&first, &second, &third};

    constexpr int Pieces = 300;
    std::vector<long> results(Pieces, -1); // each slot written by one block, no lock
    KSTDispatchGroup group;
    for (int index = 0; index < Pieces; ++index) {
        const auto work = [&results, index] {
            if (index % 7 == 0)
                std::this_thread::sleep_for(100us);
            results[index] = long(index) * index;
        };
        switch (index % 5) {
        case 3:
            group.async(KSTQualityOfService::Utility, work);
            break;
        case 4:
            group.async(KSTQualityOfService::UserInitiated, work);
            break;
        default:
            group.async(*queues[index % 5], work);
        }
    }
    long manual = 0;
    group.enter();
    std::thread worker([&] {
        std::this_thread::sleep_for(10ms);
        manual = 42;
        group.leave();
    });

    ASSERT_TRUE(group.wait(10s));
    for (int index = 0; index < Pieces; ++index)
        ASSERT_EQ(results[index], long(index) * index) << index;
    EXPECT_EQ(manual, 42);
    worker.join();
}

TEST(KSTDispatchGroupTest, WaitTimesOutWhileAPieceIsOutstanding)
{
    KSTDispatchGroup group;
    EXPECT_TRUE(group.wait(0ms)) << "an empty group is already done";
    group.enter();
    EXPECT_FALSE(group.wait(20ms));
    std::thread leaver([&] { group.leave(); });
    EXPECT_TRUE(group.wait(5s));
    EXPECT_TRUE(group.wait(0ms));
    leaver.join();
}

TEST(KSTDispatchGroupTest, NotifyMainRunsOnTheMainThreadOnceAllWorkHasLeft)
{
    KSTDispatchGroup group;
    Gate gate;
    std::atomic<int> finished{0};
    for (int index = 0; index < 40; ++index) {
        group.async(index % 2 ? KSTQualityOfService::Utility : KSTQualityOfService::UserInitiated,
                    [&] {
                        gate.wait();
                        finished.fetch_add(1);
                    });
    }
    std::vector<int> seenByNotifications;
    bool notifiedOffMain = false;
    for (int copy = 0; copy < 2; ++copy) {
        group.notifyMain([&] {
            notifiedOffMain |= !KSTDispatch::isMainThread();
            seenByNotifications.push_back(finished.load());
        });
    }
    KSTTestSupport::pumpFor(20);
    EXPECT_TRUE(seenByNotifications.empty()) << "notified while work was outstanding";
    gate.open();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return seenByNotifications.size() == 2; }));
    EXPECT_EQ(seenByNotifications, (std::vector<int>{40, 40}));
    EXPECT_FALSE(notifiedOffMain);

    bool idleNotified = false;
    group.notifyMain([&] { idleNotified = true; });
    EXPECT_FALSE(idleNotified) << "must not run inside notifyMain()";
    EXPECT_TRUE(KSTTestSupport::pumpUntil([&] { return idleNotified; }));
}

TEST(KSTDispatchGroupTest, OutlivesItsObjectUntilTheWorkEnds)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.group.outlive"));
    Gate gate;
    bool worked = false;
    bool notified = false;
    {
        KSTDispatchGroup group;
        group.async(queue, [&] {
            gate.wait();
            worked = true;
        });
        group.notifyMain([&] { notified = true; });
    }
    gate.open();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return notified; }));
    EXPECT_TRUE(worked);
}

// ---- Timers -----------------------------------------------------------------------------

TEST(KSTDispatchTimerTest, FiresFirstAfterItsDelayThenAtEachInterval)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.timer"));
    std::vector<Clock::time_point> firings; // handler only, read through queue.sync
    bool offQueue = false;
    std::atomic<int> count{0};
    KSTDispatchTimer timer(queue, 80ms, 25ms, 5ms, [&] {
        firings.push_back(Clock::now());
        offQueue |= KSTDispatchQueue::currentLabel() != QStringLiteral("com.kestrel.test.timer");
        count.fetch_add(1);
    });
    KSTTestSupport::pumpFor(40);
    EXPECT_EQ(count.load(), 0) << "fired before start()";

    const Clock::time_point started = Clock::now();
    timer.start();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return count.load() >= 4; }));
    timer.cancel();

    std::vector<Clock::time_point> seen;
    queue.sync([&] { seen = firings; });
    ASSERT_GE(seen.size(), 4u);
    for (std::size_t index = 0; index < seen.size(); ++index) {
        const auto earliest = started + 80ms + index * 25ms;
        EXPECT_GE(seen[index], earliest) << "firing " << index << " came early";
    }
    EXPECT_FALSE(offQueue);
}

TEST(KSTDispatchTimerTest, ZeroIntervalFiresOnce)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.timer.once"));
    std::atomic<int> count{0};
    KSTDispatchTimer timer(queue, 10ms, 0ms, 0ms, [&] { count.fetch_add(1); });
    timer.start();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return count.load() == 1; }));
    KSTTestSupport::pumpFor(60);
    EXPECT_EQ(count.load(), 1);
}

class KSTDispatchTimerCancelTest : public ::testing::TestWithParam<bool>
{
};

TEST_P(KSTDispatchTimerCancelTest, CancelStopsFurtherFirings)
{
    const bool cancelOnTheQueue = GetParam();
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.timer.cancel"));
    std::atomic<int> count{0};
    KSTDispatchTimer timer(queue, 0ms, 10ms, 0ms, [&] { count.fetch_add(1); });
    timer.start();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return count.load() >= 2; }));

    int atCancel = 0;
    if (cancelOnTheQueue) {
        // Serial with the handler, so no firing is half-way through.
        queue.sync([&] {
            timer.cancel();
            atCancel = count.load();
        });
    } else {
        timer.cancel();
        atCancel = count.load();
    }
    EXPECT_TRUE(timer.isCancelled());
    KSTTestSupport::pumpFor(80);
    // From another thread, a firing already running when cancel() came may still finish.
    EXPECT_LE(count.load(), atCancel + (cancelOnTheQueue ? 0 : 1));
    timer.start();
    KSTTestSupport::pumpFor(30);
    EXPECT_LE(count.load(), atCancel + (cancelOnTheQueue ? 0 : 1)) << "restarted after cancel";
}

INSTANTIATE_TEST_SUITE_P(FromWhere, KSTDispatchTimerCancelTest, ::testing::Bool(),
                         [](const auto &info) { return info.param ? "OnQueue" : "OnMain"; });

TEST(KSTDispatchTimerTest, HandlerMayCancelItsOwnTimer)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.timer.self"));
    std::atomic<int> count{0};
    KSTDispatchTimer *self = nullptr;
    KSTDispatchTimer timer(queue, 0ms, 5ms, 0ms, [&] {
        if (count.fetch_add(1) + 1 == 3)
            self->cancel();
    });
    self = &timer;
    timer.start();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return count.load() >= 3; }));
    KSTTestSupport::pumpFor(60);
    EXPECT_EQ(count.load(), 3);
    EXPECT_TRUE(timer.isCancelled());
}

TEST(KSTDispatchTimerTest, DestroyingTheTimerDropsAQueuedFiringAndReleasesTheHandler)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.timer.destroy"));
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
        KSTTestSupport::pumpFor(30);
    }
    EXPECT_TRUE(captured.expired()) << "the handler outlived its timer";
    gate.open();
    queue.sync([] {});
    KSTTestSupport::pumpFor(30);
    EXPECT_EQ(count.load(), 0);
}

TEST(KSTDispatchTimerTest, DestroyingTheTimerWaitsForARunningHandler)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.timer.wait"));
    std::atomic<bool> running{false};
    bool finished = false; // plain: destruction must order the handler's write before us
    {
        KSTDispatchTimer timer(queue, 0ms, 1000ms, 0ms, [&] {
            running = true;
            std::this_thread::sleep_for(50ms);
            finished = true;
        });
        timer.start();
        ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return running.load(); }));
    }
    EXPECT_TRUE(finished);
}

TEST(KSTDispatchTimerTest, HandlerNeverOverlapsOtherBlocksOfItsQueue)
{
    KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.timer.serial"));
    OverlapProbe probe;
    int touches = 0; // plain: the handler and the blocks share it without a lock
    std::atomic<int> firings{0};
    KSTDispatchTimer timer(queue, 0ms, 1ms, 0ms, [&] {
        probe.enter();
        ++touches;
        probe.leave();
        firings.fetch_add(1);
    });
    timer.start();
    std::atomic<int> blocks{0};
    for (int index = 0; index < 400; ++index) {
        queue.async([&] {
            probe.enter();
            ++touches;
            std::this_thread::sleep_for(20us);
            probe.leave();
            blocks.fetch_add(1);
        });
    }
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return blocks.load() == 400 && firings >= 5; }));
    queue.sync([&] { timer.cancel(); });
    int total = 0;
    queue.sync([&] { total = touches; });
    EXPECT_EQ(total, 400 + firings.load());
    EXPECT_FALSE(probe.overlapped);
}

TEST(KSTDispatchTimerTest, TimerOutlivingItsQueueStopsQuietly)
{
    auto queue = std::make_unique<KSTDispatchQueue>(QStringLiteral("com.kestrel.test.timer.gone"));
    std::atomic<int> count{0};
    KSTDispatchTimer timer(*queue, 0ms, 2ms, 0ms, [&] { count.fetch_add(1); });
    timer.start();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return count.load() >= 2; }));
    queue.reset();
    ASSERT_TRUE(KSTTestSupport::pumpUntil([&] { return timer.isCancelled(); }));
    const int afterQueue = count.load();
    KSTTestSupport::pumpFor(30);
    EXPECT_EQ(count.load(), afterQueue);
}

TEST(KSTDispatchTimerTest, ManyTimersStartedAndDestroyedFromSeveralThreads)
{
    constexpr int Threads = 4;
    constexpr int TimersPerThread = 10;
    std::atomic<int> timersThatFired{0};
    std::atomic<int> threadsLeavingHandlersAlive{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&, thread] {
            KSTDispatchQueue queue(QStringLiteral("com.kestrel.test.timers.") %
                                   QString::number(thread));
            std::atomic<int> handlersAlive{0};
            std::vector<std::unique_ptr<KSTDispatchTimer>> timers;
            std::vector<std::shared_ptr<std::atomic<int>>> counts;
            for (int index = 0; index < TimersPerThread; ++index) {
                auto fired = std::make_shared<std::atomic<int>>(0);
                auto alive = std::make_shared<LiveCounter>(handlersAlive);
                timers.push_back(std::make_unique<KSTDispatchTimer>(
                    queue, std::chrono::milliseconds(index % 3),
                    std::chrono::milliseconds(1 + index % 4), std::chrono::milliseconds(index % 2),
                    [fired, alive] { fired->fetch_add(1); }));
                timers.back()->start();
                counts.push_back(fired);
            }
            const auto deadline = Clock::now() + 5s;
            for (const auto &fired : counts) {
                while (fired->load() == 0 && Clock::now() < deadline)
                    std::this_thread::sleep_for(1ms);
                if (fired->load() > 0)
                    timersThatFired.fetch_add(1);
            }
            // While the queue still runs: destroying a timer must release its handler.
            timers.clear();
            if (handlersAlive.load() != 0)
                threadsLeavingHandlersAlive.fetch_add(1);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(timersThatFired.load(), Threads * TimersPerThread);
    EXPECT_EQ(threadsLeavingHandlersAlive.load(), 0);
}
