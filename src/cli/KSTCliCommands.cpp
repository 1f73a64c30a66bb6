#include "KSTCliCommand.h"

#include "KSTAccessCommand.h"

const QList<KSTCliCommand> &kstCliCommands()
{
    static const QList<KSTCliCommand> commands = {
        {QStringLiteral("access"), QStringLiteral("access"),
         QStringLiteral("Full Disk Access state and what Kestrel would ask for"),
         kstRunAccessCommand},
    };
    return commands;
}
