#pragma once

#include "KSTDuplicateDigest.h"
#include "KSTDuplicateSnapshot.h"

#include <QList>

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

class KSTDuplicateFileCollection;
class KSTSystemInfo;

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
/// the answer: they hold the same bytes, and reading them twice would only cost time.
///
/// Each worker reuses one read buffer and digest context for the whole life of the hasher
/// (make one per scan): hashing allocates nothing per file, and the buffers never exceed the
/// 4 MiB read chunk.
///
/// A stage may be run from any thread but one at a time per hasher; the frame must outlive it.
class KSTDuplicateHasher
{
public:
    explicit KSTDuplicateHasher(KSTSystemInfo &systemInfo);
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
    /// fingerprints leave out. With @p wholeContents (one slot per index) the bytes of files
    /// read whole are kept there, up to WholeContentBudget bytes in all, for
    /// computeContentDigestsForFiles() to use instead of reading them again.
    std::vector<std::optional<quint64>>
    computeSampleFingerprintsForFiles(const KSTDuplicateFileCollection &collection,
                                      std::span<const quint32> indexes, quint64 generation,
                                      std::vector<std::string> *wholeContents = nullptr);
    /// The content digests of the files @p indexes of @p collection, one slot per index
    /// (nothing for a file that failed). A file whose bytes @p wholeContents holds (same
    /// positions; may be empty) is digested from them.
    std::vector<std::optional<KSTSHA256Digest>>
    computeContentDigestsForFiles(const KSTDuplicateFileCollection &collection,
                                  std::span<const quint32> indexes, quint64 generation,
                                  std::span<const std::string> wholeContents = {});
    /// The full digests of the files @p indexes of @p collection, one slot per index.
    std::vector<std::optional<KSTSHA256Digest>>
    computeFullDigestsForFiles(const KSTDuplicateFileCollection &collection,
                               std::span<const quint32> indexes, quint64 generation);

    /// The most bytes of whole small files one fingerprint stage keeps for the digests.
    static constexpr std::size_t WholeContentBudget = 8 * 1024 * 1024;

private:
    // Runs task(i, scratch) for every i < count, i on worker i mod 4, and waits for all.
    template <typename Task>
    void forEachRecordOnHashWorkers(qsizetype count, quint64 generation, const Task &task);

    KSTSystemInfo &m_systemInfo;
    std::array<KSTDuplicateDigest::Scratch, 4> m_scratch;
};
