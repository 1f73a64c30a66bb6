#include "KSTEraseCommand.h"

#include "KSTDispatch.h"
#include "KSTFileName.h"
#include "KSTSecureEraseModel.h"
#include "KSTTerminalText.h"
#include "KSTUtilitiesCommandSupport.h"
#include "KSTUtilitiesManager.h"

#include <QJsonObject>

#include <sys/stat.h>

namespace {

using namespace KSTUtilitiesCommandSupport;

// Overwriting is bounded by the disk: a few hundred gigabytes may take hours, but a job that
// never reports must not hold the command for ever.
constexpr int EraseTimeoutMs = 24 * 60 * 60 * 1000;

const QStringList Methods = {QStringLiteral("quick"), QStringLiteral("secure"),
                             QStringLiteral("dod")};

void printEraseOutcome(KSTCliContext &context, bool success, const std::optional<KSTError> &error)
{
    if (context.json())
        context.printJson(QJsonObject{{QStringLiteral("success"), success},
                                      {QStringLiteral("error"), errorJson(error)}});
}

} // namespace

int kstRunEraseCommand(KSTCliContext &context)
{
    bool methodOk = true;
    const std::optional<QString> method = context.takeOption(QStringLiteral("--method"), &methodOk);
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    const bool dryRun = context.takeFlag(QStringLiteral("--dry-run"));
    if (!methodOk || (method && !Methods.contains(*method)))
        return context.usageError(QStringLiteral("--method takes quick, secure or dod"));
    if (context.arguments().isEmpty())
        return context.usageError(QStringLiteral("erase needs at least one PATH"));

    QStringList paths;
    for (const QString &typed : context.arguments()) {
        const QString path = KSTUtilitiesManager::standardizedPath(absolutePath(typed));
        struct stat status = {};
        if (::lstat(KSTFileName::encoded(path).constData(), &status) != 0)
            return context.usageError(QStringLiteral("nothing to erase at '%1'").arg(typed));
        paths << path;
    }

    KSTUtilitiesManager &manager = KSTUtilitiesManager::sharedManager();
    KSTSecureEraseModel model(manager);
    if (const std::optional<QString> refusal = model.refusalForPaths(paths)) {
        const KSTError error =
            KSTUtilitiesManager::makeError(KSTUtilitiesManager::ProtectedErasePath, *refusal);
        printEraseOutcome(context, false, error);
        return context.failure(error);
    }

    const KSTSecureEraseModel::Preview preview = model.preview(paths);
    if (dryRun) {
        if (context.json())
            context.printJson(QJsonObject{
                {QStringLiteral("filesToOverwrite"), qint64(preview.filesToOverwrite)},
                {QStringLiteral("bytesToOverwrite"), qint64(preview.bytesToOverwrite)},
                {QStringLiteral("entriesOnlyRemoved"), qint64(preview.entriesOnlyRemoved)}});
        else
            context.out() << KSTSecureEraseModel::previewText(preview) << '\n';
        context.out().flush();
        return KSTCliContext::Success;
    }

    QTextStream &stream = context.talk();
    stream << KSTSecureEraseModel::confirmationMessage() << '\n'
           << model.confirmationInformativeText(paths) << '\n'
           << KSTSecureEraseModel::previewText(preview) << '\n'
           << KSTSecureEraseModel::honestyText() << '\n';
    for (const QString &path : std::as_const(paths))
        stream << "  " << KSTTerminalText::escaped(path) << '\n';
    if (!context.confirm(KSTSecureEraseModel::eraseButtonTitle() + QLatin1Char('?'), yes))
        return KSTCliContext::Failure;

    std::optional<std::pair<bool, std::optional<KSTError>>> outcome;
    model.start(
        paths, int(method ? Methods.indexOf(*method) : 0),
        [&stream](const QString &text) {
            stream << KSTTerminalText::escaped(text) << '\n';
            stream.flush();
        },
        [&outcome](bool success, const std::optional<KSTError> &error) {
            outcome = std::make_pair(success, error);
        });
    if (!KSTDispatch::runMainLoopUntil([&outcome] { return outcome.has_value(); }, EraseTimeoutMs))
        return context.failure(KSTUtilitiesManager::makeError(
            KSTUtilitiesManager::ProtectedErasePath, QStringLiteral("The erase did not finish.")));
    const auto &[success, error] = *outcome;
    printEraseOutcome(context, success, error);
    stream << KSTTerminalText::escaped(KSTSecureEraseModel::resultText(success, error)) << '\n';
    stream.flush();
    if (!success)
        return context.failure(error.value_or(
            KSTError{KSTUtilitiesManager::ErrorDomain, 0, QStringLiteral("Erase failed."), {}}));
    return KSTCliContext::Success;
}
