#include "KSTInstalledApplications.h"

#include "KSTApplicationBundleCatalog.h"
#include "KSTEnvironment.h"
#include "KSTOverviewLocations.h"
#include "KSTStorageFigures.h"
#include "linux/KSTDesktopEntryCatalog.h"

#include <QSet>

#include <algorithm>

namespace Locations = KSTOverviewLocations;

KSTInstalledApplications::KSTInstalledApplications(
    KSTApplicationBundleCatalog::PathCache bundlePaths)
    : m_bundlePaths(std::move(bundlePaths))
{
}

QList<KSTInstalledApplication> KSTInstalledApplications::applications(Sizing sizing) const
{
    const KSTEnvironment environment = KSTEnvironment::current();
    QList<KSTInstalledApplication> result;
    switch (Locations::applicationCatalog(environment.layout())) {
    case Locations::ApplicationCatalog::Bundles:
        result =
            bundles(KSTApplicationBundleCatalog(m_bundlePaths).applicationBundlePaths(), sizing);
        break;
    case Locations::ApplicationCatalog::DesktopEntries:
        for (const KSTDesktopApplication &found :
             KSTDesktopEntryCatalog(environment).applications()) {
            KSTInstalledApplication application;
            application.usage.name = found.name;
            application.usage.bundlePath = found.path;
            application.usage.sizeBytes = found.payloadBytes;
            application.payloadKey = found.payloadKey;
            result << application;
        }
        break;
    }
    return result;
}

QList<KSTInstalledApplication>
KSTInstalledApplications::sizedBundles(const QStringList &bundlePaths)
{
    return bundles(bundlePaths, Sizing::Sized);
}

QList<KSTInstalledApplication> KSTInstalledApplications::bundles(const QStringList &bundlePaths,
                                                                 Sizing sizing)
{
    QList<KSTInstalledApplication> applications;
    for (const QString &path : bundlePaths) {
        KSTInstalledApplication application;
        const QString fileName = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
        application.usage.name = fileName.left(fileName.lastIndexOf(QLatin1Char('.')));
        application.usage.bundlePath = path;
        // Sizing walks the bundle; it must not make the app look opened today.
        application.usage.sizeBytes =
            sizing == Sizing::Sized ? KSTStorageFigures::directorySizeAtPath(path, true) : 0;
        application.payloadKey = path;
        applications << application;
    }
    return applications;
}

QList<KSTAppUsageInfo>
KSTInstalledApplications::largest(const QList<KSTInstalledApplication> &applications,
                                  qsizetype limit)
{
    QList<KSTAppUsageInfo> apps;
    apps.reserve(applications.size());
    for (const KSTInstalledApplication &application : applications)
        apps << application.usage;
    std::stable_sort(apps.begin(), apps.end(),
                     [](const KSTAppUsageInfo &a, const KSTAppUsageInfo &b) {
                         if (a.sizeBytes != b.sizeBytes)
                             return a.sizeBytes > b.sizeBytes;
                         return a.name < b.name;
                     });
    apps.resize(std::clamp<qsizetype>(limit, 0, apps.size()));
    return apps;
}

quint64
KSTInstalledApplications::distinctPayloadBytes(const QList<KSTInstalledApplication> &applications)
{
    QSet<QString> counted;
    quint64 total = 0;
    for (const KSTInstalledApplication &application : applications) {
        if (counted.contains(application.payloadKey))
            continue;
        counted.insert(application.payloadKey);
        total += application.usage.sizeBytes;
    }
    return total;
}

QString KSTInstalledApplications::packagePayloadKey(const QString &package)
{
    return KSTDesktopEntryCatalog::packagePayloadKey(package);
}
