#include "KSTAppInventoryEngine.h"

#include "KSTAppBundleReader.h"
#include "KSTDesktopAppRecords.h"
#include "KSTDispatchQueue.h"
#include "KSTEnvironment.h"
#include "KSTOverviewLocations.h"
#include "KSTPermissionChecker.h"
#include "KSTRelatedPathLookup.h"
#include "KSTTreeSize.h"

#include <QCollator>
#include <QDir>

#include <algorithm>

using Checker = KSTPermissionChecker;
using SnapshotPtr = std::shared_ptr<const KSTAppInventorySnapshot>;

namespace {

// Discovery publishes after the first record and then after every sixteenth.
constexpr qsizetype ProgressEveryRecords = 16;
// The size pass refreshes the cache after every tenth sized record.
constexpr quint64 RefreshEverySizedRecords = 10;

QString scanningText(qsizetype done, qsizetype total)
{
    return QStringLiteral("Scanning apps… %1/%2").arg(done).arg(total);
}

QString sizingText(quint64 done, quint64 total)
{
    return QStringLiteral("Calculating application size… %1/%2").arg(done).arg(total);
}

QStringList bundlePathsOf(const QList<KSTInstalledAppRecord> &apps)
{
    QStringList paths;
    paths.reserve(apps.size());
    for (const KSTInstalledAppRecord &app : apps)
        paths << app.bundlePath;
    return paths;
}

quint64 loadedRelatedBytes(const KSTInstalledAppRecord &record)
{
    quint64 bytes = 0;
    if (record.relatedPathsLoaded) {
        for (const KSTInstalledAppRelatedPath &related : record.relatedPaths)
            bytes += related.bytes;
    }
    return bytes;
}

void sizeRecord(KSTInstalledAppRecord &record)
{
    const quint64 size = KSTAppInventoryEngine::directorySizeAtPath(record.bundlePath);
    record.bundleSizeBytes = size;
    record.totalSizeBytes = size + loadedRelatedBytes(record);
}

} // namespace

KSTAppInventoryEngine::KSTAppInventoryEngine(Hooks hooks, Options options)
    : m_hooks(std::move(hooks)), m_options(options),
      m_relatedPaths(std::make_unique<KSTRelatedPathLookup>(*this))
{
}

KSTAppInventoryEngine::~KSTAppInventoryEngine() = default;

QStringList KSTAppInventoryEngine::collectApplicationBundlePaths() const
{
    return m_hooks.applicationBundlePaths();
}

// ---- Discovery ----

void KSTAppInventoryEngine::scanForGeneration(quint64 generation,
                                              std::function<void(SnapshotPtr)> progress,
                                              std::function<void(SnapshotPtr)> completion)
{
    if (isCancelled(generation))
        return;
    // A Mac's bundles are read one by one; a Linux desktop's applications come from the
    // Overview's catalog in one pass (dpkg's database is read once for all of them).
    const bool desktopEntries = usesDesktopEntries();
    const QList<KSTInstalledAppRecord> desktopRecords =
        desktopEntries ? KSTDesktopAppRecords::records(KSTEnvironment::current())
                       : QList<KSTInstalledAppRecord>();
    const QStringList paths = desktopEntries ? QStringList() : collectApplicationBundlePaths();
    const qsizetype total = desktopEntries ? desktopRecords.size() : paths.size();
    const QStringList languages =
        desktopEntries ? QStringList() : KSTAppBundleReader::userLanguages();
    QList<KSTInstalledAppRecord> records;
    for (qsizetype index = 1; index <= total; ++index) {
        if (isCancelled(generation))
            return;
        std::optional<KSTInstalledAppRecord> record =
            desktopEntries ? std::optional(desktopRecords.at(index - 1))
                           : KSTAppBundleReader::lightweightInstalledAppRecordForBundlePath(
                                 paths.at(index - 1), languages);
        if (!record)
            continue;
        records.append(std::move(*record));
        if (progress && (index == total || (index - 1) % ProgressEveryRecords == 0)) {
            QList<KSTInstalledAppRecord> sorted = records;
            sortByName(sorted);
            SnapshotPtr snapshot = std::make_shared<KSTAppInventorySnapshot>(
                KSTAppInventorySnapshot::inventorySnapshotWithApps(
                    sorted, quint64(index), quint64(total), scanningText(index, total), false));
            progress(snapshot);
        }
    }

    sortByName(records);
    const quint64 count = quint64(records.size());
    auto complete = std::make_shared<KSTAppInventorySnapshot>(
        KSTAppInventorySnapshot::inventorySnapshotWithApps(records, count, count,
                                                           sizingText(0, count), true));
    complete->isSizeCalculationComplete = false;
    // Stored even when cancelled meanwhile: it is complete, and a screen that comes back shows
    // it at once and resumes the sizes.
    m_hooks.storeInventory(complete);
    m_records = records;
    if (completion)
        completion(complete);
    enrichAppInventoryMetadataInBackground(generation);
}

// ---- Metadata and size passes ----

void KSTAppInventoryEngine::enrichAppInventoryMetadataInBackground(quint64 generation)
{
    for (const QString &path : bundlePathsOf(m_records)) {
        if (isCancelled(generation))
            return;
        // A desktop application's record is whole from discovery: there is no bundle to read.
        KSTInstalledAppRecord *record = usesDesktopEntries() ? nullptr : workingRecord(path);
        if (record)
            KSTAppBundleReader::enrichAppRecordDisplayMetadata(*record);
        pause(m_options.metadataThrottle);
    }
    refreshCache(sizingText(0, quint64(m_records.size())), false, 0);
    postMetadataUpdate(false);
    enrichAppInventorySizesInBackground(generation);
}

void KSTAppInventoryEngine::enrichAppInventorySizesInBackground(quint64 generation)
{
    if (isCancelled(generation))
        return;
    Checker::prepareHomeFolderAccessForScan();
    const quint64 total = quint64(m_records.size());
    refreshCache(sizingText(0, total), false, 0);
    postMetadataUpdate(false);

    quint64 sized = 0;
    for (const QString &path : bundlePathsOf(m_records)) {
        if (isCancelled(generation))
            return;
        KSTInstalledAppRecord *record = workingRecord(path);
        if (record && record->bundleSizeBytes == 0) {
            sizeRecord(*record);
            ++sized;
        }
        if (sized != 0 && (sized == total || sized % RefreshEverySizedRecords == 0)) {
            refreshCache(sizingText(sized, total), false, sized);
            postMetadataUpdate(false);
        }
        pause(m_options.sizeThrottle);
    }
    if (isCancelled(generation))
        return;
    sortBySize(m_records);
    refreshCache(QStringLiteral("Scan complete"), true, quint64(m_records.size()));
    postMetadataUpdate(true);
}

void KSTAppInventoryEngine::resumeAppInventorySizeCalculationIfNeeded()
{
    const SnapshotPtr cached = cachedIfComplete();
    if (!cached || cached->isSizeCalculationComplete)
        return;
    const bool allSized =
        std::all_of(cached->apps.cbegin(), cached->apps.cend(),
                    [](const KSTInstalledAppRecord &app) { return app.bundleSizeBytes != 0; });
    if (allSized) {
        m_hooks.refreshInventory(cached->apps, QStringLiteral("Scan complete"), true,
                                 quint64(cached->apps.size()));
        return;
    }
    const quint64 generation = m_hooks.nextGeneration();
    m_hooks.queue->async([this, self = shared_from_this(), generation] {
        if (isCancelled(generation))
            return;
        // The cache as it stands now: look-ups may have added to it since.
        if (const SnapshotPtr current = cachedIfComplete())
            m_records = current->apps;
        enrichAppInventorySizesInBackground(generation);
    });
}

void KSTAppInventoryEngine::loadBundleSizeForApp(
    const KSTInstalledAppRecord &record,
    std::function<void(const KSTInstalledAppRecord &)> completion)
{
    if (record.bundlePath.isEmpty() || record.bundleSizeBytes != 0) {
        if (completion)
            m_hooks.onMain([completion, record] { completion(record); });
        return;
    }
    performSoon([this, record, completion] {
        Checker::prepareHomeFolderAccessForScan();
        KSTInstalledAppRecord sized = record;
        sizeRecord(sized);
        updateRecord(sized.bundlePath, [&sized](KSTInstalledAppRecord &stored) {
            stored.bundleSizeBytes = sized.bundleSizeBytes;
            stored.totalSizeBytes = sized.bundleSizeBytes + loadedRelatedBytes(stored);
        });
        if (completion)
            m_hooks.onMain([completion, sized] { completion(sized); });
    });
}

quint64 KSTAppInventoryEngine::directorySizeAtPath(const QString &path)
{
    if (path.isEmpty() || Checker::shouldSkipPrivacyProtectedPath(path))
        return 0;
    const QString url = Checker::directoryURLForSizeAtPath(path);
    bool isDirectory = false;
    if (url.isEmpty() || !Checker::URLExists(url, &isDirectory) || !isDirectory)
        return 0;
    KSTTreeSize::Options options = Checker::accessibleTreeSizeOptions();
    options.preserveAccessTimes = true;
    return KSTTreeSize::allocatedBytes(QDir::cleanPath(url), options);
}

bool KSTAppInventoryEngine::usesDesktopEntries()
{
    return KSTOverviewLocations::applicationCatalog(KSTEnvironment::current().layout()) ==
           KSTOverviewLocations::ApplicationCatalog::DesktopEntries;
}

void KSTAppInventoryEngine::sortByName(QList<KSTInstalledAppRecord> &apps)
{
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(apps.begin(), apps.end(),
                     [&collator](const KSTInstalledAppRecord &a, const KSTInstalledAppRecord &b) {
                         return collator.compare(a.name, b.name) < 0;
                     });
}

void KSTAppInventoryEngine::sortBySize(QList<KSTInstalledAppRecord> &apps)
{
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(apps.begin(), apps.end(),
                     [&collator](const KSTInstalledAppRecord &a, const KSTInstalledAppRecord &b) {
                         if (a.bundleSizeBytes != b.bundleSizeBytes)
                             return a.bundleSizeBytes > b.bundleSizeBytes;
                         return collator.compare(a.name, b.name) < 0;
                     });
}

// ---- Working records and the work a person waits for ----

void KSTAppInventoryEngine::performSoon(std::function<void()> block)
{
    {
        std::lock_guard lock(m_soonMutex);
        m_soon.push_back(std::move(block));
    }
    m_soonWake.notify_all();
    // Run by the queue itself when no pass is pausing; whichever comes first runs it.
    m_hooks.queue->async([this, self = shared_from_this()] { runSoonWork(); });
}

void KSTAppInventoryEngine::runSoonWork()
{
    for (;;) {
        std::function<void()> block;
        {
            std::lock_guard lock(m_soonMutex);
            if (m_soon.empty())
                return;
            block = std::move(m_soon.front());
            m_soon.pop_front();
        }
        block();
    }
}

void KSTAppInventoryEngine::pause(std::chrono::milliseconds duration)
{
    const auto deadline = std::chrono::steady_clock::now() + duration;
    for (;;) {
        runSoonWork();
        std::unique_lock lock(m_soonMutex);
        if (!m_soonWake.wait_until(lock, deadline, [this] { return !m_soon.empty(); }))
            return;
    }
}

KSTInstalledAppRecord *KSTAppInventoryEngine::workingRecord(const QString &bundlePath)
{
    for (KSTInstalledAppRecord &record : m_records) {
        if (record.bundlePath == bundlePath)
            return &record;
    }
    return nullptr;
}

void KSTAppInventoryEngine::updateRecord(const QString &bundlePath,
                                         const std::function<void(KSTInstalledAppRecord &)> &change)
{
    if (KSTInstalledAppRecord *record = workingRecord(bundlePath))
        change(*record);
    const SnapshotPtr cached = cachedIfComplete();
    if (!cached)
        return;
    QList<KSTInstalledAppRecord> apps = cached->apps;
    bool found = false;
    for (KSTInstalledAppRecord &app : apps) {
        if (app.bundlePath == bundlePath) {
            change(app);
            found = true;
        }
    }
    if (found)
        m_hooks.refreshInventoryApps(apps);
}

void KSTAppInventoryEngine::forgetRecord(const QString &bundlePath)
{
    m_records.removeIf([&bundlePath](const KSTInstalledAppRecord &record) {
        return record.bundlePath == bundlePath;
    });
}

void KSTAppInventoryEngine::refreshCache(const QString &statusText, bool sizesComplete,
                                         quint64 scannedCount)
{
    m_hooks.refreshInventory(m_records, statusText, sizesComplete, scannedCount);
}

void KSTAppInventoryEngine::postMetadataUpdate(bool sortOrderChanged)
{
    QVariantMap userInfo;
    if (sortOrderChanged)
        userInfo.insert(SortOrderChangedKey, true);
    m_hooks.postMetadataUpdate(userInfo);
}

KSTAppInventoryEngine::SnapshotPtr KSTAppInventoryEngine::cachedIfComplete() const
{
    SnapshotPtr cached = m_hooks.cachedInventory();
    return cached && cached->isComplete ? cached : nullptr;
}
