#include "KSTDuplicatesCommand.h"

#include "KSTDuplicatesCommandSupport.h"
#include "KSTDuplicatesLinkCommand.h"
#include "KSTDuplicatesOutput.h"
#include "KSTDuplicatesRemoveCommand.h"
#include "KSTJsonTextWriter.h"

namespace Support = KSTDuplicatesCommandSupport;

namespace {

int runScan(KSTCliContext &context)
{
    Support::ScanRequest request;
    if (const std::optional<int> status = Support::takeScanRequest(context, request))
        return *status;
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("duplicates takes no argument '%1'").arg(context.arguments().first()));

    const KSTSystemInfo::DuplicateSnapshotPtr result = Support::scan(context, request);
    if (!result)
        return context.failure({QStringLiteral("KSTSystemInfo"),
                                1,
                                QStringLiteral("The duplicate scan did not finish."),
                                {}});

    KSTDuplicateReviewModel model(KSTSystemInfo::shared());
    model.setSnapshot(result);
    if (context.json()) {
        KSTJsonTextWriter json(context.out());
        KSTDuplicatesOutput::writeSnapshot(json, *result, model);
    } else {
        KSTDuplicatesOutput::printSummary(context.out(), *result, model);
    }
    context.out().flush();
    return KSTCliContext::Success;
}

} // namespace

int kstRunDuplicatesCommand(KSTCliContext &context)
{
    const QString action = context.arguments().value(0);
    if (action == QLatin1String("remove") || action == QLatin1String("link")) {
        KSTCliContext rest(context.arguments().mid(1), context.json(), context.out(),
                           context.err());
        return action == QLatin1String("remove") ? kstRunDuplicatesRemoveCommand(rest)
                                                 : kstRunDuplicatesLinkCommand(rest);
    }
    return runScan(context);
}
