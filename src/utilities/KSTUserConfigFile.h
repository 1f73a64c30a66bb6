#pragma once

#include "KSTError.h"
#include "KSTFileIdentity.h"

#include <QByteArray>
#include <QString>

#include <optional>

/// A small settings file of the user's that Kestrel rewrites (an autostart entry,
/// mimeapps.list): read without following a link, rewritten atomically through the removal
/// guard, never written through a link planted at its path and never beside what was read.
namespace KSTUserConfigFile {

/// What was read: the bytes and the entry they came from; no identity when nothing was there.
struct Contents
{
    QByteArray bytes;
    std::optional<KSTFileIdentity> identity;
};

/// Reads @p path when it is a regular file of at most @p maximumBytes, or gives empty
/// Contents when nothing is there. A link, a folder, a FIFO, a larger or unreadable file give
/// nothing and @p error (domain KSTRemovalGuard, code RefusedThroughLink, for a link).
std::optional<Contents> read(const QString &path, qint64 maximumBytes, KSTError *error);

/// Writes @p bytes at @p path (in the folder @p scope or below it, which the guard is limited
/// to), replacing the file @p before was read from only while it is still that file, or
/// creating it when @p before had none. Missing folders on the way to @p path are made first
/// (mode 0700), none through a link.
bool write(const QString &scope, const QString &path, const Contents &before,
           const QByteArray &bytes, KSTError *error);

} // namespace KSTUserConfigFile
