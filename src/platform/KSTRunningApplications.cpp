#include "KSTRunningApplications.h"

#include "KSTFileName.h"

#include <QByteArray>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isProcessId(const char *name)
{
    if (!*name)
        return false;
    for (const char *c = name; *c; ++c) {
        if (*c < '0' || *c > '9')
            return false;
    }
    return true;
}

QByteArray realPathOf(const QString &path)
{
    char *real = ::realpath(KSTFileName::encoded(path).constData(), nullptr);
    if (!real)
        return {};
    QByteArray result(real);
    ::free(real);
    return result;
}

// The executable a process runs, as the kernel names it ("… (deleted)" when it was removed).
QByteArray executableOf(const QByteArray &processId)
{
    char buffer[4096];
    const QByteArray link = "/proc/" + processId + "/exe";
    const ssize_t length = ::readlink(link.constData(), buffer, sizeof buffer);
    if (length <= 0 || size_t(length) >= sizeof buffer)
        return {};
    return QByteArray(buffer, qsizetype(length));
}

} // namespace

namespace KSTRunningApplications {

QList<qint64> instancesOfBundle(const QString &bundlePath, uint userId)
{
    QList<qint64> instances;
#ifdef __linux__
    const QByteArray bundle = realPathOf(bundlePath);
    if (bundle.isEmpty() || bundle == "/")
        return instances;
    const QByteArray inside = bundle + '/';
    DIR *proc = ::opendir("/proc");
    if (!proc)
        return instances;
    while (const dirent *entry = ::readdir(proc)) {
        if (!isProcessId(entry->d_name))
            continue;
        struct stat owner = {};
        if (::fstatat(::dirfd(proc), entry->d_name, &owner, 0) != 0 || owner.st_uid != userId)
            continue;
        const QByteArray executable = executableOf(QByteArray(entry->d_name));
        if (!executable.startsWith(inside))
            continue;
        const qint64 processId = QByteArray(entry->d_name).toLongLong();
        if (processId > 0 && processId != qint64(::getpid()) && isRunning(processId))
            instances.append(processId);
    }
    ::closedir(proc);
    std::sort(instances.begin(), instances.end());
#else
    Q_UNUSED(bundlePath)
    Q_UNUSED(userId)
#endif
    return instances;
}

int requestQuit(const QList<qint64> &processIds)
{
    int sent = 0;
    for (const qint64 processId : processIds) {
        if (processId > 0 && ::kill(pid_t(processId), SIGTERM) == 0)
            ++sent;
    }
    return sent;
}

bool isRunning(qint64 processId)
{
    if (processId <= 0)
        return false;
#ifdef __linux__
    const QByteArray path = "/proc/" + QByteArray::number(processId) + "/stat";
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char buffer[512];
    const ssize_t length = ::read(fd, buffer, sizeof buffer - 1);
    ::close(fd);
    if (length <= 0)
        return false;
    const QByteArray line(buffer, qsizetype(length));
    // "PID (name) S …": the name may hold ")" itself, so the state follows the last one.
    const qsizetype state = line.lastIndexOf(')') + 2;
    return state > 1 && state < line.size() && line.at(state) != 'Z' && line.at(state) != 'X';
#else
    return ::kill(pid_t(processId), 0) == 0 || errno == EPERM;
#endif
}

} // namespace KSTRunningApplications
