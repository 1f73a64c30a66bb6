#pragma once

#include "KSTEnvironment.h"

#include <QString>
#include <QStringList>

/// Every place the six Auto Clean rules read or change, in one table per layout; the rules
/// follow one code path and ask table() for the current environment's places.
///
/// A Mac's places are home-relative ("~/Downloads", expanded against the accessible home by
/// KSTAutoCleanManager::expandedPath()); a Linux desktop's are absolute, from the environment's
/// XDG base directories and user folders (KSTLinuxPlaces). An empty place is one this machine
/// does not have or the user switched off: the rule finds nothing there.
namespace KSTAutoCleanLocations {

struct Table
{
    /// Rule 0: the Downloads folder, whose old top-level entries go.
    QString downloads;
    /// Rule 1: the folder whose entries emptying the Trash deletes, and the folder of their
    /// records ("<name>.trashinfo", which goes with its entry); empty for none.
    QString trash;
    QString trashRecords;
    /// Rule 2: screenshots at the top of these folders move into the archive.
    QStringList screenshotSources;
    QString screenshotArchive;
    /// Rule 3: browser cache folders, each removed whole. Never a profile.
    QStringList browserCaches;
    /// Rule 4: the logs folder, whose old top-level entries go.
    QString applicationLogs;
    /// Rule 5: device backups, the newest kept.
    QString iosBackups;

    /// The rules' descriptions that name places or programs.
    QString screenshotsDescription;
    QString browserCachesDescription;
};

/// The table of the current environment's layout.
Table table();
/// The table of @p environment's layout.
Table tableFor(const KSTEnvironment &environment);

} // namespace KSTAutoCleanLocations
