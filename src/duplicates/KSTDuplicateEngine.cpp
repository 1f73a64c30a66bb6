#include "KSTDuplicateEngine.h"

#include "KSTDuplicateComparison.h"
#include "KSTDuplicateDigest.h"
#include "KSTDuplicateLocations.h"
#include "KSTEnvironment.h"
#include "KSTFormatting.h"
#include "KSTLinuxPlaces.h"
#include "KSTPermissionChecker.h"

#include <QDateTime>
#include <QElapsedTimer>

#include <algorithm>
#include <utility>
#include <vector>

using Checker = KSTPermissionChecker;

namespace {

using Engine = KSTDuplicateEngine;

// Passes a report when @p always or when the throttle interval has passed since the last one.
class Throttle
{
public:
    bool pass(bool always)
    {
        if (!always && m_clock.isValid() &&
            m_clock.nsecsElapsed() < qint64(KSTDuplicateEngine::ProgressThrottleSeconds * 1e9))
            return false;
        m_clock.start();
        return true;
    }

private:
    QElapsedTimer m_clock;
};

// The files of one size: a range of the size-ordered index list.
struct SizeBucket
{
    std::size_t begin;
    std::size_t end;
    std::size_t count() const { return end - begin; }
};

} // namespace

KSTDuplicateEngine::KSTDuplicateEngine(KSTDuplicateScanHooks hooks) : m_hooks(std::move(hooks)) {}

QStringList KSTDuplicateEngine::defaultDuplicateScanPaths()
{
    bool switchedOff = false;
    QStringList paths =
        existingUserFolders(KSTDuplicateLocations::defaultScanFolders, &switchedOff);
    if (paths.isEmpty() && !switchedOff)
        paths << Checker::accessibleUserHomeDirectoryPath();
    return paths;
}

QStringList KSTDuplicateEngine::existingUserFolders(const QStringList &folders, bool *switchedOff)
{
    if (switchedOff)
        *switchedOff = false;
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString home = Checker::accessibleUserHomeDirectoryPath();
    QStringList paths;
    for (const QString &folder : folders) {
        QString path = home + QLatin1Char('/') + folder;
        if (environment.layout() == KSTLayout::Linux) {
            const auto role = KSTDuplicateLocations::linuxRoleOf(folder);
            // Switched off: nothing, never the home in its place.
            path = role ? environment.places()->userFolder(*role) : QString();
            if (role && path.isEmpty() && switchedOff)
                *switchedOff = true;
        }
        bool isDirectory = false;
        if (!path.isEmpty() && Checker::accessibleItemExistsAtPath(path, &isDirectory) &&
            isDirectory && !paths.contains(path))
            paths << path;
    }
    return paths;
}

bool KSTDuplicateEngine::isCancelled(quint64 generation) const
{
    return m_hooks.cancelled(generation);
}

std::shared_ptr<KSTDuplicateSnapshot>
KSTDuplicateEngine::duplicateSnapshotForPaths(const QStringList &paths, quint64 generation,
                                              const SnapshotHandler &progress)
{
    auto report = [&](const QString &status, double value, quint64 files) {
        deliverDuplicateScanProgressWithPaths(paths, generation, status, value, files, progress);
    };
    report(QStringLiteral("Scanning folders for files…"), 0.02, 0);

    Throttle collectionThrottle;
    KSTDuplicateFileCollection collection =
        collectFileRecordsInPaths(paths, generation, [&](const QString &status, quint64 files) {
            if (collectionThrottle.pass(files == 0))
                report(status, estimatedCollectionProgressForFileCount(files), files);
        });
    if (isCancelled(generation))
        return nullptr;
    const auto fileCount = static_cast<quint64>(collection.count());
    report(QStringLiteral("Analyzing %1 files for duplicates…")
               .arg(KSTFormatting::formatCount(fileCount)),
           0.42, fileCount);

    // Files are then opened by name in their folders, held open once for all stages.
    collection.holdFolders(KSTDuplicateFileCollection::folderHoldingAllowance());
    QList<KSTDuplicateGroup> groups;
    if (!compareCollection(collection, paths, generation, progress, groups))
        return nullptr;

    report(QStringLiteral("Finalizing results…"), 0.99, fileCount);
    KSTDuplicateComparison::sortGroups(groups);
    auto result = std::make_shared<KSTDuplicateSnapshot>();
    result->scanPaths = paths;
    result->categories = KSTDuplicateComparison::categorySummaries(groups);
    result->totalGroupCount = static_cast<quint64>(groups.size());
    for (const KSTDuplicateGroup &group : std::as_const(groups))
        result->totalReclaimableBytes += group.reclaimableBytes;
    result->filesScanned = fileCount;
    result->scanDate = QDateTime::currentDateTimeUtc();
    result->isScanning = false;
    result->scanProgress = 1.0;
    if (groups.isEmpty())
        result->statusText = QStringLiteral("No duplicate files found");
    return result;
}

bool KSTDuplicateEngine::compareCollection(const KSTDuplicateFileCollection &collection,
                                           const QStringList &paths, quint64 generation,
                                           const SnapshotHandler &progress,
                                           QList<KSTDuplicateGroup> &groups)
{
    // Size buckets: the files ordered by size (collection order within a size). Sorting
    // (size, index) pairs in one array is several times faster than sorting indexes that look
    // their sizes up in the collection, and this runs before any hashing starts.
    std::vector<std::pair<quint64, quint32>> bySize(static_cast<std::size_t>(collection.count()));
    for (std::size_t index = 0; index < bySize.size(); ++index)
        bySize[index] = {collection.bytesAt(qsizetype(index)), quint32(index)};
    std::sort(bySize.begin(), bySize.end());
    std::vector<quint32> order(bySize.size());
    std::transform(bySize.begin(), bySize.end(), order.begin(),
                   [](const std::pair<quint64, quint32> &entry) { return entry.second; });
    std::vector<SizeBucket> buckets;
    for (std::size_t begin = 0; begin < order.size();) {
        std::size_t end = begin + 1;
        while (end < order.size() && bySize[end].first == bySize[begin].first)
            ++end;
        if (end - begin >= 2)
            buckets.push_back({begin, end});
        begin = end;
    }

    const auto fileCount = static_cast<quint64>(collection.count());
    const std::size_t total = buckets.size();
    const double denominator = total == 0 ? 1.0 : double(total);
    KSTDuplicateComparison comparison(m_hooks);
    Throttle throttle;
    std::vector<std::vector<quint32>> batch;
    qsizetype batchFiles = 0;
    quint64 batchBytes = 0;
    quint64 batchWholeBytes = 0; // of files the fingerprints read whole
    std::size_t reported = 0;    // buckets whose progress has been reported

    // The bytes of @p bucket that its fingerprints read whole.
    const auto wholeBytesOf = [&](const SizeBucket &bucket) -> quint64 {
        const quint64 size = collection.bytesAt(order[bucket.begin]);
        return size <= quint64(KSTDuplicateDigest::WholeSampleLimit) ? size * bucket.count() : 0;
    };
    auto flush = [&](std::size_t handled) {
        // Each bucket of the batch is reported as it is taken up, then the batch is compared.
        for (std::size_t k = reported + 1; k <= handled; ++k) {
            if (isCancelled(generation))
                return false;
            if (throttle.pass(k == 1 || k == total)) {
                deliverDuplicateScanProgressWithPaths(
                    paths, generation,
                    QStringLiteral("Comparing duplicate candidates… %1/%2").arg(k).arg(total),
                    0.42 + 0.56 * double(k) / denominator, fileCount, progress);
            }
        }
        reported = handled;
        const bool compared =
            comparison.processDuplicateSizeBuckets(collection, batch, generation, groups);
        batch.clear();
        batchFiles = 0;
        batchBytes = 0;
        batchWholeBytes = 0;
        return compared;
    };

    for (std::size_t index = 0; index < total; ++index) {
        if (isCancelled(generation))
            return false;
        const SizeBucket &bucket = buckets[index];
        batch.emplace_back(order.begin() + std::ptrdiff_t(bucket.begin),
                           order.begin() + std::ptrdiff_t(bucket.end));
        batchFiles += qsizetype(bucket.count());
        batchBytes += collection.bytesAt(order[bucket.begin]) * bucket.count();
        batchWholeBytes += wholeBytesOf(bucket);
        // Whether the next bucket's small files would no longer fit beside this batch's.
        const bool wholeBytesFull =
            index + 1 < total && batchWholeBytes + wholeBytesOf(buckets[index + 1]) >
                                     KSTDuplicateHasher::WholeContentBudget;
        if ((batchFiles >= Engine::BatchFiles || batchBytes >= Engine::BatchBytes ||
             wholeBytesFull || index + 1 == total) &&
            !flush(index + 1))
            return false;
    }
    if (isCancelled(generation))
        return false;
    comparison.finishPendingGroups(collection, groups);
    return true;
}

std::shared_ptr<KSTDuplicateSnapshot>
KSTDuplicateEngine::buildDuplicateSnapshotFromPaths(const QStringList &paths, quint64,
                                                    const QString &status)
{
    auto snapshot = std::make_shared<KSTDuplicateSnapshot>();
    snapshot->scanPaths = paths;
    snapshot->isScanning = true;
    snapshot->statusText = status;
    snapshot->scanDate = QDateTime::currentDateTimeUtc();
    return snapshot;
}

KSTDuplicateFileCollection
KSTDuplicateEngine::collectFileRecordsInPaths(const QStringList &paths, quint64 generation,
                                              const KSTDuplicateCollector::ProgressReport &report)
{
    return KSTDuplicateCollector::collectFileRecordsInPaths(
        paths, [this, generation] { return isCancelled(generation); }, report);
}

double KSTDuplicateEngine::estimatedCollectionProgressForFileCount(quint64 count)
{
    return (1.0 - 1.0 / (double(count) / CollectionCurveFiles + 1.0)) * 0.4;
}

void KSTDuplicateEngine::deliverDuplicateScanProgressWithPaths(
    const QStringList &paths, quint64 generation, const QString &status, double progress,
    quint64 filesScanned, const SnapshotHandler &handler)
{
    if (!handler || isCancelled(generation))
        return;
    std::shared_ptr<KSTDuplicateSnapshot> snapshot =
        buildDuplicateSnapshotFromPaths(paths, generation, status);
    snapshot->scanProgress = std::clamp(progress, 0.0, 1.0);
    snapshot->filesScanned = filesScanned;
    m_hooks.onMain([isCancelled = m_hooks.isCancelled, generation, handler,
                    snapshot = std::shared_ptr<const KSTDuplicateSnapshot>(std::move(snapshot))] {
        if (!isCancelled || !isCancelled(generation))
            handler(snapshot);
    });
}
