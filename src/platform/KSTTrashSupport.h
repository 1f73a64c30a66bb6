#pragma once

#include "KSTError.h"

#include <QByteArray>
#include <QString>

/// Pieces both Trash layouts share; renameNoReplace also serves engines that move files.
namespace KSTTrashSupport {

/// How many numbered names ("name 2" … ) are tried before a move gives up.
constexpr int MaximumNameAttempts = 10'000;

/// The name to try on @p attempt (1-based) for an item called @p name: the name itself
/// first, then a number before the extension ("report 2.pdf", "report 3.pdf"). Folders, names
/// without a dot and dotfiles get the number at the end ("My Folder 2", "Makefile 2",
/// ".env 2"); only the last dot of a file name starts its extension ("a.tar 2.gz"). A
/// candidate whose bytes (KSTFileName) would exceed @p maximumBytes is shortened at the end of
/// the part before the number, by whole characters, keeping the number and the extension
/// (the extension too when nothing else is left to shorten).
QString candidateName(const QString &name, bool isDirectory, int attempt,
                      qsizetype maximumBytes = 255);

/// Renames @p from to @p to without ever replacing an existing @p to. Returns 0 or an errno
/// value (EEXIST when @p to is taken, EXDEV across file systems). Where the file system lacks
/// an atomic no-replace rename, falls back to check-then-rename.
int renameNoReplace(const QByteArray &from, const QByteArray &to);
/// The same relative to open folders (renameat2 with RENAME_NOREPLACE).
int renameNoReplaceAt(int fromFolder, const QByteArray &fromName, int toFolder,
                      const QByteArray &toName);

/// Swaps the entries @p first and @p second of the folder open at @p folder in one step
/// (renameat2 RENAME_EXCHANGE, renameatx_np RENAME_SWAP). 0 on success, else the errno;
/// EINVAL, ENOSYS or ENOTSUP where the file system cannot.
int exchangeAt(int folder, const QByteArray &first, const QByteArray &second);

/// An error in "NSCocoaErrorDomain" with the Foundation file-error code closest to
/// @p errorNumber, the description @p message followed by strerror's reason, and the keys
/// "NSFilePath" (@p path) and "NSPOSIXErrorCode".
KSTError cocoaError(int errorNumber, const QString &path, const QString &message);

/// @p path between typographic quotes, as descriptions show it.
QString quoted(const QString &path);

/// An absolute, clean form of @p path ("." and ".." resolved textually, no trailing slash);
/// its last component is never resolved, so a link stays a link.
QString absoluteCleanPath(const QString &path);

} // namespace KSTTrashSupport
