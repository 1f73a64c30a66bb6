#pragma once

#include "KSTError.h"

#include <QByteArray>
#include <QString>

/// Writes one password-protected ZIP archive of a file or folder, in process (libzip), so the
/// password never reaches another process's arguments or environment.
///
/// Entry names are those `zip -r` gives when run in the source's parent folder ("Photos/",
/// "Photos/a.jpg"): folders with a trailing slash, hidden entries included, the entries of a
/// folder in byte order of their names. Regular files are deflated (level 6) and every entry
/// with data is encrypted with the traditional PKWARE scheme that Archive Utility, Windows
/// Explorer, 7-Zip, unzip and Python's zipfile open. A symbolic link is stored as a link (its
/// target as data, Unix mode S_IFLNK) and never followed; FIFOs, sockets and devices are left
/// out. Unix modes and modification times are kept; no other extra fields are written
/// (as `zip -X`). Zip64 records appear only where sizes or counts need them.
///
/// Everything below the source is reached from its parent folder without following a link,
/// and each file is opened non-blocking and read only if it is still the regular file the
/// walk saw. Not thread-safe; one writer per archive.
class KSTEncryptedArchiveWriter
{
public:
    enum class Outcome {
        Written,     ///< the archive is complete in the output
        Empty,       ///< nothing could be stored (the source is a FIFO, socket, …)
        CannotStart, ///< the source or the writer could not be opened
        Failed,      ///< reading or writing failed part-way
    };

    /// Writes the archive of @p sourcePath with @p password into @p outputFd (an empty file
    /// open for reading and writing). On anything but Written, @p message says why.
    static Outcome write(const QString &sourcePath, const QByteArray &password, int outputFd,
                         QString *message);

    /// Deflate level of regular files, zip's own default.
    static constexpr int CompressionLevel = 6;
};
