#pragma once

#include <QStringList>

/// The file systems mounted on the host.
namespace KSTMountedVolumes {

/// Where each file system of the running host is mounted, as absolute paths (from the
/// kernel's mount table; "/" included). Empty when the table cannot be read.
QStringList mountPoints();

/// Whether the open file or folder @p fd lies on a file system that holds no stored data but
/// the kernel's own state (proc, sysfs, devtmpfs, cgroup, debugfs, …): writing there changes
/// the running system, not a file.
bool isKernelStateFileSystem(int fd);

} // namespace KSTMountedVolumes
