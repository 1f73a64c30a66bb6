#pragma once

#include "KSTEnvironment.h"

#include <QStringList>
#include <QTextStream>

#include <optional>

/// The `kestrel` command line: global options, then a command and its arguments.
///
/// Global options may stand anywhere: --root DIR, --home DIR, --user NAME,
/// --layout mac|linux, --json, --help, --version. They set the machine environment before
/// the command runs. Exit status: 0 done, 1 the operation failed, 2 bad usage.
class KSTCommandLine
{
public:
    /// Parses @p arguments (without the program name) and runs the command, writing to
    /// @p out and @p err. Requires a QCoreApplication for commands that wait for engines.
    static int run(const QStringList &arguments, QTextStream &out, QTextStream &err);

    /// True when @p arguments name a command, or ask for help or the version (as opposed to
    /// opening the window).
    static bool wantsCommandLine(const QStringList &arguments);
    /// The command @p arguments name ("report"), after the global options; empty for none.
    static QString commandName(const QStringList &arguments);

    /// The machine environment the global options in @p arguments describe (what a command
    /// would run against); nothing, with @p error set, on bad input. For the window, which
    /// takes the same --root, --home, --user and --layout.
    static std::optional<KSTEnvironment> environmentFromArguments(const QStringList &arguments,
                                                                  QString *error);

    static QString helpText();
};
