#include "KSTCliCommand.h"

#include "KSTAccessCommand.h"
#include "KSTAppsCommand.h"
#include "KSTAutoCleanCommand.h"
#include "KSTCleanUpCommand.h"
#include "KSTDuplicatesCommand.h"
#include "KSTEncryptCommand.h"
#include "KSTEraseCommand.h"
#include "KSTOverviewCommand.h"
#include "KSTReporterCommand.h"
#include "KSTStartupCommand.h"
#include "KSTSystemReportCommand.h"
#include "KSTUtilitiesCommand.h"

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
        {QStringLiteral("reporter"), QStringLiteral("reporter | reporter history [--csv]"),
         QStringLiteral("The last seven days: apps installed and removed, disk use and network "
                        "traffic per day, the most used apps (records today in the history); "
                        "history prints the stored days, --csv for a spreadsheet"),
         kstRunReporterCommand},
        {QStringLiteral("report"),
         QStringLiteral("report [--output FILE [--format txt|pdf] [--force]]"),
         QStringLiteral("The System Report: macOS, hardware, storage, memory, launch items, "
                        "services, apps, extensions, security, crashes, disk health, network, "
                        "browser extensions and launch time; --output saves it as text or PDF "
                        "(never over a file without --force)"),
         kstRunSystemReportCommand},
        {QStringLiteral("startup"), QStringLiteral("startup | startup disable ITEM [--yes]"),
         QStringLiteral("Launch agents, launch daemons and login items with their boot impact; "
                        "disable renames one of your own agents' plists after unloading it"),
         kstRunStartupCommand},
        {QStringLiteral("erase"),
         QStringLiteral("erase PATH... [--method quick|secure|dod] [--yes] [--dry-run]"),
         QStringLiteral("Overwrite files, folders or a volume's contents (1, 3 or 7 passes) and "
                        "delete them for good; on SSDs and copy-on-write file systems older "
                        "copies may survive"),
         kstRunEraseCommand},
        {QStringLiteral("encrypt"), QStringLiteral("encrypt PATH... [--password-stdin] [--yes]"),
         QStringLiteral("A password-protected .zip next to each file or folder; the password is "
                        "asked twice without echo, or read from the first line of standard input"),
         kstRunEncryptCommand},
        {QStringLiteral("default-apps"),
         QStringLiteral("default-apps | default-apps set UTI BUNDLE-ID [--yes]"),
         QStringLiteral("File types with the app that opens them and the apps that can; set "
                        "chooses another"),
         kstRunDefaultAppsCommand},
        {QStringLiteral("trash-origins"), QStringLiteral("trash-origins"),
         QStringLiteral("Where each item in the Trash came from and which app deleted it"),
         kstRunTrashOriginsCommand},
        {QStringLiteral("home-sizes"), QStringLiteral("home-sizes"),
         QStringLiteral("du's size of each standard home folder, with the volume's used and "
                        "total space"),
         kstRunHomeSizesCommand},
    };
    return commands;
}
