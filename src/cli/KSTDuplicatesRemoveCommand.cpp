#include "KSTDuplicatesRemoveCommand.h"

#include "KSTDuplicatesCommandSupport.h"
#include "KSTDuplicatesOutput.h"
#include "KSTFormatting.h"
#include "KSTJsonTextWriter.h"
#include "KSTTerminalText.h"

namespace Support = KSTDuplicatesCommandSupport;

namespace {

void printRemoveOutcome(KSTCliContext &context, const KSTDuplicateRemovalOutcome &outcome,
                        const KSTDuplicateReviewModel &model, bool current)
{
    if (context.json()) {
        KSTJsonTextWriter json(context.out());
        KSTDuplicatesOutput::writeRemovalOutcome(json, outcome, model, current);
        context.out().flush();
        return;
    }
    QTextStream &out = context.out();
    KSTDuplicatesOutput::printRemovalOutcome(out, outcome);
    const auto snapshot = model.snapshot();
    if (current) {
        if (const std::optional<KSTDuplicateGroup> &group = model.selectedGroup()) {
            QString category = group->categoryType;
            for (const KSTDuplicateCategorySummary &summary : snapshot->categories) {
                if (summary.categoryType == group->categoryType)
                    category = summary.name;
            }
            out << "Now showing " << category << ": " << KSTTerminalText::escaped(group->fileName)
                << "  [" << group->hashKey.left(12) << "]\n";
        } else
            out << "No duplicate group is left to show\n";
    } else if (snapshot && !snapshot->isScanning) {
        out << "Scanned again: " << snapshot->totalGroupCount << " duplicate group(s), "
            << KSTFormatting::formatBytesShort(snapshot->totalReclaimableBytes) << " reclaimable\n";
    }
    out.flush();
}

} // namespace

int kstRunDuplicatesRemoveCommand(KSTCliContext &context)
{
    Support::ScanRequest request;
    if (const std::optional<int> status = Support::takeScanRequest(context, request))
        return *status;
    Support::Choice choice;
    if (const std::optional<int> status = Support::takeChoice(context, choice, true))
        return *status;
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    if (!context.arguments().isEmpty())
        return context.usageError(QStringLiteral("duplicates remove takes no argument '%1'")
                                      .arg(context.arguments().first()));

    KSTDuplicateReviewModel model(KSTSystemInfo::shared());
    if (const std::optional<int> status = Support::scanAndChoose(context, request, choice, model))
        return *status;

    const bool current = choice.currentKey.has_value();
    const QStringList paths = current ? model.removablePathsForGroup(model.selectedGroup())
                                      : model.removablePathsForSelectedGroups();
    QTextStream &talk = context.talk();
    const KSTDuplicateRemovalOutcome nothing;
    if (paths.isEmpty()) {
        context.err() << "kestrel: nothing to remove: every copy of the chosen groups is kept\n";
        context.err().flush();
        if (context.json())
            printRemoveOutcome(context, nothing, model, current);
        return KSTCliContext::Failure;
    }
    KSTDuplicatesOutput::printRemovalPlan(
        talk, current ? model.removeCurrentButtonTitle() : model.removeSelectedButtonTitle(), paths,
        model);
    if (!context.confirm(QStringLiteral("Remove?"), yes)) {
        if (context.json())
            printRemoveOutcome(context, nothing, model, current);
        return KSTCliContext::Failure;
    }

    Support::echoProgress(context, model, request.quiet);
    std::optional<KSTDuplicateRemovalOutcome> outcome;
    const auto finished = [&outcome](const KSTDuplicateRemovalOutcome &done) { outcome = done; };
    const bool started = current ? model.removeCurrentGroupDuplicates(finished)
                                 : model.removeAllSelectedDuplicates(finished);
    if (!started) {
        context.err() << "kestrel: nothing to remove\n";
        context.err().flush();
        if (context.json())
            printRemoveOutcome(context, nothing, model, current);
        return KSTCliContext::Failure;
    }
    // A bulk removal scans the same folders again; its result is part of the answer.
    if (!Support::waitFor([&] {
            return outcome.has_value() && model.snapshot() && !model.snapshot()->isScanning;
        }))
        return context.failure({QStringLiteral("KSTSystemInfo"),
                                2,
                                QStringLiteral("The removal did not finish."),
                                {}});
    printRemoveOutcome(context, *outcome, model, current);
    return outcome->itemsRemoved > 0 ? KSTCliContext::Success : KSTCliContext::Failure;
}
