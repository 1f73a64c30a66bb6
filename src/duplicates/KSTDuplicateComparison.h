#pragma once

#include "KSTDuplicateHasher.h"
#include "KSTDuplicateSnapshot.h"

#include <QList>

#include <map>
#include <vector>

class KSTDuplicateFileCollection;

/// The comparison stage of a duplicate scan: from files of one size to groups of identical
/// files.
///
/// For each size bucket (records of one size):
/// 1. sample fingerprints (first and last 4 KiB, and above 512 KiB blocks in between) split
///    the bucket; a file whose fingerprint no other file of the bucket shares cannot have a
///    copy there and is read no further;
/// 2. content digests of the files left (KSTDuplicateDigest): a digest shared by two or more
///    files is final when the size is at most 512 KiB (the whole file went in);
/// 3. above 512 KiB, files whose head-and-tail digests agree get full digests, and those
///    decide;
/// 4. every final bucket of two or more files becomes a group
/// (appendDuplicateGroupsFromHashBuckets),
///    its hashKey the hex of the deciding digest.
/// Files that cannot be read are left out of their bucket without affecting the others.
///
/// processDuplicateSizeBuckets() runs several buckets of a collection through each stage
/// together, so the hash workers get enough files to share out, and makes records only for
/// the files the fingerprints keep; the groups are the same as bucket by bucket, since content
/// digests carry the size. There, files above 512 KiB skip step 2: those that share a
/// fingerprint are compared with each other byte for byte, head and tail first
/// (KSTDuplicateHasher::computeFullDigestsForFiles), and only the full digest of each set of
/// equal files is computed, which groups them exactly as steps 2 and 3 would.
///
/// Each stage is joined before the next (KSTDuplicateHasher). Use one object per scan, on one
/// thread at a time; the frame must outlive it.
class KSTDuplicateComparison
{
public:
    /// A map from digest to the records that share it.
    using DigestBuckets = std::map<KSTSHA256Digest, QList<KSTDuplicateFileRecord>>;

    explicit KSTDuplicateComparison(const KSTDuplicateScanHooks &hooks);

    /// Compares the records of one size and appends their groups to @p groups. A bucket of
    /// fewer than two records is ignored. False, with nothing appended, when G was cancelled.
    bool processDuplicateSizeBucket(const QList<KSTDuplicateFileRecord> &records,
                                    quint64 generation, QList<KSTDuplicateGroup> &groups);
    /// The same for several buckets of @p collection at once, each a list of file indexes. The
    /// groups found are appended during the next call, while the workers read its files (or
    /// by finishPendingGroups()), so that making them costs no time of its own.
    bool processDuplicateSizeBuckets(const KSTDuplicateFileCollection &collection,
                                     const std::vector<std::vector<quint32>> &buckets,
                                     quint64 generation, QList<KSTDuplicateGroup> &groups);
    /// Appends the groups the last processDuplicateSizeBuckets() call left to @p groups.
    void finishPendingGroups(const KSTDuplicateFileCollection &collection,
                             QList<KSTDuplicateGroup> &groups);

    /// For each bucket of two or more records: a group of files sorted newest first (equal
    /// dates by path), hashKey the digest's hex, fileName the first file's name, fileSize
    /// @p fileSize, reclaimableBytes (count − 1) × fileSize, the category of fileName's
    /// extension. Appended in the map's order.
    static void appendDuplicateGroupsFromHashBuckets(const DigestBuckets &buckets, quint64 fileSize,
                                                     QList<KSTDuplicateGroup> &groups);

    /// The global group order: reclaimableBytes descending, equal values by fileName
    /// ascending (plain, case-sensitive comparison), then by hashKey so the order is the
    /// same from scan to scan.
    static void sortGroups(QList<KSTDuplicateGroup> &groups);
    /// The six category summaries in fixed order, each with its groups in the order given,
    /// their count and summed reclaimableBytes; categories without groups are kept.
    static QList<KSTDuplicateCategorySummary>
    categorySummaries(const QList<KSTDuplicateGroup> &groups);

    /// Files newest first, equal dates by path ascending.
    static void sortFilesNewestFirst(QList<KSTDuplicateFileRecord> &files);

private:
    // Stages 2 to 4 for files that passed the fingerprints.
    bool groupFilesWithPartners(const QList<KSTDuplicateFileRecord> &withPartners,
                                quint64 generation, QList<KSTDuplicateGroup> &groups);

    KSTDuplicateScanHooks m_hooks;
    KSTDuplicateHasher m_hasher;
    // Per size, per digest: the files of the last batch's final buckets, not yet grouped.
    std::map<quint64, std::map<KSTSHA256Digest, std::vector<quint32>>> m_pendingGroups;
};
