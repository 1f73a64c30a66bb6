#pragma once

#include <QtGlobal>

#include <optional>

/// Sharing a file's data instead of copying it: a clone (the file system's copy-on-write
/// reference to the same blocks: FICLONE on Linux file systems that have it, such as Btrfs
/// and XFS; clonefile on APFS), and how much of a file's data no other file shares.
namespace KSTFileClone {

/// Makes the empty regular file open for writing at @p destinationFd a clone of the whole
/// file open at @p sourceFd. 0 on success, else the errno: EOPNOTSUPP or EINVAL when the file
/// system cannot clone, EXDEV across file systems.
int cloneInto(int sourceFd, int destinationFd);

/// The bytes of the file open at @p fd that lie in blocks no other file shares (so deleting
/// this file's last name would free them): its allocated size less its shared extents where
/// the file system reports sharing (FIEMAP), else its allocated size. Nothing when the file
/// cannot be examined.
std::optional<quint64> exclusiveBytes(int fd);

} // namespace KSTFileClone
