#pragma once

#include <QString>
#include <QtGlobal>

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>

/// What a scan saw of one directory entry, so that the entry can be recognised just before
/// it is acted on: its kind, device and inode, and for files and links also the size and the
/// modification time (to the nanosecond). A folder's size and time change with its contents
/// and are not part of it. The link count is recorded too, but a new name for a file (a hard
/// link) does not make it another file, so it is not compared. Plain value; header-only so
/// that records can carry it.
struct KSTFileIdentity
{
    enum class Kind : quint8 { File, Folder, Link, Other };

    Kind kind = Kind::Other;
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modifiedSeconds = 0;
    qint64 modifiedNanoseconds = 0;
    quint64 linkCount = 0;

    bool isFile() const { return kind == Kind::File; }
    bool isFolder() const { return kind == Kind::Folder; }

    /// The modification time in milliseconds since the epoch (UTC), rounded down.
    qint64 modifiedMilliseconds() const
    {
        return modifiedSeconds * 1000 + modifiedNanoseconds / 1'000'000;
    }

    /// From an lstat() result.
    static KSTFileIdentity fromStatus(const struct stat &status)
    {
        KSTFileIdentity identity;
        if (S_ISREG(status.st_mode))
            identity.kind = Kind::File;
        else if (S_ISDIR(status.st_mode))
            identity.kind = Kind::Folder;
        else if (S_ISLNK(status.st_mode))
            identity.kind = Kind::Link;
        identity.device = quint64(status.st_dev);
        identity.inode = quint64(status.st_ino);
        identity.size = qint64(status.st_size);
        identity.linkCount = quint64(status.st_nlink);
#ifdef __APPLE__
        identity.modifiedSeconds = qint64(status.st_mtimespec.tv_sec);
        identity.modifiedNanoseconds = qint64(status.st_mtimespec.tv_nsec);
#else
        identity.modifiedSeconds = qint64(status.st_mtim.tv_sec);
        identity.modifiedNanoseconds = qint64(status.st_mtim.tv_nsec);
#endif
        return identity;
    }

    /// The entry @p name of the folder open at @p folderFd (AT_FDCWD for a path relative to
    /// the working folder, or an absolute encoded @p name), the entry itself when it is a
    /// link. Nothing when it cannot be read.
    static std::optional<KSTFileIdentity> ofEntry(int folderFd, const char *name)
    {
        struct stat status;
        if (::fstatat(folderFd, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            return std::nullopt;
        return fromStatus(status);
    }

    /// The file open at @p fd; nothing when fstat() fails.
    static std::optional<KSTFileIdentity> ofDescriptor(int fd)
    {
        struct stat status;
        if (::fstat(fd, &status) != 0)
            return std::nullopt;
        return fromStatus(status);
    }

    /// True when @p now is still the entry this identity describes: same kind, device and
    /// inode, and for anything but a folder the same size and modification time.
    bool matches(const KSTFileIdentity &now) const
    {
        if (kind != now.kind || device != now.device || inode != now.inode)
            return false;
        if (kind == Kind::Folder)
            return true;
        return size == now.size && modifiedSeconds == now.modifiedSeconds &&
               modifiedNanoseconds == now.modifiedNanoseconds;
    }

    /// Device and inode only: the same file, whatever it holds now.
    bool isSameFile(const KSTFileIdentity &other) const
    {
        return inode != 0 && device == other.device && inode == other.inode;
    }

    bool operator==(const KSTFileIdentity &) const = default;
};
