#include "KSTArchiveSources.h"

#include "KSTNoFollowPath.h"

#include <zip.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace KSTArchiveSources {

namespace {

constexpr qint64 BufferBytes = 1024 * 1024;

zip_int64_t failWith(zip_error_t *error, int zipCode, int systemCode)
{
    zip_error_set(error, zipCode, systemCode);
    return -1;
}

struct OutputState
{
    Output *output;
    zip_error_t error;
};

zip_int64_t outputCallback(void *userData, void *data, zip_uint64_t length,
                           zip_source_cmd_t command)
{
    auto *state = static_cast<OutputState *>(userData);
    Output &output = *state->output;
    switch (command) {
    case ZIP_SOURCE_SUPPORTS:
        return ZIP_SOURCE_SUPPORTS_WRITABLE;
    case ZIP_SOURCE_STAT: {
        // A new, empty archive: nothing to read back.
        auto *status = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &state->error);
        if (!status)
            return -1;
        zip_stat_init(status);
        status->valid = ZIP_STAT_SIZE;
        status->size = 0;
        return zip_int64_t(sizeof(zip_stat_t));
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&state->error, data, length);
    case ZIP_SOURCE_BEGIN_WRITE:
        return output.begin() ? 0 : failWith(&state->error, ZIP_ER_WRITE, output.lastErrno());
    case ZIP_SOURCE_WRITE: {
        const qint64 written = output.write(static_cast<const char *>(data), qint64(length));
        return written < 0 ? failWith(&state->error, ZIP_ER_WRITE, output.lastErrno()) : written;
    }
    case ZIP_SOURCE_SEEK_WRITE: {
        auto *seek = ZIP_SOURCE_GET_ARGS(zip_source_args_seek_t, data, length, &state->error);
        if (!seek)
            return -1;
        return output.seek(seek->offset, seek->whence) ? 0
                                                       : failWith(&state->error, ZIP_ER_SEEK, 0);
    }
    case ZIP_SOURCE_TELL_WRITE:
        return output.tell();
    case ZIP_SOURCE_COMMIT_WRITE:
        return output.commit() ? 0 : failWith(&state->error, ZIP_ER_WRITE, output.lastErrno());
    case ZIP_SOURCE_ROLLBACK_WRITE:
    case ZIP_SOURCE_REMOVE:
        return 0; // the unnamed file is dropped by its owner
    case ZIP_SOURCE_OPEN:
    case ZIP_SOURCE_CLOSE:
        return 0;
    case ZIP_SOURCE_READ:
        return 0; // an empty archive reads as empty
    case ZIP_SOURCE_TELL:
        return 0;
    case ZIP_SOURCE_SEEK:
        return 0;
    case ZIP_SOURCE_FREE:
        zip_error_fini(&state->error);
        delete state;
        return 0;
    default:
        return failWith(&state->error, ZIP_ER_OPNOTSUPP, 0);
    }
}

struct FileState
{
    int folderFd;
    Entry entry;
    int fd = -1;
    qint64 remaining = 0;
    zip_error_t error;
};

zip_int64_t fileCallback(void *userData, void *data, zip_uint64_t length, zip_source_cmd_t command)
{
    auto *state = static_cast<FileState *>(userData);
    switch (command) {
    case ZIP_SOURCE_SUPPORTS:
        return ZIP_SOURCE_SUPPORTS_READABLE;
    case ZIP_SOURCE_OPEN: {
        state->fd =
            openBelow(state->folderFd, state->entry.relative, O_RDONLY | O_NONBLOCK | O_NOCTTY);
        if (state->fd < 0)
            return failWith(&state->error, ZIP_ER_OPEN, errno);
        struct stat opened = {};
        if (::fstat(state->fd, &opened) != 0 || !S_ISREG(opened.st_mode) ||
            opened.st_dev != state->entry.status.st_dev ||
            opened.st_ino != state->entry.status.st_ino) {
            ::close(state->fd);
            state->fd = -1;
            return failWith(&state->error, ZIP_ER_CHANGED, 0);
        }
        ::posix_fadvise(state->fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        state->remaining = qint64(state->entry.status.st_size);
        return 0;
    }
    case ZIP_SOURCE_READ: {
        // Exactly the size the walk saw: a file that grows meanwhile is cut there, one that
        // shrinks fails the archive.
        const size_t wanted = size_t(std::min<qint64>(qint64(length), state->remaining));
        size_t done = 0;
        while (done < wanted) {
            const ssize_t got = ::read(state->fd, static_cast<char *>(data) + done, wanted - done);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                return failWith(&state->error, ZIP_ER_READ, errno);
            if (got == 0)
                return failWith(&state->error, ZIP_ER_CHANGED, 0);
            done += size_t(got);
        }
        state->remaining -= qint64(done);
        return zip_int64_t(done);
    }
    case ZIP_SOURCE_CLOSE:
        if (state->fd >= 0)
            ::close(state->fd);
        state->fd = -1;
        return 0;
    case ZIP_SOURCE_STAT: {
        auto *status = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &state->error);
        if (!status)
            return -1;
        zip_stat_init(status);
        status->valid = ZIP_STAT_SIZE | ZIP_STAT_MTIME;
        status->size = zip_uint64_t(state->entry.status.st_size);
        status->mtime = state->entry.status.st_mtime;
        return zip_int64_t(sizeof(zip_stat_t));
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&state->error, data, length);
    case ZIP_SOURCE_FREE:
        if (state->fd >= 0)
            ::close(state->fd);
        zip_error_fini(&state->error);
        delete state;
        return 0;
    default:
        return failWith(&state->error, ZIP_ER_OPNOTSUPP, 0);
    }
}

} // namespace

int openBelow(int folderFd, const QByteArray &relative, int flags)
{
    return KSTNoFollowPath::openBeneath(folderFd, relative, flags);
}

Output::Output(int fd) : m_fd(fd), m_buffer(new char[size_t(BufferBytes)]) {}

Output::~Output() = default;

bool Output::begin()
{
    m_bufferStart = m_bufferLength = m_position = m_end = 0;
    if (::ftruncate(m_fd, 0) != 0) {
        m_errno = errno;
        return false;
    }
    return true;
}

bool Output::flush()
{
    qint64 done = 0;
    while (done < m_bufferLength) {
        const ssize_t written = ::pwrite(m_fd, m_buffer.get() + done, size_t(m_bufferLength - done),
                                         off_t(m_bufferStart + done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            m_errno = written < 0 ? errno : EIO;
            return false;
        }
        done += written;
    }
    m_bufferStart += m_bufferLength;
    m_bufferLength = 0;
    return true;
}

qint64 Output::write(const char *data, qint64 length)
{
    if (m_position != m_bufferStart + m_bufferLength) {
        if (!flush())
            return -1;
        m_bufferStart = m_position;
    }
    qint64 done = 0;
    while (done < length) {
        const qint64 room = BufferBytes - m_bufferLength;
        const qint64 part = std::min(room, length - done);
        std::memcpy(m_buffer.get() + m_bufferLength, data + done, size_t(part));
        m_bufferLength += part;
        done += part;
        if (m_bufferLength == BufferBytes && !flush())
            return -1;
    }
    m_position += length;
    m_end = std::max(m_end, m_position);
    return length;
}

bool Output::seek(qint64 offset, int whence)
{
    qint64 base = 0;
    if (whence == SEEK_CUR)
        base = m_position;
    else if (whence == SEEK_END)
        base = m_end;
    else if (whence != SEEK_SET)
        return false;
    if (base + offset < 0)
        return false;
    m_position = base + offset;
    return true;
}

bool Output::commit()
{
    if (!flush())
        return false;
    m_committed = true;
    return true;
}

zip_source_t *makeOutputSource(Output &output, zip_error_t *error)
{
    auto *state = new OutputState{&output, {}};
    zip_error_init(&state->error);
    zip_source_t *source = zip_source_function_create(outputCallback, state, error);
    if (!source) {
        zip_error_fini(&state->error);
        delete state;
    }
    return source;
}

zip_source_t *makeFileSource(zip_t *archive, int folderFd, const Entry &entry)
{
    auto *state = new FileState{folderFd, entry, -1, 0, {}};
    zip_error_init(&state->error);
    zip_source_t *source = zip_source_function(archive, fileCallback, state);
    if (!source) {
        zip_error_fini(&state->error);
        delete state;
    }
    return source;
}

} // namespace KSTArchiveSources
