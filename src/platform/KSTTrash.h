#pragma once

#include "KSTError.h"

#include <QString>

class KSTHeldEntry;

/// Moving items to the user's Trash and deleting them for good.
///
/// The Trash depends on the layout of the current KSTEnvironment:
/// - mac: <home>/.Trash (created with mode 0700 when missing). An item keeps its name; when
///   the name is taken a number is added before the extension ("report 2.pdf", then
///   "report 3.pdf"); folders and names without an extension get it at the end ("My Folder 2",
///   "Makefile 2"), and a leading dot does not start an extension (".env 2",
///   ".config 2.json"). The move is a rename that never replaces an existing entry and never
///   silently copies across a file-system boundary (an error).
/// - linux: the freedesktop.org Trash: $XDG_DATA_HOME/Trash (<home>/.local/share/Trash when
///   the home is not the host's) with files/ and info/<name>.trashinfo, created when missing;
///   an item on another file system goes to that file system's $topdir/.Trash/<uid> (when an
///   administrator made a sticky .Trash there) or $topdir/.Trash-<uid>. Clashing names are
///   numbered as for mac. QFile::moveToTrash is not used (see KSTFreedesktopTrash).
///
/// Neither operation ever follows a symbolic link: a link is moved or deleted as a link, and
/// deletion of a folder never descends through a link found inside it nor into another file
/// system mounted inside it. A name that would grow past the file system's 255 bytes with its
/// number is shortened before the number.
///
/// These are the low-level acts. Engines never call them directly: they ask
/// KSTRemovalGuard, which decides whether the entry may be touched at all and then acts
/// through the held-entry forms below.
class KSTTrash
{
public:
    /// The Trash folder of the current environment: <home>/.Trash, or the freedesktop
    /// "files" folder. Not created.
    static QString trashDirectory();

    /// Moves @p path to the Trash. On success returns true and, when given, sets
    /// @p resultingPath to where the item now is. On failure returns false, leaves the item
    /// where it was and fills @p error (domain "NSCocoaErrorDomain" with a POSIX-derived
    /// description, e.g. no such file, permission denied, cross-device).
    static bool moveToTrash(const QString &path, QString *resultingPath = nullptr,
                            KSTError *error = nullptr);
    /// The same for an entry already held (its folder open, no link followed to reach it):
    /// exactly that entry is moved, by a rename relative to its held folder.
    static bool moveToTrash(const KSTHeldEntry &entry, QString *resultingPath = nullptr,
                            KSTError *error = nullptr);

    /// Deletes @p path permanently: a file or link is unlinked, a folder is removed with its
    /// contents, depth first, without following any symbolic link. Returns true when the item
    /// is gone; on failure what could be removed is removed and @p error names the first
    /// failure ("NSFilePath"), with every failed path under "failedPaths". "/" is refused.
    static bool removePermanently(const QString &path, KSTError *error = nullptr);
    /// The same for an entry already held.
    static bool removePermanently(const KSTHeldEntry &entry, KSTError *error = nullptr);

    /// Where an item removed from @p path originally lived, for a freedesktop trash entry
    /// (read from its .trashinfo); empty for the mac layout or when unknown.
    static QString originalPathForTrashedItem(const QString &trashedPath);
};
