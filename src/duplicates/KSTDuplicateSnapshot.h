#pragma once

#include "KSTFileIdentity.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// One file seen by a duplicate scan: one directory entry (a hard-linked file seen under two
/// names gives two records).
struct KSTDuplicateFileRecord
{
    QString path;               ///< absolute path
    quint64 bytes = 0;          ///< file size, never 0
    QDateTime modificationDate; ///< content modification date (UTC); the scan time when unknown

    /// What the scan saw of the entry (kind, device, inode, size, modification time to the
    /// nanosecond, link count), so that a removal can re-check that it still holds that very
    /// file; all 0 when not known.
    KSTFileIdentity identity;
};

/// Files with identical content.
struct KSTDuplicateGroup
{
    QString hashKey;                     ///< the grouping digest, 64 lower-case hex digits
    QString fileName;                    ///< last path component of the first (newest) file
    quint64 fileSize = 0;                ///< size of each file
    QString categoryType;                ///< category key from the extension of fileName
    QList<KSTDuplicateFileRecord> files; ///< at least 2, newest first, equal dates by path
    quint64 reclaimableBytes = 0;        ///< (files − 1) × fileSize
};

/// One of the six content categories with its groups.
struct KSTDuplicateCategorySummary
{
    QString categoryType; ///< "images", "photos", "videos", "audios", "archives", "others"
    QString name;         ///< "Images", …
    QString symbol;       ///< symbol image name: "photo", "photo.on.rectangle", …
    quint64 groupCount = 0;
    quint64 reclaimableBytes = 0;    ///< sum over its groups
    QList<KSTDuplicateGroup> groups; ///< in the global group order
};

/// A duplicate scan's progress report or result.
struct KSTDuplicateSnapshot
{
    QStringList scanPaths; ///< the folders scanned, as given
    /// All six categories in fixed order in a result; empty in progress reports.
    QList<KSTDuplicateCategorySummary> categories;
    quint64 totalGroupCount = 0;
    quint64 totalReclaimableBytes = 0;
    quint64 filesScanned = 0; ///< files collected (size above 0)
    double scanProgress = 0;  ///< 0..1
    QDateTime scanDate;       ///< when this snapshot was made
    bool isScanning = false;  ///< true in progress reports, false in the result
    /// The progress text; in a result "No duplicate files found" when there is no group,
    /// else unset.
    std::optional<QString> statusText;
};
