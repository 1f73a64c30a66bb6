#include "KSTDuplicatesOutput.h"

#include "KSTFormatting.h"
#include "KSTJsonTextWriter.h"
#include "KSTSystemInfo.h"
#include "KSTTerminalText.h"

#include <QHash>

namespace {

using Info = KSTFormatting;
using Model = KSTDuplicateReviewModel;

QString isoDate(const QDateTime &date)
{
    return KSTJsonTextWriter::isoDate(date);
}

QString plural(quint64 count, const char *singular, const char *pluralForm)
{
    return QStringLiteral("%1 %2").arg(Info::formatCount(count),
                                       QLatin1String(count == 1 ? singular : pluralForm));
}

void writeFile(KSTJsonTextWriter &json, const KSTDuplicateFileRecord &file,
               Model::SelectionReason reason)
{
    json.beginObject();
    json.key(QStringLiteral("path"));
    json.value(file.path);
    json.key(QStringLiteral("bytes"));
    json.value(file.bytes);
    json.key(QStringLiteral("modificationDate"));
    json.value(isoDate(file.modificationDate));
    json.key(QStringLiteral("selectionReason"));
    json.value(Model::selectionReasonKey(reason));
    json.endObject();
}

void writeSkipped(KSTJsonTextWriter &json,
                  const QList<KSTDuplicateRemovalOutcome::Skipped> &skippedCopies)
{
    json.beginArray();
    for (const KSTDuplicateRemovalOutcome::Skipped &skipped : skippedCopies) {
        json.beginObject();
        json.key(QStringLiteral("path"));
        json.value(skipped.path);
        json.key(QStringLiteral("reason"));
        json.value(skipped.reason);
        json.endObject();
    }
    json.endArray();
}

void writeStrings(KSTJsonTextWriter &json, const QStringList &strings)
{
    json.beginArray();
    for (const QString &string : strings)
        json.value(string);
    json.endArray();
}

void printSkipped(QTextStream &out, const char *heading,
                  const QList<KSTDuplicateRemovalOutcome::Skipped> &skippedCopies)
{
    if (!skippedCopies.isEmpty())
        out << heading << " (" << skippedCopies.size() << "):\n";
    for (const KSTDuplicateRemovalOutcome::Skipped &skipped : skippedCopies)
        out << "  " << KSTTerminalText::escaped(skipped.path) << ": "
            << KSTTerminalText::escaped(skipped.reason) << '\n';
}

} // namespace

void KSTDuplicatesOutput::writeGroup(KSTJsonTextWriter &json, const KSTDuplicateGroup &group,
                                     const Model &model)
{
    json.beginObject();
    json.key(QStringLiteral("hashKey"));
    json.value(group.hashKey);
    json.key(QStringLiteral("fileName"));
    json.value(group.fileName);
    json.key(QStringLiteral("fileSize"));
    json.value(group.fileSize);
    json.key(QStringLiteral("categoryType"));
    json.value(group.categoryType);
    json.key(QStringLiteral("files"));
    json.beginArray();
    const QList<Model::SelectionReason> reasons = model.selectionReasons(group);
    for (qsizetype index = 0; index < group.files.size(); ++index)
        writeFile(json, group.files.at(index), reasons.at(index));
    json.endArray();
    json.key(QStringLiteral("reclaimableBytes"));
    json.value(group.reclaimableBytes);
    json.endObject();
}

void KSTDuplicatesOutput::writeSnapshot(KSTJsonTextWriter &json,
                                        const KSTDuplicateSnapshot &snapshot, const Model &model)
{
    json.beginObject();
    json.key(QStringLiteral("scanPaths"));
    json.beginArray();
    for (const QString &path : snapshot.scanPaths)
        json.value(path);
    json.endArray();
    json.key(QStringLiteral("categories"));
    json.beginArray();
    for (const KSTDuplicateCategorySummary &category : snapshot.categories) {
        json.beginObject();
        json.key(QStringLiteral("categoryType"));
        json.value(category.categoryType);
        json.key(QStringLiteral("name"));
        json.value(category.name);
        json.key(QStringLiteral("symbol"));
        json.value(category.symbol);
        json.key(QStringLiteral("groupCount"));
        json.value(category.groupCount);
        json.key(QStringLiteral("reclaimableBytes"));
        json.value(category.reclaimableBytes);
        json.key(QStringLiteral("groups"));
        json.beginArray();
        for (const KSTDuplicateGroup &group : category.groups)
            writeGroup(json, group, model);
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.key(QStringLiteral("totalGroupCount"));
    json.value(snapshot.totalGroupCount);
    json.key(QStringLiteral("totalReclaimableBytes"));
    json.value(snapshot.totalReclaimableBytes);
    json.key(QStringLiteral("filesScanned"));
    json.value(snapshot.filesScanned);
    json.key(QStringLiteral("scanProgress"));
    json.value(snapshot.scanProgress);
    json.key(QStringLiteral("scanDate"));
    json.value(isoDate(snapshot.scanDate));
    json.key(QStringLiteral("isScanning"));
    json.value(snapshot.isScanning);
    json.key(QStringLiteral("statusText"));
    if (snapshot.statusText)
        json.value(*snapshot.statusText);
    else
        json.nullValue();
    json.endObject();
}

void KSTDuplicatesOutput::printSummary(QTextStream &out, const KSTDuplicateSnapshot &snapshot,
                                       const Model &model)
{
    out << plural(snapshot.totalGroupCount, "duplicate group", "duplicate groups") << ", "
        << Info::formatBytesShort(snapshot.totalReclaimableBytes) << " reclaimable, "
        << plural(snapshot.filesScanned, "file", "files") << " scanned\n";
    QStringList folders;
    for (const QString &path : snapshot.scanPaths)
        folders << KSTTerminalText::escaped(path);
    out << "Folders: " << folders.join(QStringLiteral(", ")) << '\n';
    if (snapshot.totalGroupCount == 0) {
        out << '\n'
            << snapshot.statusText.value_or(QStringLiteral("No duplicate files found")) << '\n';
        return;
    }
    out << '\n';
    for (const KSTDuplicateCategorySummary &category : snapshot.categories)
        out << "  " << category.name.leftJustified(10) << ' '
            << plural(category.groupCount, "group", "groups").rightJustified(12) << "  "
            << Info::formatBytesShort(category.reclaimableBytes).rightJustified(9)
            << " reclaimable\n";
    for (const KSTDuplicateCategorySummary &category : snapshot.categories) {
        if (category.groups.isEmpty())
            continue;
        out << '\n' << category.name << " (" << category.categoryType << ")\n";
        for (const KSTDuplicateGroup &group : category.groups) {
            out << "  " << KSTTerminalText::escaped(group.fileName) << ": "
                << plural(quint64(group.files.size()), "copy", "copies") << " of "
                << Info::formatBytes(group.fileSize) << ", "
                << Info::formatBytesShort(group.reclaimableBytes) << " reclaimable  ["
                << group.hashKey.left(12) << "]\n";
            for (const KSTDuplicateFileRecord &file : group.files) {
                const Model::SelectionReason reason = model.selectionReason(group, file);
                out << "    " << (Model::isKeptReason(reason) ? "keep  " : "remove") << "  "
                    << file.modificationDate.toLocalTime().toString(
                           QStringLiteral("yyyy-MM-dd HH:mm"))
                    << "  " << KSTTerminalText::escaped(file.path) << "  ("
                    << Model::selectionReasonText(reason) << ")\n";
            }
        }
    }
}

void KSTDuplicatesOutput::writeRemovalOutcome(KSTJsonTextWriter &json,
                                              const KSTDuplicateRemovalOutcome &outcome,
                                              const Model &model, bool showsSelection)
{
    json.beginObject();
    json.key(QStringLiteral("itemsRemoved"));
    json.value(outcome.itemsRemoved);
    json.key(QStringLiteral("bytesRemoved"));
    json.value(outcome.bytesRemoved);
    json.key(QStringLiteral("removedPaths"));
    writeStrings(json, outcome.removedPaths);
    json.key(QStringLiteral("skipped"));
    writeSkipped(json, outcome.skipped);
    json.key(QStringLiteral("snapshot"));
    if (model.snapshot())
        writeSnapshot(json, *model.snapshot(), model);
    else
        json.nullValue();
    json.key(QStringLiteral("selectedCategoryType"));
    if (showsSelection)
        json.value(model.selectedCategoryType());
    else
        json.nullValue();
    json.key(QStringLiteral("selectedGroup"));
    if (showsSelection && model.selectedGroup())
        writeGroup(json, *model.selectedGroup(), model);
    else
        json.nullValue();
    json.endObject();
}

void KSTDuplicatesOutput::printRemovalOutcome(QTextStream &out,
                                              const KSTDuplicateRemovalOutcome &outcome)
{
    out << "Moved " << plural(outcome.itemsRemoved, "copy", "copies") << " to the Trash, "
        << Info::formatBytesShort(outcome.bytesRemoved) << " (" << outcome.bytesRemoved
        << " bytes)\n";
    for (const QString &path : outcome.removedPaths)
        out << "  " << KSTTerminalText::escaped(path) << '\n';
    printSkipped(out, "Left in place", outcome.skipped);
}

void KSTDuplicatesOutput::writeLinkOutcome(KSTJsonTextWriter &json,
                                           const KSTDuplicateLinkOutcome &outcome,
                                           const Model &model)
{
    json.beginObject();
    json.key(QStringLiteral("itemsLinked"));
    json.value(outcome.itemsLinked);
    json.key(QStringLiteral("bytesFreed"));
    json.value(outcome.bytesFreed);
    json.key(QStringLiteral("linkedPaths"));
    writeStrings(json, outcome.linkedPaths);
    json.key(QStringLiteral("skipped"));
    writeSkipped(json, outcome.skipped);
    json.key(QStringLiteral("snapshot"));
    if (model.snapshot())
        writeSnapshot(json, *model.snapshot(), model);
    else
        json.nullValue();
    json.endObject();
}

void KSTDuplicatesOutput::printLinkOutcome(QTextStream &out, const KSTDuplicateLinkOutcome &outcome)
{
    out << "Replaced " << plural(outcome.itemsLinked, "copy", "copies") << ", freeing "
        << Info::formatBytesShort(outcome.bytesFreed) << " (" << outcome.bytesFreed << " bytes)\n";
    for (const QString &path : outcome.linkedPaths)
        out << "  " << KSTTerminalText::escaped(path) << '\n';
    printSkipped(out, "Left as they were", outcome.skipped);
}

void KSTDuplicatesOutput::printRemovalPlan(QTextStream &out, const QString &title,
                                           const QStringList &paths, const Model &model)
{
    // Each copy's group and record, looked up once.
    QHash<QString, std::pair<const KSTDuplicateGroup *, const KSTDuplicateFileRecord *>> copies;
    for (const KSTDuplicateCategorySummary &category : model.snapshot()->categories) {
        for (const KSTDuplicateGroup &group : category.groups) {
            for (const KSTDuplicateFileRecord &file : group.files)
                copies.insert(file.path, {&group, &file});
        }
    }
    out << title << '\n';
    for (const QString &path : paths) {
        out << "  " << KSTTerminalText::escaped(path);
        const auto found = copies.constFind(path);
        if (found != copies.cend()) {
            const auto [group, file] = *found;
            if (model.effectiveKeptPathsForGroup(*group).isEmpty())
                out << "  (left in place: no copy of its group is kept)";
            else
                out << "  (" << Model::selectionReasonText(model.selectionReason(*group, *file))
                    << ')';
        }
        out << '\n';
    }
}
