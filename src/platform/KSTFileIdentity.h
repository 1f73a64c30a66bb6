#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>
#include <sys/stat.h>

/// What a scan saw of one directory entry, so that the entry can be recognised just before
/// it is acted on: its kind, device and inode, and for files and links also the size and the
/// modification time. A folder's size and time change with its contents and are not part of
/// it. Plain value; header-only so that records can carry it.
struct KSTFileIdentity
{
    enum class Kind : quint8 { File, Folder, Link, Other };

    Kind kind = Kind::Other;
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modifiedSeconds = 0;
    qint64 modifiedNanoseconds = 0;

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
#ifdef __APPLE__
        identity.modifiedSeconds = qint64(status.st_mtimespec.tv_sec);
        identity.modifiedNanoseconds = qint64(status.st_mtimespec.tv_nsec);
#else
        identity.modifiedSeconds = qint64(status.st_mtim.tv_sec);
        identity.modifiedNanoseconds = qint64(status.st_mtim.tv_nsec);
#endif
        return identity;
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

    bool operator==(const KSTFileIdentity &) const = default;
};
