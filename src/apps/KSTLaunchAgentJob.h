#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// What a launchd job property list says it runs: its "Label", its "Program" and the strings
/// of its "ProgramArguments" (the first of which is the program when "Program" is absent).
/// Values of the wrong type are left out; a job naming more than MaximumArguments arguments
/// keeps the first ones.
///
/// Pure; thread-safe.
struct KSTLaunchAgentJob
{
    /// Launch jobs pass a handful of arguments; more are not kept.
    static constexpr qsizetype MaximumArguments = 256;
    /// Job files are a few kilobytes; one larger than this is not read.
    static constexpr qint64 MaximumBytes = 1024 * 1024;

    QString label;
    QString program;
    QStringList programArguments;
    bool isValid = false; ///< the bytes were a property list whose root is a dictionary

    /// The job of @p data (binary, XML or text property list).
    static KSTLaunchAgentJob fromData(const QByteArray &data);

    /// Every string the job names: the label, the program, then each argument.
    QStringList namedStrings() const;

    /// The executable the job starts: the program, else the first argument; empty when
    /// neither is there.
    QString executable() const;
};
