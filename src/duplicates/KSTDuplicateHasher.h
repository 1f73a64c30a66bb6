#pragma once

#include "KSTDuplicateDigest.h"
#include "KSTDuplicateScanHooks.h"
#include "KSTDuplicateSnapshot.h"

#include <QList>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class KSTDuplicateFileCollection;

/// One file's digest, as a hashing stage returns it.
struct KSTDuplicateDigestResult
{
    KSTDuplicateFileRecord record;
    KSTSHA256Digest digest{};
    bool complete = false; ///< content digests: the whole file went in
};

/// The parallel hashing stages of a duplicate scan, on the frame's four hash workers: record
/// i of a stage is read on worker i mod 4 (duplicateHashWorkerQueueForIndex), each worker
/// takes its records in order and checks the generation before each one, and the stage
/// returns only when all four are done, so at most four files are read at once and no stage
/// overlaps the next.
///
/// Names of one hard-linked file (same device and inode) within a stage are read once and share
/// the answer: they hold the same bytes, and reading them twice would only cost time. For the
/// files of a collection the same holds for files compared equal byte for byte: a digest is
/// computed once per content, and comparing costs a fraction of hashing.
///
/// Each worker reuses one read buffer and digest context for the whole life of the hasher
/// (make one per scan): hashing allocates nothing per file, and the buffers never exceed the
/// 4 MiB read chunk.
///
/// A stage may be run from any thread but one at a time per hasher; whatever its hooks reach
/// must outlive it.
class KSTDuplicateHasher
{
public:
    explicit KSTDuplicateHasher(KSTDuplicateScanHooks hooks);
    ~KSTDuplicateHasher();
    KSTDuplicateHasher(const KSTDuplicateHasher &) = delete;
    KSTDuplicateHasher &operator=(const KSTDuplicateHasher &) = delete;

    /// The content digests of @p records (KSTDuplicateDigest::contentDigestForRecord), in
    /// record order, files that failed left out. Empty when G is cancelled before anything
    /// was submitted; after a cancellation the results are incomplete and the caller must
    /// check G.
    QList<KSTDuplicateDigestResult>
    computeContentDigestsForRecords(const QList<KSTDuplicateFileRecord> &records,
                                    quint64 generation);
    /// The full digests of @p records (KSTDuplicateDigest::fullSHA256DigestForRecord), in
    /// record order, files that failed left out; complete is false.
    QList<KSTDuplicateDigestResult>
    computeFullDigestsForRecords(const QList<KSTDuplicateFileRecord> &records, quint64 generation);
    /// The sample fingerprints of @p records, one slot per record (nothing for a file that
    /// failed or was not reached before a cancellation).
    std::vector<std::optional<quint64>>
    computeSampleFingerprintsForRecords(const QList<KSTDuplicateFileRecord> &records,
                                        quint64 generation);

    /// The same for the files @p indexes of @p collection, each opened below its scan folder
    /// (KSTDuplicateFileCollection::openFile()), so no record is made for a file the
    /// fingerprints leave out; the files are read in collection order, a quarter of the list
    /// per worker, each keeping the folder of its last file open. With @p wholeContents (one
    /// slot per index) the bytes of files read whole are kept by the hasher, up to
    /// WholeContentBudget in all and until its next fingerprint stage, for
    /// computeContentDigestsForFiles() to use instead of reading them again.
    /// @p meanwhile, when given, runs on the calling thread once the workers have their
    /// files, before the stage is joined: work of the caller's that overlaps the reading.
    std::vector<std::optional<quint64>>
    computeSampleFingerprintsForFiles(const KSTDuplicateFileCollection &collection,
                                      std::span<const quint32> indexes, quint64 generation,
                                      std::vector<std::string_view> *wholeContents = nullptr,
                                      const std::function<void()> &meanwhile = {});
    /// The content digests of the files @p indexes of @p collection, one slot per index,
    /// given only to files that hold the same covered bytes as another file (or are another
    /// name of one). Files with the same @p likelySame value (a value per index: the same size
    /// and fingerprint) probably hold the same bytes: each such set goes to one worker, which
    /// compares its first file with each of the others byte for byte and digests the first
    /// only when one is equal; the others take its digest. Files that differ from the first
    /// are digested only when a 64-bit hash of all their covered bytes is shared within the
    /// set. A file whose bytes @p wholeContents holds (same positions; may be empty) is not
    /// read again.
    std::vector<std::optional<KSTSHA256Digest>>
    computeContentDigestsForFiles(const KSTDuplicateFileCollection &collection,
                                  std::span<const quint32> indexes,
                                  std::span<const quint32> likelySame, quint64 generation,
                                  std::span<const std::string_view> wholeContents = {});
    /// The full digests of the files @p indexes of @p collection (all above
    /// PartialDigestThreshold), one slot per index, given only to files that hold the same
    /// bytes as another file of their @p likelySame set (or are another name of one): each
    /// set goes to one worker, which reads its first file once while comparing the others
    /// with it (KSTDuplicateDigest::fullDigestOfMatchingFiles, up to ComparedAtOnce at a
    /// time); the files that differ form a set of their own, and so on. A file whose head and
    /// tail match no other file's is never read whole.
    std::vector<std::optional<KSTSHA256Digest>>
    computeFullDigestsForFiles(const KSTDuplicateFileCollection &collection,
                               std::span<const quint32> indexes,
                               std::span<const quint32> likelySame, quint64 generation);

    /// The most files compared with one first file at once (each is held open meanwhile).
    static constexpr std::size_t ComparedAtOnce = 16;
    /// The most bytes of whole small files one fingerprint stage keeps for the digests.
    static constexpr std::size_t WholeContentBudget = 16 * 1024 * 1024;

private:
    // Runs task(i, scratch) for every i < count, i on worker i mod 4, and waits for all.
    template <typename Task>
    void forEachRecordOnHashWorkers(qsizetype count, quint64 generation, const Task &task);
    // Runs task(i, scratch, cursor) for every i < count in runs of consecutive files, each
    // worker taking the next run when it is done with one, with a folder cursor of its own.
    // For the fingerprints, whose files come ordered by folder.
    // @p meanwhile runs on the calling thread while the workers work.
    template <typename Task>
    void forEachFileRunOnHashWorkers(qsizetype count, quint64 generation, qsizetype runLength,
                                     const Task &task, const std::function<void()> &meanwhile = {});
    // Runs task(i, scratch) for every i < count, each i on whichever worker is free next.
    template <typename Task>
    void forEachFileOnFreeHashWorker(qsizetype count, quint64 generation, const Task &task);

    // Bytes kept from one stage to the next, in one buffer that every batch of the scan
    // reuses, so keeping them costs no allocation and no fresh pages per batch.
    class ContentArena;

    KSTDuplicateScanHooks m_hooks;
    std::array<KSTDuplicateDigest::Scratch, 4> m_scratch;
    std::unique_ptr<ContentArena> m_wholeContents;
};
