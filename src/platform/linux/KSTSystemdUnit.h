#pragma once

#include <QByteArray>
#include <QString>

/// What a systemd unit file (`*.service`) says it runs: the program of the first ExecStart=
/// of its [Service] group.
///
/// The file is the analysed machine's, so it is hostile input: at most maximumFileBytes are
/// looked at, lines longer than maximumLineBytes are skipped and continuation lines are not
/// joined (a program path never spans two lines). Pure and thread-safe.
namespace KSTSystemdUnit {

constexpr qint64 maximumFileBytes = 64 * 1024;
constexpr qsizetype maximumLineBytes = 8 * 1024;

/// The first word of the first non-empty ExecStart= in [Service], without the prefixes
/// systemd allows before it ("-", "@", "+", "!", ":"), quotes removed; empty when none.
QString execStartProgram(const QByteArray &contents);

/// The first word of a command line as Exec= and ExecStart= write it: up to the first
/// unquoted blank, double or single quotes removed, "\\x" read as x.
QString firstWord(const QString &commandLine);

} // namespace KSTSystemdUnit
