#include "KSTApplicationBundleCatalog.h"

#include "KSTEnvironment.h"
#include "KSTInstalledApplications.h"
#include "KSTOverviewLocations.h"
#include "KSTPermissionChecker.h"
#include "KSTStorageFigures.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using Checker = KSTPermissionChecker;
namespace Locations = KSTOverviewLocations;

namespace {

QString standardized(const QString &path)
{
    return path.isEmpty() ? path : QDir::cleanPath(path);
}

struct FolderEntry
{
    std::string name;
    bool isDirectory = false;
};

// The visible entries of a folder, sorted by name, with their kind as the listing reports
// it (a symbolic link is never a folder here).
std::vector<FolderEntry> visibleEntries(const QByteArray &folder)
{
    std::vector<FolderEntry> entries;
    const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return entries;
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return entries;
    }
    while (const dirent *entry = ::readdir(dir)) {
        if (entry->d_name[0] == '.')
            continue; // hidden, "." and ".."
        bool isDirectory = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat info;
            isDirectory = ::fstatat(fd, entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                          S_ISDIR(info.st_mode);
        }
        entries.push_back({entry->d_name, isDirectory});
    }
    ::closedir(dir);
    std::sort(entries.begin(), entries.end(),
              [](const FolderEntry &a, const FolderEntry &b) { return a.name < b.name; });
    return entries;
}

bool hasAppExtension(const QString &name)
{
    return name.endsWith(QLatin1String(".app"), Qt::CaseInsensitive) && name.size() > 4;
}

bool hasBundleIdentifier(const QString &bundlePath)
{
    const std::optional<QVariantMap> info = Checker::dictionaryFromAccessiblePlistAtPath(
        bundlePath + QLatin1String("/Contents/Info.plist"));
    if (!info)
        return false;
    const QVariant identifier = info->value(QStringLiteral("CFBundleIdentifier"));
    return identifier.typeId() == QMetaType::QString && !identifier.toString().isEmpty();
}

struct Walk
{
    QString root;
    int maxDepth = 0;
    KSTApplicationBundleCatalog::OrderedPaths *paths = nullptr;

    void visit(const QString &folder, const QString &relativeFolder, int depth)
    {
        for (const FolderEntry &entry : visibleEntries(QFile::encodeName(folder))) {
            const QString name = QFile::decodeName(entry.name.c_str());
            const QString relative =
                relativeFolder.isEmpty() ? name : relativeFolder + QLatin1Char('/') + name;
            const QString absolute = folder + QLatin1Char('/') + name;
            if (KSTApplicationBundleCatalog::shouldSkipDirectoryInUserAppSearch(relative) ||
                depth + 1 > maxDepth || Checker::shouldSkipPrivacyProtectedPath(relative) ||
                Checker::shouldSkipPrivacyProtectedPath(absolute))
                continue;
            if (hasAppExtension(name)) {
                // A bundle is an item, not a place to search: nested helpers stay inside.
                if (entry.isDirectory && hasBundleIdentifier(absolute))
                    paths->insert(absolute);
                continue;
            }
            if (entry.isDirectory)
                visit(absolute, relative, depth + 1);
        }
    }
};

} // namespace

bool KSTApplicationBundleCatalog::OrderedPaths::insert(const QString &path)
{
    if (m_seen.contains(path))
        return false;
    m_seen.insert(path);
    m_list.append(path);
    return true;
}

KSTApplicationBundleCatalog::KSTApplicationBundleCatalog(PathCache cache)
    : m_cache(std::move(cache))
{
}

QStringList KSTApplicationBundleCatalog::applicationSearchPaths()
{
    const KSTEnvironment environment = KSTEnvironment::current();
    QStringList paths;
    for (const QString &root : Locations::applicationRoots)
        paths << environment.systemPath(root);
    paths << Checker::accessibleUserHomeDirectoryPath() + QLatin1Char('/') +
                 Locations::homeApplications;
    return paths;
}

QStringList KSTApplicationBundleCatalog::applicationUserFolderSearchRelativePaths()
{
    return Checker::userFoldersToSearch(Locations::userAppFolders,
                                        Locations::sandboxedUserAppFolders);
}

QStringList KSTApplicationBundleCatalog::applicationUserFolderSearchRoots()
{
    return Checker::userFolderSearchRoots(Locations::userAppFolders,
                                          Locations::sandboxedUserAppFolders);
}

bool KSTApplicationBundleCatalog::shouldSkipDirectoryInUserAppSearch(const QString &relativePath)
{
    const QStringList components = relativePath.split(QLatin1Char('/'));
    return std::any_of(components.begin(), components.end(), [](const QString &component) {
        return component.startsWith(QLatin1Char('.')) ||
               Locations::userAppSearchSkippedNames.contains(component);
    });
}

void KSTApplicationBundleCatalog::collectApplicationBundlesUnderPath(const QString &rootPath,
                                                                     int maxDepth,
                                                                     OrderedPaths &paths)
{
    if (rootPath.isEmpty())
        return;
    const QString url = Checker::directoryURLForScanRoot(rootPath);
    bool isDirectory = false;
    if (url.isEmpty() || !Checker::URLExists(url, &isDirectory) || !isDirectory)
        return;
    Walk walk{standardized(url), maxDepth, &paths};
    walk.visit(walk.root, QString(), 0);
}

QStringList KSTApplicationBundleCatalog::applicationBundlePaths() const
{
    const QStringList cached = m_cache.cached ? m_cache.cached() : QStringList();
    if (!cached.isEmpty())
        return cached;

    OrderedPaths paths;
    for (const QString &root : applicationSearchPaths())
        collectApplicationBundlesUnderPath(root, ApplicationFolderDepth, paths);
    if (Checker::mayWalkUserHome()) {
        collectApplicationBundlesUnderPath(
            Checker::directoryURLInGrantedHomeWithRelativePath(Locations::homeApplications),
            HomeApplicationsDepth, paths);
        for (const QString &folder : applicationUserFolderSearchRelativePaths())
            collectApplicationBundlesUnderPath(
                Checker::directoryURLInGrantedHomeWithRelativePath(folder), UserFolderDepth, paths);
    }
    if (m_cache.store)
        m_cache.store(paths.list());
    return paths.list();
}

qint64 KSTApplicationBundleCatalog::installedApplicationCount() const
{
    return applicationBundlePaths().size();
}

QList<KSTAppUsageInfo> KSTApplicationBundleCatalog::topApplicationsBySize(qsizetype limit) const
{
    return KSTInstalledApplications::largest(
        KSTInstalledApplications::sizedBundles(applicationBundlePaths()), limit);
}
