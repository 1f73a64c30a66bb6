#include "KSTReporterCommand.h"

#include "KSTDispatch.h"
#include "KSTReporterCharts.h"
#include "KSTReporterCommandOutput.h"
#include "KSTReporterEngine.h"
#include "KSTReporterHistory.h"
#include "KSTSystemInfo.h"

#include <memory>
#include <mutex>
#include <optional>

namespace {

// The report reads the bundle collection and a database; far less than this, but a report
// that never comes (no engine installed) must not hang the command for ever.
constexpr int SnapshotTimeoutMs = 30 * 60 * 1000;

// Shared with the completions, which may outlive a command that gave up waiting.
struct ReportState
{
    std::mutex mutex;
    KSTSystemInfo::ReporterSnapshotPtr full;
    std::optional<KSTReporterHistory::UpdateResult> update;
};

int runReport(KSTCliContext &context)
{
    auto state = std::make_shared<ReportState>();
    KSTReporterEngine::setHistoryUpdateObserver(
        [state](const KSTReporterHistory::UpdateResult &result) {
            std::lock_guard lock(state->mutex);
            state->update = result;
        });
    KSTSystemInfo::shared().fetchReporterSnapshotAsync(
        [state](KSTSystemInfo::ReporterSnapshotPtr snapshot) {
            std::lock_guard lock(state->mutex);
            if (snapshot && !snapshot->isPartial)
                state->full = snapshot;
        });
    const bool arrived = KSTDispatch::runMainLoopUntil(
        [state] {
            std::lock_guard lock(state->mutex);
            return state->full != nullptr;
        },
        SnapshotTimeoutMs);
    KSTReporterEngine::setHistoryUpdateObserver({});
    std::lock_guard lock(state->mutex);
    if (!arrived)
        return context.failure(
            {QStringLiteral("KSTSystemInfo"), 1, QStringLiteral("The report did not arrive."), {}});
    if (state->update) {
        if (!state->update->keptDamagedPath.isEmpty())
            context.err() << "kestrel: the damaged history was kept as "
                          << state->update->keptDamagedPath << "\n";
        if (!state->update->written)
            context.err() << "kestrel: history not recorded: " << state->update->reason << "\n";
        context.err().flush();
    }
    if (context.json())
        context.printJson(KSTReporterCommandOutput::snapshotJson(*state->full));
    else
        KSTReporterCommandOutput::printReport(context.out(), *state->full);
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
