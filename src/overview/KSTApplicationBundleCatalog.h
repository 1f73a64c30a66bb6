#pragma once

#include "KSTSystemSnapshot.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

class KSTSystemInfo;

/// The application bundles installed on the analysed Mac: where they are looked for, how the
/// search walks, and the list the Overview counts and sizes (and the App Manage inventory
/// collects from).
///
/// A bundle is a folder named "*.app" (any letter case) whose Contents/Info.plist has a
/// non-empty string CFBundleIdentifier. The search looks in the system Applications folders
/// and the home's Applications folder (4 levels deep), then, where the home may be read, the
/// home's Applications folder again (1 level) and the user folders where downloads and
/// projects end up (12 levels), skipping hidden entries, build and package folders
/// (shouldSkipDirectoryInUserAppSearch()) and privacy-protected places. It never descends
/// into a bundle and never follows a symbolic link. A path found twice keeps its first
/// place.
///
/// The list is kept in the PathCache the catalog is made with (in use, the service's
/// cachedApplicationBundlePaths, which invalidateAppInventoryCache() clears) and reused while
/// it is non-empty.
///
/// Thread safety: every operation may be called from any thread; the cache's calls must be
/// safe from any thread (the service's are, under its lock: two concurrent first searches both
/// walk, and the later store wins with the same list).
class KSTApplicationBundleCatalog
{
public:
    /// Paths in the order of their first insertion, each once.
    class OrderedPaths
    {
    public:
        /// Appends @p path unless it is already there; true when appended.
        bool insert(const QString &path);
        const QStringList &list() const { return m_list; }

    private:
        QStringList m_list;
        QSet<QString> m_seen;
    };

    /// Where the search's list is kept between calls. Both members may be called from any
    /// thread; an empty member keeps nothing (every call then searches).
    struct PathCache
    {
        /// The kept list; empty when there is none.
        std::function<QStringList()> cached;
        /// Keeps @p paths, replacing what was kept.
        std::function<void(const QStringList &paths)> store;

        /// The service's bundle cache; @p systemInfo must outlive every use of the value.
        static PathCache of(KSTSystemInfo &systemInfo);
    };

    /// Keeps its list in @p cache.
    explicit KSTApplicationBundleCatalog(PathCache cache);

    /// The system Applications and System/Applications folders under the analysed root, and
    /// Applications in the accessible home.
    static QStringList applicationSearchPaths();
    /// Desktop, Documents, Downloads, Movies, Pictures, Public, Developer; in a sandbox only
    /// Movies, Pictures, Public, Developer.
    static QStringList applicationUserFolderSearchRelativePaths();
    /// Those folders in the accessible home (in a sandbox: the bare relative names).
    static QStringList applicationUserFolderSearchRoots();
    /// True when a "/"-separated component of @p relativePath is hidden or one of Library,
    /// node_modules, DerivedData, Pods, .git, Build, Music, Intermediates.
    static bool shouldSkipDirectoryInUserAppSearch(const QString &relativePath);

    /// Adds to @p paths, in walk order (entries of a folder sorted by name), every bundle
    /// below the folder @p rootPath whose path has at most @p maxDepth components relative
    /// to it. Nothing when the root is empty, cannot be searched, or is not a folder (a
    /// symbolic link to one included).
    static void collectApplicationBundlesUnderPath(const QString &rootPath, int maxDepth,
                                                   OrderedPaths &paths);

    /// Every bundle path found by the search described above (cached, see the class).
    QStringList applicationBundlePaths() const;
    /// The number of bundle paths.
    qint64 installedApplicationCount() const;
    /// The @p limit largest bundles (all when there are fewer), largest first, equal sizes
    /// by name (plain comparison, then search order); cpuUsage is 0. Sizes every bundle
    /// with KSTStorageFigures::directorySizeAtPath().
    QList<KSTAppUsageInfo> topApplicationsBySize(qsizetype limit) const;

    /// Search depths: the application folders, the home's Applications folder on its own,
    /// and the user folders.
    static constexpr int ApplicationFolderDepth = 4;
    static constexpr int HomeApplicationsDepth = 1;
    static constexpr int UserFolderDepth = 12;

private:
    PathCache m_cache;
};
