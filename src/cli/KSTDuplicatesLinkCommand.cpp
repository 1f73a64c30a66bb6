#include "KSTDuplicatesLinkCommand.h"

#include "KSTDuplicatesCommandSupport.h"
#include "KSTDuplicatesOutput.h"
#include "KSTJsonTextWriter.h"

namespace Support = KSTDuplicatesCommandSupport;
using Kind = KSTDuplicateLinkStep::Kind;

namespace {

void printLinkOutcome(KSTCliContext &context, const KSTDuplicateLinkOutcome &outcome,
                      const KSTDuplicateReviewModel &model)
{
    if (context.json()) {
        KSTJsonTextWriter json(context.out());
        KSTDuplicatesOutput::writeLinkOutcome(json, outcome, model);
    } else {
        KSTDuplicatesOutput::printLinkOutcome(context.out(), outcome);
    }
    context.out().flush();
}

} // namespace

int kstRunDuplicatesLinkCommand(KSTCliContext &context)
{
    const bool clone = context.takeFlag(QStringLiteral("--clone"));
    const bool hardLink = context.takeFlag(QStringLiteral("--hardlink"));
    Support::ScanRequest request;
    if (const std::optional<int> status = Support::takeScanRequest(context, request))
        return *status;
    Support::Choice choice;
    if (const std::optional<int> status = Support::takeChoice(context, choice, false))
        return *status;
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    if (!context.arguments().isEmpty())
        return context.usageError(QStringLiteral("duplicates link takes no argument '%1'")
                                      .arg(context.arguments().first()));
    if (clone == hardLink)
        return context.usageError(
            QStringLiteral("choose how copies share the kept copy's data: --clone or --hardlink"));
    const Kind kind = clone ? Kind::Clone : Kind::HardLink;

    KSTDuplicateReviewModel model(KSTSystemInfo::shared());
    if (const std::optional<int> status = Support::scanAndChoose(context, request, choice, model))
        return *status;

    const QStringList paths = model.removablePathsForSelectedGroups();
    QTextStream &talk = context.talk();
    const KSTDuplicateLinkOutcome nothing;
    if (paths.isEmpty()) {
        context.err() << "kestrel: nothing to replace: every copy of the chosen groups is kept\n";
        context.err().flush();
        if (context.json())
            printLinkOutcome(context, nothing, model);
        return KSTCliContext::Failure;
    }
    KSTDuplicatesOutput::printRemovalPlan(
        talk,
        kind == Kind::Clone ? QStringLiteral("Replace these copies with clones of the kept copies")
                            : QStringLiteral("Replace these copies with hard links to the kept "
                                             "copies"),
        paths, model);
    if (!context.confirm(QStringLiteral("Replace?"), yes)) {
        if (context.json())
            printLinkOutcome(context, nothing, model);
        return KSTCliContext::Failure;
    }

    Support::echoProgress(context, model, request.quiet);
    std::optional<KSTDuplicateLinkOutcome> outcome;
    if (!model.replaceSelectedDuplicatesWithLinks(
            kind, [&outcome](const KSTDuplicateLinkOutcome &done) { outcome = done; })) {
        context.err() << "kestrel: nothing to replace\n";
        context.err().flush();
        if (context.json())
            printLinkOutcome(context, nothing, model);
        return KSTCliContext::Failure;
    }
    if (!Support::waitFor([&] {
            return outcome.has_value() && model.snapshot() && !model.snapshot()->isScanning;
        }))
        return context.failure({QStringLiteral("KSTSystemInfo"),
                                2,
                                QStringLiteral("Replacing the copies did not finish."),
                                {}});
    printLinkOutcome(context, *outcome, model);
    return outcome->itemsLinked > 0 ? KSTCliContext::Success : KSTCliContext::Failure;
}
