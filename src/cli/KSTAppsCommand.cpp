#include "KSTAppsCommand.h"

#include "KSTAppInventoryEngine.h"
#include "KSTAppInventoryModel.h"
#include "KSTAppUninstallHistory.h"
#include "KSTAppUninstallSelection.h"
#include "KSTAppUninstaller.h"
#include "KSTAppsOutput.h"
#include "KSTDispatch.h"
#include "KSTEnvironment.h"
#include "KSTRelatedPathLookup.h"
#include "KSTRelatedPathMatcher.h"
#include "KSTSystemInfo.h"
#include "KSTTerminalText.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>

using AppsInfo = KSTSystemInfo;
using SnapshotPtr = AppsInfo::AppInventorySnapshotPtr;
using KSTTerminalText::escaped;

namespace {

// The size pass pauses after every bundle; a large Mac takes minutes. An answer that never
// comes (no routine installed) must still end the command.
constexpr int AppsScanTimeoutMs = 6 * 60 * 60 * 1000;
constexpr int WorkTimeoutMs = 60 * 60 * 1000;
const QString ScanComplete = QStringLiteral("Scan complete");

int didNotFinish(KSTCliContext &context, const QString &what)
{
    return context.failure({QStringLiteral("KSTSystemInfo"),
                            1,
                            QStringLiteral("The %1 did not finish.").arg(what),
                            {}});
}

// Discovery only: the passes that follow are cancelled once the records are there.
SnapshotPtr discover()
{
    AppsInfo &info = AppsInfo::shared();
    KSTAppInventoryEngine::shared();
    SnapshotPtr complete;
    info.scanInstalledApplicationsWithProgress(
        nullptr, [&complete](SnapshotPtr snapshot) { complete = snapshot; });
    KSTDispatch::runMainLoopUntil([&complete] { return complete != nullptr; }, AppsScanTimeoutMs);
    info.cancelAppInventoryScan();
    return complete;
}

QString resolvedPath(const QString &given)
{
    const QString home = KSTEnvironment::current().home();
    if (given == QLatin1String("~"))
        return QDir::cleanPath(home);
    if (given.startsWith(QLatin1String("~/")))
        return QDir::cleanPath(home + given.mid(1));
    return QDir::cleanPath(QFileInfo(given).absoluteFilePath());
}

bool looksLikePath(const QString &app)
{
    return app.contains(QLatin1Char('/')) || app.endsWith(QLatin1String(".app")) ||
           app.startsWith(QLatin1Char('~'));
}

// The record APP names, or a usage error (exit 2) already reported.
std::optional<KSTInstalledAppRecord> findApp(KSTCliContext &context,
                                             const KSTAppInventorySnapshot &snapshot,
                                             const QString &app, int *status)
{
    QList<KSTInstalledAppRecord> found;
    if (looksLikePath(app)) {
        const QString path = resolvedPath(app);
        const QString underRoot = QDir::cleanPath(KSTEnvironment::current().systemPath(app));
        for (const KSTInstalledAppRecord &record : snapshot.apps) {
            const QString bundle = QDir::cleanPath(record.bundlePath);
            if (bundle == path || (app.startsWith(QLatin1Char('/')) && bundle == underRoot))
                found << record;
        }
    } else {
        for (const KSTInstalledAppRecord &record : snapshot.apps) {
            if (record.bundleIdentifier == app)
                found << record;
        }
    }
    if (found.isEmpty()) {
        *status = context.usageError(
            QStringLiteral("no installed application is '%1' (see 'kestrel apps')").arg(app));
        return std::nullopt;
    }
    if (found.size() > 1) {
        QStringList paths;
        for (const KSTInstalledAppRecord &record : std::as_const(found))
            paths << record.bundlePath;
        *status = context.usageError(
            QStringLiteral("the identifier '%1' is held by %2 bundles: %3; name one by its path")
                .arg(app)
                .arg(found.size())
                .arg(paths.join(QStringLiteral(" and "))));
        return std::nullopt;
    }
    return found.first();
}

// The record sized and with its related paths, the way the detail pane shows it.
std::optional<KSTInstalledAppRecord> loadDetails(const KSTInstalledAppRecord &record)
{
    KSTAppInventoryEngine &engine = KSTAppInventoryEngine::shared();
    std::optional<KSTInstalledAppRecord> sized;
    engine.loadBundleSizeForApp(record,
                                [&sized](const KSTInstalledAppRecord &result) { sized = result; });
    if (!KSTDispatch::runMainLoopUntil([&sized] { return sized.has_value(); }, WorkTimeoutMs))
        return std::nullopt;
    std::optional<QList<KSTInstalledAppRelatedPath>> paths;
    engine.relatedPaths().loadRelatedPathsForApp(
        *sized, [&paths](const QList<KSTInstalledAppRelatedPath> &found) { paths = found; });
    if (!KSTDispatch::runMainLoopUntil([&paths] { return paths.has_value(); }, WorkTimeoutMs))
        return std::nullopt;
    KSTRelatedPathLookup::applyRelatedPaths(*sized, *paths);
    return sized;
}

struct AppDetails
{
    SnapshotPtr snapshot;
    KSTInstalledAppRecord record;
};

// Discovery, APP, its details; the exit status when any of it fails.
std::optional<AppDetails> detailsOfApp(KSTCliContext &context, const QString &app, int *status)
{
    const SnapshotPtr snapshot = discover();
    if (!snapshot) {
        *status = didNotFinish(context, QStringLiteral("application inventory"));
        return std::nullopt;
    }
    const std::optional<KSTInstalledAppRecord> record = findApp(context, *snapshot, app, status);
    if (!record)
        return std::nullopt;
    const std::optional<KSTInstalledAppRecord> details = loadDetails(*record);
    if (!details) {
        *status = didNotFinish(context, QStringLiteral("look-up of related files"));
        return std::nullopt;
    }
    return AppDetails{snapshot, *details};
}

int runInventory(KSTCliContext &context)
{
    const bool progress = context.takeFlag(QStringLiteral("--progress"));
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("apps takes no argument '%1'").arg(context.arguments().first()));
    KSTAppInventoryEngine::shared();
    // The screen's model: it asks for the inventory and re-reads the cache on each metadata
    // notification, so the command waits for exactly what the window shows.
    KSTAppInventoryModel model(AppsInfo::shared());

    QString lastStatus;
    const auto report = [&](const QString &status) {
        if (!progress || status.isEmpty() || status == lastStatus)
            return;
        lastStatus = status;
        context.err() << status << '\n';
        context.err().flush();
    };
    SnapshotPtr done;
    QObject::connect(&model, &KSTAppInventoryModel::snapshotChanged, &model, [&] {
        const SnapshotPtr snapshot = model.snapshot();
        report(snapshot->statusText);
        if (model.isScanComplete() && snapshot->statusText == ScanComplete)
            done = snapshot;
    });
    model.refresh();
    if (!KSTDispatch::runMainLoopUntil([&done] { return done != nullptr; }, AppsScanTimeoutMs))
        return didNotFinish(context, QStringLiteral("application inventory"));
    if (context.json())
        context.printJson(KSTAppsOutput::snapshotJson(*done));
    else
        KSTAppsOutput::printInventory(context.out(), *done);
    return KSTCliContext::Success;
}

int runShow(KSTCliContext &context)
{
    if (context.arguments().size() != 1)
        return context.usageError(QStringLiteral("apps show needs one APP (an identifier or a "
                                                 "bundle path)"));
    int status = KSTCliContext::Success;
    const std::optional<AppDetails> details =
        detailsOfApp(context, context.arguments().first(), &status);
    if (!details)
        return status;
    KSTAppUninstallSelection selection(KSTAppInventoryEngine::shared());
    selection.setApp(details->record, details->snapshot->apps);
    const QStringList tokens = KSTRelatedPathMatcher::relatedPathTokensForApp(details->record);
    if (context.json()) {
        QJsonObject object = KSTAppsOutput::recordJson(details->record);
        object.insert(QStringLiteral("relatedPathTokens"), QJsonArray::fromStringList(tokens));
        object.insert(QStringLiteral("uninstallPaths"),
                      QJsonArray::fromStringList(
                          selection.canUninstall() ? selection.uninstallPaths() : QStringList()));
        context.printJson(object);
    } else {
        KSTAppsOutput::printApp(context.out(), details->record, tokens, selection);
    }
    return KSTCliContext::Success;
}

QJsonObject uninstallJson(const KSTAppUninstallOutcome &outcome)
{
    QJsonValue error(QJsonValue::Null);
    if (outcome.error)
        error = QJsonObject{
            {QStringLiteral("domain"), outcome.error->domain},
            {QStringLiteral("code"), outcome.error->code},
            {QStringLiteral("description"), outcome.error->description},
            {QStringLiteral("failedPaths"), QJsonArray::fromStringList(outcome.failedPaths)}};
    return QJsonObject{
        {QStringLiteral("success"), outcome.success},
        {QStringLiteral("removedCount"), qint64(outcome.removedCount)},
        {QStringLiteral("uninstallPaths"), QJsonArray::fromStringList(outcome.uninstallPaths)},
        {QStringLiteral("error"), error}};
}

// --include and --exclude name related paths by path ("~/…" allowed) or as listed.
QString listedPath(const KSTInstalledAppRecord &record, const QString &given)
{
    const QString path = resolvedPath(given);
    for (const KSTInstalledAppRelatedPath &related : record.relatedPaths) {
        if (related.path == path || related.displayPath == given || related.path == given)
            return related.path;
    }
    return path;
}

int finishUninstall(KSTCliContext &context, const KSTAppUninstallOutcome &outcome)
{
    if (context.json()) {
        context.printJson(uninstallJson(outcome));
    } else {
        context.out() << outcome.message << ": " << outcome.removedCount
                      << " item(s) moved to the Trash\n";
        for (const QString &path : outcome.failedPaths)
            context.out() << "  left in place: " << escaped(path) << '\n';
        context.out().flush();
    }
    if (outcome.success) {
        if (outcome.error) {
            context.err() << "kestrel: " << escaped(outcome.error->description) << " ("
                          << outcome.error->domain << " error " << outcome.error->code << ")\n";
            context.err().flush();
        }
        return KSTCliContext::Success;
    }
    if (outcome.error)
        return context.failure(*outcome.error);
    return KSTCliContext::Failure;
}

int runUninstall(KSTCliContext &context)
{
    bool includeOk = true;
    bool excludeOk = true;
    const QStringList includes =
        context.takeRepeatedOption(QStringLiteral("--include"), &includeOk);
    const QStringList excludes =
        context.takeRepeatedOption(QStringLiteral("--exclude"), &excludeOk);
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    if (!includeOk || !excludeOk)
        return context.usageError(QStringLiteral("--include and --exclude need a path"));
    if (context.arguments().size() != 1)
        return context.usageError(QStringLiteral("apps uninstall needs one APP (an identifier "
                                                 "or a bundle path)"));
    int status = KSTCliContext::Success;
    const std::optional<AppDetails> details =
        detailsOfApp(context, context.arguments().first(), &status);
    if (!details)
        return status;

    KSTAppUninstallSelection selection(KSTAppInventoryEngine::shared());
    selection.setApp(details->record, details->snapshot->apps);
    for (const auto &[paths, tick] : {std::pair{includes, true}, std::pair{excludes, false}}) {
        for (const QString &given : paths) {
            const QString path = listedPath(details->record, given);
            if (!selection.isListed(path) || path == details->record.bundlePath ||
                !selection.setTicked(path, tick))
                return context.usageError(
                    QStringLiteral("'%1' is not listed as a removable related file of %2%3")
                        .arg(given, details->record.name,
                             selection.isAnotherCopyInstalled()
                                 ? QStringLiteral(" while another copy of it is installed")
                                 : QString()));
        }
    }

    if (!selection.canUninstall()) {
        KSTAppUninstaller::Result refused;
        refused.error =
            KSTAppUninstaller::refusalForApp(details->record)
                .value_or(KSTAppUninstaller::errorForCode(KSTAppUninstaller::SystemApplication));
        return finishUninstall(
            context, KSTAppUninstallSelection::outcomeFor(refused, details->record.name, false));
    }
    // With --json the document alone goes to standard output.
    QTextStream &talk = context.talk();
    KSTAppsOutput::printRows(talk, selection);
    talk << selection.confirmationMessage() << '\n'
         << selection.confirmationInformativeText() << '\n';
    if (!context.confirm(QStringLiteral("Uninstall?"), yes)) {
        if (context.json())
            context.printJson(uninstallJson({}));
        return KSTCliContext::Failure;
    }

    std::optional<KSTAppUninstallOutcome> outcome;
    selection.startUninstall(
        [&outcome](const KSTAppUninstallOutcome &finished) { outcome = finished; });
    if (!KSTDispatch::runMainLoopUntil([&outcome] { return outcome.has_value(); }, WorkTimeoutMs))
        return didNotFinish(context, QStringLiteral("uninstall"));
    return finishUninstall(context, *outcome);
}

int runUndo(KSTCliContext &context)
{
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("apps undo takes no argument '%1'").arg(context.arguments().first()));
    const QList<KSTAppUninstallHistory::Item> items = KSTAppUninstallHistory::lastUninstallItems();
    QTextStream &talk = context.talk();
    if (items.isEmpty()) {
        talk << "Nothing to put back: no uninstall moved anything to the Trash since the last "
                "put back.\n";
        talk.flush();
        if (context.json())
            context.printJson(QJsonObject{{QStringLiteral("restoredPaths"), QJsonArray()},
                                          {QStringLiteral("skippedPaths"), QJsonArray()}});
        return KSTCliContext::Failure;
    }
    talk << "Put back " << items.size() << " item(s) from the Trash:\n";
    for (const KSTAppUninstallHistory::Item &item : items)
        talk << "  " << escaped(item.originalPath) << '\n';
    if (!context.confirm(QStringLiteral("Put back?"), yes)) {
        return KSTCliContext::Failure;
    }

    std::optional<KSTAppUninstallHistory::PutBackResult> result;
    KSTAppUninstaller(KSTAppInventoryEngine::shared())
        .putBackLastUninstall(
            [&result](const KSTAppUninstallHistory::PutBackResult &done) { result = done; });
    if (!KSTDispatch::runMainLoopUntil([&result] { return result.has_value(); }, WorkTimeoutMs))
        return didNotFinish(context, QStringLiteral("put back"));
    if (context.json()) {
        context.printJson(QJsonObject{
            {QStringLiteral("restoredPaths"), QJsonArray::fromStringList(result->restoredPaths)},
            {QStringLiteral("skippedPaths"), QJsonArray::fromStringList(result->skippedPaths)}});
    } else {
        for (const QString &path : result->restoredPaths)
            context.out() << "put back: " << escaped(path) << '\n';
        for (qsizetype index = 0; index < result->skippedPaths.size(); ++index)
            context.out() << "left in the Trash: " << escaped(result->reasons.value(index)) << '\n';
        context.out().flush();
    }
    return result->restoredPaths.isEmpty() ? KSTCliContext::Failure : KSTCliContext::Success;
}

} // namespace

int kstRunAppsCommand(KSTCliContext &context)
{
    const QStringList arguments = context.arguments();
    const QString sub = arguments.isEmpty() ? QString() : arguments.first();
    const auto run = [&](int (*command)(KSTCliContext &)) {
        KSTCliContext inner(arguments.mid(1), context.json(), context.out(), context.err());
        return command(inner);
    };
    if (sub == QLatin1String("show"))
        return run(runShow);
    if (sub == QLatin1String("uninstall"))
        return run(runUninstall);
    if (sub == QLatin1String("undo"))
        return run(runUndo);
    return runInventory(context);
}
