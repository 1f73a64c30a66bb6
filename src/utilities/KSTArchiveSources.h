#pragma once

#include <QByteArray>

#include <sys/stat.h>
#include <unistd.h>

#include <memory>

typedef struct zip zip_t;
typedef struct zip_source zip_source_t;
typedef struct zip_error zip_error_t;

class KSTDeflatePipeline;

/// The libzip data sources behind KSTEncryptedArchiveWriter: files read through their folder
/// without following a link, and the archive written through a buffer into a descriptor.
namespace KSTArchiveSources {

/// One entry of an archive as the walk saw it.
struct Entry
{
    enum class Kind { File, Folder, Link };
    Kind kind = Kind::File;
    QByteArray name;     ///< the entry's name in the archive ("Photos/a.jpg", "Photos/")
    QByteArray relative; ///< its path below the source's parent folder
    QByteArray linkTarget;
    struct stat status = {};
};

/// Owns an open folder descriptor.
class Folder
{
public:
    explicit Folder(int fd) : m_fd(fd) {}
    ~Folder()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

private:
    int m_fd;
};

/// Opens @p relative below the open folder @p folderFd with @p flags, following no link.
int openBelow(int folderFd, const QByteArray &relative, int flags);

/// The archive's destination: a descriptor written through a 1 MiB buffer (libzip writes in
/// small pieces and seeks back to finish each entry's header).
class Output
{
public:
    explicit Output(int fd);
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    /// Whether libzip wrote and committed anything (it writes nothing for an empty archive).
    bool written() const { return m_committed; }

    bool begin();
    qint64 write(const char *data, qint64 length);
    bool seek(qint64 offset, int whence);
    qint64 tell() const { return m_position; }
    bool commit();
    int lastErrno() const { return m_errno; }

private:
    bool flush();

    int m_fd;
    std::unique_ptr<char[]> m_buffer;
    qint64 m_bufferStart = 0;
    qint64 m_bufferLength = 0;
    qint64 m_position = 0;
    qint64 m_end = 0;
    int m_errno = 0;
    bool m_committed = false;
};

/// A libzip source writing into @p output (which must outlive it).
zip_source_t *makeOutputSource(Output &output, zip_error_t *error);

/// A libzip source giving the regular file @p entry already deflated, as @p pipeline delivers
/// it (the pipeline's files and the archive's file entries in the same order), with its size,
/// time, and once read its CRC. @p pipeline must outlive the archive's writing.
zip_source_t *makeFileSource(zip_t *archive, KSTDeflatePipeline &pipeline, const Entry &entry);

} // namespace KSTArchiveSources
