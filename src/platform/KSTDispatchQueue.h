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
/// destructor runs every block already submitted, then joins the thread.
///
/// Thread-safe: any thread may submit. A block may submit to its own queue.
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
    /// block runs at once (no deadlock).
    void sync(const std::function<void()> &block);

    /// The label of the serial queue whose block is running on the calling thread; empty on
    /// any other thread (main thread, global pools).
    static QString currentLabel();

    struct State; ///< shared with timers; private to the implementation

private:
    friend class KSTDispatchTimer;
    std::shared_ptr<State> d;
};
