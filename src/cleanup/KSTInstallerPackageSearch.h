#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

/// Installer packages and disk images inside a folder, summed for the clean-up scan's
/// "Installer Packages" item. A machine of another kind names its installers by extension
/// instead (a Debian package, a Flatpak bundle): given those extensions, the walk below finds
/// entries ending in "." and one of them (any letter case), on every host.
///
/// On macOS this is the Spotlight query KSTCleanUpLocations::installerPackageQuery (content
/// type com.apple.installer-package, or a name matching "*.dmg" or "*.pkg") scoped to the
/// folder: the first results up to the cap, each counted with its kMDItemFSSize.
///
/// Elsewhere there is no Spotlight, so the folder is walked the way a Spotlight scope covers
/// it: recursively, skipping hidden entries and privacy-protected places; a symbolic link is
/// neither followed nor counted. A result is an entry whose name ends in ".dmg" or ".pkg" in any
/// letter case (Spotlight's name match ignores case) or ".mpkg" (the other installer-package
/// type); a matching folder (a bundle package) is one result, sized whole and not entered. The
/// walk visits each folder's entries in byte order of their names, depth first, so the cap
/// keeps the same results on every run.
///
/// Either way the folder is reached where the access layer says
/// (KSTPermissionChecker::directoryURLForScanRoot(), accessibleURLForPath() for the query): in
/// a sandbox through the home grant, and not at all without one.
///
/// Thread safety: pure functions of the file system; blocking, any thread but the main one.
class KSTInstallerPackageSearch
{
public:
    KSTInstallerPackageSearch() = delete;

    /// One result: where it is and its size.
    struct Found
    {
        QString path;
        quint64 bytes = 0;
    };

    /// At most @p maxResults results under @p scopePath; none for an empty or unreadable
    /// scope. @p isCancelled (may be empty) is polled by the walk, which then returns what it
    /// found so far. Non-empty @p extensions (lower case, without the dot) replace the
    /// installer-package names.
    static QList<Found> findInScope(const QString &scopePath, qsizetype maxResults,
                                    const std::function<bool()> &isCancelled,
                                    const QStringList &extensions = {});

    /// The summed size of findInScope().
    static quint64 totalBytesInScope(const QString &scopePath, qsizetype maxResults,
                                     const std::function<bool()> &isCancelled,
                                     const QStringList &extensions = {});

    /// Whether an entry named @p name is a result of the walk.
    static bool isInstallerPackageName(const QString &name);

#ifdef Q_OS_MACOS
    /// Spotlight: the first min(count, @p maxResults) results of @p queryText that have a
    /// path and a size (negative sizes as 0), scoped to @p scopePath when it is not empty.
    static QList<Found> mdQueryResults(const QString &queryText, const QString &scopePath,
                                       qsizetype maxResults);
    /// Spotlight: the summed kMDItemFSSize (negative values as 0, results without it
    /// skipped) of the first min(count, @p maxResults) results of @p queryText, scoped to
    /// @p scopePath when it is not empty; 0 when the query cannot be made or run.
    static quint64 mdQueryTotalSize(const QString &queryText, const QString &scopePath,
                                    qsizetype maxResults);
    /// min(result count, @p maxResults); 0 on failure.
    static quint64 mdQueryResultCount(const QString &queryText, const QString &scopePath,
                                      qsizetype maxResults);
    static quint64 mdQueryTotalSize(const QString &queryText, qsizetype maxResults)
    {
        return mdQueryTotalSize(queryText, QString(), maxResults);
    }
    static quint64 mdQueryResultCount(const QString &queryText, qsizetype maxResults)
    {
        return mdQueryResultCount(queryText, QString(), maxResults);
    }
#endif
};
