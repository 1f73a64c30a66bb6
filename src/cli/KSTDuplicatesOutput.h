#pragma once

#include "KSTDuplicateReviewModel.h"
#include "KSTDuplicateSnapshot.h"

#include <QTextStream>

class KSTJsonTextWriter;

/// How `kestrel duplicates` shows a snapshot: the readable summary and the JSON object with
/// the records' property names. The review model says which copy is kept and why.
namespace KSTDuplicatesOutput {

/// Totals, the six categories, then every group with its copies newest first, the kept one
/// marked, each with why; or "No duplicate files found".
void printSummary(QTextStream &out, const KSTDuplicateSnapshot &snapshot,
                  const KSTDuplicateReviewModel &model);

/// The snapshot as one JSON object: scanPaths, categories (categoryType, name, symbol,
/// groupCount, reclaimableBytes, groups), totalGroupCount, totalReclaimableBytes,
/// filesScanned, scanProgress, scanDate, isScanning, statusText (null when unset); groups with
/// hashKey, fileName, fileSize, categoryType, files, reclaimableBytes; files with path,
/// bytes, modificationDate and selectionReason.
void writeSnapshot(KSTJsonTextWriter &json, const KSTDuplicateSnapshot &snapshot,
                   const KSTDuplicateReviewModel &model);
/// One group as writeSnapshot() writes it.
void writeGroup(KSTJsonTextWriter &json, const KSTDuplicateGroup &group,
                const KSTDuplicateReviewModel &model);

/// What a removal did, as one JSON object: itemsRemoved, bytesRemoved, removedPaths,
/// skipped ([{path, reason}]), snapshot (the model's, after its rescan or edit), and
/// selectedCategoryType and selectedGroup: the category listed and the group shown when
/// @p showsSelection (after removing the shown group), else null.
void writeRemovalOutcome(KSTJsonTextWriter &json, const KSTDuplicateRemovalOutcome &outcome,
                         const KSTDuplicateReviewModel &model, bool showsSelection);
/// What replacing copies with links did, as one JSON object: itemsLinked, bytesFreed,
/// linkedPaths, skipped ([{path, reason}]) and snapshot (the model's, after its rescan).
void writeLinkOutcome(KSTJsonTextWriter &json, const KSTDuplicateLinkOutcome &outcome,
                      const KSTDuplicateReviewModel &model);
/// The same for people.
void printLinkOutcome(QTextStream &out, const KSTDuplicateLinkOutcome &outcome);
/// The same for people: the copies moved, then every copy left in place with its reason.
void printRemovalOutcome(QTextStream &out, const KSTDuplicateRemovalOutcome &outcome);
/// The copies a removal would act on, under the button's @p title: each path with why it
/// is removable, and a note for a group that keeps no copy.
void printRemovalPlan(QTextStream &out, const QString &title, const QStringList &paths,
                      const KSTDuplicateReviewModel &model);

} // namespace KSTDuplicatesOutput
