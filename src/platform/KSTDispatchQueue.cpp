#include "KSTDispatchQueue.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#if defined(Q_OS_LINUX)
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>
#elif defined(Q_OS_MACOS)
#include <pthread.h>
#include <pthread/qos.h>
#endif

// Everything is built on std::thread, std::mutex and std::condition_variable rather than Qt's
// threading classes: ThreadSanitizer intercepts these, so every hand-off of a block (and of
// the data it captured) is visible to it, while Qt's uninstrumented internals are not.
struct KSTDispatchQueue::State
{
    State(const QString &queueLabel, KSTQualityOfService queueQuality)
        : label(queueLabel), quality(queueQuality)
    {
    }

    const QString label;
    const KSTQualityOfService quality;

    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> blocks;
    std::thread worker;
    bool started = false;  // the worker was launched (it is launched once, lazily)
    bool stopping = false; // the destructor has begun: timers may no longer submit
    bool finished = false; // nothing will run any more: later submissions are dropped
};

namespace {

thread_local const KSTDispatchQueue::State *t_currentQueue = nullptr;

#if defined(Q_OS_LINUX)
// Nice values are per thread on Linux and a new thread inherits its creator's, so the
// levels are derived from the process's level at start-up, not from the calling thread's.
const int s_processNice = ::getpriority(PRIO_PROCESS, 0);
constexpr int UtilityNiceIncrement = 5;
#endif

constexpr qsizetype ThreadNameLimit = 15; // Linux's limit, without the terminating zero

// "com.kestrel.cleanup" -> "kestrel.cleanup"; "com.kestrel.duplicates.hash.0" ->
// "duplicat.hash.0": the reverse-DNS prefix says least, the last components say most.
QByteArray threadNameForLabel(const QString &label)
{
    QStringList parts = label.split(u'.', Qt::SkipEmptyParts);
    if (parts.size() > 1 && parts.first() == u"com")
        parts.removeFirst();
    if (parts.join(u'.').size() > ThreadNameLimit && parts.size() > 1 &&
        parts.first() == u"kestrel")
        parts.removeFirst();

    qsizetype first = parts.size();
    qsizetype length = 0;
    while (first > 0) {
        const qsizetype grown = length + parts.at(first - 1).size() + (length > 0 ? 1 : 0);
        if (grown > ThreadNameLimit)
            break;
        length = grown;
        --first;
    }
    QString name = parts.mid(first).join(u'.');
    if (name.isEmpty() && !parts.isEmpty()) {
        name = parts.last().right(ThreadNameLimit);
    } else if (first > 0) {
        // Room left: a shortened component before the tail still tells more than nothing.
        const qsizetype room = ThreadNameLimit - name.size() - 1;
        if (room >= 4)
            name = parts.at(first - 1).left(room) % u'.' % name;
    }
    if (name.isEmpty())
        name = QStringLiteral("kestrel.queue");

    QByteArray bytes = name.toUtf8();
    while (bytes.size() > ThreadNameLimit && !name.isEmpty()) {
        name.chop(1);
        bytes = name.toUtf8();
    }
    return bytes;
}

void runWorker(std::shared_ptr<KSTDispatchQueue::State> state)
{
    t_currentQueue = state.get();
    KSTDispatchQueue::configureCurrentThread(state->label, state->quality);

    std::unique_lock lock(state->mutex);
    for (;;) {
        state->wake.wait(lock, [&] { return !state->blocks.empty() || state->stopping; });
        if (state->blocks.empty())
            break;
        std::function<void()> block = std::move(state->blocks.front());
        state->blocks.pop_front();
        lock.unlock();
        block();
        // The captures die here, on the queue, before the next block and outside the lock
        // (a capture's destructor may submit to this queue).
        block = nullptr;
        lock.lock();
    }
    state->finished = true;
    t_currentQueue = nullptr;
}

bool enqueue(const std::shared_ptr<KSTDispatchQueue::State> &state, std::function<void()> &block,
             bool fromTimer)
{
    {
        std::lock_guard lock(state->mutex);
        if (state->finished || (fromTimer && state->stopping))
            return false;
        state->blocks.push_back(std::move(block));
        if (!state->started) {
            state->started = true;
            state->worker = std::thread(runWorker, state);
        }
    }
    state->wake.notify_one();
    return true;
}

} // namespace

KSTDispatchQueue::KSTDispatchQueue(const QString &label, KSTQualityOfService quality)
    : d(std::make_shared<State>(label, quality))
{
}

KSTDispatchQueue::~KSTDispatchQueue()
{
    std::thread worker;
    {
        std::lock_guard lock(d->mutex);
        d->stopping = true;
        if (!d->started)
            d->finished = true;
        worker = std::move(d->worker);
    }
    d->wake.notify_one();
    if (!worker.joinable())
        return;
    // Destroyed by one of its own blocks: joining would wait for ourselves. The worker keeps
    // the state alive, drains the rest and ends on its own.
    if (worker.get_id() == std::this_thread::get_id())
        worker.detach();
    else
        worker.join();
}

QString KSTDispatchQueue::label() const
{
    return d->label;
}

KSTQualityOfService KSTDispatchQueue::qualityOfService() const
{
    return d->quality;
}

void KSTDispatchQueue::async(std::function<void()> block)
{
    enqueue(d, block, false);
}

void KSTDispatchQueue::sync(const std::function<void()> &block)
{
    if (t_currentQueue == d.get()) {
        block();
        return;
    }
    std::mutex mutex;
    std::condition_variable doneChanged;
    bool done = false;
    std::function<void()> wrapper = [&] {
        block();
        std::lock_guard lock(mutex);
        done = true;
        // Notified under the lock: the waiter's stack frame, which owns the condition
        // variable, may end as soon as it sees done.
        doneChanged.notify_one();
    };
    if (!enqueue(d, wrapper, false))
        return;
    std::unique_lock lock(mutex);
    doneChanged.wait(lock, [&] { return done; });
}

QString KSTDispatchQueue::currentLabel()
{
    return t_currentQueue ? t_currentQueue->label : QString();
}

void KSTDispatchQueue::configureCurrentThread(const QString &label, KSTQualityOfService quality)
{
#if defined(Q_OS_LINUX)
    ::pthread_setname_np(::pthread_self(), threadNameForLabel(label).constData());
    const int nice = quality == KSTQualityOfService::Utility
                         ? std::min(s_processNice + UtilityNiceIncrement, 19)
                         : s_processNice;
    // Lowering a priority needs no privilege; regaining one may fail, and then the thread
    // simply keeps the priority it inherited.
    (void)::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), nice);
#elif defined(Q_OS_MACOS)
    ::pthread_setname_np(label.toUtf8().constData());
    ::pthread_set_qos_class_self_np(
        quality == KSTQualityOfService::Utility ? QOS_CLASS_UTILITY : QOS_CLASS_USER_INITIATED, 0);
#else
    Q_UNUSED(label)
    Q_UNUSED(quality)
#endif
}

bool KSTDispatchQueue::enqueueTimerBlock(const std::shared_ptr<State> &state,
                                         std::function<void()> block)
{
    return enqueue(state, block, true);
}
