#pragma once

#include <QString>

/// One of the six auto-clean rules as the Auto Clean screen shows it. A plain value: the
/// manager hands out copies, so changing one changes nothing in the manager.
struct KSTAutoCleanRuleDefinition
{
    /// 0 to 5: selects the action, and is the suffix of the rule's preference key
    /// ("ruleEnabled.3").
    quint64 ruleType = 0;
    QString symbolName; ///< symbol image of the rule's row ("trash.fill")
    QString title;      ///< "Downloads Folder"
    QString detail;     ///< one-line description
    /// Shown only, never interpreted: every enabled rule runs hourly whatever it says.
    QString schedule;
    bool enabled = false; ///< whether the rule takes part in runs
};
