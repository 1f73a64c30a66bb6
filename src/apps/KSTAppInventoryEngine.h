#pragma once

#include "KSTAppInventorySnapshot.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

class KSTDispatchQueue;
class KSTRelatedPathLookup;
class KSTSystemInfo;

/// The App Manage inventory: every installed application with its version, developer,
/// category, architecture, source, dates and size, delivered progressively through the
/// scan-service frame (KSTSystemInfo) and cached there.
///
/// The engine never holds the frame: install() wires it to the frame's App Manage slot through
/// a Hooks value (the slot's cancellation predicate, its cache, the queue, the main-thread hop
/// and the notification). The slot owns the generation, the cache and the delivery of a scan's
/// progress and result (dropped for a stale generation).
///
/// A scan for generation G runs on the frame's appInventoryQueue:
/// 1. discovery: the bundle paths of KSTApplicationBundleCatalog (the Overview's search, never
///    a second walk), one lightweight record each (KSTAppBundleReader; bundles without an
///    identifier are left out) — on a Linux desktop the records of KSTDesktopAppRecords — a
///    progress snapshot of the records so far (sorted by name) after records 1, 17, 33, … and the
///    last ("Scanning apps… i/n"), then the complete snapshot sorted by name ("Calculating
///    application size… 0/n"), stored in the cache and handed to the completion;
/// 2. the metadata pass: what discovery could not fill, one record at a time with a pause of
///    metadataThrottle after each; the cache is refreshed and the metadata notification posted;
/// 3. the size pass: each unsized bundle's allocated size (read without touching access
///    times), a pause of sizeThrottle after every record, the cache refreshed with
///    "Calculating application size… k/n" after every tenth sized record and the last; finally
///    the records sorted by bundle size (largest first, equal sizes by name, case-insensitive
///    and locale-aware), "Scan complete", and the notification with
///    {KSTAppInventorySortOrderChanged: true}.
/// Every pass checks G before each record and stops quietly once a newer scan, a cancel or a
/// resume has moved the generation on; deliveries to the main thread check it again.
///
/// Records are values. The engine keeps its working copies on appInventoryQueue and publishes
/// copies, so nothing a screen holds is written while it reads. The notification
/// "KSTAppInventoryMetadataDidUpdateNotification" (object: the KSTSystemInfo the engine was
/// installed on) tells the screen to re-read cachedAppInventorySnapshot().
///
/// Look-ups a person waits for (related paths, one bundle's size, an uninstall) are queued on
/// appInventoryQueue too, and a running pass runs them during its pauses, between two
/// records: they never overlap a record's work and never wait for a whole pass.
///
/// Thread safety: every public operation may be called from any thread; completions and
/// notifications arrive on the main thread.
class KSTAppInventoryEngine : public std::enable_shared_from_this<KSTAppInventoryEngine>
{
public:
    struct Options
    {
        /// The pause after each record of the metadata and size passes, so that background
        /// work never saturates the disk.
        std::chrono::milliseconds metadataThrottle{8};
        std::chrono::milliseconds sizeThrottle{180};
    };

    using SnapshotPtr = std::shared_ptr<const KSTAppInventorySnapshot>;
    using Block = std::function<void()>;

    /// What the engine asks of the frame it works for. Every member must be set (install()
    /// sets them from a KSTSystemInfo); each may be called from any thread.
    struct Hooks
    {
        /// Whether generation G should stop: a newer scan, a cancel or a resume moved on.
        std::function<bool(quint64 generation)> isCancelled;
        /// Moves the generation on and returns the new one (the resumed size pass).
        std::function<quint64()> nextGeneration;
        /// The serial queue the passes and the look-ups run on; outlives the engine's work.
        KSTDispatchQueue *queue = nullptr;
        /// Runs a block on the main thread, dropped once the frame is gone.
        std::function<void(Block)> onMain;
        /// The cached inventory, complete or not; nullptr when there is none.
        std::function<SnapshotPtr()> cachedInventory;
        /// Replaces the cached inventory.
        std::function<void(SnapshotPtr)> storeInventory;
        /// In one step, only when the cached inventory is complete: replaces it with one of
        /// these apps, status text, size flag and scanned count, keeping its scan date.
        std::function<void(const QList<KSTInstalledAppRecord> &apps, const QString &statusText,
                           bool isSizeCalculationComplete, quint64 scannedCount)>
            refreshInventory;
        /// The same keeping the cached status text and size flag.
        std::function<void(const QList<KSTInstalledAppRecord> &apps)> refreshInventoryApps;
        /// Drops the cached inventory, the bundle paths and the related-path index.
        Block invalidateInventory;
        /// The related-path index kept with the inventory, and replacing it (nullptr drops it).
        std::function<std::shared_ptr<const KSTRelatedPathScanIndex>()> cachedRelatedPathIndex;
        std::function<void(std::shared_ptr<const KSTRelatedPathScanIndex>)> storeRelatedPathIndex;
        /// The bundle paths of the application search (cached with the inventory).
        std::function<QStringList()> applicationBundlePaths;
        /// Posts MetadataDidUpdateNotification with @p userInfo on the main thread.
        std::function<void(const QVariantMap &userInfo)> postMetadataUpdate;
    };

    static inline const QString MetadataDidUpdateNotification =
        QStringLiteral("KSTAppInventoryMetadataDidUpdateNotification");
    static inline const QString SortOrderChangedKey =
        QStringLiteral("KSTAppInventorySortOrderChanged");

    /// Makes an engine hooked to @p systemInfo's App Manage slot (the frame must outlive its
    /// use) and installs its scan and resume routines there; the frame keeps the engine alive.
    static std::shared_ptr<KSTAppInventoryEngine> install(KSTSystemInfo &systemInfo,
                                                          Options options);
    static std::shared_ptr<KSTAppInventoryEngine> install(KSTSystemInfo &systemInfo);
    /// The engine of KSTSystemInfo::shared(), installed on first call.
    static KSTAppInventoryEngine &shared();

    KSTAppInventoryEngine(Hooks hooks, Options options);
    ~KSTAppInventoryEngine();
    KSTAppInventoryEngine(const KSTAppInventoryEngine &) = delete;
    KSTAppInventoryEngine &operator=(const KSTAppInventoryEngine &) = delete;

    /// The frame's side, for the look-up, the uninstaller and the uninstall selection.
    const Hooks &hooks() const { return m_hooks; }
    const Options &options() const { return m_options; }
    /// The related-path look-up of this inventory (its index and loading).
    KSTRelatedPathLookup &relatedPaths() const { return *m_relatedPaths; }

    // ---- Discovery ----

    /// The bundle paths of the application search (cached in the frame).
    QStringList collectApplicationBundlePaths() const;

    /// The scan for @p generation (steps 1 to 3 above); runs on appInventoryQueue. @p progress
    /// may be null. The handlers are called on this queue: the frame hops them to the main
    /// thread and drops them for a stale generation.
    void scanForGeneration(
        quint64 generation,
        std::function<void(std::shared_ptr<const KSTAppInventorySnapshot>)> progress,
        std::function<void(std::shared_ptr<const KSTAppInventorySnapshot>)> completion);

    /// Step 2 and then step 3, on the working records; on appInventoryQueue.
    void enrichAppInventoryMetadataInBackground(quint64 generation);
    /// Step 3 on the working records; on appInventoryQueue.
    void enrichAppInventorySizesInBackground(quint64 generation);

    /// Nothing unless a complete cached inventory has sizes missing. When every app has a
    /// bundle size, the cache becomes "Scan complete"; otherwise a new generation starts and
    /// the size pass runs on a copy of the cached apps, on appInventoryQueue (never on the
    /// calling thread, which may be the window's).
    void resumeAppInventorySizeCalculationIfNeeded();

    /// Sizes the bundle of @p record when it has no size yet (total = size + loaded related
    /// bytes), updates the cached inventory's copy, and calls @p completion on the main
    /// thread with the sized record (at once, unchanged, when there is nothing to size).
    void loadBundleSizeForApp(const KSTInstalledAppRecord &record,
                              std::function<void(const KSTInstalledAppRecord &)> completion);

    /// The allocated size of a bundle folder as the Overview measures folders, read without
    /// updating access times; 0 when it is not a readable folder.
    static quint64 directorySizeAtPath(const QString &path);

    /// Whether the analysed machine's applications are a Linux desktop's menu applications
    /// (KSTDesktopAppRecords, whole from discovery and sized with their payloads) rather than
    /// application bundles.
    static bool usesDesktopEntries();

    /// Sorts by name, case-insensitive and locale-aware (a stable sort).
    static void sortByName(QList<KSTInstalledAppRecord> &apps);
    /// Sorts by bundle size, largest first, equal sizes by name as above.
    static void sortBySize(QList<KSTInstalledAppRecord> &apps);

    // ---- The working records (for the related-path look-up and the uninstaller) ----

    /// Runs @p block on appInventoryQueue; a running pass runs it at its next pause. For work
    /// a person waits for.
    void performSoon(std::function<void()> block);
    /// On appInventoryQueue only: applies @p change to the working record and to the cached
    /// inventory's record with the bundle path @p bundlePath (when they exist).
    void updateRecord(const QString &bundlePath,
                      const std::function<void(KSTInstalledAppRecord &)> &change);
    /// On appInventoryQueue only: forgets the working record of @p bundlePath, so that a pass
    /// in progress does not publish it again.
    void forgetRecord(const QString &bundlePath);

private:
    bool isCancelled(quint64 generation) const { return m_hooks.isCancelled(generation); }
    // Waits @p duration on appInventoryQueue, running the work performSoon() queued meanwhile.
    void pause(std::chrono::milliseconds duration);
    void runSoonWork();
    void postMetadataUpdate(bool sortOrderChanged);
    SnapshotPtr cachedIfComplete() const;
    void refreshCache(const QString &statusText, bool sizesComplete, quint64 scannedCount);
    KSTInstalledAppRecord *workingRecord(const QString &bundlePath);

    Hooks m_hooks;
    Options m_options;
    std::unique_ptr<KSTRelatedPathLookup> m_relatedPaths;

    // Only touched on appInventoryQueue.
    QList<KSTInstalledAppRecord> m_records;

    std::mutex m_soonMutex;
    std::condition_variable m_soonWake;
    std::deque<std::function<void()>> m_soon;
};
