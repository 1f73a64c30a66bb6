#pragma once

#include "KSTArchiveSources.h"

#include <QByteArray>
#include <QString>

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

/// Deflates the regular files of one archive ahead of the writer, on a few threads: a reader
/// thread reads the files in archive order in chunks of 1 MiB, workers deflate each chunk
/// (primed with the 32 KiB before it, ended with a sync flush, the file's last chunk with the
/// final block, so the chunks of a file join into one raw deflate stream), and the writer
/// takes the pieces in order. At most a fixed number of chunks is in flight, so memory stays
/// bounded whatever the files' sizes.
///
/// Each file is opened below the source's parent folder without following a link and only
/// when it is still the regular file the walk saw; it is read up to the size the walk saw (a
/// file that shrank is an error). Thread-safe between the writer and the pipeline's own
/// threads; one writer.
class KSTDeflatePipeline
{
public:
    static constexpr qint64 ChunkBytes = 1024 * 1024;
    static constexpr int MaximumChunksInFlight = 8;

    struct Piece
    {
        QByteArray data;       ///< deflated bytes
        quint32 crc = 0;       ///< CRC-32 of the chunk's input
        qint64 inputBytes = 0; ///< the chunk's input length
        bool last = false;     ///< the file's last piece
        QString error;         ///< why the file could not be read; nothing else is valid then
    };

    /// Starts on @p files (regular files, in archive order) below @p folderFd, which must stay
    /// open while the pipeline lives.
    KSTDeflatePipeline(int folderFd, std::vector<KSTArchiveSources::Entry> files, int level);
    /// Stops the threads; pieces not taken are dropped.
    ~KSTDeflatePipeline();
    KSTDeflatePipeline(const KSTDeflatePipeline &) = delete;
    KSTDeflatePipeline &operator=(const KSTDeflatePipeline &) = delete;

    /// The next piece, in order (blocks until it is ready).
    Piece next();

private:
    struct Task
    {
        quint64 sequence = 0;
        QByteArray input;
        QByteArray dictionary;
        bool last = false;
        QString error;
    };

    void read();
    void work();
    bool enqueue(Task task); // false once stopping
    static Piece deflateChunk(const Task &task, int level);

    int m_folderFd;
    std::vector<KSTArchiveSources::Entry> m_files;
    int m_level;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Task> m_tasks;
    std::map<quint64, Piece> m_done;
    quint64 m_nextToTake = 0;
    quint64 m_nextSequence = 0;
    bool m_stopping = false;

    std::thread m_reader;
    std::vector<std::thread> m_workers;
};
