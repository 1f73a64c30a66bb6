#pragma once

#include "KSTTestSupport.h"

#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>

/// How a test runs the `kestrel` program (or another) in a process of its own.
struct KSTProgramOptions
{
    /// A command line the program runs under ("setpriv", "--reuid=65534", …, "--").
    QStringList prefix;
    /// Added to (and overriding) the test's own environment.
    QProcessEnvironment environment;
    /// Written to standard input, which is then closed; with a prompt, only once the prompt
    /// has appeared.
    QByteArray input;
    /// Text to wait for on standard output or standard error before answering.
    QString prompt;
    /// Called once the prompt has appeared, before the answer is written.
    std::function<void()> beforeAnswer;
    int timeoutMs = 120'000;
};

/// A copy of a program that another user can run even when the build tree lies in a private
/// folder (a clone under /root): the executable and any sanitizer suppression files its
/// environment names are copied into a folder everyone may read, and the environment is
/// rewritten to point at the copies.
struct KSTProgramForOtherUser
{
    QString program;
    QProcessEnvironment environment;
    std::unique_ptr<QTemporaryDir> folder;
};

namespace KSTTestSupport {

/// Runs @p program with @p arguments (TZ=UTC, so local dates are fixed) and returns its exit
/// status and output; status -1 when it did not finish in time.
KSTProgramRun runProgram(const QString &program, const QStringList &arguments,
                         const KSTProgramOptions &options = {});

/// A copy of @p program for another user (see KSTProgramForOtherUser); an empty program when
/// it could not be made.
KSTProgramForOtherUser programForOtherUser(const QString &program);

} // namespace KSTTestSupport
