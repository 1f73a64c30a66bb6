#pragma once

#include <cstddef>
#include <memory>

#include <dirent.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/syscall.h>
#include <sys/types.h>
#endif

/// Lists the entries of an open folder with the types the listing reports: the inner loop of
/// every tree walk (folder sizes, the duplicate scan).
///
/// On Linux the folder is read with getdents64 straight into a buffer the reader keeps for
/// its whole life, so a walk allocates nothing per folder; elsewhere through a readdir stream
/// on a duplicate of the descriptor. "." and ".." are passed on like any other name; the
/// type may be DT_UNKNOWN on file systems that do not report it, and the caller then asks
/// fstatat().
///
/// One reader per thread: it is not thread-safe, and the names it passes stay valid only
/// during the visit call.
class KSTFolderReader
{
public:
    KSTFolderReader();
    KSTFolderReader(const KSTFolderReader &) = delete;
    KSTFolderReader &operator=(const KSTFolderReader &) = delete;

    /// Calls @p visit(const char *name, unsigned char type) for each entry of the folder open
    /// at @p fd, in listing order. False when the listing failed (entries seen until then
    /// were visited).
    template <typename Visit> bool forEachEntry(int fd, Visit &&visit)
    {
#ifdef __linux__
        struct LinuxDirent64
        {
            ino64_t d_ino;
            off64_t d_off;
            unsigned short d_reclen;
            unsigned char d_type;
            char d_name[];
        };
        for (;;) {
            const long read = ::syscall(SYS_getdents64, fd, m_buffer.get(), BufferSize);
            if (read < 0)
                return false;
            if (read == 0)
                return true;
            for (long offset = 0; offset < read;) {
                const auto *entry =
                    reinterpret_cast<const LinuxDirent64 *>(m_buffer.get() + offset);
                offset += entry->d_reclen;
                visit(static_cast<const char *>(entry->d_name), entry->d_type);
            }
        }
#else
        const int streamFd = ::dup(fd);
        DIR *dir = streamFd < 0 ? nullptr : ::fdopendir(streamFd);
        if (!dir) {
            if (streamFd >= 0)
                ::close(streamFd);
            return false;
        }
        while (const dirent *entry = ::readdir(dir))
            visit(static_cast<const char *>(entry->d_name), entry->d_type);
        ::closedir(dir);
        return true;
#endif
    }

    /// True for "." and "..".
    static bool isDotOrDotDot(const char *name)
    {
        return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
    }

private:
    // A folder of about two thousand entries in one system call; left uninitialised, as the
    // kernel fills it, so a walk of one small folder pays nothing for it.
    static constexpr std::size_t BufferSize = 64 * 1024;
    std::unique_ptr<char[]> m_buffer;
};
