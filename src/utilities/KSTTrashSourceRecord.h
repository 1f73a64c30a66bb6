#pragma once

#include <QString>

/// Where one item in the Trash came from and which application deleted it. Plain value.
struct KSTTrashSourceRecord
{
    QString fileName;         ///< its name in the Trash
    QString originalLocation; ///< a path or URL, or "Unknown"
    QString deletedBy;        ///< an application's name, "Finder" when nothing says otherwise
    QString trashPath;        ///< its full path in the Trash

    bool operator==(const KSTTrashSourceRecord &) const = default;
};
