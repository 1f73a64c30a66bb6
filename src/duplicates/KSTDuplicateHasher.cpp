#include "KSTDuplicateHasher.h"

#include "KSTDispatchGroup.h"
#include "KSTDuplicateFileCollection.h"
#include "KSTReadOnlyFile.h"
#include "KSTSystemInfo.h"

#include <atomic>
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
        return std::pair{records.at(index).identity.device, records.at(index).identity.inode};
    });
}

std::vector<qsizetype> fileFirstNames(const KSTDuplicateFileCollection &collection,
                                      std::span<const quint32> indexes)
{
    return firstNamesOfSameFile(qsizetype(indexes.size()), [&](qsizetype position) {
        const quint32 file = indexes[static_cast<size_t>(position)];
        return std::pair{collection.deviceAt(file), collection.inodeAt(file)};
    });
}

// Every slot takes the answer of the first name of its file.
template <typename Slot>
void shareWithOtherNames(std::vector<Slot> &slots, const std::vector<qsizetype> &first)
{
    for (std::size_t index = 0; index < slots.size(); ++index) {
        if (first[index] != qsizetype(index))
            slots[index] = slots[static_cast<size_t>(first[index])];
    }
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
    shareWithOtherNames(slots, first);
    return slots;
}

std::vector<std::optional<quint64>> KSTDuplicateHasher::computeSampleFingerprintsForFiles(
    const KSTDuplicateFileCollection &collection, std::span<const quint32> indexes,
    quint64 generation, std::vector<std::string> *wholeContents)
{
    const std::vector<qsizetype> first = fileFirstNames(collection, indexes);
    const std::vector<qsizetype> reads = readsFor(first);
    std::vector<std::optional<quint64>> slots(indexes.size());
    if (wholeContents)
        wholeContents->assign(indexes.size(), std::string());
    std::atomic<std::size_t> kept{0};
    forEachRecordOnHashWorkers(
        qsizetype(reads.size()), generation,
        [&](qsizetype position, KSTDuplicateDigest::Scratch &scratch) {
            const auto index = static_cast<size_t>(reads[static_cast<size_t>(position)]);
            const quint32 file = indexes[index];
            KSTReadOnlyFile opened;
            if (!collection.openFile(file, opened))
                return;
            // Each worker writes only its own slots; the budget is shared.
            std::string *content = nullptr;
            const quint64 bytes = collection.bytesAt(file);
            if (wholeContents && bytes <= 2 * KSTDuplicateDigest::SampleBlock &&
                kept.fetch_add(bytes, std::memory_order_relaxed) + bytes <= WholeContentBudget)
                content = &(*wholeContents)[index];
            slots[index] =
                KSTDuplicateDigest::sampleFingerprintOfFile(opened, bytes, scratch, content);
        });
    shareWithOtherNames(slots, first);
    if (wholeContents)
        shareWithOtherNames(*wholeContents, first);
    return slots;
}

std::vector<std::optional<KSTSHA256Digest>> KSTDuplicateHasher::computeContentDigestsForFiles(
    const KSTDuplicateFileCollection &collection, std::span<const quint32> indexes,
    quint64 generation, std::span<const std::string> wholeContents)
{
    const std::vector<qsizetype> first = fileFirstNames(collection, indexes);
    const std::vector<qsizetype> reads = readsFor(first);
    std::vector<std::optional<KSTSHA256Digest>> slots(indexes.size());
    forEachRecordOnHashWorkers(
        qsizetype(reads.size()), generation,
        [&](qsizetype position, KSTDuplicateDigest::Scratch &scratch) {
            const auto index = static_cast<size_t>(reads[static_cast<size_t>(position)]);
            const quint32 file = indexes[index];
            if (index < wholeContents.size() && !wholeContents[index].empty()) {
                slots[index] =
                    KSTDuplicateDigest::contentDigestOfBytes(wholeContents[index], scratch);
                return;
            }
            KSTReadOnlyFile opened;
            if (collection.openFile(file, opened))
                slots[index] = KSTDuplicateDigest::contentDigestOfFile(
                    opened, collection.bytesAt(file), nullptr, scratch);
        });
    shareWithOtherNames(slots, first);
    return slots;
}

std::vector<std::optional<KSTSHA256Digest>>
KSTDuplicateHasher::computeFullDigestsForFiles(const KSTDuplicateFileCollection &collection,
                                               std::span<const quint32> indexes, quint64 generation)
{
    const std::vector<qsizetype> first = fileFirstNames(collection, indexes);
    const std::vector<qsizetype> reads = readsFor(first);
    std::vector<std::optional<KSTSHA256Digest>> slots(indexes.size());
    forEachRecordOnHashWorkers(qsizetype(reads.size()), generation,
                               [&](qsizetype position, KSTDuplicateDigest::Scratch &scratch) {
                                   const auto index =
                                       static_cast<size_t>(reads[static_cast<size_t>(position)]);
                                   const quint32 file = indexes[index];
                                   KSTReadOnlyFile opened;
                                   if (collection.openFile(file, opened))
                                       slots[index] = KSTDuplicateDigest::fullDigestOfFile(
                                           opened, collection.bytesAt(file), scratch);
                               });
    shareWithOtherNames(slots, first);
    return slots;
}
