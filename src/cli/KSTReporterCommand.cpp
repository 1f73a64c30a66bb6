#include "KSTReporterCommand.h"

#include "KSTDispatch.h"
#include "KSTReporterCharts.h"
#include "KSTReporterCommandOutput.h"
#include "KSTReporterEngine.h"
#include "KSTReporterHistory.h"
#include "KSTReporterModel.h"
#include "KSTSystemInfo.h"

#include <optional>

namespace {

// The report reads the bundle collection and a database; far less than this, but a report
// that never comes (no engine installed) must not hang the command for ever.
constexpr int SnapshotTimeoutMs = 30 * 60 * 1000;

int runReport(KSTCliContext &context)
{
    // The window's model: the same fetch, and the history's outcome before the report.
    KSTReporterModel model(KSTSystemInfo::shared());
    model.refresh();
    if (!KSTDispatch::runMainLoopUntil([&model] { return model.hasCompleteSnapshot(); },
                                       SnapshotTimeoutMs))
        return context.failure(
            {QStringLiteral("KSTSystemInfo"), 1, QStringLiteral("The report did not arrive."), {}});
    if (const std::optional<KSTReporterHistory::UpdateResult> update = model.lastHistoryUpdate()) {
        if (!update->keptDamagedPath.isEmpty())
            context.err() << "kestrel: the damaged history was kept as " << update->keptDamagedPath
                          << "\n";
        if (!update->written)
            context.err() << "kestrel: history not recorded: " << update->reason << "\n";
        context.err().flush();
    }
    if (context.json())
        context.printJson(KSTReporterCommandOutput::snapshotJson(*model.snapshot()));
    else
        KSTReporterCommandOutput::printReport(context.out(), *model.snapshot());
    return KSTCliContext::Success;
}

int runHistory(KSTCliContext &context, bool csv)
{
    const QString path = KSTReporterHistory::reporterHistoryPathWithoutCreating();
    const KSTReporterHistory::Contents contents = KSTReporterHistory::readHistoryAtPath(path);
    if (contents.state == KSTReporterHistory::State::Damaged)
        return context.failure(
            {QStringLiteral("KSTSystemInfo"),
             2,
             QStringLiteral("The history %1 is damaged: %2.").arg(path, contents.problem),
             {}});
    if (csv)
        KSTReporterCommandOutput::printHistoryCsv(context.out(), contents.records);
    else if (context.json())
        context.printJson(KSTReporterCommandOutput::historyJson(contents.records));
    else
        KSTReporterCommandOutput::printHistory(context.out(), path, contents.records);
    return KSTCliContext::Success;
}

} // namespace

int kstRunReporterCommand(KSTCliContext &context)
{
    QStringList arguments = context.arguments();
    if (arguments.isEmpty())
        return runReport(context);
    if (arguments.first() != QLatin1String("history"))
        return context.usageError(
            QStringLiteral("reporter takes no argument '%1'").arg(arguments.first()));
    const bool csv = context.takeFlag(QStringLiteral("--csv"));
    arguments = context.arguments();
    arguments.removeFirst();
    if (!arguments.isEmpty())
        return context.usageError(
            QStringLiteral("reporter history takes no argument '%1'").arg(arguments.first()));
    if (csv && context.json())
        return context.usageError(QStringLiteral("choose either --csv or --json"));
    return runHistory(context, csv);
}
