#pragma once

#include "KSTApplicationBundleCatalog.h"
#include "KSTSystemSnapshot.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// One application the Overview counts, with the payload it shares with others.
struct KSTInstalledApplication
{
    KSTAppUsageInfo usage; ///< name, path (bundle, desktop entry or AppImage) and size
    /// Applications with the same key share one payload (two menu entries of one package).
    QString payloadKey;
};

/// The applications of the analysed machine as the Overview counts them, from the catalog its
/// layout names (KSTOverviewLocations::applicationCatalog): the application bundles of
/// KSTApplicationBundleCatalog, each sized and its own payload, or a Linux desktop's menu
/// applications of KSTDesktopEntryCatalog with their package, Flatpak, snap or AppImage
/// payloads. Counting, ordering and summing are the same for both.
///
/// Holds only the bundle cache; every operation may run on any thread.
class KSTInstalledApplications
{
public:
    /// Finds bundles through a catalog keeping its list in @p bundlePaths.
    explicit KSTInstalledApplications(KSTApplicationBundleCatalog::PathCache bundlePaths);

    /// Every application, sized; blocks for as long as sizing them takes.
    QList<KSTInstalledApplication> list() const { return applications(Sizing::Sized); }
    /// Every application as list() gives it, but without walking a bundle to size it (a
    /// bundle's size is 0): for those who need only names, paths and payload keys.
    QList<KSTInstalledApplication> listUnsized() const { return applications(Sizing::Unsized); }

    /// Bundles as applications: named by their file name without the extension, sized with
    /// KSTStorageFigures::directorySizeAtPath() (access times kept), each its own payload.
    static QList<KSTInstalledApplication> sizedBundles(const QStringList &bundlePaths);

    /// The @p limit largest (all when there are fewer), largest first, equal sizes by name
    /// (plain comparison, then list order).
    static QList<KSTAppUsageInfo> largest(const QList<KSTInstalledApplication> &applications,
                                          qsizetype limit);
    /// The payload key of the applications a distribution package @p package installed.
    static QString packagePayloadKey(const QString &package);
    /// The sum of the sizes of the distinct payloads (each key counted once).
    static quint64 distinctPayloadBytes(const QList<KSTInstalledApplication> &applications);

private:
    enum class Sizing { Sized, Unsized };
    QList<KSTInstalledApplication> applications(Sizing sizing) const;
    static QList<KSTInstalledApplication> bundles(const QStringList &bundlePaths, Sizing sizing);

    KSTApplicationBundleCatalog::PathCache m_bundlePaths;
};
