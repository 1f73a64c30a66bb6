#pragma once

#include <sys/types.h>

/// The process groups of the tools running right now, so that they end with the program.
///
/// KSTToolRunner starts every tool in a session of its own, so a Ctrl-C in the terminal or a
/// SIGTERM to Kestrel never reaches it: without this a `find` over a whole volume would go on
/// after `kestrel cleanup` was interrupted. Everything here is lock-free and may be called
/// from any thread; endAll() also from a signal handler.
class KSTToolProcessGroups
{
public:
    /// How many tools may be recorded at once; a run beyond that is not recorded (and so not
    /// ended with the program).
    static constexpr int Capacity = 128;

    /// Installs handlers for SIGINT, SIGTERM and SIGHUP that end every running tool's process
    /// group and then let the signal end the program as it would have without them. Call once,
    /// early in main(), before any thread starts.
    static void installTerminationHandlers();

    /// Sends SIGKILL to the process group of every tool running now. Async-signal-safe.
    static void endAll();

    /// For KSTToolRunner, around starting a tool: the calling thread must block SIGINT,
    /// SIGTERM and SIGHUP from before spawnBegins() until after spawnEnds(), so that a
    /// termination handler never waits for itself. The handler waits (briefly) for spawns in
    /// progress, so a tool started while the program is being ended is still recorded or, once
    /// ending has begun, ended by record() itself.
    static void spawnBegins();
    static void spawnEnds();

    /// Records a running tool's process group; returns its slot, or -1 when all are taken.
    static int record(pid_t group);
    /// Forgets a slot of record(), before the tool is reaped (a reaped id may be reused by an
    /// unrelated process); -1 is ignored.
    static void forget(int slot);
};
