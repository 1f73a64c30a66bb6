#pragma once

#include "KSTSystemSnapshot.h"

#include <QList>

#include <optional>

/// The Overview's storage figures: the boot volume's usage and its four categories, measured
/// with the shared KSTStorageFigures. They hold no state (the machine is the current
/// KSTEnvironment, access goes through KSTPermissionChecker), so they are class operations;
/// every one may be called from any thread, concurrently.
///
/// Sizes are allocated sizes (blocks on disk, so a sparse file counts what it occupies),
/// never following a symbolic link, skipping hidden entries and everything the privacy rule
/// protects (the home's Music folder, photo and music library packages).
class KSTStorageMetrics
{
public:
    KSTStorageMetrics() = delete;

    /// Fills storageTotalBytes, storageUsedBytes and storageUsedFraction (0 for a total of 0)
    /// from KSTStorageFigures::bootVolumeUsageTotal().
    static void populateStorageMetrics(KSTSystemSnapshot &snapshot);

    /// The four slices of @p usedBytes, always in this order: "Apps" ("blue": the system
    /// and home Applications folders, or @p applicationBytes when given), "Media" ("purple":
    /// Movies and Pictures; music is not counted), "Documents" ("emerald"), "System & Other"
    /// ("zinc": the rest of the used space, 0 when the measured three exceed it). In a
    /// sandbox without the home grant only the system Applications folders are measured.
    /// On a Linux layout the media and documents folders are the user folders of those roles
    /// (KSTLinuxPlaces; a switched-off one counts 0). @p totalBytes is not used; it is taken
    /// so that callers pass the figures they show together.
    static QList<KSTStorageCategory>
    storageCategoriesForUsedBytes(quint64 usedBytes, quint64 totalBytes,
                                  std::optional<quint64> applicationBytes = std::nullopt);
};
