#include "KSTToolRunner.h"

#include "KSTEnvironment.h"
#include "KSTPlatformLog.h"
#include "KSTToolProcessGroups.h"

#include <QDeadlineTimer>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

// QProcess is avoided on purpose: runs happen on engine worker threads without an event
// loop, and its internals are invisible to ThreadSanitizer. posix_spawn + poll keeps every
// run self-contained: its own pipes, its own process group, reaped by the calling thread.

namespace {

// How long a timed-out tool gets to exit after SIGTERM before its group is killed.
constexpr int TerminateGraceMs = 250;
// Upper bound of one poll() wait, so a tool whose pipes are held open by a background
// child is still noticed when it exits.
constexpr int PollSliceMs = 100;

class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;

    int get() const { return m_fd; }
    bool isOpen() const { return m_fd >= 0; }
    void reset(int fd = -1)
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};

// A pipe whose ends are close-on-exec from birth, so a tool spawned concurrently by another
// thread never inherits (and holds open) the write end of ours.
bool makePipe(FileDescriptor *readEnd, FileDescriptor *writeEnd)
{
    int fds[2];
#ifdef __APPLE__
    if (::pipe(fds) != 0)
        return false;
    ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(fds[1], F_SETFD, FD_CLOEXEC);
#else
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return false;
#endif
    readEnd->reset(fds[0]);
    writeEnd->reset(fds[1]);
    return true;
}

struct SpawnRequest
{
    QByteArray program;
    QList<QByteArray> arguments; // argv[1..]
    bool captureError = true;    // false: standard error goes to /dev/null
    bool mergeError = false;     // standard error into the output pipe
    qsizetype outputLimit = KSTToolRunner::DefaultOutputLimitBytes; // per channel
    QList<QByteArray> environment; // "NAME=value", over the program's own
};

// The program's environment with @p overrides in place of the variables of the same name.
// The returned pointers point into @p overrides and the program's environment.
std::vector<char *> environmentWith(const QList<QByteArray> &overrides)
{
    std::vector<char *> variables;
    for (char **entry = environ; entry && *entry; ++entry) {
        const QByteArrayView variable(*entry);
        const qsizetype equals = variable.indexOf('=');
        const QByteArrayView name = equals < 0 ? variable : variable.first(equals + 1);
        const bool replaced =
            std::any_of(overrides.begin(), overrides.end(),
                        [&](const QByteArray &override) { return override.startsWith(name); });
        if (!replaced)
            variables.push_back(*entry);
    }
    for (const QByteArray &override : overrides)
        variables.push_back(const_cast<char *>(override.constData()));
    variables.push_back(nullptr);
    return variables;
}

struct SpawnOutcome
{
    bool started = false;
    bool timedOut = false;
    bool overflowed = false;
    int exitCode = -1;
    QByteArray output;
    QByteArray error;
};

enum class Ending { Exited, TimedOut, Overflowed };

// The signals after which the program ends its tools (KSTToolProcessGroups); blocked on the
// spawning thread between posix_spawn and recording the new group.
class TerminationSignalsBlocked
{
public:
    TerminationSignalsBlocked()
    {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP})
            sigaddset(&signals, signalNumber);
        ::pthread_sigmask(SIG_BLOCK, &signals, &m_previous);
        KSTToolProcessGroups::spawnBegins();
    }
    ~TerminationSignalsBlocked()
    {
        KSTToolProcessGroups::spawnEnds();
        ::pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
    }
    TerminationSignalsBlocked(const TerminationSignalsBlocked &) = delete;
    TerminationSignalsBlocked &operator=(const TerminationSignalsBlocked &) = delete;

private:
    sigset_t m_previous;
};

class SpawnAttributes
{
public:
    SpawnAttributes()
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    ~SpawnAttributes()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnAttributes(const SpawnAttributes &) = delete;
    SpawnAttributes &operator=(const SpawnAttributes &) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

// Own session (hence own process group) so a time-out can reach everything the tool
// started; default signal handling and an empty mask so the tool does not inherit ours.
void configureAttributes(posix_spawnattr_t *attributes)
{
    sigset_t none;
    sigemptyset(&none);
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_setsigmask(attributes, &none);
    posix_spawnattr_setsigdefault(attributes, &all);
    short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
#ifdef POSIX_SPAWN_SETSID
    flags |= POSIX_SPAWN_SETSID;
#else
    flags |= POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setpgroup(attributes, 0);
#endif
#ifdef POSIX_SPAWN_CLOEXEC_DEFAULT
    flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#endif
    posix_spawnattr_setflags(attributes, flags);
}

bool childHasExited(pid_t pid)
{
    siginfo_t info{};
    // WNOWAIT: only look; the pid stays reserved (and its group id valid) until reaped.
    return ::waitid(P_PID, id_t(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == pid;
}

int reap(pid_t pid)
{
    int status = 0;
    pid_t result;
    do {
        result = ::waitpid(pid, &status, 0);
    } while (result < 0 && errno == EINTR);
    if (result != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

void terminateGroup(pid_t pid)
{
    ::killpg(pid, SIGTERM);
    QDeadlineTimer grace(TerminateGraceMs);
    while (!grace.hasExpired() && !childHasExited(pid))
        ::usleep(5'000);
    // Also reaches any background child that outlived the tool or ignored SIGTERM.
    ::killpg(pid, SIGKILL);
}

enum class Channel { Open, Finished, Overflowed };

Channel readAvailable(int fd, QByteArray *into, qsizetype limit)
{
    char buffer[16384];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            into->append(buffer, n);
            if (into->size() > limit) {
                into->truncate(limit);
                return Channel::Overflowed;
            }
            if (size_t(n) < sizeof buffer)
                return Channel::Open;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return Channel::Open;
        return Channel::Finished; // end of file or a hard error
    }
}

// Reads both pipes until the tool exits, the deadline passes or a channel overflows.
Ending collectUntilExit(pid_t pid, FileDescriptor *outRead, FileDescriptor *errRead,
                        const QDeadlineTimer &deadline, qsizetype limit, SpawnOutcome *outcome)
{
    while (outRead->isOpen() || errRead->isOpen()) {
        if (deadline.hasExpired())
            return Ending::TimedOut;
        pollfd fds[2];
        nfds_t count = 0;
        if (outRead->isOpen())
            fds[count++] = {outRead->get(), POLLIN, 0};
        if (errRead->isOpen())
            fds[count++] = {errRead->get(), POLLIN, 0};
        const int wait = int(std::min<qint64>(deadline.remainingTime(), PollSliceMs));
        const int ready = ::poll(fds, count, wait);
        if (ready < 0 && errno != EINTR)
            break;
        for (nfds_t i = 0; ready > 0 && i < count; ++i) {
            if (!(fds[i].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)))
                continue;
            const bool isOut = fds[i].fd == outRead->get();
            const Channel channel =
                readAvailable(fds[i].fd, isOut ? &outcome->output : &outcome->error, limit);
            if (channel == Channel::Overflowed)
                return Ending::Overflowed;
            if (channel == Channel::Finished)
                (isOut ? outRead : errRead)->reset();
        }
        // A background child of the tool may hold the pipes open after the tool has gone;
        // the tool's own exit is what ends the run, after taking what is already buffered.
        if ((outRead->isOpen() || errRead->isOpen()) && childHasExited(pid)) {
            if (outRead->isOpen() &&
                readAvailable(outRead->get(), &outcome->output, limit) == Channel::Overflowed)
                return Ending::Overflowed;
            if (errRead->isOpen() &&
                readAvailable(errRead->get(), &outcome->error, limit) == Channel::Overflowed)
                return Ending::Overflowed;
            return Ending::Exited;
        }
    }
    // Both pipes closed: the tool is finishing; wait for it within the time-out.
    while (!childHasExited(pid)) {
        if (deadline.hasExpired())
            return Ending::TimedOut;
        ::usleep(2'000);
    }
    return Ending::Exited;
}

SpawnOutcome spawnAndCollect(const SpawnRequest &request, int timeoutMs)
{
    SpawnOutcome outcome;
    FileDescriptor outRead, outWrite, errRead, errWrite;
    if (!makePipe(&outRead, &outWrite))
        return outcome;
    const bool separateError = request.captureError && !request.mergeError;
    if (separateError && !makePipe(&errRead, &errWrite))
        return outcome;

    SpawnAttributes spawn;
    posix_spawn_file_actions_addopen(&spawn.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&spawn.actions, outWrite.get(), STDOUT_FILENO);
    if (request.mergeError)
        posix_spawn_file_actions_adddup2(&spawn.actions, outWrite.get(), STDERR_FILENO);
    else if (separateError)
        posix_spawn_file_actions_adddup2(&spawn.actions, errWrite.get(), STDERR_FILENO);
    else
        posix_spawn_file_actions_addopen(&spawn.actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    configureAttributes(&spawn.attributes);

    std::vector<char *> argv;
    argv.push_back(const_cast<char *>(request.program.constData()));
    for (const QByteArray &argument : request.arguments)
        argv.push_back(const_cast<char *>(argument.constData()));
    argv.push_back(nullptr);
    std::vector<char *> envp;
    if (!request.environment.isEmpty())
        envp = environmentWith(request.environment);

    pid_t pid = -1;
    int slot = -1;
    {
        const TerminationSignalsBlocked blocked;
        if (::posix_spawn(&pid, request.program.constData(), &spawn.actions, &spawn.attributes,
                          argv.data(), envp.empty() ? environ : envp.data()) != 0) {
            qCInfo(lcPlatform, "could not start %s", request.program.constData());
            return outcome;
        }
        // The tool leads its own group (its own session): the group id is its pid.
        slot = KSTToolProcessGroups::record(pid);
    }
    outcome.started = true;
    outWrite.reset();
    errWrite.reset();
    ::fcntl(outRead.get(), F_SETFL, O_NONBLOCK);
    if (errRead.isOpen())
        ::fcntl(errRead.get(), F_SETFL, O_NONBLOCK);

    const QDeadlineTimer deadline(std::max(KSTToolRunner::effectiveTimeoutMs(timeoutMs), 0));
    const Ending ending =
        collectUntilExit(pid, &outRead, &errRead, deadline, request.outputLimit, &outcome);
    outcome.timedOut = ending == Ending::TimedOut;
    outcome.overflowed = ending == Ending::Overflowed;
    if (ending != Ending::Exited) {
        qCInfo(lcPlatform, "%s %s; its process group is ended", request.program.constData(),
               outcome.timedOut ? "ran past its time-out" : "wrote more than its output cap");
        terminateGroup(pid);
    }
    KSTToolProcessGroups::forget(slot);
    const int code = reap(pid);
    outcome.exitCode = ending == Ending::Exited ? code : -1;
    return outcome;
}

bool isPathCharacter(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('/') || c == QLatin1Char('.') ||
           c == QLatin1Char('_') || c == QLatin1Char('-') || c == QLatin1Char('+');
}

QString shellQuoted(const QString &text)
{
    QString quoted = text;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

// Replaces every whole-word occurrence of a tool path by its quoted resolved path in one
// left-to-right pass, so a resolved path (which contains the root) is never rewritten again.
// Returns false when a listed tool does not occur in the line.
bool substituteTools(const QString &line, const QStringList &tools, const QStringList &resolved,
                     QString *out)
{
    QList<int> order(tools.size());
    for (int i = 0; i < order.size(); ++i)
        order[i] = i;
    // Longest first, so "/usr/bin/tmutil" wins over a listed "/usr/bin/tm".
    std::sort(order.begin(), order.end(),
              [&tools](int a, int b) { return tools[a].size() > tools[b].size(); });
    QList<bool> seen(tools.size(), false);
    out->clear();
    for (qsizetype pos = 0; pos < line.size();) {
        bool replaced = false;
        if (pos == 0 || !isPathCharacter(line.at(pos - 1))) {
            for (int index : order) {
                const QString &tool = tools[index];
                const qsizetype end = pos + tool.size();
                if (line.mid(pos, tool.size()) == tool &&
                    (end == line.size() || !isPathCharacter(line.at(end)))) {
                    out->append(shellQuoted(resolved[index]));
                    seen[index] = true;
                    pos = end;
                    replaced = true;
                    break;
                }
            }
        }
        if (!replaced)
            out->append(line.at(pos++));
    }
    return !seen.contains(false);
}

} // namespace

QString KSTToolRunner::resolvedToolPath(const QString &toolPath)
{
    if (!toolPath.startsWith(QLatin1Char('/')))
        return {};
    const QString path = KSTEnvironment::current().systemPath(toolPath);
    const QByteArray encoded = QFile::encodeName(path);
    struct stat info = {};
    if (::stat(encoded.constData(), &info) != 0 || !S_ISREG(info.st_mode) ||
        ::access(encoded.constData(), X_OK) != 0) {
        return {};
    }
    return path;
}

int KSTToolRunner::effectiveTimeoutMs(int timeoutMs)
{
    bool ok = false;
    const int limit = qEnvironmentVariableIntValue("KESTREL_TOOL_TIMEOUT_MS", &ok);
    return ok && limit > 0 ? std::min(timeoutMs, limit) : timeoutMs;
}

KSTToolResult KSTToolRunner::run(const QString &toolPath, const QStringList &arguments,
                                 Channels channels, int timeoutMs, qsizetype outputLimitBytes)
{
    return runWithEnvironment(toolPath, arguments, {}, channels, timeoutMs, outputLimitBytes);
}

KSTToolResult KSTToolRunner::runWithEnvironment(const QString &toolPath,
                                                const QStringList &arguments,
                                                const QStringList &environment, Channels channels,
                                                int timeoutMs, qsizetype outputLimitBytes)
{
    KSTToolResult result;
    const QString resolved = resolvedToolPath(toolPath);
    if (resolved.isEmpty())
        return result;

    SpawnRequest request;
    request.program = QFile::encodeName(resolved);
    for (const QString &argument : arguments)
        request.arguments.append(argument.toLocal8Bit());
    request.mergeError = channels == Channels::Merged;
    request.outputLimit = outputLimitBytes;
    for (const QString &variable : environment)
        request.environment.append(variable.toLocal8Bit());

    SpawnOutcome outcome = spawnAndCollect(request, timeoutMs);
    result.started = outcome.started;
    result.timedOut = outcome.timedOut;
    result.outputOverflowed = outcome.overflowed;
    result.exitCode = outcome.exitCode;
    result.standardOutput = std::move(outcome.output);
    result.standardError = std::move(outcome.error);
    return result;
}

QByteArray KSTToolRunner::pipeOpen(const QString &shellLine, const QStringList &toolPaths,
                                   int timeoutMs, qsizetype outputLimitBytes)
{
    QStringList resolved;
    for (const QString &tool : toolPaths) {
        const QString path = resolvedToolPath(tool);
        if (path.isEmpty())
            return {};
        resolved.append(path);
    }
    QString line;
    if (!substituteTools(shellLine, toolPaths, resolved, &line))
        return {};

    SpawnRequest request;
    request.program = QByteArrayLiteral("/bin/sh");
    request.arguments = {QByteArrayLiteral("-c"), line.toLocal8Bit()};
    request.captureError = false;
    request.outputLimit = outputLimitBytes;
    SpawnOutcome outcome = spawnAndCollect(request, timeoutMs);
    if (!outcome.started || outcome.timedOut || outcome.overflowed)
        return {};
    return outcome.output;
}
