#pragma once

#include "KSTError.h"

#include <QString>

class KSTEnvironment;
class KSTHeldEntry;

/// The freedesktop.org Trash (files/ + info/<name>.trashinfo), written directly rather than
/// through QFile::moveToTrash: Qt 6.4 creates files/ and info/ in the current directory
/// when ~/.local/share is missing and still reports success. Private to KSTTrash.
class KSTFreedesktopTrash
{
public:
    /// The home trash of @p environment: $XDG_DATA_HOME/Trash when its home is the host
    /// user's real home (falling back to ~/.local/share/Trash when XDG_DATA_HOME is unset or
    /// relative), else <home>/.local/share/Trash. Not created.
    static QString homeTrash(const KSTEnvironment &environment);

    /// Moves the held entry (a link as the link) into the home trash, or — when it lives
    /// on another file system — into that file system's $topdir/.Trash/<uid> or
    /// $topdir/.Trash-<uid>. The .trashinfo file is created first and exclusively, which
    /// reserves the name; it is removed again when the move fails. Names are kept short
    /// enough for their .trashinfo to fit the file system's 255 bytes.
    static bool moveToTrash(const KSTHeldEntry &entry, QString *resultingPath, KSTError *error);

    /// The original location recorded for @p trashedPath, which is files/<name> of a trash
    /// folder or something inside it; empty when there is no readable .trashinfo.
    static QString originalPath(const QString &trashedPath);
};
