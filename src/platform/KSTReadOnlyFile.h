#pragma once

#include "KSTFileIdentity.h"

#include <QByteArray>
#include <QString>

/// A regular file opened for reading, without trusting whatever stands at its path: files on
/// a user's disk are hostile input.
///
/// open() never goes through a final symbolic link (O_NOFOLLOW), never blocks on a FIFO or a
/// device (O_NONBLOCK), and keeps the file only when fstat() of the open descriptor says it is
/// a regular file; anything else is closed again at once. The identity is the open file's, so
/// a caller can compare it with what a walk saw before.
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

    /// Opens @p path (a local path; its bytes as KSTFileName encodes them); false when it is
    /// missing, unreadable, a link, or not a regular file. Closes what was open before.
    bool open(const QString &path);
    bool open(const QByteArray &encodedPath);
    bool open(const char *encodedPath);
    /// Opens @p relative (encoded, clean, relative) below the folder open at @p baseFd without
    /// following a link in any component (KSTNoFollowPath::openBeneath); a single name is
    /// opened straight from that folder. The same checks as open().
    bool openBeneath(int baseFd, const char *relative);
    void close();
    bool isOpen() const { return m_fd >= 0; }
    /// The open descriptor (-1 when closed); it stays owned by this object.
    int descriptor() const { return m_fd; }
    /// What the open file is (valid while open).
    const KSTFileIdentity &identity() const { return m_identity; }

    /// Reads up to @p length bytes from the current position, retrying after a signal and
    /// until @p length bytes or the end of the file; the count read, or -1 on an error.
    qint64 read(char *buffer, qint64 length);
    /// The same at @p offset, leaving the current position alone.
    qint64 readAt(qint64 offset, char *buffer, qint64 length);
    /// Moves the current position; false on an error.
    bool seek(qint64 offset);

private:
    // Keeps @p fd when it is a regular file; closes it otherwise.
    bool adopt(int fd);

    int m_fd = -1;
    KSTFileIdentity m_identity;
};
