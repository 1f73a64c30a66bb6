#include "KSTArchiveSources.h"

#include "KSTDeflatePipeline.h"
#include "KSTNoFollowPath.h"

#include <zip.h>
#include <zlib.h>

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
    KSTDeflatePipeline *pipeline;
    Entry entry;
    QByteArray piece;
    qsizetype offset = 0;
    bool finished = false;
    quint32 crc = 0;
    qint64 compressedBytes = 0;
    zip_error_t error;
};

zip_int64_t fileCallback(void *userData, void *data, zip_uint64_t length, zip_source_cmd_t command)
{
    auto *state = static_cast<FileState *>(userData);
    switch (command) {
    case ZIP_SOURCE_SUPPORTS:
        return ZIP_SOURCE_SUPPORTS_READABLE;
    case ZIP_SOURCE_OPEN:
        return 0;
    case ZIP_SOURCE_READ: {
        zip_uint64_t done = 0;
        while (done < length) {
            if (state->offset == state->piece.size()) {
                if (state->finished)
                    break;
                KSTDeflatePipeline::Piece next = state->pipeline->next();
                if (!next.error.isEmpty())
                    return failWith(&state->error, ZIP_ER_READ, EIO);
                state->crc = quint32(::crc32_combine(state->crc, next.crc, next.inputBytes));
                state->piece = std::move(next.data);
                state->offset = 0;
                state->finished = next.last;
                state->compressedBytes += state->piece.size();
                continue;
            }
            const zip_uint64_t part = std::min<zip_uint64_t>(
                length - done, zip_uint64_t(state->piece.size() - state->offset));
            std::memcpy(static_cast<char *>(data) + done, state->piece.constData() + state->offset,
                        size_t(part));
            state->offset += qsizetype(part);
            done += part;
        }
        // libzip keeps every entry's source until the archive is closed: a file's last piece
        // is let go once read, or an archive of many files would hold all of them in memory.
        if (state->finished && state->offset == state->piece.size()) {
            state->piece = QByteArray();
            state->offset = 0;
        }
        return zip_int64_t(done);
    }
    case ZIP_SOURCE_CLOSE:
        return 0;
    case ZIP_SOURCE_STAT: {
        auto *status = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &state->error);
        if (!status)
            return -1;
        zip_stat_init(status);
        // Already deflated: libzip only encrypts and writes it.
        status->valid =
            ZIP_STAT_SIZE | ZIP_STAT_MTIME | ZIP_STAT_COMP_METHOD | ZIP_STAT_ENCRYPTION_METHOD;
        status->size = zip_uint64_t(state->entry.status.st_size);
        status->mtime = state->entry.status.st_mtime;
        status->comp_method = ZIP_CM_DEFLATE;
        status->encryption_method = ZIP_EM_NONE;
        if (state->finished && state->offset == state->piece.size()) {
            status->valid |= ZIP_STAT_CRC | ZIP_STAT_COMP_SIZE;
            status->crc = state->crc;
            status->comp_size = zip_uint64_t(state->compressedBytes);
        }
        return zip_int64_t(sizeof(zip_stat_t));
    }
    case ZIP_SOURCE_ERROR:
        return zip_error_to_data(&state->error, data, length);
    case ZIP_SOURCE_FREE:
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

zip_source_t *makeFileSource(zip_t *archive, KSTDeflatePipeline &pipeline, const Entry &entry)
{
    auto *state = new FileState{&pipeline, entry, {}, 0, false, 0, 0, {}};
    zip_error_init(&state->error);
    zip_source_t *source = zip_source_function(archive, fileCallback, state);
    if (!source) {
        zip_error_fini(&state->error);
        delete state;
    }
    return source;
}

} // namespace KSTArchiveSources
