#include "KSTInstallerPackageSearch.h"

#include "KSTCleanUpLocations.h"
#include "KSTFileName.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"

#include <QByteArrayList>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef Q_OS_MACOS
#include <CoreServices/CoreServices.h>
#endif

using Checker = KSTPermissionChecker;

namespace {

QByteArrayList sortedEntryNames(const QByteArray &folder)
{
    QByteArrayList names;
    DIR *dir = ::opendir(folder.constData());
    if (!dir)
        return names;
    while (const dirent *entry = ::readdir(dir)) {
        if (entry->d_name[0] != '.') // hidden entries, "." and ".."
            names << QByteArray(entry->d_name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

class Walk
{
public:
    Walk(qsizetype maxResults, const std::function<bool()> &isCancelled,
         const QStringList &extensions)
        : maxResults(maxResults), isCancelled(isCancelled), extensions(extensions)
    {
    }

    QList<KSTInstallerPackageSearch::Found> found;

    void visit(const QByteArray &folder)
    {
        for (const QByteArray &name : sortedEntryNames(folder)) {
            if (results >= maxResults)
                return;
            const QByteArray path = folder + '/' + name;
            const QString decoded = KSTFileName::decoded(path);
            if (Checker::shouldSkipPrivacyProtectedPath(decoded))
                continue;
            struct stat info;
            if (::lstat(path.constData(), &info) != 0 || S_ISLNK(info.st_mode))
                continue;
            const bool isFolder = S_ISDIR(info.st_mode);
            if (isResult(KSTFileName::decoded(name))) {
                ++results;
                found << KSTInstallerPackageSearch::Found{
                    decoded,
                    isFolder ? Checker::fileSizeAtAccessiblePath(decoded) : quint64(info.st_size)};
            } else if (isFolder) {
                if (isDone())
                    return;
                visit(path);
            }
        }
    }

private:
    bool isDone() const { return results >= maxResults || (isCancelled && isCancelled()); }

    bool isResult(const QString &name) const
    {
        if (extensions.isEmpty())
            return KSTInstallerPackageSearch::isInstallerPackageName(name);
        return std::any_of(extensions.cbegin(), extensions.cend(), [&](const QString &extension) {
            return name.size() > extension.size() + 1 &&
                   name.endsWith(QLatin1Char('.') + extension, Qt::CaseInsensitive);
        });
    }

    qsizetype maxResults;
    const std::function<bool()> &isCancelled;
    const QStringList &extensions;
    qsizetype results = 0;
};

QList<KSTInstallerPackageSearch::Found> walkScope(const QString &scopePath, qsizetype maxResults,
                                                  const std::function<bool()> &isCancelled,
                                                  const QStringList &extensions)
{
    // Where the folder is read: nothing for a protected one (or, in a sandbox, one the home
    // grant does not reach).
    const QString folder = QDir::cleanPath(Checker::directoryURLForScanRoot(scopePath));
    if (folder.isEmpty())
        return {};
    Walk walk(maxResults, isCancelled, extensions);
    // The scope itself must not be reached through a link (a Downloads linking elsewhere).
    const int scope = KSTNoFollowPath::openFolder(folder);
    if (scope < 0)
        return {};
    ::close(scope);
    walk.visit(KSTFileName::encoded(folder));
    return walk.found;
}

#ifdef Q_OS_MACOS

// Owns one Core Foundation reference.
class CFReleaser
{
public:
    explicit CFReleaser(CFTypeRef reference) : m_reference(reference) {}
    ~CFReleaser()
    {
        if (m_reference)
            CFRelease(m_reference);
    }
    CFReleaser(const CFReleaser &) = delete;
    CFReleaser &operator=(const CFReleaser &) = delete;

private:
    CFTypeRef m_reference;
};

// A query for @p queryText, scoped to the one folder @p scopePath when it is not empty
// (through the granted home in a sandbox, where no URL means no query). The caller releases.
MDQueryRef createScopedQuery(const QString &queryText, const QString &scopePath)
{
    const CFStringRef text = queryText.toCFString();
    const CFReleaser releaseText(text);
    MDQueryRef query = MDQueryCreate(kCFAllocatorDefault, text, nullptr, nullptr);
    if (!query || scopePath.isEmpty())
        return query;
    const QString folder = Checker::accessibleURLForPath(scopePath, true);
    if (folder.isEmpty()) {
        CFRelease(query);
        return nullptr;
    }
    const QByteArray encoded = QFile::encodeName(folder);
    const CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8 *>(encoded.constData()),
        CFIndex(encoded.size()), true);
    if (!url)
        return query;
    const CFReleaser releaseURL(url);
    const void *scopes[] = {url};
    const CFArrayRef scopeArray =
        CFArrayCreate(kCFAllocatorDefault, scopes, 1, &kCFTypeArrayCallBacks);
    const CFReleaser releaseScopes(scopeArray);
    MDQuerySetSearchScope(query, scopeArray, 0);
    return query;
}

#endif

} // namespace

bool KSTInstallerPackageSearch::isInstallerPackageName(const QString &name)
{
    return name.endsWith(QLatin1String(".dmg"), Qt::CaseInsensitive) ||
           name.endsWith(QLatin1String(".pkg"), Qt::CaseInsensitive) ||
           name.endsWith(QLatin1String(".mpkg"), Qt::CaseInsensitive);
}

quint64 KSTInstallerPackageSearch::totalBytesInScope(const QString &scopePath, qsizetype maxResults,
                                                     const std::function<bool()> &isCancelled,
                                                     const QStringList &extensions)
{
    quint64 total = 0;
    for (const Found &package : findInScope(scopePath, maxResults, isCancelled, extensions))
        total += package.bytes;
    return total;
}

QList<KSTInstallerPackageSearch::Found>
KSTInstallerPackageSearch::findInScope(const QString &scopePath, qsizetype maxResults,
                                       const std::function<bool()> &isCancelled,
                                       const QStringList &extensions)
{
    if (scopePath.isEmpty() || maxResults <= 0)
        return {};
#ifdef Q_OS_MACOS
    // Spotlight knows a Mac's installers; other machines' are found by name.
    if (extensions.isEmpty())
        return mdQueryResults(KSTCleanUpLocations::installerPackageQuery, scopePath, maxResults);
#endif
    return walkScope(scopePath, maxResults, isCancelled, extensions);
}

#ifdef Q_OS_MACOS

QList<KSTInstallerPackageSearch::Found>
KSTInstallerPackageSearch::mdQueryResults(const QString &queryText, const QString &scopePath,
                                          qsizetype maxResults)
{
    MDQueryRef query = createScopedQuery(queryText, scopePath);
    if (!query)
        return {};
    const CFReleaser releaseQuery(query);
    if (!MDQueryExecute(query, kMDQuerySynchronous))
        return {};
    const CFIndex count = std::min<CFIndex>(MDQueryGetResultCount(query), CFIndex(maxResults));
    QList<Found> found;
    for (CFIndex index = 0; index < count; ++index) {
        const auto item =
            static_cast<MDItemRef>(const_cast<void *>(MDQueryGetResultAtIndex(query, index)));
        if (!item)
            continue;
        const CFTypeRef value = MDItemCopyAttribute(item, kMDItemFSSize);
        const CFTypeRef path = MDItemCopyAttribute(item, kMDItemPath);
        const CFReleaser releaseValue(value);
        const CFReleaser releasePath(path);
        if (!value || !path || CFGetTypeID(path) != CFStringGetTypeID())
            continue;
        SInt64 size = 0;
        if (CFGetTypeID(value) == CFNumberGetTypeID() &&
            CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &size)) {
            found << Found{QString::fromCFString(static_cast<CFStringRef>(path)),
                           size > 0 ? quint64(size) : 0};
        }
    }
    return found;
}

quint64 KSTInstallerPackageSearch::mdQueryTotalSize(const QString &queryText,
                                                    const QString &scopePath, qsizetype maxResults)
{
    quint64 total = 0;
    for (const Found &package : mdQueryResults(queryText, scopePath, maxResults))
        total += package.bytes;
    return total;
}

quint64 KSTInstallerPackageSearch::mdQueryResultCount(const QString &queryText,
                                                      const QString &scopePath,
                                                      qsizetype maxResults)
{
    MDQueryRef query = createScopedQuery(queryText, scopePath);
    if (!query)
        return 0;
    const CFReleaser releaseQuery(query);
    if (!MDQueryExecute(query, kMDQuerySynchronous))
        return 0;
    return quint64(std::min<CFIndex>(MDQueryGetResultCount(query), CFIndex(maxResults)));
}

#endif
