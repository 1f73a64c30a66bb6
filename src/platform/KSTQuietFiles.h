#pragma once

#include "KSTReadOnlyFile.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// Reading inside a folder tree the way an inventory must: without following a link below
/// the analysed home or root (KSTNoFollowPath), without blocking on a FIFO or a device, and
/// without updating what it reads' access times where the system allows it (O_NOATIME, which
/// Linux grants to the owner of a file and to a privileged process). The access time of an
/// application bundle is when it was last opened; an inventory that listed or read the bundle
/// would otherwise make every application look opened today.
///
/// Every function is safe from any thread.
namespace KSTQuietFiles {

/// One entry of a folder listing, with its kind as the listing reports it (a link is never
/// a folder here).
struct Entry
{
    QString name; ///< decoded losslessly (KSTFileName)
    bool isDirectory = false;
};

/// Reads the regular file @p path: at most @p maximumBytes (more is TooLarge, nothing read)
/// or, with @p prefixOnly, its first @p maximumBytes bytes whatever its size. A link at any
/// component below the home or root is refused (Missing or NotRegular), so is anything that
/// is not a regular file, before a byte is read.
KSTReadOnlyFile::Status readFile(const QString &path, qint64 maximumBytes, QByteArray *contents,
                                 bool prefixOnly = false);

/// The entries of the folder @p path without "." and "..", in listing order; @p skipHidden
/// leaves out names starting with ".". Nothing when it cannot be listed or is reached through
/// a link. At most @p maximumEntries entries are returned.
std::optional<QList<Entry>> listFolder(const QString &path, bool skipHidden,
                                       qsizetype maximumEntries = 1'000'000);

/// When an entry was made, last changed and last read, as the file system keeps them; read
/// without following a final link.
struct Times
{
    std::optional<QDateTime> birth; ///< only where the file system keeps it
    std::optional<QDateTime> modification;
    std::optional<QDateTime> access;
};

/// The times of @p path; nothing when it cannot be read.
std::optional<Times> timesOf(const QString &path);

} // namespace KSTQuietFiles
