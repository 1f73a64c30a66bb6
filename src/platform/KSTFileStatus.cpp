#include "KSTFileStatus.h"

#include <fcntl.h>
#include <sys/stat.h>

std::optional<KSTFileStatus> KSTFileStatus::ofEntry(int folderFd, const char *name)
{
    struct stat info;
    if (::fstatat(folderFd, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return fromStat(info);
}

std::optional<KSTFileStatus> KSTFileStatus::ofDescriptor(int fd)
{
    struct stat info;
    if (::fstat(fd, &info) != 0)
        return std::nullopt;
    return fromStat(info);
}

KSTFileStatus KSTFileStatus::fromStat(const struct stat &info)
{
    KSTFileStatus status;
    status.device = static_cast<quint64>(info.st_dev);
    status.inode = static_cast<quint64>(info.st_ino);
    status.size = info.st_size > 0 ? static_cast<quint64>(info.st_size) : 0;
    status.linkCount = static_cast<quint64>(info.st_nlink);
#ifdef __APPLE__
    const struct timespec &modified = info.st_mtimespec;
#else
    const struct timespec &modified = info.st_mtim;
#endif
    status.modificationTimeMs =
        qint64(modified.tv_sec) * 1000 + qint64(modified.tv_nsec) / 1'000'000;
    if (S_ISREG(info.st_mode))
        status.kind = Kind::Regular;
    else if (S_ISDIR(info.st_mode))
        status.kind = Kind::Directory;
    else if (S_ISLNK(info.st_mode))
        status.kind = Kind::SymbolicLink;
    return status;
}
