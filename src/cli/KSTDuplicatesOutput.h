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

} // namespace KSTDuplicatesOutput
