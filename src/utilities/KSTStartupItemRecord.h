#pragma once

#include <QString>
#include <QtGlobal>

/// One thing that starts with the Mac: a launch agent, a launch daemon or a login item.
/// Plain value; filled by KSTUtilitiesManager::scanStartupItems().
struct KSTStartupItemRecord
{
    enum ItemType : quint64 { LoginItem = 0, LaunchAgent = 1, LaunchDaemon = 2 };

    QString name;      ///< display name (the app's name, else the job's label)
    QString typeLabel; ///< "Launch Agent", "Launch Daemon" or "Login Item"
    QString impact;    ///< "High", "Medium" or "Low"
    QString path;      ///< the launch plist (as this host reaches it), or the login item's target
    quint64 itemType = LaunchAgent;
    QString itemIdentifier; ///< the job's label, or the login item's path
    bool canDisable = false;

    bool operator==(const KSTStartupItemRecord &) const = default;
};
