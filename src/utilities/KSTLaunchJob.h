#pragma once

#include <QString>
#include <QVariantMap>

/// What a launchd property list says about its job, read as launchd would: the label and
/// the program, every value checked for its type (the file is the user's and may be
/// anything).
struct KSTLaunchJob
{
    QString label;           ///< "Label", else the file name without its extension
    QString program;         ///< "Program", else the first element of "ProgramArguments", else ""
    bool runsAtLoad = false; ///< "RunAtLoad" is a boolean true
    bool keptAlive = false;  ///< "KeepAlive" is a boolean true (a dictionary is a condition)

    /// Pure.
    static KSTLaunchJob fromPlist(const QVariantMap &plist, const QString &fileName);
};
