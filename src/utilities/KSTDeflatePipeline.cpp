#include "KSTDeflatePipeline.h"

#include "KSTFileName.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qsizetype DictionaryBytes = 32 * 1024;
constexpr qsizetype SampleBytes = 8 * 1024;

// Whether a chunk is worth deflating: a fast pass over a sample of it shrinks it by at least a
// few percent. Random or already compressed data does not, and deflating it at full effort
// costs the most time for nothing; such a chunk is written as stored blocks of the same
// deflate stream.
bool worthDeflating(const QByteArray &input)
{
    if (input.size() < SampleBytes)
        return true;
    const qsizetype start = (input.size() - SampleBytes) / 2;
    uLongf length = ::compressBound(uLong(SampleBytes));
    QByteArray sample(qsizetype(length), '\0');
    if (::compress2(reinterpret_cast<Bytef *>(sample.data()), &length,
                    reinterpret_cast<const Bytef *>(input.constData() + start), uLong(SampleBytes),
                    1) != Z_OK)
        return true;
    return qsizetype(length) < SampleBytes * 97 / 100;
}

int workerCount()
{
    const unsigned hardware = std::thread::hardware_concurrency();
    return int(std::clamp(hardware, 2u, 4u));
}

} // namespace

KSTDeflatePipeline::KSTDeflatePipeline(int folderFd, std::vector<KSTArchiveSources::Entry> files,
                                       int level)
    : m_folderFd(folderFd), m_files(std::move(files)), m_level(level)
{
    m_reader = std::thread([this] { read(); });
    for (int index = 0; index < workerCount(); ++index)
        m_workers.emplace_back([this] { work(); });
}

KSTDeflatePipeline::~KSTDeflatePipeline()
{
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    m_reader.join();
    for (std::thread &worker : m_workers)
        worker.join();
}

bool KSTDeflatePipeline::enqueue(Task task)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] {
        return m_stopping || m_nextSequence - m_nextToTake < quint64(MaximumChunksInFlight);
    });
    if (m_stopping)
        return false;
    task.sequence = m_nextSequence++;
    m_tasks.push_back(std::move(task));
    m_changed.notify_all();
    return true;
}

void KSTDeflatePipeline::read()
{
    for (const KSTArchiveSources::Entry &file : m_files) {
        Task failed;
        failed.last = true;
        const int fd = KSTArchiveSources::openBelow(m_folderFd, file.relative,
                                                    O_RDONLY | O_NONBLOCK | O_NOCTTY);
        struct stat opened = {};
        if (fd < 0) {
            failed.error = QString::fromLocal8Bit(std::strerror(errno));
        } else if (::fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode) ||
                   opened.st_dev != file.status.st_dev || opened.st_ino != file.status.st_ino) {
            failed.error = QStringLiteral("%1 changed while it was archived")
                               .arg(KSTFileName::decoded(file.relative));
        }
        if (!failed.error.isEmpty()) {
            if (fd >= 0)
                ::close(fd);
            if (!enqueue(std::move(failed)))
                return;
            continue;
        }
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
        const qint64 size = qint64(file.status.st_size);
        qint64 offset = 0;
        QByteArray dictionary;
        do {
            Task task;
            const qint64 length = std::min(ChunkBytes, size - offset);
            task.input.resize(qsizetype(length));
            qint64 done = 0;
            while (done < length) {
                const ssize_t got = ::read(fd, task.input.data() + done, size_t(length - done));
                if (got < 0 && errno == EINTR)
                    continue;
                if (got <= 0) {
                    task.error = got < 0 ? QString::fromLocal8Bit(std::strerror(errno))
                                         : QStringLiteral("%1 changed while it was archived")
                                               .arg(KSTFileName::decoded(file.relative));
                    break;
                }
                done += got;
            }
            offset += length;
            task.last = offset >= size || !task.error.isEmpty();
            task.dictionary = dictionary;
            dictionary = task.input.right(DictionaryBytes);
            if (!enqueue(std::move(task))) {
                ::close(fd);
                return;
            }
        } while (offset < size);
        ::close(fd);
    }
}

void KSTDeflatePipeline::work()
{
    for (;;) {
        Task task;
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [this] { return m_stopping || !m_tasks.empty(); });
            if (m_stopping)
                return;
            task = std::move(m_tasks.front());
            m_tasks.pop_front();
        }
        Piece piece = task.error.isEmpty() ? deflateChunk(task, m_level) : Piece{};
        piece.last = task.last;
        if (!task.error.isEmpty())
            piece.error = task.error;
        {
            std::lock_guard lock(m_mutex);
            m_done.emplace(task.sequence, std::move(piece));
        }
        m_changed.notify_all();
    }
}

KSTDeflatePipeline::Piece KSTDeflatePipeline::next()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_done.count(m_nextToTake) != 0; });
    auto found = m_done.find(m_nextToTake);
    Piece piece = std::move(found->second);
    m_done.erase(found);
    ++m_nextToTake;
    lock.unlock();
    m_changed.notify_all();
    return piece;
}

KSTDeflatePipeline::Piece KSTDeflatePipeline::deflateChunk(const Task &task, int level)
{
    Piece piece;
    piece.inputBytes = task.input.size();
    piece.crc = quint32(::crc32(0L, reinterpret_cast<const Bytef *>(task.input.constData()),
                                uInt(task.input.size())));
    z_stream stream = {};
    const int effort = worthDeflating(task.input) ? level : 0;
    if (::deflateInit2(&stream, effort, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        piece.error = QStringLiteral("The compressor could not start.");
        return piece;
    }
    if (!task.dictionary.isEmpty())
        ::deflateSetDictionary(&stream,
                               reinterpret_cast<const Bytef *>(task.dictionary.constData()),
                               uInt(task.dictionary.size()));
    piece.data.resize(qsizetype(::deflateBound(&stream, uLong(task.input.size())) + 64));
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(task.input.constData()));
    stream.avail_in = uInt(task.input.size());
    const int flush = task.last ? Z_FINISH : Z_SYNC_FLUSH;
    for (;;) {
        stream.next_out = reinterpret_cast<Bytef *>(piece.data.data()) + stream.total_out;
        stream.avail_out = uInt(piece.data.size() - qsizetype(stream.total_out));
        const int status = ::deflate(&stream, flush);
        if (status == Z_STREAM_END ||
            (flush == Z_SYNC_FLUSH && stream.avail_out != 0 && stream.avail_in == 0))
            break;
        if (status != Z_OK && status != Z_BUF_ERROR) {
            piece.error = QStringLiteral("The compressor failed.");
            break;
        }
        piece.data.resize(piece.data.size() * 2);
    }
    piece.data.truncate(qsizetype(stream.total_out));
    ::deflateEnd(&stream);
    return piece;
}
