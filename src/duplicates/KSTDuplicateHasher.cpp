#include "KSTDuplicateHasher.h"

#include "KSTDispatchGroup.h"
#include "KSTDispatchQueue.h"
#include "KSTDuplicateFileCollection.h"
#include "KSTReadOnlyFile.h"

#include <atomic>
#include <map>
#include <string_view>
#include <unordered_map>

namespace {

constexpr qsizetype HashWorkers = 4;
// Files a fingerprint worker takes at a time: neighbours in a folder, yet short enough that
// the workers finish a stage together.
constexpr qsizetype FingerprintRun = 32;

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

// For each position, the first position naming the same file. A file with a single name
// (the usual case) is its own first without a lookup.
std::vector<qsizetype> fileFirstNames(const KSTDuplicateFileCollection &collection,
                                      std::span<const quint32> indexes)
{
    std::vector<qsizetype> first(indexes.size());
    std::map<std::pair<quint64, quint64>, qsizetype> seen;
    for (std::size_t position = 0; position < indexes.size(); ++position) {
        const quint32 file = indexes[position];
        first[position] =
            collection.linkCountAt(file) <= 1
                ? qsizetype(position)
                : seen.try_emplace(std::pair{collection.deviceAt(file), collection.inodeAt(file)},
                                   qsizetype(position))
                      .first->second;
    }
    return first;
}

// @p positions in the order of their files in the collection: files of one folder come one
// after another, so a worker keeps their folder open and the kernel finds them warm.
void sortByFile(std::vector<qsizetype> &positions, std::span<const quint32> indexes)
{
    std::sort(positions.begin(), positions.end(), [&indexes](qsizetype a, qsizetype b) {
        return indexes[static_cast<size_t>(a)] < indexes[static_cast<size_t>(b)];
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

// Per position, whether other positions name the same file: such a file groups with its
// other names whatever the rest of the stage holds.
std::vector<bool> hasOtherNames(const std::vector<qsizetype> &first)
{
    std::vector<bool> result(first.size(), false);
    for (std::size_t position = 0; position < first.size(); ++position) {
        if (first[position] != qsizetype(position))
            result[static_cast<size_t>(first[position])] = true;
    }
    return result;
}

// The @p reads by @p likelySame set, in read order within each set; a set of one file is
// left out unless the file has other names.
std::vector<std::vector<qsizetype>> setsToCompare(const std::vector<qsizetype> &reads,
                                                  std::span<const quint32> likelySame,
                                                  const std::vector<bool> &otherNames)
{
    std::map<quint32, std::vector<qsizetype>> bySet;
    for (const qsizetype read : reads)
        bySet[likelySame[static_cast<size_t>(read)]].push_back(read);
    std::vector<std::vector<qsizetype>> sets;
    for (auto &[set, members] : bySet) {
        if (members.size() >= 2 || otherNames[static_cast<size_t>(members.front())])
            sets.push_back(std::move(members));
    }
    return sets;
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

class KSTDuplicateHasher::ContentArena
{
public:
    explicit ContentArena(std::size_t capacity) : m_capacity(capacity) {}

    // Forgets what was kept; only between stages.
    void reset() { m_used.store(0, std::memory_order_relaxed); }

    // Room for @p length bytes that only the caller writes, or null when the arena is full.
    // Thread-safe: each caller gets a range of its own.
    char *reserve(std::size_t length)
    {
        if (length == 0)
            return nullptr;
        const std::size_t offset = m_used.fetch_add(length, std::memory_order_relaxed);
        if (offset + length > m_capacity)
            return nullptr;
        // Made by allocate(), between stages of the calling thread's scan.
        return m_data.get() + offset;
    }

    void allocate()
    {
        if (!m_data)
            m_data.reset(new char[m_capacity]);
    }

private:
    const std::size_t m_capacity;
    std::unique_ptr<char[]> m_data;
    std::atomic<std::size_t> m_used{0};
};

KSTDuplicateHasher::KSTDuplicateHasher(KSTDuplicateScanHooks hooks)
    : m_hooks(std::move(hooks)), m_wholeContents(std::make_unique<ContentArena>(WholeContentBudget))
{
}

KSTDuplicateHasher::~KSTDuplicateHasher() = default;

template <typename Task>
void KSTDuplicateHasher::forEachRecordOnHashWorkers(qsizetype count, quint64 generation,
                                                    const Task &task)
{
    // One block per worker walking its own records (i, i + 4, …) costs four hand-offs per
    // stage instead of one per file, and keeps the worker's scratch hot.
    KSTDispatchGroup group;
    for (qsizetype worker = 0; worker < std::min(count, HashWorkers); ++worker) {
        if (m_hooks.cancelled(generation))
            break;
        KSTDuplicateDigest::Scratch &scratch = m_scratch[static_cast<size_t>(worker)];
        group.async(m_hooks.hashWorkerQueue(static_cast<qint32>(worker)),
                    [this, worker, count, generation, &task, &scratch] {
                        for (qsizetype index = worker; index < count; index += HashWorkers) {
                            if (m_hooks.cancelled(generation))
                                return;
                            task(index, scratch);
                        }
                    });
    }
    group.wait();
}

template <typename Task>
void KSTDuplicateHasher::forEachFileRunOnHashWorkers(qsizetype count, quint64 generation,
                                                     qsizetype runLength, const Task &task,
                                                     const std::function<void()> &meanwhile)
{
    // Short runs handed out as workers come free: a worker that drew large files does not
    // keep the others waiting at the end of the stage, as fixed shares of the list would.
    std::atomic<qsizetype> next{0};
    KSTDispatchGroup group;
    const qsizetype workers = std::min(count, HashWorkers);
    for (qsizetype worker = 0; worker < workers; ++worker) {
        if (m_hooks.cancelled(generation))
            break;
        KSTDuplicateDigest::Scratch &scratch = m_scratch[static_cast<size_t>(worker)];
        group.async(m_hooks.hashWorkerQueue(static_cast<qint32>(worker)), [this, count, generation,
                                                                           runLength, &task,
                                                                           &scratch, &next] {
            KSTDuplicateFileCollection::FolderCursor cursor;
            for (;;) {
                const qsizetype begin = next.fetch_add(runLength, std::memory_order_relaxed);
                if (begin >= count)
                    return;
                for (qsizetype index = begin; index < std::min(count, begin + runLength); ++index) {
                    if (m_hooks.cancelled(generation))
                        return;
                    task(index, scratch, cursor);
                }
            }
        });
    }
    if (meanwhile)
        meanwhile();
    group.wait();
}

template <typename Task>
void KSTDuplicateHasher::forEachFileOnFreeHashWorker(qsizetype count, quint64 generation,
                                                     const Task &task)
{
    forEachFileRunOnHashWorkers(
        count, generation, 1,
        [&task](qsizetype index, KSTDuplicateDigest::Scratch &scratch,
                KSTDuplicateFileCollection::FolderCursor &) { task(index, scratch); });
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
    quint64 generation, std::vector<std::string_view> *wholeContents,
    const std::function<void()> &meanwhile)
{
    const std::vector<qsizetype> first = fileFirstNames(collection, indexes);
    std::vector<qsizetype> reads = readsFor(first);
    sortByFile(reads, indexes);
    std::vector<std::optional<quint64>> slots(indexes.size());
    if (wholeContents) {
        wholeContents->assign(indexes.size(), std::string_view());
        m_wholeContents->allocate();
        m_wholeContents->reset();
    }
    forEachFileRunOnHashWorkers(
        qsizetype(reads.size()), generation, FingerprintRun,
        [&](qsizetype position, KSTDuplicateDigest::Scratch &scratch,
            KSTDuplicateFileCollection::FolderCursor &cursor) {
            const auto index = static_cast<size_t>(reads[static_cast<size_t>(position)]);
            const quint32 file = indexes[index];
            KSTReadOnlyFile opened;
            if (!collection.openFile(file, opened, &cursor))
                return;
            std::string_view content;
            const quint64 bytes = collection.bytesAt(file);
            // A small file is read straight into the arena, not copied
            // there: most of them are never looked at again.
            char *destination =
                wholeContents && bytes <= quint64(KSTDuplicateDigest::WholeSampleLimit)
                    ? m_wholeContents->reserve(std::size_t(bytes))
                    : nullptr;
            slots[index] = KSTDuplicateDigest::sampleFingerprintOfFile(
                opened, bytes, scratch, wholeContents ? &content : nullptr, destination);
            // Each worker writes only its own slots; the arena is shared.
            if (destination && !content.empty())
                (*wholeContents)[index] = content;
        },
        meanwhile);
    shareWithOtherNames(slots, first);
    if (wholeContents)
        shareWithOtherNames(*wholeContents, first);
    return slots;
}

std::vector<std::optional<KSTSHA256Digest>> KSTDuplicateHasher::computeContentDigestsForFiles(
    const KSTDuplicateFileCollection &collection, std::span<const quint32> indexes,
    std::span<const quint32> likelySame, quint64 generation,
    std::span<const std::string_view> wholeContents)
{
    const std::vector<qsizetype> first = fileFirstNames(collection, indexes);
    std::vector<qsizetype> reads = readsFor(first);
    sortByFile(reads, indexes);
    const std::vector<bool> otherNames = hasOtherNames(first);
    std::vector<std::vector<qsizetype>> sets = setsToCompare(reads, likelySame, otherNames);
    // The sets with the most bytes to read go first, so that no worker is left with a large
    // one when the others are done.
    const auto bytesOf = [&](const std::vector<qsizetype> &members) {
        return collection.bytesAt(indexes[static_cast<size_t>(members.front())]) * members.size();
    };
    std::stable_sort(sets.begin(), sets.end(),
                     [&](const auto &a, const auto &b) { return bytesOf(a) > bytesOf(b); });
    std::vector<std::optional<KSTSHA256Digest>> slots(indexes.size());

    // The covered bytes of position @p index: those its fingerprint kept, else read into
    // @p buffer.
    const auto contentOf = [&](std::size_t index,
                               std::string &buffer) -> std::optional<std::string_view> {
        if (index < wholeContents.size() && !wholeContents[index].empty())
            return wholeContents[index];
        KSTReadOnlyFile opened;
        if (!collection.openFile(indexes[index], opened) ||
            !KSTDuplicateDigest::readContentBytes(opened, collection.bytesAt(indexes[index]),
                                                  buffer))
            return std::nullopt;
        return std::string_view(buffer);
    };
    // Each set on one worker: its first readable file against each of the others, byte for
    // byte. Only a file with an equal partner (or another name) is digested; those that
    // differ from the first are told apart from one another by a cheap fingerprint of all
    // their bytes, and digested only when it is shared.
    forEachFileOnFreeHashWorker(
        qsizetype(sets.size()), generation,
        [&](qsizetype setIndex, KSTDuplicateDigest::Scratch &scratch) {
            const std::vector<qsizetype> &members = sets[static_cast<size_t>(setIndex)];
            const quint64 size = collection.bytesAt(indexes[static_cast<size_t>(members.front())]);
            std::size_t headAt = 0;
            std::optional<std::string_view> head;
            for (; headAt < members.size() && !head; ++headAt)
                head = contentOf(static_cast<size_t>(members[headAt]), scratch.content);
            if (!head)
                return;
            const auto headIndex = static_cast<size_t>(members[headAt - 1]);
            std::vector<std::size_t> equal;
            std::vector<std::pair<std::size_t, quint64>> different;
            for (std::size_t member = headAt; member < members.size(); ++member) {
                if (m_hooks.cancelled(generation))
                    return;
                const auto index = static_cast<size_t>(members[member]);
                const std::optional<std::string_view> content = contentOf(index, scratch.compared);
                if (!content)
                    continue;
                if (*content == *head)
                    equal.push_back(index);
                else
                    different.emplace_back(index, KSTDuplicateDigest::fingerprintOfBytes(*content));
            }
            if (!equal.empty() || otherNames[headIndex]) {
                const std::optional<KSTSHA256Digest> digest =
                    KSTDuplicateDigest::contentDigestOfBytes(*head, size, scratch);
                slots[headIndex] = digest;
                for (const std::size_t index : equal)
                    slots[index] = digest;
            }
            std::unordered_map<quint64, int> sharing;
            for (const auto &[index, fingerprint] : different)
                ++sharing[fingerprint];
            for (const auto &[index, fingerprint] : different) {
                if (sharing[fingerprint] < 2 && !otherNames[index])
                    continue;
                if (const std::optional<std::string_view> content =
                        contentOf(index, scratch.compared))
                    slots[index] =
                        KSTDuplicateDigest::contentDigestOfBytes(*content, size, scratch);
            }
        });
    shareWithOtherNames(slots, first);
    return slots;
}

std::vector<std::optional<KSTSHA256Digest>> KSTDuplicateHasher::computeFullDigestsForFiles(
    const KSTDuplicateFileCollection &collection, std::span<const quint32> indexes,
    std::span<const quint32> likelySame, quint64 generation)
{
    const std::vector<qsizetype> first = fileFirstNames(collection, indexes);
    std::vector<qsizetype> reads = readsFor(first);
    sortByFile(reads, indexes);
    const std::vector<bool> otherNames = hasOtherNames(first);
    const std::vector<std::vector<qsizetype>> sets = setsToCompare(reads, likelySame, otherNames);

    std::vector<std::optional<KSTSHA256Digest>> slots(indexes.size());
    // Each set on one worker: its first file is read once while the others are compared with
    // it; those that differ make a set of their own and go round again.
    forEachFileOnFreeHashWorker(
        qsizetype(sets.size()), generation,
        [&](qsizetype setIndex, KSTDuplicateDigest::Scratch &scratch) {
            std::vector<qsizetype> members = sets[static_cast<size_t>(setIndex)];
            std::vector<bool> matches;
            while (!members.empty() && !m_hooks.cancelled(generation)) {
                const auto head = static_cast<size_t>(members.front());
                const quint64 size = collection.bytesAt(indexes[head]);
                KSTReadOnlyFile firstFile;
                if (!collection.openFile(indexes[head], firstFile)) {
                    members.erase(members.begin());
                    continue;
                }
                const std::size_t compared =
                    std::min<std::size_t>(members.size() - 1, ComparedAtOnce);
                std::vector<KSTReadOnlyFile> files(compared);
                std::vector<KSTReadOnlyFile *> opened;
                std::vector<qsizetype> openedMembers;
                for (std::size_t other = 0; other < compared; ++other) {
                    const qsizetype member = members[other + 1];
                    if (collection.openFile(indexes[static_cast<size_t>(member)], files[other])) {
                        opened.push_back(&files[other]);
                        openedMembers.push_back(member);
                    }
                }
                const std::optional<KSTSHA256Digest> digest =
                    KSTDuplicateDigest::fullDigestOfMatchingFiles(
                        firstFile, opened, size, otherNames[head], scratch, matches);
                std::vector<qsizetype> rest;
                if (digest)
                    slots[head] = digest;
                for (std::size_t other = 0; other < openedMembers.size(); ++other) {
                    if (digest && matches[other])
                        slots[static_cast<size_t>(openedMembers[other])] = digest;
                    else
                        rest.push_back(openedMembers[other]);
                }
                // Members not compared this round (a very large set) go round again too.
                rest.insert(rest.end(), members.begin() + std::ptrdiff_t(compared + 1),
                            members.end());
                members = std::move(rest);
                if (members.size() == 1 && !otherNames[static_cast<size_t>(members.front())])
                    break;
            }
        });
    shareWithOtherNames(slots, first);
    return slots;
}
