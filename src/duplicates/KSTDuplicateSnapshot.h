#pragma once

#include <QString>
#include <QStringList>

/// Progress and result of a duplicate scan. The scan-service frame sets only the progress of
/// the first snapshot; groups and summaries arrive with the Duplicates engine.
struct KSTDuplicateSnapshot
{
    QStringList scannedPaths;
    QString statusText;      ///< "Preparing scan…"
    double scanProgress = 0; ///< 0..1
    bool isComplete = false;
};
