#include "KSTToolProcessGroups.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

namespace {

static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "the signal handler may only touch lock-free atomics");

std::atomic<pid_t> runningGroups[KSTToolProcessGroups::Capacity];
std::atomic<int> spawnsInProgress{0};
std::atomic<bool> programEnding{false};

// A spawning thread has the termination signals blocked, so it reaches record() even while
// this handler runs elsewhere; a tenth of a second is far more than posix_spawn takes.
constexpr int SpawnWaitSteps = 100;

void endToolsThenTerminate(int signalNumber)
{
    const int savedErrno = errno;
    programEnding.store(true);
    for (int step = 0; step < SpawnWaitSteps && spawnsInProgress.load() > 0; ++step) {
        const timespec millisecond{0, 1'000'000};
        ::nanosleep(&millisecond, nullptr);
    }
    KSTToolProcessGroups::endAll();
    errno = savedErrno;
    // SA_RESETHAND put back the default action: the program ends as the signal says.
    ::raise(signalNumber);
}

} // namespace

void KSTToolProcessGroups::installTerminationHandlers()
{
    struct sigaction action = {};
    action.sa_handler = endToolsThenTerminate;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND;
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction previous = {};
        // A signal the caller chose to ignore (nohup) stays ignored.
        if (::sigaction(signalNumber, nullptr, &previous) == 0 && previous.sa_handler == SIG_IGN)
            continue;
        ::sigaction(signalNumber, &action, nullptr);
    }
}

void KSTToolProcessGroups::endAll()
{
    for (std::atomic<pid_t> &slot : runningGroups) {
        const pid_t group = slot.load();
        if (group > 0)
            ::killpg(group, SIGKILL);
    }
}

void KSTToolProcessGroups::spawnBegins()
{
    spawnsInProgress.fetch_add(1);
}

void KSTToolProcessGroups::spawnEnds()
{
    spawnsInProgress.fetch_sub(1);
}

int KSTToolProcessGroups::record(pid_t group)
{
    for (int slot = 0; slot < Capacity; ++slot) {
        pid_t empty = 0;
        if (runningGroups[slot].compare_exchange_strong(empty, group)) {
            // A handler that began before the slot was filled may have missed it.
            if (programEnding.load())
                ::killpg(group, SIGKILL);
            return slot;
        }
    }
    return -1;
}

void KSTToolProcessGroups::forget(int slot)
{
    if (slot >= 0 && slot < Capacity)
        runningGroups[slot].store(0);
}
