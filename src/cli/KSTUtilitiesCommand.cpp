#include "KSTUtilitiesCommand.h"

#include "KSTDispatch.h"
#include "KSTFormatting.h"
#include "KSTTerminalText.h"
#include "KSTUtilitiesCommandSupport.h"
#include "KSTUtilitiesManager.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

using namespace KSTUtilitiesCommandSupport;

// Each folder's du may take up to its own time-out; ten folders.
constexpr int HomeSizesTimeoutMs = 11 * KSTUtilitiesManager::DuTimeoutMs;

QJsonValue utilitiesBytesValue(quint64 bytes)
{
    return QJsonValue(qint64(bytes));
}

int listDefaultApps(KSTCliContext &context)
{
    const QList<KSTDefaultAppRecord> records =
        KSTUtilitiesManager::sharedManager().scanDefaultAppBindings();
    if (context.json()) {
        QJsonArray array;
        for (const KSTDefaultAppRecord &record : records) {
            QJsonArray candidates;
            for (const KSTDefaultAppCandidate &candidate : record.candidates)
                candidates.append(
                    QJsonObject{{QStringLiteral("name"), candidate.name},
                                {QStringLiteral("bundleIdentifier"), candidate.bundleIdentifier}});
            array.append(QJsonObject{
                {QStringLiteral("extensionLabel"), record.extensionLabel},
                {QStringLiteral("contentTypeUTI"), record.contentTypeUTI},
                {QStringLiteral("currentAppName"), record.currentAppName},
                {QStringLiteral("currentBundleIdentifier"), record.currentBundleIdentifier},
                {QStringLiteral("candidates"), candidates}});
        }
        context.printJson(array);
        return KSTCliContext::Success;
    }
    QTextStream &out = context.out();
    if (records.isEmpty())
        out << "No file types with an application to open them.\n";
    for (const KSTDefaultAppRecord &record : records) {
        QStringList names;
        for (const KSTDefaultAppCandidate &candidate : record.candidates)
            names << KSTTerminalText::escaped(candidate.name);
        out << KSTTerminalText::escaped(record.extensionLabel).leftJustified(18) << ' '
            << KSTTerminalText::escaped(record.currentAppName).leftJustified(24) << ' '
            << KSTTerminalText::escaped(record.contentTypeUTI)
            << "\n    can open: " << names.join(QStringLiteral(", ")) << '\n';
    }
    out.flush();
    return KSTCliContext::Success;
}

int setDefaultApp(KSTCliContext &context)
{
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    if (context.arguments().size() != 2)
        return context.usageError(QStringLiteral("default-apps set needs UTI and BUNDLE-ID"));
    const QString uti = context.arguments().at(0);
    const QString bundleIdentifier = context.arguments().at(1);
    QTextStream &stream = context.talk();
    stream << KSTTerminalText::escaped(
                  QStringLiteral("Open files of type %1 with %2?").arg(uti, bundleIdentifier))
           << '\n';
    if (!context.confirm(QStringLiteral("Change?"), yes))
        return KSTCliContext::Failure;
    KSTError error;
    const bool changed = KSTUtilitiesManager::sharedManager().setDefaultAppWithBundleIdentifier(
        bundleIdentifier, uti, &error);
    if (context.json())
        context.printJson(QJsonObject{
            {QStringLiteral("changed"), changed},
            {QStringLiteral("error"), errorJson(changed ? std::nullopt : std::optional(error))}});
    if (!changed)
        return context.failure(error);
    stream << "Changed.\n";
    stream.flush();
    return KSTCliContext::Success;
}

} // namespace

int kstRunDefaultAppsCommand(KSTCliContext &context)
{
    if (!context.arguments().isEmpty() && context.arguments().first() == QLatin1String("set")) {
        KSTCliContext sub(context.arguments().mid(1), context.json(), context.out(), context.err());
        return setDefaultApp(sub);
    }
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("default-apps takes no argument '%1'").arg(context.arguments().first()));
    return listDefaultApps(context);
}

int kstRunTrashOriginsCommand(KSTCliContext &context)
{
    if (!context.arguments().isEmpty())
        return context.usageError(QStringLiteral("trash-origins takes no argument '%1'")
                                      .arg(context.arguments().first()));
    const QList<KSTTrashSourceRecord> records =
        KSTUtilitiesManager::sharedManager().scanTrashSourceItems();
    if (context.json()) {
        QJsonArray array;
        for (const KSTTrashSourceRecord &record : records)
            array.append(QJsonObject{{QStringLiteral("fileName"), record.fileName},
                                     {QStringLiteral("originalLocation"), record.originalLocation},
                                     {QStringLiteral("deletedBy"), record.deletedBy},
                                     {QStringLiteral("trashPath"), record.trashPath}});
        context.printJson(array);
        return KSTCliContext::Success;
    }
    QTextStream &out = context.out();
    if (records.isEmpty())
        out << "The Trash is empty.\n";
    for (const KSTTrashSourceRecord &record : records)
        out << KSTTerminalText::escaped(record.fileName) << "\n    from "
            << KSTTerminalText::escaped(record.originalLocation) << ", deleted by "
            << KSTTerminalText::escaped(record.deletedBy) << '\n';
    out.flush();
    return KSTCliContext::Success;
}

int kstRunHomeSizesCommand(KSTCliContext &context)
{
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("home-sizes takes no argument '%1'").arg(context.arguments().first()));
    struct Outcome
    {
        QList<KSTDiskFolderRecord> folders;
        quint64 total = 0;
        quint64 used = 0;
    };
    std::optional<Outcome> outcome;
    KSTUtilitiesManager::sharedManager().scanHomeDirectoryFolderSizesWithCompletion(
        [&outcome](const QList<KSTDiskFolderRecord> &folders, quint64 total, quint64 used) {
            outcome = Outcome{folders, total, used};
        });
    if (!KSTDispatch::runMainLoopUntil([&outcome] { return outcome.has_value(); },
                                       HomeSizesTimeoutMs))
        return context.failure({KSTUtilitiesManager::ErrorDomain,
                                0,
                                QStringLiteral("The folder sizes did not arrive."),
                                {}});
    quint64 sum = 0;
    for (const KSTDiskFolderRecord &folder : outcome->folders)
        sum += folder.bytes;
    if (context.json()) {
        QJsonArray folders;
        for (const KSTDiskFolderRecord &folder : outcome->folders)
            folders.append(
                QJsonObject{{QStringLiteral("name"), folder.name},
                            {QStringLiteral("path"), folder.path},
                            {QStringLiteral("bytes"), utilitiesBytesValue(folder.bytes)}});
        context.printJson(
            QJsonObject{{QStringLiteral("folders"), folders},
                        {QStringLiteral("totalBytes"), utilitiesBytesValue(outcome->total)},
                        {QStringLiteral("usedBytes"), utilitiesBytesValue(outcome->used)}});
        return KSTCliContext::Success;
    }
    QTextStream &out = context.out();
    for (const KSTDiskFolderRecord &folder : outcome->folders)
        out << folder.name.leftJustified(14) << ' '
            << KSTFormatting::formatBytes(folder.bytes).rightJustified(10) << "  "
            << KSTTerminalText::escaped(folder.path) << '\n';
    out << "Volume: " << KSTFormatting::formatBytes(outcome->used) << " used of "
        << KSTFormatting::formatBytes(outcome->total)
        << " (these folders: " << KSTFormatting::formatBytes(sum) << ", as du counts them)\n";
    out.flush();
    return KSTCliContext::Success;
}
