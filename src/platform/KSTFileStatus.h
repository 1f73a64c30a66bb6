#pragma once

#include <QtGlobal>

#include <optional>

struct stat;

/// What the scan and the removal re-check need to know about one directory entry, read
/// without following a symbolic link: identity (device, inode), kind, size and modification
/// time. Converts the platform's stat record (st_mtim on Linux, st_mtimespec on macOS).
struct KSTFileStatus
{
    enum class Kind { Regular, Directory, SymbolicLink, Other };

    quint64 device = 0;
    quint64 inode = 0;
    quint64 size = 0;
    /// Content modification time in milliseconds since the epoch (UTC).
    qint64 modificationTimeMs = 0;
    Kind kind = Kind::Other;
    quint64 linkCount = 0;

    bool isRegularFile() const { return kind == Kind::Regular; }
    bool isDirectory() const { return kind == Kind::Directory; }

    /// The entry @p name of the folder open at @p folderFd (AT_FDCWD for a path relative to
    /// the working folder, or an absolute @p name), the entry itself when it is a link.
    /// Nothing when it cannot be read.
    static std::optional<KSTFileStatus> ofEntry(int folderFd, const char *name);
    /// The file open at @p fd. Nothing when fstat fails.
    static std::optional<KSTFileStatus> ofDescriptor(int fd);
    /// Converts a stat record.
    static KSTFileStatus fromStat(const struct stat &info);
};
