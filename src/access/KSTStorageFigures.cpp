#include "KSTStorageFigures.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTHostInfo.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTTreeSize.h"

#include <QDir>

#include <algorithm>

using Checker = KSTPermissionChecker;

namespace {

// Names of a folder's entries without "." and "..", in the order the file system gives; a
// folder reached through a link below the home lists nothing.
std::optional<QStringList> listFolder(const QString &path, bool skipHidden)
{
    return KSTNoFollowPath::listFolder(QDir::cleanPath(path), skipHidden);
}

} // namespace

void KSTStorageFigures::bootVolumeUsageTotal(quint64 *total, quint64 *used)
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

quint64 KSTStorageFigures::directorySizeAtPath(const QString &path, bool preserveAccessTimes)
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

QStringList KSTStorageFigures::directoryEntriesAtPath(const QString &path)
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
