#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/// The report's way of running a tool: <root><path> through KSTToolRunner, standard output
/// and standard error merged, bounded by a time-out in seconds (lowered further by
/// KESTREL_TOOL_TIMEOUT_MS). Blocks the calling thread (the report queue), never the main one.
class KSTSystemReportCommandRunner
{
public:
    KSTSystemReportCommandRunner() = delete;

    /// The tool's output as UTF-8 text trimmed of white space; empty when it is missing, did
    /// not start, ran past the time-out (its process group is then ended), printed more than
    /// the output limit or printed bytes that are not UTF-8. The exit status does not matter:
    /// csrutil and friends print their answer with a non-zero status too.
    static QString shellOutputWithTimeout(int timeoutSeconds, const QString &launchPath,
                                          const QStringList &arguments = {});
    /// The same with 8 seconds.
    static QString shellOutput(const QString &launchPath, const QStringList &arguments = {});
    /// The raw bytes, with the same failure rules (empty on failure).
    static QByteArray shellDataWithTimeout(int timeoutSeconds, const QString &launchPath,
                                           const QStringList &arguments = {});

    /// The standard output alone, and only when the tool exited with status 0 within the
    /// limits (nullopt otherwise): for tools that print their complaint ("System has not been
    /// booted with systemd") with a failing status, and whose empty output is an answer.
    static std::optional<QByteArray> outputIfSucceeded(int timeoutSeconds,
                                                       const QString &launchPath,
                                                       const QStringList &arguments = {});

    /// The most a report tool may print; the profiler prints the most, far below this.
    static constexpr qsizetype OutputLimitBytes = 8 * 1024 * 1024;
};
