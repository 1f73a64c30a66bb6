#pragma once

#include <QString>

/// A folder the Duplicates screen offers for scanning; the screen passes the paths of the
/// selected options to the scan.
struct KSTDuplicateFolderOption
{
    QString name;        ///< "Pictures"
    QString path;        ///< absolute path
    QString displayPath; ///< the path with the home shown as "~"
    bool selected = false;
    bool isCustom = false; ///< a folder the user added
};
