#pragma once

#include <QString>

#include <chrono>
#include <functional>
#include <memory>

/// The two qualities of service Kestrel uses: scans at utility, the live sample at
/// user-initiated.
enum class KSTQualityOfService { UserInitiated, Utility };

/// A serial FIFO queue with one named worker thread, in the manner of a labelled serial
/// dispatch queue: blocks submitted with async() run one after the other, in submission
/// order, on the queue's thread. The thread starts with the first block and the queue's
/// destructor runs every block already submitted (and whatever those blocks submit to the
/// queue in turn), then joins the thread. Destroyed from one of its own blocks, the queue
/// lets its thread finish the remaining blocks on its own instead of joining it.
///
/// The thread is named after the label (on Linux the label's most telling 15-character tail,
/// e.g. "kestrel.cleanup"); Utility queues run at a lowered scheduling priority.
///
/// Thread-safe: any thread may submit. A block may submit to its own queue. Each block's
/// captures are destroyed on the queue's thread right after it runs.
class KSTDispatchQueue
{
public:
    explicit KSTDispatchQueue(const QString &label,
                              KSTQualityOfService quality = KSTQualityOfService::Utility);
    ~KSTDispatchQueue();
    KSTDispatchQueue(const KSTDispatchQueue &) = delete;
    KSTDispatchQueue &operator=(const KSTDispatchQueue &) = delete;

    QString label() const;
    KSTQualityOfService qualityOfService() const;

    /// Queues @p block and returns at once.
    void async(std::function<void()> block);

    /// Runs @p block on the queue and waits for it. Called from the queue's own thread, the
    /// block runs at once (no deadlock). As with any serial queue, two queues that sync()
    /// onto each other from their own blocks deadlock.
    void sync(const std::function<void()> &block);

    /// The label of the serial queue whose block is running on the calling thread; empty on
    /// any other thread (main thread, global pools).
    static QString currentLabel();

    /// Names the calling thread after @p label and gives it the scheduling priority of
    /// @p quality. The queues, the global pools and the timer thread call it on their own
    /// threads; on Linux a thread cannot regain a priority its creator had already lowered
    /// unless the process may raise priorities.
    static void configureCurrentThread(const QString &label, KSTQualityOfService quality);

    struct State; ///< shared with timers; private to the implementation

private:
    friend class KSTDispatchTimer;
    /// Queues a timer firing; refused (false) once the queue's destructor has begun.
    static bool enqueueTimerBlock(const std::shared_ptr<State> &state, std::function<void()> block);

    std::shared_ptr<State> d;
};
