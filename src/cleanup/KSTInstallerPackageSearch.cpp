#include "KSTInstallerPackageSearch.h"

#include "KSTCleanUpLocations.h"
#include "KSTPermissionChecker.h"

#include <QByteArrayList>
#include <QDir>
#include <QFile>

#include <algorithm>
#include <dirent.h>
#include <sys/stat.h>

#ifdef Q_OS_MACOS
#include <CoreServices/CoreServices.h>
#endif

using Checker = KSTPermissionChecker;

namespace {

#ifndef Q_OS_MACOS

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
    Walk(qsizetype maxResults, const std::function<bool()> &isCancelled)
        : maxResults(maxResults), isCancelled(isCancelled)
    {
    }

    quint64 total = 0;

    void visit(const QByteArray &folder)
    {
        for (const QByteArray &name : sortedEntryNames(folder)) {
            if (results >= maxResults)
                return;
            const QByteArray path = folder + '/' + name;
            const QString decoded = QFile::decodeName(path);
            if (Checker::shouldSkipPrivacyProtectedPath(decoded))
                continue;
            struct stat info;
            if (::lstat(path.constData(), &info) != 0 || S_ISLNK(info.st_mode))
                continue;
            const bool isFolder = S_ISDIR(info.st_mode);
            if (KSTInstallerPackageSearch::isInstallerPackageName(QFile::decodeName(name))) {
                ++results;
                total +=
                    isFolder ? Checker::fileSizeAtAccessiblePath(decoded) : quint64(info.st_size);
            } else if (isFolder) {
                if (isDone())
                    return;
                visit(path);
            }
        }
    }

private:
    bool isDone() const { return results >= maxResults || (isCancelled && isCancelled()); }

    qsizetype maxResults;
    const std::function<bool()> &isCancelled;
    qsizetype results = 0;
};

#else

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
    QString folder = scopePath;
    if (Checker::isRunningSandboxed()) {
        folder = Checker::fileURLInGrantedHomeForPath(scopePath, true);
        if (folder.isEmpty()) {
            CFRelease(query);
            return nullptr;
        }
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
                                                     const std::function<bool()> &isCancelled)
{
    if (scopePath.isEmpty() || maxResults <= 0)
        return 0;
#ifdef Q_OS_MACOS
    Q_UNUSED(isCancelled) // a synchronous query cannot be interrupted
    return mdQueryTotalSize(KSTCleanUpLocations::installerPackageQuery, scopePath, maxResults);
#else
    if (Checker::shouldSkipPrivacyProtectedPath(scopePath))
        return 0;
    Walk walk(maxResults, isCancelled);
    walk.visit(QFile::encodeName(QDir::cleanPath(scopePath)));
    return walk.total;
#endif
}

#ifdef Q_OS_MACOS

quint64 KSTInstallerPackageSearch::mdQueryTotalSize(const QString &queryText,
                                                    const QString &scopePath, qsizetype maxResults)
{
    MDQueryRef query = createScopedQuery(queryText, scopePath);
    if (!query)
        return 0;
    const CFReleaser releaseQuery(query);
    if (!MDQueryExecute(query, kMDQuerySynchronous))
        return 0;
    const CFIndex count = std::min<CFIndex>(MDQueryGetResultCount(query), CFIndex(maxResults));
    quint64 total = 0;
    for (CFIndex index = 0; index < count; ++index) {
        const auto item =
            static_cast<MDItemRef>(const_cast<void *>(MDQueryGetResultAtIndex(query, index)));
        if (!item)
            continue;
        const CFTypeRef value = MDItemCopyAttribute(item, kMDItemFSSize);
        if (!value)
            continue;
        const CFReleaser releaseValue(value);
        SInt64 size = 0;
        if (CFGetTypeID(value) == CFNumberGetTypeID() &&
            CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &size) &&
            size > 0)
            total += quint64(size);
    }
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
