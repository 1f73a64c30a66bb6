#include "KSTCliCommand.h"

#include "KSTAccessCommand.h"
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
        {QStringLiteral("duplicates"),
         QStringLiteral("duplicates [--path DIR]... [--quiet] | duplicates remove [--path DIR]... "
                        "(--all | --group KEY... | --current KEY) [--keep PATH]... "
                        "[--unkeep PATH]... [--yes] | duplicates link --clone|--hardlink "
                        "(--all | --group KEY...) [--path DIR]... [--keep PATH]... "
                        "[--unkeep PATH]... [--yes]"),
         QStringLiteral("Files with identical content under the folders (default: Pictures and "
                        "Downloads), in six categories, each group's copies newest first with the "
                        "kept one marked; progress goes to standard error unless --quiet. remove "
                        "moves the copies not kept of the chosen groups to the Trash after "
                        "asking; link makes them clones of (or hard links to) the kept copy"),
         kstRunDuplicatesCommand},
        {QStringLiteral("autoclean"),
         QStringLiteral("autoclean [on|off | rule TYPE on|off | whitelist add|remove PATH | run]"),
         QStringLiteral("automatic clean-up: show the state, switch automation or a rule (TYPE "
                        "0-5), keep the never-touch list, or run the enabled rules once"),
         kstRunAutoCleanCommand},
    };
    return commands;
}
