#include "KSTStorageMetrics.h"

#include "KSTEnvironment.h"
#include "KSTLinuxPlaces.h"
#include "KSTOverviewLocations.h"
#include "KSTPermissionChecker.h"
#include "KSTStorageFigures.h"

using Checker = KSTPermissionChecker;

namespace {

quint64 sizeOfHomeFolders(const QStringList &relativePaths)
{
    quint64 total = 0;
    for (const QString &relative : relativePaths)
        total += Checker::directorySizeAtAccessibleRelativePath(relative);
    return total;
}

// A switched-off user folder is empty: it counts nothing, never the home in its place.
quint64 sizeOfFolder(const QString &path)
{
    return path.isEmpty() ? 0 : KSTStorageFigures::directorySizeAtPath(path);
}

} // namespace

void KSTStorageMetrics::populateStorageMetrics(KSTSystemSnapshot &snapshot)
{
    quint64 total = 0;
    quint64 used = 0;
    KSTStorageFigures::bootVolumeUsageTotal(&total, &used);
    snapshot.storageTotalBytes = total;
    snapshot.storageUsedBytes = used;
    snapshot.storageUsedFraction = total == 0 ? 0 : double(used) / double(total);
}

QList<KSTStorageCategory>
KSTStorageMetrics::storageCategoriesForUsedBytes(quint64 usedBytes, quint64 totalBytes,
                                                 std::optional<quint64> applicationBytes)
{
    Q_UNUSED(totalBytes)
    namespace Locations = KSTOverviewLocations;
    const KSTEnvironment environment = KSTEnvironment::current();
    quint64 apps = 0;
    if (applicationBytes) {
        apps = *applicationBytes;
    } else {
        for (const QString &root : Locations::applicationRoots)
            apps += KSTStorageFigures::directorySizeAtPath(environment.systemPath(root), true);
    }

    quint64 documents = 0;
    quint64 media = 0;
    if (environment.layout() == KSTLayout::Linux) {
        const auto places = environment.places();
        documents = sizeOfFolder(places->userFolder(Locations::linuxDocuments));
        for (const KSTLinuxPlaces::UserFolder role : Locations::linuxMedia)
            media += sizeOfFolder(places->userFolder(role));
    } else if (Checker::mayWalkUserHome()) {
        if (!applicationBytes)
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
