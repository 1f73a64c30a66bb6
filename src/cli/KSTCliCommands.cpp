#include "KSTCliCommand.h"

#include "KSTAccessCommand.h"
#include "KSTAppsCommand.h"
#include "KSTAutoCleanCommand.h"
#include "KSTCleanUpCommand.h"
#include "KSTDuplicatesCommand.h"
#include "KSTOverviewCommand.h"

const QList<KSTCliCommand> &kstCliCommands()
{
    static const QList<KSTCliCommand> commands = {
        {QStringLiteral("access"), QStringLiteral("access"),
         QStringLiteral("Full Disk Access state and what Kestrel would ask for"),
         kstRunAccessCommand},
        {QStringLiteral("overview"), QStringLiteral("overview [--live N]"),
         QStringLiteral("The machine at a glance: model, version, uptime, storage, memory, "
                        "processor, network and the largest apps; --live N prints N live samples "
                        "one second apart"),
         kstRunOverviewCommand},
        {QStringLiteral("cleanup"),
         QStringLiteral("cleanup | cleanup clean [--category TYPE]... [--item PATH]... [--yes]"),
         QStringLiteral("Reclaimable storage in four categories (systemJunk, trashes, largeFiles, "
                        "removable) with every item; clean moves the selected categories or items "
                        "to the Trash (the Mac Trash is emptied for good) after asking"),
         kstRunCleanUpCommand},
        {QStringLiteral("duplicates"), QStringLiteral("duplicates [--path DIR]... [--quiet]"),
         QStringLiteral("Files with identical content under the folders (default: Pictures and "
                        "Downloads), in six categories, each group's copies newest first with the "
                        "kept one marked; progress goes to standard error unless --quiet"),
         kstRunDuplicatesCommand},
        {QStringLiteral("apps"),
         QStringLiteral(
             "apps [--progress] | apps show APP | apps uninstall APP [--include PATH]... "
             "[--exclude PATH]... [--yes] | apps undo [--yes]"),
         QStringLiteral("Installed applications with version, developer, category, architecture, "
                        "source, dates and size; show one with its related files; uninstall it "
                        "(to the Trash) or put the last uninstall back"),
         kstRunAppsCommand},
        {QStringLiteral("autoclean"),
         QStringLiteral("autoclean [on|off | rule TYPE on|off | whitelist add|remove PATH | run]"),
         QStringLiteral("automatic clean-up: show the state, switch automation or a rule (TYPE "
                        "0-5), keep the never-touch list, or run the enabled rules once"),
         kstRunAutoCleanCommand},
    };
    return commands;
}
