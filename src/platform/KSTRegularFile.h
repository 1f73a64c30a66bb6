#pragma once

#include <QByteArray>
#include <QString>

/// Reads files of the analysed machine without ever blocking or reading more than asked.
///
/// Only a regular file is read. The path is opened non-blocking (O_RDONLY | O_NONBLOCK |
/// O_CLOEXEC | O_NOCTTY) and the opened file checked with fstat before anything is read, so a
/// FIFO, socket or device put where a property list or database is expected is refused at
/// once instead of blocking the caller, even when it replaces the file between a check and the
/// open. A final symbolic link is followed, as any reader of the file would. Safe from any
/// thread.
class KSTRegularFile
{
public:
    enum class Status {
        Read,       ///< the contents were read
        Missing,    ///< nothing is at the path (or a folder on the way is missing)
        NotRegular, ///< a folder, FIFO, socket or device: never read
        TooLarge,   ///< larger than the limit: never read
        Unreadable, ///< it exists but cannot be opened or read (permissions, I/O error)
    };

    /// Reads the whole file when it is a regular file of at most @p maximumBytes; otherwise
    /// reads nothing and says why. @p error, when given, gets a sentence naming the path.
    static Status read(const QString &path, qint64 maximumBytes, QByteArray *contents,
                       QString *error = nullptr);

    /// Reads at most the first @p bytes of a regular file of any size.
    static Status readPrefix(const QString &path, qint64 bytes, QByteArray *contents);

    /// Whether @p path is a regular file that can be opened for reading (checked on the
    /// opened file, non-blocking). For handing the path to a library that opens it itself.
    static bool isReadableRegularFile(const QString &path);
};
