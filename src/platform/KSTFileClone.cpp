#include "KSTFileClone.h"

#include <cerrno>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <vector>

#ifdef __linux__
#include <linux/fiemap.h>
#include <linux/fs.h>
#endif

namespace {

#ifdef __linux__
// Extents asked for per FIEMAP call.
constexpr unsigned ExtentsPerCall = 256;

// The bytes in shared extents of the file open at @p fd, or nothing when the file system
// does not map extents.
std::optional<quint64> sharedBytes(int fd, quint64 size)
{
    std::vector<char> buffer(sizeof(struct fiemap) + ExtentsPerCall * sizeof(struct fiemap_extent));
    auto *map = reinterpret_cast<struct fiemap *>(buffer.data());
    quint64 shared = 0;
    quint64 start = 0;
    while (start < size) {
        *map = {};
        map->fm_start = start;
        map->fm_length = size - start;
        map->fm_flags = FIEMAP_FLAG_SYNC;
        map->fm_extent_count = ExtentsPerCall;
        if (::ioctl(fd, FS_IOC_FIEMAP, map) != 0)
            return std::nullopt;
        if (map->fm_mapped_extents == 0)
            break;
        bool last = false;
        const quint64 before = start;
        for (unsigned index = 0; index < map->fm_mapped_extents; ++index) {
            const struct fiemap_extent &extent = map->fm_extents[index];
            if (extent.fe_flags & FIEMAP_EXTENT_SHARED)
                shared += extent.fe_length;
            start = extent.fe_logical + extent.fe_length;
            last = last || (extent.fe_flags & FIEMAP_EXTENT_LAST);
        }
        if (last || start <= before)
            break;
    }
    return shared;
}
#endif

} // namespace

namespace KSTFileClone {

int cloneInto(int sourceFd, int destinationFd)
{
#if defined(__linux__) && defined(FICLONE)
    return ::ioctl(destinationFd, FICLONE, sourceFd) == 0 ? 0 : errno;
#else
    Q_UNUSED(sourceFd);
    Q_UNUSED(destinationFd);
    return EOPNOTSUPP;
#endif
}

std::optional<quint64> exclusiveBytes(int fd)
{
    struct stat status = {};
    if (::fstat(fd, &status) != 0)
        return std::nullopt;
    const quint64 allocated = quint64(status.st_blocks) * 512u;
#ifdef __linux__
    if (const std::optional<quint64> shared = sharedBytes(fd, quint64(status.st_size)))
        return *shared >= allocated ? 0 : allocated - *shared;
#endif
    return allocated;
}

} // namespace KSTFileClone
