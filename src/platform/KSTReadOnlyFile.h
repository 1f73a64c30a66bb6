#pragma once

#include "KSTFileStatus.h"

#include <QByteArray>
#include <QString>

/// A regular file opened for reading, without trusting whatever stands at its path: files on
/// a user's disk are hostile input.
///
/// open() never goes through a final symbolic link (O_NOFOLLOW), never blocks on a FIFO or a
/// device (O_NONBLOCK), and keeps the file only when fstat() of the open descriptor says it is
/// a regular file; anything else is closed again at once. The status is the open file's, so a
/// caller can compare the identity with what a walk saw before.
///
/// Not thread-safe; one object per reader. Move-only.
class KSTReadOnlyFile
{
public:
    KSTReadOnlyFile() = default;
    ~KSTReadOnlyFile();
    KSTReadOnlyFile(KSTReadOnlyFile &&other) noexcept;
    KSTReadOnlyFile &operator=(KSTReadOnlyFile &&other) noexcept;
    KSTReadOnlyFile(const KSTReadOnlyFile &) = delete;
    KSTReadOnlyFile &operator=(const KSTReadOnlyFile &) = delete;

    /// Opens @p path (a local path, encoded as the file system names it); false when it is
    /// missing, unreadable, a link, or not a regular file. Closes what was open before.
    bool open(const QString &path);
    bool open(const QByteArray &encodedPath);
    bool open(const char *encodedPath);
    void close();
    bool isOpen() const { return m_fd >= 0; }
    /// The open file's status (valid while open).
    const KSTFileStatus &status() const { return m_status; }

    /// Reads up to @p length bytes from the current position, retrying after a signal and
    /// until @p length bytes or the end of the file; the count read, or -1 on an error.
    qint64 read(char *buffer, qint64 length);
    /// The same at @p offset, leaving the current position alone.
    qint64 readAt(qint64 offset, char *buffer, qint64 length);
    /// Moves the current position; false on an error.
    bool seek(qint64 offset);

private:
    int m_fd = -1;
    KSTFileStatus m_status;
};
