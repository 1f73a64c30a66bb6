#include "KSTCliCommand.h"

#include "KSTAccessCommand.h"
#include "KSTAutoCleanCommand.h"
#include "KSTOverviewCommand.h"

const QList<KSTCliCommand> &kstCliCommands()
{
    static const QList<KSTCliCommand> commands = {
        {QStringLiteral("access"), QStringLiteral("access"),
         QStringLiteral("Full Disk Access state and what Kestrel would ask for"),
         kstRunAccessCommand},
        {QStringLiteral("autoclean"),
         QStringLiteral("autoclean [on|off | rule TYPE on|off | whitelist add|remove PATH | run]"),
         QStringLiteral("automatic clean-up: show the state, switch automation or a rule (TYPE "
                        "0-5), keep the never-touch list, or run the enabled rules once"),
         kstRunAutoCleanCommand},
        {QStringLiteral("overview"), QStringLiteral("overview [--live N]"),
         QStringLiteral("The machine at a glance: model, version, uptime, storage, memory, "
                        "processor, network and the largest apps; --live N prints N live samples "
                        "one second apart"),
         kstRunOverviewCommand},
    };
    return commands;
}
