#include "KSTDuplicateHasher.h"

#include "KSTDispatchGroup.h"
#include "KSTDuplicateFileCollection.h"
#include "KSTSystemInfo.h"

#include <map>

namespace {

constexpr qsizetype HashWorkers = 4;

// For each entry, the first entry naming the same file (device and inode), or itself: names
// of one hard-linked file are read once and share the answer. An unknown identity (inode 0)
// is never shared.
template <typename Identity>
std::vector<qsizetype> firstNamesOfSameFile(qsizetype count, const Identity &identityAt)
{
    std::vector<qsizetype> first(static_cast<size_t>(count));
    std::map<std::pair<quint64, quint64>, qsizetype> seen;
    for (qsizetype index = 0; index < count; ++index) {
        const std::pair<quint64, quint64> identity = identityAt(index);
        first[static_cast<size_t>(index)] =
            identity.second == 0 ? index : seen.try_emplace(identity, index).first->second;
    }
    return first;
}

std::vector<qsizetype> recordFirstNames(const QList<KSTDuplicateFileRecord> &records)
{
    return firstNamesOfSameFile(records.size(), [&records](qsizetype index) {
        return std::pair{records.at(index).device, records.at(index).inode};
    });
}

// The work list: the entries that are their own first name.
std::vector<qsizetype> readsFor(const std::vector<qsizetype> &first)
{
    std::vector<qsizetype> reads;
    for (std::size_t index = 0; index < first.size(); ++index) {
        if (first[index] == qsizetype(index))
            reads.push_back(qsizetype(index));
    }
    return reads;
}

QList<KSTDuplicateDigestResult>
resultsInRecordOrder(const QList<KSTDuplicateFileRecord> &records,
                     const std::vector<qsizetype> &first,
                     const std::vector<std::optional<KSTDuplicateDigestResult>> &slots)
{
    QList<KSTDuplicateDigestResult> results;
    results.reserve(records.size());
    for (qsizetype index = 0; index < records.size(); ++index) {
        const std::optional<KSTDuplicateDigestResult> &slot =
            slots[static_cast<size_t>(first[static_cast<size_t>(index)])];
        if (slot)
            results.append({records.at(index), slot->digest, slot->complete});
    }
    return results;
}

} // namespace

KSTDuplicateHasher::KSTDuplicateHasher(KSTSystemInfo &systemInfo) : m_systemInfo(systemInfo) {}

KSTDuplicateHasher::~KSTDuplicateHasher() = default;

template <typename Task>
void KSTDuplicateHasher::forEachRecordOnHashWorkers(qsizetype count, quint64 generation,
                                                    const Task &task)
{
    // One block per worker walking its own records (i, i + 4, …) costs four hand-offs per
    // stage instead of one per file, and keeps the worker's scratch hot.
    KSTDispatchGroup group;
    for (qsizetype worker = 0; worker < std::min(count, HashWorkers); ++worker) {
        if (m_systemInfo.isDuplicateScanCancelled(generation))
            break;
        KSTDuplicateDigest::Scratch &scratch = m_scratch[static_cast<size_t>(worker)];
        group.async(m_systemInfo.duplicateHashWorkerQueueForIndex(static_cast<qint32>(worker)),
                    [this, worker, count, generation, &task, &scratch] {
                        for (qsizetype index = worker; index < count; index += HashWorkers) {
                            if (m_systemInfo.isDuplicateScanCancelled(generation))
                                return;
                            task(index, scratch);
                        }
                    });
    }
    group.wait();
}

QList<KSTDuplicateDigestResult>
KSTDuplicateHasher::computeContentDigestsForRecords(const QList<KSTDuplicateFileRecord> &records,
                                                    quint64 generation)
{
    const std::vector<qsizetype> first = recordFirstNames(records);
    const std::vector<qsizetype> reads = readsFor(first);
    std::vector<std::optional<KSTDuplicateDigestResult>> slots(static_cast<size_t>(records.size()));
    forEachRecordOnHashWorkers(
        qsizetype(reads.size()), generation,
        [&](qsizetype position, KSTDuplicateDigest::Scratch &scratch) {
            const qsizetype index = reads[static_cast<size_t>(position)];
            bool complete = false;
            if (const std::optional<KSTSHA256Digest> digest =
                    KSTDuplicateDigest::contentDigestForRecord(records.at(index), &complete,
                                                               &scratch))
                slots[static_cast<size_t>(index)] = KSTDuplicateDigestResult{{}, *digest, complete};
        });
    return resultsInRecordOrder(records, first, slots);
}

QList<KSTDuplicateDigestResult>
KSTDuplicateHasher::computeFullDigestsForRecords(const QList<KSTDuplicateFileRecord> &records,
                                                 quint64 generation)
{
    const std::vector<qsizetype> first = recordFirstNames(records);
    const std::vector<qsizetype> reads = readsFor(first);
    std::vector<std::optional<KSTDuplicateDigestResult>> slots(static_cast<size_t>(records.size()));
    forEachRecordOnHashWorkers(
        qsizetype(reads.size()), generation,
        [&](qsizetype position, KSTDuplicateDigest::Scratch &scratch) {
            const qsizetype index = reads[static_cast<size_t>(position)];
            if (const std::optional<KSTSHA256Digest> digest =
                    KSTDuplicateDigest::fullSHA256DigestForRecord(records.at(index), &scratch))
                slots[static_cast<size_t>(index)] = KSTDuplicateDigestResult{{}, *digest, false};
        });
    return resultsInRecordOrder(records, first, slots);
}

std::vector<std::optional<quint64>> KSTDuplicateHasher::computeSampleFingerprintsForRecords(
    const QList<KSTDuplicateFileRecord> &records, quint64 generation)
{
    const std::vector<qsizetype> first = recordFirstNames(records);
    const std::vector<qsizetype> reads = readsFor(first);
    std::vector<std::optional<quint64>> slots(static_cast<size_t>(records.size()));
    forEachRecordOnHashWorkers(qsizetype(reads.size()), generation,
                               [&](qsizetype position, KSTDuplicateDigest::Scratch &scratch) {
                                   const qsizetype index = reads[static_cast<size_t>(position)];
                                   slots[static_cast<size_t>(index)] =
                                       KSTDuplicateDigest::sampleFingerprintForRecord(
                                           records.at(index), &scratch);
                               });
    for (std::size_t index = 0; index < slots.size(); ++index)
        slots[index] = slots[static_cast<size_t>(first[index])];
    return slots;
}

std::vector<std::optional<quint64>>
KSTDuplicateHasher::computeSampleFingerprintsForFiles(const KSTDuplicateFileCollection &collection,
                                                      std::span<const quint32> indexes,
                                                      quint64 generation)
{
    const std::vector<qsizetype> first =
        firstNamesOfSameFile(qsizetype(indexes.size()), [&](qsizetype position) {
            const quint32 file = indexes[static_cast<size_t>(position)];
            return std::pair{collection.deviceAt(file), collection.inodeAt(file)};
        });
    const std::vector<qsizetype> reads = readsFor(first);
    std::vector<std::optional<quint64>> slots(indexes.size());
    forEachRecordOnHashWorkers(
        qsizetype(reads.size()), generation,
        [&](qsizetype position, KSTDuplicateDigest::Scratch &scratch) {
            const qsizetype index = reads[static_cast<size_t>(position)];
            const quint32 file = indexes[static_cast<size_t>(index)];
            slots[static_cast<size_t>(index)] = KSTDuplicateDigest::sampleFingerprintOfFile(
                collection.encodedPathAt(file).c_str(), collection.bytesAt(file),
                collection.deviceAt(file), collection.inodeAt(file), &scratch);
        });
    for (std::size_t index = 0; index < slots.size(); ++index)
        slots[index] = slots[static_cast<size_t>(first[index])];
    return slots;
}
