#include "KSTDuplicateComparison.h"

#include "KSTDuplicateCategories.h"
#include "KSTDuplicateDigest.h"
#include "KSTDuplicateFileCollection.h"

#include <QHash>

#include <algorithm>
#include <span>
#include <string>
#include <unordered_map>

namespace {

using Record = KSTDuplicateFileRecord;

// Positions of the entries of @p fingerprints that another entry shares (failed ones never).
std::vector<std::size_t> positionsWithPartners(std::span<const std::optional<quint64>> fingerprints)
{
    std::unordered_map<quint64, int> counts;
    for (const std::optional<quint64> &fingerprint : fingerprints) {
        if (fingerprint)
            ++counts[*fingerprint];
    }
    std::vector<std::size_t> positions;
    for (std::size_t position = 0; position < fingerprints.size(); ++position) {
        if (fingerprints[position] && counts[*fingerprints[position]] > 1)
            positions.push_back(position);
    }
    return positions;
}

} // namespace

KSTDuplicateComparison::KSTDuplicateComparison(const KSTDuplicateScanHooks &hooks)
    : m_hooks(hooks), m_hasher(hooks)
{
}

bool KSTDuplicateComparison::processDuplicateSizeBucket(const QList<Record> &records,
                                                        quint64 generation,
                                                        QList<KSTDuplicateGroup> &groups)
{
    if (records.size() < 2)
        return true;
    // 1. Sample fingerprints.
    const std::vector<std::optional<quint64>> fingerprints =
        m_hasher.computeSampleFingerprintsForRecords(records, generation);
    if (m_hooks.cancelled(generation))
        return false;
    QList<Record> withPartners;
    for (const std::size_t position : positionsWithPartners(fingerprints))
        withPartners.append(records.at(static_cast<qsizetype>(position)));
    return groupFilesWithPartners(withPartners, generation, groups);
}

bool KSTDuplicateComparison::processDuplicateSizeBuckets(
    const KSTDuplicateFileCollection &collection, const std::vector<std::vector<quint32>> &buckets,
    quint64 generation, QList<KSTDuplicateGroup> &groups)
{
    // 1. Sample fingerprints of every file that has a size partner, straight from the
    // collection; small files read whole are kept for their digests.
    std::vector<quint32> candidates;
    for (const std::vector<quint32> &bucket : buckets) {
        if (bucket.size() >= 2)
            candidates.insert(candidates.end(), bucket.begin(), bucket.end());
    }
    if (candidates.empty()) {
        finishPendingGroups(collection, groups);
        return true;
    }
    // The previous batch's groups are made while the workers read this batch's files.
    std::vector<std::string_view> wholeContents;
    const std::vector<std::optional<quint64>> fingerprints =
        m_hasher.computeSampleFingerprintsForFiles(
            collection, candidates, generation, &wholeContents,
            [&] { finishPendingGroups(collection, groups); });
    if (m_hooks.cancelled(generation))
        return false;
    // The files left, each with its set: same size and fingerprint, so probably equal. Files
    // above the partial-digest threshold skip the content digest: comparing them with each
    // other (head and tail first) decides as well, and only their full digests are needed.
    std::vector<quint32> withPartners;
    std::vector<quint32> fingerprintSets;
    std::vector<std::string_view> partnerContents;
    std::vector<quint32> needFullDigest;
    std::vector<quint32> fullDigestSets;
    std::size_t offset = 0;
    quint32 setsBefore = 0;
    for (const std::vector<quint32> &bucket : buckets) {
        if (bucket.size() < 2)
            continue;
        const std::span<const std::optional<quint64>> bucketFingerprints(
            fingerprints.data() + offset, bucket.size());
        std::unordered_map<quint64, quint32> setOfFingerprint;
        for (const std::size_t position : positionsWithPartners(bucketFingerprints)) {
            const auto [set, added] = setOfFingerprint.try_emplace(
                *bucketFingerprints[position], setsBefore + quint32(setOfFingerprint.size()));
            if (collection.bytesAt(bucket[position]) > KSTDuplicateDigest::PartialDigestThreshold) {
                needFullDigest.push_back(bucket[position]);
                fullDigestSets.push_back(set->second);
                continue;
            }
            withPartners.push_back(bucket[position]);
            fingerprintSets.push_back(set->second);
            partnerContents.push_back(wholeContents[offset + position]);
        }
        setsBefore += quint32(setOfFingerprint.size());
        offset += bucket.size();
    }
    wholeContents.clear();
    if (withPartners.empty() && needFullDigest.empty())
        return true;

    // 2. Content digests, complete up to the threshold; the size prefix keeps buckets of
    // different sizes apart.
    std::map<quint64, std::map<KSTSHA256Digest, std::vector<quint32>>> finalBySize;
    if (!withPartners.empty()) {
        const std::vector<std::optional<KSTSHA256Digest>> contentDigests =
            m_hasher.computeContentDigestsForFiles(collection, withPartners, fingerprintSets,
                                                   generation, partnerContents);
        partnerContents.clear();
        if (m_hooks.cancelled(generation))
            return false;
        for (std::size_t position = 0; position < withPartners.size(); ++position) {
            const quint32 file = withPartners[position];
            if (contentDigests[position])
                finalBySize[collection.bytesAt(file)][*contentDigests[position]].push_back(file);
        }
    }

    // 3. Larger files by full digest.
    if (!needFullDigest.empty()) {
        const std::vector<std::optional<KSTSHA256Digest>> fullDigests =
            m_hasher.computeFullDigestsForFiles(collection, needFullDigest, fullDigestSets,
                                                generation);
        if (m_hooks.cancelled(generation))
            return false;
        for (std::size_t position = 0; position < needFullDigest.size(); ++position) {
            const quint32 file = needFullDigest[position];
            if (fullDigests[position])
                finalBySize[collection.bytesAt(file)][*fullDigests[position]].push_back(file);
        }
    }

    // 4. Groups, made during the next batch's reading or by finishPendingGroups().
    m_pendingGroups = std::move(finalBySize);
    return true;
}

void KSTDuplicateComparison::finishPendingGroups(const KSTDuplicateFileCollection &collection,
                                                 QList<KSTDuplicateGroup> &groups)
{
    // Records are made only for the files of groups.
    for (const auto &[size, finalBuckets] : m_pendingGroups) {
        DigestBuckets records;
        for (const auto &[digest, files] : finalBuckets) {
            if (files.size() < 2)
                continue;
            QList<Record> &list = records[digest];
            for (const quint32 file : files)
                list.append(collection.recordAt(file));
        }
        appendDuplicateGroupsFromHashBuckets(records, size, groups);
    }
    m_pendingGroups.clear();
}

bool KSTDuplicateComparison::groupFilesWithPartners(const QList<Record> &withPartners,
                                                    quint64 generation,
                                                    QList<KSTDuplicateGroup> &groups)
{
    if (withPartners.isEmpty())
        return true;
    // 2. Content digests; the size prefix keeps buckets of different sizes apart.
    const QList<KSTDuplicateDigestResult> contentDigests =
        m_hasher.computeContentDigestsForRecords(withPartners, generation);
    if (m_hooks.cancelled(generation))
        return false;
    DigestBuckets byContent;
    for (const KSTDuplicateDigestResult &result : contentDigests)
        byContent[result.digest].append(result.record);

    // 3. Final buckets per size: complete digests as they are, large files by full digest.
    std::map<quint64, DigestBuckets> finalBySize;
    QList<Record> needFullDigest;
    for (const auto &[digest, records] : byContent) {
        if (records.size() < 2)
            continue;
        const quint64 size = records.first().bytes;
        if (size <= KSTDuplicateDigest::PartialDigestThreshold)
            finalBySize[size][digest] = records;
        else
            needFullDigest.append(records);
    }
    if (!needFullDigest.isEmpty()) {
        const QList<KSTDuplicateDigestResult> fullDigests =
            m_hasher.computeFullDigestsForRecords(needFullDigest, generation);
        if (m_hooks.cancelled(generation))
            return false;
        for (const KSTDuplicateDigestResult &result : fullDigests)
            finalBySize[result.record.bytes][result.digest].append(result.record);
    }

    // 4. Groups.
    for (const auto &[size, finalBuckets] : finalBySize)
        appendDuplicateGroupsFromHashBuckets(finalBuckets, size, groups);
    return true;
}

void KSTDuplicateComparison::appendDuplicateGroupsFromHashBuckets(const DigestBuckets &buckets,
                                                                  quint64 fileSize,
                                                                  QList<KSTDuplicateGroup> &groups)
{
    for (const auto &[digest, records] : buckets) {
        if (records.size() < 2)
            continue;
        KSTDuplicateGroup group;
        group.files = records;
        sortFilesNewestFirst(group.files);
        group.hashKey = KSTDuplicateDigest::hexStringFromDigest(digest);
        // The last component, without a QFileInfo per group.
        const QString &path = group.files.first().path;
        group.fileName = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
        group.fileSize = fileSize;
        group.reclaimableBytes = quint64(group.files.size() - 1) * fileSize;
        group.categoryType = KSTDuplicateCategories::duplicateCategoryForExtension(
            KSTDuplicateCategories::extensionOfFileName(group.fileName));
        groups.append(std::move(group));
    }
}

void KSTDuplicateComparison::sortFilesNewestFirst(QList<Record> &files)
{
    std::sort(files.begin(), files.end(), [](const Record &a, const Record &b) {
        if (a.modificationDate != b.modificationDate)
            return a.modificationDate > b.modificationDate;
        return a.path < b.path;
    });
}

void KSTDuplicateComparison::sortGroups(QList<KSTDuplicateGroup> &groups)
{
    std::sort(groups.begin(), groups.end(),
              [](const KSTDuplicateGroup &a, const KSTDuplicateGroup &b) {
                  if (a.reclaimableBytes != b.reclaimableBytes)
                      return a.reclaimableBytes > b.reclaimableBytes;
                  if (a.fileName != b.fileName)
                      return a.fileName < b.fileName;
                  return a.hashKey < b.hashKey;
              });
}

QList<KSTDuplicateCategorySummary>
KSTDuplicateComparison::categorySummaries(const QList<KSTDuplicateGroup> &groups)
{
    QList<KSTDuplicateCategorySummary> summaries;
    QHash<QString, qsizetype> indexOfType;
    for (const QString &type : KSTDuplicateCategories::categoryTypes()) {
        indexOfType.insert(type, summaries.size());
        summaries.append({type,
                          KSTDuplicateCategories::duplicateCategoryName(type),
                          KSTDuplicateCategories::duplicateCategorySymbol(type),
                          0,
                          0,
                          {}});
    }
    for (const KSTDuplicateGroup &group : groups) {
        KSTDuplicateCategorySummary &summary =
            summaries[indexOfType.value(group.categoryType, summaries.size() - 1)];
        summary.groups.append(group);
        ++summary.groupCount;
        summary.reclaimableBytes += group.reclaimableBytes;
    }
    return summaries;
}
