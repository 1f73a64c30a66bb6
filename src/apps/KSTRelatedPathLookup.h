#pragma once

#include "KSTAppInventorySnapshot.h"
#include "KSTRelatedPathMatcher.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <mutex>

class KSTAppInventoryEngine;

/// The files an application left outside its bundle: caches, preferences, support folders,
/// containers, launch agents, receipts, crash reports, temporary folders.
///
/// A look-up, in this order: the nine home templates for every token and the two receipt
/// templates for the identifier; the containers and group containers whose names match (with
/// the identifier); the user's launch agents and the entries of the shared folders whose
/// names or launch jobs match; the temporary folders whose Mac paths match the identifier
/// alone. Candidates are sized (a folder by its contents) and only those with bytes are kept,
/// largest first, equal sizes by display path.
///
/// What a look-up never lists, whatever matched: a template filled with a token holding "/"
/// or made of dots, or a result not strictly inside its template's folder; the home,
/// ~/Library and every folder directly in it, and the home's Applications, Desktop,
/// Documents, Downloads, Movies, Music, Pictures, Public and .Trash.
///
/// The folder listings are one index (KSTRelatedPathScanIndex), built once outside the
/// service's lock (serialised by a lock of its own, so two first look-ups build it once) and
/// kept with the inventory through the engine's hooks (the frame's cachedRelatedPathScanIndex);
/// invalidateAppInventoryCache() and every uninstall clear it. Look-ups run on appInventoryQueue:
/// the main thread never waits for the walk of /private/var/folders.
///
/// Thread safety: every operation may be called from any thread; completions arrive on the
/// main thread.
class KSTRelatedPathLookup
{
public:
    /// Works for @p engine, which must outlive it.
    explicit KSTRelatedPathLookup(KSTAppInventoryEngine &engine);

    /// The cached index, built on first use.
    std::shared_ptr<const KSTRelatedPathScanIndex> relatedPathScanIndex();
    /// Lists the index's folders now (may take long: /private/var/folders four levels deep).
    /// @p installedBundleIdentifiers become the index's installed identifiers.
    static std::shared_ptr<KSTRelatedPathScanIndex>
    buildRelatedPathScanIndex(const QStringList &installedBundleIdentifiers);
    /// The identifiers of the installed applications: the cached inventory's, else read from
    /// the bundles the application search finds.
    QStringList installedBundleIdentifiers() const;

    /// Calls @p completion on the main thread with @p record's related paths: at once when
    /// they are loaded, else after a look-up on appInventoryQueue that also stores them (and
    /// the total size) on the cached inventory's record.
    void loadRelatedPathsForApp(
        const KSTInstalledAppRecord &record,
        std::function<void(const QList<KSTInstalledAppRelatedPath> &)> completion);

    /// A look-up with the cached index (blocking).
    QList<KSTInstalledAppRelatedPath> relatedPathsForInstalledApp(const KSTInstalledAppRecord &app);
    /// A look-up with @p index (blocking).
    static QList<KSTInstalledAppRelatedPath>
    relatedPathsForInstalledApp(const KSTInstalledAppRecord &app,
                                const KSTRelatedPathScanIndex &index);

    /// Step 1: the home templates for each usable token, then the receipts.
    static void addDirectRelatedPathsForApp(const KSTInstalledAppRecord &app,
                                            const QStringList &tokens,
                                            const QStringList &installedIdentifiers,
                                            KSTRelatedPathMatcher::Collection &collection);
    /// Adds @p candidate unless it is empty, collected already, never listed, missing, or
    /// (with @p computeFullSize) of 0 bytes. Without @p computeFullSize a folder counts its
    /// own blocks and is added whatever its size.
    static void addRelatedPathCandidate(const KSTRelatedPathMatcher::Candidate &candidate,
                                        const KSTInstalledAppRecord &app,
                                        const QStringList &installedIdentifiers,
                                        KSTRelatedPathMatcher::Collection &collection,
                                        bool computeFullSize = true);

    /// A file's size (or a folder's contents) through the accessible-path rules.
    static quint64 fileSizeAtPath(const QString &path);
    /// True for the home, ~/Library, a folder directly in ~/Library and the home's own
    /// folders listed above.
    static bool isNeverListed(const QString &path);
    /// Sets @p paths as @p record's related paths (loaded), and its total size when the bundle
    /// is sized.
    static void applyRelatedPaths(KSTInstalledAppRecord &record,
                                  const QList<KSTInstalledAppRelatedPath> &paths);

private:
    KSTAppInventoryEngine *m_engine;
    std::mutex m_buildMutex;
};
