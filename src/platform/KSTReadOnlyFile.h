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
/// The static readers below read a whole file or its start by path for the many places that
/// only want the bytes (a property list, a database, a trash entry): the same non-blocking,
/// regular-files-only open, but a final symbolic link is followed, as any reader of such a
/// file would, and nothing past a size limit is ever read. They are safe from any thread.
///
/// Not thread-safe; one object per reader. Move-only.
class KSTReadOnlyFile
{
public:
    /// What a read by path came to.
    enum class Status {
        Read,       ///< the contents were read
        Missing,    ///< nothing is at the path (or a folder on the way is missing)
        NotRegular, ///< a folder, FIFO, socket or device: never read
        TooLarge,   ///< larger than the limit: never read
        Unreadable, ///< it exists but cannot be opened or read (permissions, I/O error)
    };

    /// Reads the whole file at @p path when it is a regular file of at most @p maximumBytes;
    /// otherwise reads nothing and says why. @p error, when given, gets a sentence naming the
    /// path.
    static Status readWholeFile(const QString &path, qint64 maximumBytes, QByteArray *contents,
                                QString *error = nullptr);
    /// As readWholeFile(), but a link at @p path is refused like any other non-regular file
    /// (Unreadable): for a file named by a hostile folder, such as an icon or a picture
    /// shown from the user's disk.
    static Status readWholeFileWithoutLinks(const QString &path, qint64 maximumBytes,
                                            QByteArray *contents);
    /// Reads at most the first @p bytes of a regular file of any size.
    static Status readPrefix(const QString &path, qint64 bytes, QByteArray *contents);
    /// Whether @p path is a regular file that can be opened for reading (checked on the
    /// opened file, non-blocking). For handing the path to a library that opens it itself.
    static bool isReadableRegularFile(const QString &path);

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
    // Opens @p path for the static readers (a final link followed); @p error gets errno.
    Status openFollowingFinalLink(const QString &path, int *error);
    // Reads from the current position until the end or @p limit bytes.
    Status readUpTo(qint64 limit, QByteArray *contents, int *error);

    int m_fd = -1;
    KSTFileIdentity m_identity;
};
