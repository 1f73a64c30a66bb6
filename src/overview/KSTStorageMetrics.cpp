#include "KSTStorageMetrics.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTHostInfo.h"
#include "KSTNoFollowPath.h"
#include "KSTOverviewLocations.h"
#include "KSTPermissionChecker.h"
#include "KSTTreeSize.h"

#include <QDir>
#include <QFile>

#include <algorithm>

using Checker = KSTPermissionChecker;

namespace {

// Names of a folder's entries without "." and "..", in the order the file system gives; a
// folder reached through a link below the home lists nothing.
std::optional<QStringList> listFolder(const QString &path, bool skipHidden)
{
    return KSTNoFollowPath::listFolder(QDir::cleanPath(path), skipHidden);
}

quint64 sizeOfHomeFolders(const QStringList &relativePaths)
{
    quint64 total = 0;
    for (const QString &relative : relativePaths)
        total += Checker::directorySizeAtAccessibleRelativePath(relative);
    return total;
}

} // namespace

void KSTStorageMetrics::bootVolumeUsageTotal(quint64 *total, quint64 *used)
{
    QString path = Checker::grantedHomeFolderURL();
    if (path.isEmpty())
        path = KSTEnvironment::current().home();
    const std::optional<KSTVolumeUsage> usage = KSTHostInfo::current().volumeUsage(path);
    if (!usage)
        return;
    if (total)
        *total = usage->totalBytes;
    if (used)
        *used = usage->freeBytes > usage->totalBytes ? 0 : usage->totalBytes - usage->freeBytes;
}

quint64 KSTStorageMetrics::directorySizeAtPath(const QString &path, bool preserveAccessTimes)
{
    if (path.isEmpty() || Checker::shouldSkipPrivacyProtectedPath(path))
        return 0;
    const QString url = Checker::directoryURLForSizeAtPath(path);
    bool isDirectory = false;
    if (url.isEmpty() || !Checker::URLExists(url, &isDirectory) || !isDirectory)
        return 0;
    // The walk recognises the Music folder by its exact path, so it starts from a clean one.
    KSTTreeSize::Options options = Checker::accessibleTreeSizeOptions();
    options.preserveAccessTimes = preserveAccessTimes;
    return KSTTreeSize::allocatedBytes(QDir::cleanPath(url), options);
}

QStringList KSTStorageMetrics::directoryEntriesAtPath(const QString &path)
{
    if (path.isEmpty() || Checker::shouldSkipPrivacyProtectedPath(path))
        return {};
    std::optional<QStringList> names;
    if (Checker::isRunningSandboxed()) {
        const QString url = Checker::fileURLInGrantedHomeForPath(path, true);
        bool isDirectory = false;
        if (url.isEmpty() || !Checker::URLExists(url, &isDirectory) || !isDirectory)
            return {};
        names = listFolder(url, true);
    } else {
        names = listFolder(path, false);
    }
    if (!names)
        return {};
    // Sorted by bytes rather than by locale: the same order on every machine.
    std::sort(names->begin(), names->end(), [](const QString &a, const QString &b) {
        return KSTFileName::encoded(a) < KSTFileName::encoded(b);
    });
    return *names;
}

void KSTStorageMetrics::populateStorageMetrics(KSTSystemSnapshot &snapshot)
{
    quint64 total = 0;
    quint64 used = 0;
    bootVolumeUsageTotal(&total, &used);
    snapshot.storageTotalBytes = total;
    snapshot.storageUsedBytes = used;
    snapshot.storageUsedFraction = total == 0 ? 0 : double(used) / double(total);
}

QList<KSTStorageCategory> KSTStorageMetrics::storageCategoriesForUsedBytes(quint64 usedBytes,
                                                                           quint64 totalBytes)
{
    Q_UNUSED(totalBytes)
    namespace Locations = KSTOverviewLocations;
    const KSTEnvironment environment = KSTEnvironment::current();
    quint64 apps = 0;
    for (const QString &root : Locations::applicationRoots)
        apps += directorySizeAtPath(environment.systemPath(root), true);

    quint64 documents = 0;
    quint64 media = 0;
    if (!Checker::isRunningSandboxed() || Checker::hasHomeFolderAccess()) {
        apps += sizeOfHomeFolders({Locations::homeApplications});
        documents = sizeOfHomeFolders({Locations::homeDocuments});
        media = sizeOfHomeFolders(Locations::homeMedia);
    }
    const quint64 measured = apps + media + documents;
    const quint64 other = measured > usedBytes ? 0 : usedBytes - measured;

    return {
        {QStringLiteral("Apps"), apps, QStringLiteral("blue")},
        {QStringLiteral("Media"), media, QStringLiteral("purple")},
        {QStringLiteral("Documents"), documents, QStringLiteral("emerald")},
        {QStringLiteral("System & Other"), other, QStringLiteral("zinc")},
    };
}
