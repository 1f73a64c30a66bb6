#pragma once

#include "KSTDuplicateCollector.h"
#include "KSTDuplicateFileCollection.h"
#include "KSTDuplicateScanHooks.h"
#include "KSTDuplicateSnapshot.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class KSTSystemInfo;

/// The Duplicates engine: files with identical content below the folders the user picks,
/// grouped, ordered by the space their extra copies take, and sorted into six categories.
/// It keeps no cache: every scan starts from the folders.
///
/// A scan (duplicateSnapshotForPaths) runs on the frame's duplicateQueue for generation G:
/// 1. "Scanning folders for files…" (progress 0.02), then the collection
///    (KSTDuplicateCollector), reporting "Scanning folders… %@ files found" every 100th file
///    with estimatedCollectionProgressForFileCount() (0.02 up to just under 0.42);
/// 2. "Analyzing %@ files for duplicates…" (0.42), and the files in size buckets; only sizes
///    shared by two or more files are compared (KSTDuplicateComparison);
/// 3. "Comparing duplicate candidates… k/T" for the k-th of T such buckets, at 0.42 + 0.56 ×
///    k / T, on the first and the last and otherwise at most every 0.12 seconds;
/// 4. "Finalizing results…" (0.99); the result has the six categories, the totals, the files
///    collected, progress 1, and the status "No duplicate files found" when there is no group.
/// Collection reports are throttled the same way (count 0 always passes). Every report and
/// the result reach the handlers on the main queue only while G is current. A newer start or
/// cancelDuplicateScan() stops the scan at its next check; it then delivers nothing more.
///
/// Thread safety: the scan operations block on the file system and run on duplicateQueue;
/// the engine holds no state besides its hooks.
class KSTDuplicateEngine
{
public:
    using SnapshotHandler = std::function<void(std::shared_ptr<const KSTDuplicateSnapshot>)>;

    /// Works with @p hooks (its generation, hash workers and main queue).
    explicit KSTDuplicateEngine(KSTDuplicateScanHooks hooks);

    /// Installs buildDuplicateSnapshotFromPaths() and the scan routine (duplicateSnapshotForPaths
    /// on duplicateQueue, then the completion on the main queue with the result, or an empty
    /// snapshot when there is none, unless G was cancelled) into @p systemInfo.
    static void install(KSTSystemInfo &systemInfo);

    /// Throttle between two reports of one phase: 0.12 seconds.
    static constexpr double ProgressThrottleSeconds = 0.12;
    /// Files at which the collection estimate is half its range.
    static constexpr double CollectionCurveFiles = 800;
    /// A batch of size buckets goes through each hashing stage together once it holds this
    /// many files or bytes: enough for the workers to share out and to find several files of
    /// one folder together, small enough that progress keeps moving.
    static constexpr qsizetype BatchFiles = 8192;
    static constexpr quint64 BatchBytes = 128ull * 1024 * 1024;
    /// A batch also closes before the files its fingerprints read whole would overflow the
    /// hasher's room for them (KSTDuplicateHasher::WholeContentBudget), so that a small file
    /// is never opened twice.

    /// Pictures and Downloads (in that order) of the accessible home, those that exist as
    /// folders; the home alone when neither does. On a Linux layout they are the user folders
    /// of those roles (KSTLinuxPlaces), a switched-off one left out; when one is switched off
    /// the home never stands in for it (the list may then be empty).
    static QStringList defaultDuplicateScanPaths();

    /// The folders named @p folders (home-relative names of the mac layout: "Pictures", …) as
    /// the analysed machine has them, those that exist as folders, in order: in the
    /// accessible home, or on a Linux layout the user folders of the same roles (a folder
    /// without a role, or switched off, is left out; @p switchedOff, when given, says whether
    /// one was). Absolute paths.
    static QStringList existingUserFolders(const QStringList &folders, bool *switchedOff = nullptr);

    /// The whole scan for G (see above); nothing when G was cancelled. @p progress may be null.
    std::shared_ptr<KSTDuplicateSnapshot>
    duplicateSnapshotForPaths(const QStringList &paths, quint64 generation,
                              const SnapshotHandler &progress);

    /// A scanning snapshot: scanPaths, isScanning, the status text, no categories, scanDate
    /// now.
    static std::shared_ptr<KSTDuplicateSnapshot>
    buildDuplicateSnapshotFromPaths(const QStringList &paths, quint64 generation,
                                    const QString &status);

    /// The collection for G (KSTDuplicateCollector), stopping when G is cancelled; @p report
    /// receives its status texts and counts.
    KSTDuplicateFileCollection
    collectFileRecordsInPaths(const QStringList &paths, quint64 generation,
                              const KSTDuplicateCollector::ProgressReport &report);

    /// (1 − 1 / (n / 800 + 1)) × 0.4: 0 for no file, 0.2 at 800, below 0.4 for ever.
    static double estimatedCollectionProgressForFileCount(quint64 count);

    /// Hands a scanning snapshot (paths, status, @p progress clamped to [0, 1], filesScanned
    /// @p filesScanned, scanDate now) to @p handler on the main queue, when there is a
    /// handler and G is current now and again when the block runs.
    void deliverDuplicateScanProgressWithPaths(const QStringList &paths, quint64 generation,
                                               const QString &status, double progress,
                                               quint64 filesScanned,
                                               const SnapshotHandler &handler);

private:
    bool isCancelled(quint64 generation) const;
    // The comparison stage; false when G was cancelled.
    bool compareCollection(const KSTDuplicateFileCollection &collection, const QStringList &paths,
                           quint64 generation, const SnapshotHandler &progress,
                           QList<KSTDuplicateGroup> &groups);

    KSTDuplicateScanHooks m_hooks;
};
