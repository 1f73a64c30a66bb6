#include "KSTDispatch.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaObject>
#include <QObject>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace {

// ---- Main queue -------------------------------------------------------------------------

// Blocks wait in this FIFO under a std::mutex; the Qt invocation that drains it carries no
// data. Qt's own hand-off (postEvent, QMutex) is invisible to ThreadSanitizer, the mutex is
// not, so what a block captured is seen to pass safely from the submitting thread.
class MainQueueReceiver;

struct MainQueue
{
    std::mutex mutex;
    std::deque<std::function<void()>> blocks;
    MainQueueReceiver *receiver = nullptr; // on the main thread; null while no application
    bool drainPosted = false;
};

// Never destroyed: pool threads still running at exit may submit to it after static
// destruction has begun.
MainQueue &mainQueue()
{
    static MainQueue *queue = new MainQueue;
    return *queue;
}

class MainQueueReceiver : public QObject
{
public:
    using QObject::QObject;
    ~MainQueueReceiver() override
    {
        // Blocks still waiting stay queued for a later application object.
        MainQueue &queue = mainQueue();
        std::lock_guard lock(queue.mutex);
        if (queue.receiver == this)
            queue.receiver = nullptr;
        queue.drainPosted = false;
    }
};

std::atomic<std::thread::id> s_mainThread{};

void drainMainQueue();

// Must be called with the queue's mutex held: the invocation is then allocated before the
// unlock that drainMainQueue() acquires, so its release by Qt after the drain is ordered.
void postDrainLocked(MainQueue &queue)
{
    if (!queue.receiver || queue.drainPosted)
        return;
    queue.drainPosted = true;
    QMetaObject::invokeMethod(
        queue.receiver, [] { drainMainQueue(); }, Qt::QueuedConnection);
}

void drainMainQueue()
{
    MainQueue &queue = mainQueue();
    std::size_t budget = 0;
    {
        std::lock_guard lock(queue.mutex);
        // Blocks submitted from now on post a new drain, so a nested event loop inside a
        // block still sees them, and a block that keeps resubmitting cannot starve the loop.
        queue.drainPosted = false;
        budget = queue.blocks.size();
    }
    // One block at a time: a nested event loop inside a block keeps the order.
    for (; budget > 0; --budget) {
        std::function<void()> block;
        {
            std::lock_guard lock(queue.mutex);
            if (queue.blocks.empty())
                return;
            block = std::move(queue.blocks.front());
            queue.blocks.pop_front();
        }
        block();
    }
}

// Runs on the main thread inside every QCoreApplication's constructor.
void installMainQueue()
{
    QCoreApplication *app = QCoreApplication::instance();
    s_mainThread.store(std::this_thread::get_id());
    auto *receiver = new MainQueueReceiver(app);
    MainQueue &queue = mainQueue();
    std::lock_guard lock(queue.mutex);
    queue.receiver = receiver;
    queue.drainPosted = false;
    if (!queue.blocks.empty())
        postDrainLocked(queue);
}

// ---- Global pools -----------------------------------------------------------------------

// How long the exit-time destruction of a pool waits for blocks still running. Threads
// cannot be killed; a block that outlives the grace keeps its thread, which is detached and
// ends with the process. Blocks that had not started by then are dropped unrun, as
// the process is ending.
constexpr auto ExitGrace = std::chrono::seconds(1);

class GlobalPool
{
public:
    GlobalPool(const QString &label, KSTQualityOfService quality)
        : m_shared(std::make_shared<Shared>()), m_label(label), m_quality(quality)
    {
    }

    ~GlobalPool()
    {
        std::deque<std::function<void()>> abandoned;
        std::vector<std::thread> threads;
        {
            std::lock_guard lock(m_shared->mutex);
            m_shared->stopping = true;
            abandoned.swap(m_shared->blocks);
            threads.swap(m_threads);
        }
        m_shared->wake.notify_all();
        abandoned.clear();

        bool allExited = false;
        {
            std::unique_lock lock(m_shared->mutex);
            allExited =
                m_shared->exited.wait_for(lock, ExitGrace, [&] { return m_shared->running == 0; });
        }
        for (std::thread &thread : threads) {
            if (allExited && thread.get_id() != std::this_thread::get_id())
                thread.join();
            else
                thread.detach();
        }
    }

    GlobalPool(const GlobalPool &) = delete;
    GlobalPool &operator=(const GlobalPool &) = delete;

    void submit(std::function<void()> &block)
    {
        {
            std::lock_guard lock(m_shared->mutex);
            if (m_shared->stopping)
                return;
            m_shared->blocks.push_back(std::move(block));
            if (m_threads.empty())
                startLocked();
        }
        m_shared->wake.notify_one();
    }

private:
    struct Shared
    {
        std::mutex mutex;
        std::condition_variable wake;
        std::condition_variable exited;
        std::deque<std::function<void()>> blocks;
        int running = 0;
        bool stopping = false;
    };

    void startLocked()
    {
        const int count = std::max(2, static_cast<int>(std::thread::hardware_concurrency()));
        for (int index = 0; index < count; ++index) {
            // A QString, not a string-builder expression, which would outlive its parts.
            const QString label = m_label % u'.' % QString::number(index);
            m_threads.emplace_back(work, m_shared, label, m_quality);
            ++m_shared->running;
        }
    }

    // Each thread holds the shared state, so one detached at exit never touches freed memory.
    static void work(std::shared_ptr<Shared> shared, QString label, KSTQualityOfService quality)
    {
        KSTDispatchQueue::configureCurrentThread(label, quality);
        std::unique_lock lock(shared->mutex);
        for (;;) {
            shared->wake.wait(lock, [&] { return shared->stopping || !shared->blocks.empty(); });
            if (shared->stopping)
                break;
            std::function<void()> block = std::move(shared->blocks.front());
            shared->blocks.pop_front();
            lock.unlock();
            block();
            block = nullptr;
            lock.lock();
        }
        --shared->running;
        shared->exited.notify_all();
    }

    std::shared_ptr<Shared> m_shared;
    std::vector<std::thread> m_threads; // guarded by m_shared->mutex
    const QString m_label;
    const KSTQualityOfService m_quality;
};

GlobalPool &globalPool(KSTQualityOfService quality)
{
    static GlobalPool utility(QStringLiteral("com.kestrel.pool.utility"),
                              KSTQualityOfService::Utility);
    static GlobalPool userInitiated(QStringLiteral("com.kestrel.pool.userinit"),
                                    KSTQualityOfService::UserInitiated);
    return quality == KSTQualityOfService::Utility ? utility : userInitiated;
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installMainQueue)

namespace KSTDispatch {

void mainAsync(std::function<void()> block)
{
    MainQueue &queue = mainQueue();
    std::lock_guard lock(queue.mutex);
    queue.blocks.push_back(std::move(block));
    postDrainLocked(queue);
}

void mainAsync(const QObject *context, std::function<void()> block)
{
    // Made here, while the context is alive; read on the main thread, where it is destroyed.
    QPointer<const QObject> guard(context);
    mainAsync([guard = std::move(guard), block = std::move(block)] {
        if (guard)
            block();
    });
}

void globalAsync(KSTQualityOfService quality, std::function<void()> block)
{
    globalPool(quality).submit(block);
}

bool isMainThread()
{
    return s_mainThread.load() == std::this_thread::get_id();
}

bool runMainLoopUntil(const std::function<bool()> &done, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    if (!isMainThread()) {
        // No event loop of ours to run here: poll.
        while (!done()) {
            if (deadline.hasExpired())
                return done();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }
    // The tick bounds each wait, so a predicate that another thread satisfies without
    // posting anything is still noticed, and the deadline is kept.
    QTimer tick;
    tick.start(5);
    while (!done()) {
        if (deadline.hasExpired())
            return done();
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

} // namespace KSTDispatch
