#include "KSTDuplicatesLinkCommand.h"

int kstRunDuplicatesLinkCommand(KSTCliContext &context)
{
    return context.usageError(QStringLiteral("duplicates link is not available yet"));
}
