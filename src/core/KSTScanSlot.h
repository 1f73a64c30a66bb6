#pragma once

#include "KSTCoreLog.h"

#include <QDateTime>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

/// One engine's scan state in the frame: its generation counter, its cached result with the
/// date it was stored, its installed build routine, and the fetch state machine every engine
/// shares (cached result at once, else a new generation, an optional placeholder, the build
/// where the engine runs, store-if-current, then delivery unless cancelled meanwhile).
///
/// Generation rule: starting a fetch, cancelling and invalidating each move the generation
/// on; a build for a stale generation stores and delivers nothing. The cache and the
/// generation change together under the frame's lock, so an invalidation can never be undone
/// by a result that was in flight.
///
/// The slot takes the frame's lock (recursive, never held while a routine or a completion
/// runs) for every compound step; isCancelled() reads the generation without it, so a build
/// may ask as often as it likes. Snapshot may be an incomplete type where only the slot's
/// declaration is seen; the engine's own source instantiates fetch().
template <typename Snapshot> class KSTScanSlot
{
public:
    using Ptr = std::shared_ptr<const Snapshot>;
    using Completion = std::function<void(Ptr)>;
    using Block = std::function<void()>;
    /// Runs a block somewhere: a serial queue, a global pool, the main queue.
    using Scheduler = std::function<void(Block)>;
    /// Builds the snapshot for generation G, asking the frame between steps whether G was
    /// cancelled; nullptr when it was (or on failure).
    using Builder = std::function<std::shared_ptr<Snapshot>(quint64 generation)>;

    /// How one engine fetches: everything the engines differ in.
    struct Fetch
    {
        /// Whether a cached result may be delivered as it is (its snapshot and stored date);
        /// empty: any cached result may.
        std::function<bool(const Snapshot &, const QDateTime &)> reusable;
        /// What the caller sees at once while a scan starts; empty: nothing.
        std::function<Ptr()> placeholder;
        /// Where the build runs.
        Scheduler run;
        /// Where the caller receives results (the cached one, the placeholder, the result).
        Scheduler deliver;
        /// Where the caller receives the built result, when not where deliver says (running
        /// it inline hands the result over in the block that built it); may be empty.
        Scheduler deliverResult;
        /// Runs the installed builder (@p build) in the engine's context (a grant, say);
        /// empty: calls it directly.
        std::function<std::shared_ptr<Snapshot>(
            const std::function<std::shared_ptr<Snapshot>()> &build)>
            around;
        /// Marks a finished result before it is stored (isPartial = false, say); may be empty.
        std::function<void(Snapshot &)> finish;
    };

    explicit KSTScanSlot(std::recursive_mutex &monitor) : m_monitor(monitor) {}
    KSTScanSlot(const KSTScanSlot &) = delete;
    KSTScanSlot &operator=(const KSTScanSlot &) = delete;

    void setBuilder(Builder builder)
    {
        Lock lock(m_monitor);
        m_builder = std::move(builder);
    }

    /// The installed builder for generation @p generation, run on the calling thread; nullptr
    /// when none is installed.
    std::shared_ptr<Snapshot> build(quint64 generation)
    {
        Builder builder;
        {
            Lock lock(m_monitor);
            builder = m_builder;
        }
        return builder ? builder(generation) : nullptr;
    }

    /// Moves the generation on and returns the new one.
    quint64 start()
    {
        Lock lock(m_monitor);
        return m_generation.fetch_add(1) + 1;
    }

    /// Moves the generation on: a scan in flight stores and delivers nothing.
    void cancel() { start(); }

    bool isCancelled(quint64 generation) const { return m_generation.load() != generation; }

    /// Cancels and drops the cached result and its date in one step.
    void invalidate()
    {
        Lock lock(m_monitor);
        ++m_generation;
        m_cached.reset();
        m_cachedDate = QDateTime();
    }

    /// Stores @p snapshot (dated now) when @p generation is still current; false otherwise.
    bool storeIfCurrent(quint64 generation, Ptr snapshot)
    {
        Lock lock(m_monitor);
        if (m_generation != generation)
            return false;
        m_cached = std::move(snapshot);
        m_cachedDate = QDateTime::currentDateTimeUtc();
        return true;
    }

    /// The cached result when @p reusable accepts it (or when @p reusable is empty).
    Ptr cachedIf(const std::function<bool(const Snapshot &, const QDateTime &)> &reusable) const
    {
        Lock lock(m_monitor);
        if (m_cached && (!reusable || reusable(*m_cached, m_cachedDate)))
            return m_cached;
        return nullptr;
    }

    // Plain properties, each under the lock.
    quint64 generation() const { return m_generation.load(); }
    Ptr cached() const
    {
        Lock lock(m_monitor);
        return m_cached;
    }
    void setCached(Ptr snapshot)
    {
        Lock lock(m_monitor);
        m_cached = std::move(snapshot);
    }
    QDateTime cachedDate() const
    {
        Lock lock(m_monitor);
        return m_cachedDate;
    }
    void setCachedDate(QDateTime date)
    {
        Lock lock(m_monitor);
        m_cachedDate = std::move(date);
    }

    /// The state machine: a reusable cached result is delivered at once; otherwise a new
    /// generation G starts, the placeholder (if any) is delivered, and the build runs where
    /// @p how says; its result for a still-current G is finished, stored and delivered,
    /// unless G was cancelled by the time the delivery runs. A null completion does nothing.
    void fetch(const Fetch &how, Completion completion)
    {
        if (!completion)
            return;
        quint64 generation = 0;
        Ptr cachedResult;
        {
            Lock lock(m_monitor);
            if (m_cached && (!how.reusable || how.reusable(*m_cached, m_cachedDate)))
                cachedResult = m_cached;
            else
                generation = m_generation.fetch_add(1) + 1;
        }
        if (cachedResult) {
            how.deliver(
                [completion = std::move(completion), cachedResult] { completion(cachedResult); });
            return;
        }
        if (how.placeholder) {
            Ptr placeholder = how.placeholder();
            how.deliver([completion, placeholder] { completion(placeholder); });
        }
        how.run([this, how, generation, completion = std::move(completion)] {
            runFetch(how, generation, completion);
        });
    }

private:
    using Lock = std::lock_guard<std::recursive_mutex>;

    void runFetch(const Fetch &how, quint64 generation, const Completion &completion)
    {
        if (isCancelled(generation))
            return;
        const auto build = [this, generation]() -> std::shared_ptr<Snapshot> {
            return isCancelled(generation) ? nullptr : this->build(generation);
        };
        std::shared_ptr<Snapshot> result = how.around ? how.around(build) : build();
        if (!result)
            return;
        if (how.finish)
            how.finish(*result);
        Ptr snapshot = std::move(result);
        if (!storeIfCurrent(generation, snapshot)) {
            qCDebug(lcCore) << "a result of generation" << generation
                            << "came after a newer fetch, a cancel or an invalidation; dropped";
            return;
        }
        const Scheduler &deliverResult = how.deliverResult ? how.deliverResult : how.deliver;
        deliverResult([this, generation, completion, snapshot] {
            if (!isCancelled(generation))
                completion(snapshot);
        });
    }

    std::recursive_mutex &m_monitor;
    std::atomic<quint64> m_generation{0};
    Ptr m_cached;
    QDateTime m_cachedDate;
    Builder m_builder;
};
