#include "KSTCleanUpCommand.h"

#include "KSTCleanUpSelectionModel.h"
#include "KSTDispatch.h"
#include "KSTFileName.h"
#include "KSTFormatting.h"
#include "KSTSystemInfo.h"
#include "KSTTerminalText.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>

namespace {

// A scan walks the whole home and runs find over it; on a large disk that takes minutes,
// but an answer that never comes (no builder installed) must not hang the command for ever.
constexpr int ScanTimeoutMs = 30 * 60 * 1000;
constexpr int RemovalTimeoutMs = 60 * 60 * 1000;

const QStringList CategoryTypes = {QStringLiteral("systemJunk"), QStringLiteral("trashes"),
                                   QStringLiteral("largeFiles"), QStringLiteral("removable")};

QJsonValue bytesValue(quint64 bytes)
{
    return QJsonValue(qint64(bytes));
}

QJsonArray itemsJson(const QList<KSTCleanUpItem> &items)
{
    QJsonArray array;
    for (const KSTCleanUpItem &item : items)
        array.append(QJsonObject{{QStringLiteral("name"), item.name},
                                 {QStringLiteral("displayPath"), item.displayPath},
                                 {QStringLiteral("filePath"), item.filePath},
                                 {QStringLiteral("bytes"), bytesValue(item.bytes)},
                                 {QStringLiteral("nameOnlyInList"), item.nameOnlyInList}});
    return array;
}

QJsonObject snapshotJson(const KSTCleanUpSnapshot &snapshot)
{
    QJsonArray categories;
    for (const KSTCleanUpCategory &category : snapshot.categories)
        categories.append(QJsonObject{
            {QStringLiteral("categoryType"), category.categoryType},
            {QStringLiteral("name"), category.name},
            {QStringLiteral("categoryDescription"), category.categoryDescription},
            {QStringLiteral("items"), itemsJson(category.items)},
            {QStringLiteral("allItems"),
             category.allItems ? QJsonValue(itemsJson(*category.allItems)) : QJsonValue()},
            {QStringLiteral("totalBytes"), bytesValue(category.totalBytes)}});
    return QJsonObject{
        {QStringLiteral("categories"), categories},
        {QStringLiteral("totalReclaimableBytes"), bytesValue(snapshot.totalReclaimableBytes)},
        {QStringLiteral("storageTotalBytes"), bytesValue(snapshot.storageTotalBytes)},
        {QStringLiteral("filesAnalyzed"), bytesValue(snapshot.filesAnalyzed)},
        {QStringLiteral("scanDate"), snapshot.scanDate.toString(Qt::ISODateWithMs)},
        {QStringLiteral("isPartial"), snapshot.isPartial},
    };
}

void printSummary(QTextStream &out, const KSTCleanUpSnapshot &snapshot)
{
    out << KSTFormatting::formatBytesShort(snapshot.totalReclaimableBytes) << " reclaimable of "
        << KSTFormatting::formatBytesShort(snapshot.storageTotalBytes) << " · "
        << KSTFormatting::formatCount(snapshot.filesAnalyzed) << " files analyzed\n";
    for (const KSTCleanUpCategory &category : snapshot.categories) {
        out << '\n'
            << category.name.leftJustified(40) << ' '
            << KSTFormatting::formatBytesShort(category.totalBytes).rightJustified(9) << "  ("
            << category.categoryType << ")\n"
            << category.categoryDescription << '\n';
        const QList<KSTCleanUpItem> items = category.reviewItems();
        if (items.isEmpty())
            out << "  nothing found\n";
        for (const KSTCleanUpItem &item : items)
            out << "  " << KSTTerminalText::escaped(item.name).leftJustified(38) << ' '
                << KSTFormatting::formatBytesShort(item.bytes).rightJustified(9) << "  "
                << KSTTerminalText::escaped(item.filePath) << '\n';
    }
}

// Fetches through the model the window uses and waits for the complete snapshot; the
// placeholder that arrives first is passed over.
KSTSystemInfo::CleanUpSnapshotPtr scan(KSTCleanUpSelectionModel &model)
{
    model.refresh();
    KSTDispatch::runMainLoopUntil([&model] { return model.hasCompleteSnapshot(); }, ScanTimeoutMs);
    return model.hasCompleteSnapshot() ? model.snapshot() : nullptr;
}

int scanDidNotArrive(KSTCliContext &context)
{
    return context.failure({QStringLiteral("KSTSystemInfo"),
                            1,
                            QStringLiteral("The clean-up scan did not finish."),
                            {}});
}

int runSnapshot(KSTCliContext &context)
{
    KSTCleanUpSelectionModel model(KSTSystemInfo::shared());
    const KSTSystemInfo::CleanUpSnapshotPtr snapshot = scan(model);
    if (!snapshot)
        return scanDidNotArrive(context);
    if (context.json())
        context.printJson(snapshotJson(*snapshot));
    else
        printSummary(context.out(), *snapshot);
    return KSTCliContext::Success;
}

void printOutcome(KSTCliContext &context, const KSTCleanUpOutcome &outcome)
{
    if (context.json()) {
        QJsonValue error;
        if (outcome.error)
            error = QJsonObject{{QStringLiteral("domain"), outcome.error->domain},
                                {QStringLiteral("code"), outcome.error->code},
                                {QStringLiteral("description"), outcome.error->description}};
        QJsonArray skipped;
        for (const KSTCleanUpRemoval::Failure &failure : outcome.failures)
            skipped.append(QJsonObject{{QStringLiteral("path"), failure.path},
                                       {QStringLiteral("reason"), failure.reason}});
        context.printJson(
            QJsonObject{{QStringLiteral("itemsRemoved"), bytesValue(outcome.itemsRemoved)},
                        {QStringLiteral("bytesRemoved"), bytesValue(outcome.bytesRemoved)},
                        {QStringLiteral("error"), error},
                        {QStringLiteral("skipped"), skipped}});
        return;
    }
    QTextStream &out = context.out();
    out << "Removed " << outcome.itemsRemoved << " item(s), "
        << KSTFormatting::formatBytesShort(outcome.bytesRemoved) << " (" << outcome.bytesRemoved
        << " bytes)\n";
    if (outcome.alert == KSTCleanUpOutcome::Alert::PartlyCleaned)
        out << outcome.message << ": " << KSTTerminalText::escaped(outcome.informativeText) << '\n';
    if (!outcome.failures.isEmpty())
        out << "Left in place (" << outcome.failures.size() << "):\n";
    for (const KSTCleanUpRemoval::Failure &failure : outcome.failures)
        out << "  " << KSTTerminalText::escaped(failure.reason) << '\n';
    out.flush();
}

int runClean(KSTCliContext &context)
{
    bool categoriesOk = true;
    bool itemsOk = true;
    const QStringList categories =
        context.takeRepeatedOption(QStringLiteral("--category"), &categoriesOk);
    const QStringList paths = context.takeRepeatedOption(QStringLiteral("--item"), &itemsOk);
    const bool yes = context.takeFlag(QStringLiteral("--yes"));
    if (!categoriesOk)
        return context.usageError(QStringLiteral("--category needs a category type"));
    if (!itemsOk)
        return context.usageError(QStringLiteral("--item needs a path"));
    if (!context.arguments().isEmpty())
        return context.usageError(QStringLiteral("cleanup clean takes no argument '%1'")
                                      .arg(context.arguments().first()));
    if (categories.isEmpty() && paths.isEmpty())
        return context.usageError(
            QStringLiteral("cleanup clean needs --category TYPE or --item PATH"));
    for (const QString &type : categories) {
        if (!CategoryTypes.contains(type))
            return context.usageError(QStringLiteral("unknown category '%1' (one of %2)")
                                          .arg(type, CategoryTypes.join(QStringLiteral(", "))));
    }

    KSTCleanUpSelectionModel model(KSTSystemInfo::shared());
    if (!scan(model))
        return scanDidNotArrive(context);
    for (const QString &type : categories)
        model.setCategorySelected(model.indexOfCategoryType(type), true);
    for (const QString &path : paths) {
        if (!model.selectItemWithFilePath(path))
            return context.usageError(
                QStringLiteral("no clean-up item has the path '%1' (see 'kestrel cleanup')")
                    .arg(path));
    }
    if (!model.canClean()) {
        context.err() << "kestrel: nothing to clean: the selection holds no item with a size\n";
        context.err().flush();
        return KSTCliContext::Failure;
    }

    // With --json the document alone goes to standard output.
    QTextStream &talk = context.talk();
    talk << model.confirmationMessage() << '\n' << model.confirmationInformativeText() << '\n';
    if (!context.confirm(QStringLiteral("Clean?"), yes)) {
        return KSTCliContext::Failure;
    }

    std::optional<KSTCleanUpOutcome> outcome;
    model.startCleaning([&outcome](const KSTCleanUpOutcome &finished) { outcome = finished; });
    if (!KSTDispatch::runMainLoopUntil([&outcome] { return outcome.has_value(); },
                                       RemovalTimeoutMs))
        return context.failure({QStringLiteral("KSTSystemInfo"),
                                2,
                                QStringLiteral("The removal did not finish."),
                                {}});
    printOutcome(context, *outcome);
    if (outcome->itemsRemoved != 0)
        return KSTCliContext::Success;
    if (outcome->error)
        return context.failure(*outcome->error);
    context.err() << "kestrel: " << outcome->message << ": "
                  << KSTTerminalText::escaped(outcome->informativeText) << '\n';
    context.err().flush();
    return KSTCliContext::Failure;
}

} // namespace

int kstRunCleanUpCommand(KSTCliContext &context)
{
    if (!context.arguments().isEmpty() && context.arguments().first() == QLatin1String("clean")) {
        KSTCliContext clean(context.arguments().mid(1), context.json(), context.out(),
                            context.err());
        return runClean(clean);
    }
    if (!context.arguments().isEmpty())
        return context.usageError(
            QStringLiteral("cleanup takes no argument '%1'").arg(context.arguments().first()));
    return runSnapshot(context);
}
