#pragma once

#include "KSTError.h"

#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QTextStream>

/// What a command runs with: its own arguments (global options already taken out), the
/// output streams and the output mode. Commands print a readable summary, or with --json one
/// JSON document whose keys are the records' property names.
class KSTCliContext
{
public:
    enum ExitCode { Success = 0, Failure = 1, Usage = 2 };

    KSTCliContext(QStringList arguments, bool json, QTextStream &out, QTextStream &err)
        : m_arguments(std::move(arguments)), m_json(json), m_out(out), m_err(err)
    {
    }

    const QStringList &arguments() const { return m_arguments; }
    bool json() const { return m_json; }
    QTextStream &out() { return m_out; }
    QTextStream &err() { return m_err; }

    /// Prints @p value as an indented JSON document on standard output.
    void printJson(const QJsonValue &value);
    /// Prints "kestrel: <message>" on standard error; returns Usage.
    int usageError(const QString &message);
    /// Prints the error's domain, code and description on standard error; returns Failure.
    int failure(const KSTError &error);

    /// Takes "--name VALUE" or "--name=VALUE" out of the arguments; nothing when absent.
    /// @p ok is false when the option is present without a value.
    std::optional<QString> takeOption(const QString &name, bool *ok = nullptr);
    /// Takes every occurrence of a repeatable option.
    QStringList takeRepeatedOption(const QString &name, bool *ok = nullptr);
    /// Takes a flag ("--yes"); true when it was present.
    bool takeFlag(const QString &name);

    /// Where texts meant for the person go: standard output, or standard error with --json so
    /// that the document stands alone on standard output.
    QTextStream &talk() { return m_json ? m_err : m_out; }
    /// Unless @p yes, asks "<question> [y/N] " on talk() and reads one line of standard input:
    /// true only for "y" or "yes" (any case); anything else, or no input, says "Cancelled.".
    bool confirm(const QString &question, bool yes);

private:
    QStringList m_arguments;
    bool m_json = false;
    QTextStream &m_out;
    QTextStream &m_err;
};
