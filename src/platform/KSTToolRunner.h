#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// What one run of a command-line tool produced.
struct KSTToolResult
{
    bool started = false;  ///< false when the tool is missing under the root or could not run
    bool timedOut = false; ///< the time-out expired and the tool was terminated
    /// It printed more than the output limit: the tool was terminated and what it printed
    /// is cut at the limit.
    bool outputOverflowed = false;
    int exitCode = -1; ///< the exit status; -1 when not started, killed or crashed
    QByteArray standardOutput;
    QByteArray standardError; ///< empty when the channels were merged

    /// Started, not timed out, within the output limit and exited with status 0.
    bool succeeded() const { return started && !timedOut && !outputOverflowed && exitCode == 0; }
};

/// Runs the fixed command-line tools the engines read (system_profiler, find, tmutil, …).
///
/// A tool path is always absolute and fixed ("/usr/bin/find"); it runs as
/// <root><path> of the current KSTEnvironment. A tool that is not there under a non-"/" root
/// is "not available": the result is not started and its output is empty, never the host's
/// tool of the same name. Every run has a time-out and an output limit; past either the tool
/// (and its process group) is terminated and the run has failed. While it runs, the tool's
/// process group is known to KSTToolProcessGroups, so the program's termination handlers end
/// it. Calls block the calling thread and are safe from any thread except that they must not
/// be made on the main thread of a window (engines call them from their queues).
///
/// The environment variable KESTREL_TOOL_TIMEOUT_MS, when set to a positive number, lowers
/// every time-out to at most that many milliseconds (for tests and for machines where a
/// hanging tool should be given up on sooner); it never raises one.
class KSTToolRunner
{
public:
    enum class Channels {
        Separate, ///< standard output and standard error are captured apart
        Merged,   ///< standard error is interleaved into standardOutput
    };

    static constexpr int DefaultTimeoutMs = 60'000;
    /// What a tool may print (standard output and standard error each) before it counts as
    /// failed: far more than any tool Kestrel reads prints, far less than what would hurt.
    static constexpr qsizetype DefaultOutputLimitBytes = 16 * 1024 * 1024;

    /// Runs @p toolPath (absolute, resolved under the root) with @p arguments, passed as
    /// separate arguments (no shell). Standard input reads as empty (/dev/null). The tool runs
    /// in its own session; on time-out, or once it has printed more than @p outputLimitBytes
    /// on one channel, its whole process group gets SIGTERM and, shortly after, SIGKILL, and
    /// what it printed until then (up to the limit) is kept. The run ends when the tool exits,
    /// even if a background child it left behind still holds its output open.
    static KSTToolResult run(const QString &toolPath, const QStringList &arguments,
                             Channels channels = Channels::Separate,
                             int timeoutMs = DefaultTimeoutMs,
                             qsizetype outputLimitBytes = DefaultOutputLimitBytes);

    /// run() with the variables of @p environment ("NAME=value") set for the tool, in place
    /// of the program's own of the same name.
    static KSTToolResult runWithEnvironment(const QString &toolPath, const QStringList &arguments,
                                            const QStringList &environment,
                                            Channels channels = Channels::Separate,
                                            int timeoutMs = DefaultTimeoutMs,
                                            qsizetype outputLimitBytes = DefaultOutputLimitBytes);

    /// The C library's pipe-open form (mode "r") for a fixed shell line such as
    /// "/usr/bin/tmutil listlocalsnapshots / 2>/dev/null | /usr/bin/wc -l": the line runs
    /// under /bin/sh and its standard output is returned; standard error is discarded.
    /// Every absolute tool path in @p toolPaths must appear in the line as a bare word; each
    /// is resolved under the root and put in its place shell-quoted, and when any of them is
    /// missing there (or absent from the line) the result is empty (the line is not run).
    /// Other commands in the line come from the shell's PATH. Returns the empty array also on
    /// a time-out, when the line prints more than @p outputLimitBytes, or when the shell
    /// cannot start.
    static QByteArray pipeOpen(const QString &shellLine, const QStringList &toolPaths,
                               int timeoutMs = DefaultTimeoutMs,
                               qsizetype outputLimitBytes = DefaultOutputLimitBytes);

    /// @p timeoutMs lowered to KESTREL_TOOL_TIMEOUT_MS when that is set and smaller.
    static int effectiveTimeoutMs(int timeoutMs);

    /// <root><toolPath> when it exists there as an executable file, else an empty string.
    static QString resolvedToolPath(const QString &toolPath);
};
