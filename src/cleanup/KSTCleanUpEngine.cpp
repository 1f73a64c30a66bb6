#include "KSTCleanUpEngine.h"

#include "KSTCleanUpLocations.h"
#include "KSTFileName.h"
#include "KSTIOSBackupCatalog.h"
#include "KSTInstallerPackageSearch.h"
#include "KSTLargeFileSearch.h"
#include "KSTLayoutWords.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTRemovalGuard.h"
#include "KSTStorageFigures.h"
#include "KSTToolRunner.h"
#include "KSTTreeSize.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>

namespace Locations = KSTCleanUpLocations;
using Checker = KSTPermissionChecker;

namespace {

const QString SystemJunkType = QStringLiteral("systemJunk");
const QString TrashesType = QStringLiteral("trashes");
const QString LargeFilesType = QStringLiteral("largeFiles");
const QString RemovableType = QStringLiteral("removable");

// Function-local statics: built once, on first use, thread-safely.
const QSet<QString> &appleCacheFolderNames()
{
    static const QSet<QString> names = {QStringLiteral("cloudd"),
                                        QStringLiteral("cloudkit"),
                                        QStringLiteral("geoservices"),
                                        QStringLiteral("icloudmailagent"),
                                        QStringLiteral("appleaccount"),
                                        QStringLiteral("passd"),
                                        QStringLiteral("nsurlsessiond"),
                                        QStringLiteral("gamekit"),
                                        QStringLiteral("itunes"),
                                        QStringLiteral("appstore"),
                                        QStringLiteral("applemediaservices"),
                                        QStringLiteral("amsaccountsd"),
                                        QStringLiteral("cfprefsd"),
                                        QStringLiteral("knowledge-agent"),
                                        QStringLiteral("parsecd")};
    return names;
}

const QSet<QString> &appleApplicationSupportFolderNames()
{
    static const QSet<QString> names = {
        QStringLiteral("mobilesync"),       QStringLiteral("addressbook"),
        QStringLiteral("callhistorydb"),    QStringLiteral("facetime"),
        QStringLiteral("icloud"),           QStringLiteral("knowledge"),
        QStringLiteral("syncservices"),     QStringLiteral("networkserviceproxy"),
        QStringLiteral("fileprovider"),     QStringLiteral("clouddocs"),
        QStringLiteral("identityservices"), QStringLiteral("coredata"),
        QStringLiteral("assistant"),        QStringLiteral("calendarsync"),
        QStringLiteral("spotlight"),        QStringLiteral("dock")};
    return names;
}

// One per started half mebibyte, at least one: filesAnalyzed is an estimate from sizes.
quint64 weight(quint64 bytes)
{
    return std::max<quint64>(1, bytes / 524288);
}

KSTCleanUpItem fixedLocationItem(const QString &label, const QString &path, quint64 bytes)
{
    return {label, KSTCleanUpEngine::shortenHomePath(path),      path, bytes,
            false, {KSTCleanUpEngine::targetAtPath(path, bytes)}};
}

// Another application's folder as one item named "<prefix>. <name>", sized as it is on disk;
// nothing for an empty folder.
std::optional<KSTCleanUpItem> applicationFolderItem(const QString &namePrefix, const QString &name,
                                                    const QString &path)
{
    const quint64 size = KSTCleanUpEngine::diskUsageAtPath(path);
    if (size == 0)
        return std::nullopt;
    return KSTCleanUpItem{namePrefix + QLatin1String(". ") + name,     QString(), path, size, true,
                          {KSTCleanUpEngine::targetAtPath(path, size)}};
}

} // namespace

KSTCleanUpEngine::KSTCleanUpEngine(CancellationCheck isCancelled)
    : m_isCancelled(std::move(isCancelled))
{
}

bool KSTCleanUpEngine::isCancelled(quint64 generation) const
{
    return m_isCancelled && m_isCancelled(generation);
}

std::shared_ptr<KSTCleanUpSnapshot>
KSTCleanUpEngine::fetchCleanUpSnapshotWithGeneration(quint64 generation) const
{
    quint64 filesAnalyzed = 0;
    const Locations::Table table = Locations::table();
    KSTCleanUpCategory systemJunk{SystemJunkType,           QStringLiteral("System Junks"),
                                  table.systemJunkSubtitle, {},
                                  QList<KSTCleanUpItem>(),  0};
    KSTCleanUpCategory trashes{TrashesType,
                               QStringLiteral("Trashes"),
                               KSTLayoutWords::current().trash +
                                   QStringLiteral(" + Failed downloads"),
                               {},
                               QList<KSTCleanUpItem>(),
                               0};
    KSTCleanUpCategory largeFiles{LargeFilesType,
                                  QStringLiteral("Large Files"),
                                  QStringLiteral("> 50 MB (customizable)"),
                                  {},
                                  QList<KSTCleanUpItem>(),
                                  0};
    KSTCleanUpCategory removable{RemovableType,
                                 QStringLiteral("Removable Data"),
                                 table.removableSubtitle,
                                 {},
                                 std::nullopt,
                                 0};

    if (!buildSystemJunk(systemJunk, generation, filesAnalyzed) ||
        !buildTrashes(trashes, generation, filesAnalyzed) ||
        !buildLargeFiles(largeFiles, generation, filesAnalyzed) ||
        !buildRemovable(removable, generation))
        return nullptr;

    auto snapshot = std::make_shared<KSTCleanUpSnapshot>();
    snapshot->categories = {systemJunk, trashes, largeFiles, removable};
    for (const KSTCleanUpCategory &category : snapshot->categories)
        snapshot->totalReclaimableBytes += category.totalBytes;
    quint64 storageTotal = 0;
    KSTStorageFigures::bootVolumeUsageTotal(&storageTotal, nullptr);
    snapshot->storageTotalBytes = storageTotal;
    snapshot->filesAnalyzed = std::max<quint64>(1, filesAnalyzed);
    snapshot->scanDate = QDateTime::currentDateTimeUtc();
    snapshot->isPartial = false;
    return snapshot;
}

bool KSTCleanUpEngine::buildSystemJunk(KSTCleanUpCategory &category, quint64 generation,
                                       quint64 &filesAnalyzed) const
{
    const Locations::Table table = Locations::table();
    QList<KSTCleanUpItem> caches = thirdPartyCacheItemsUnderCachesRoot(table.caches, generation);
    caches << applicationFolderItems(table.appCaches, QStringLiteral("Caches"), generation);
    sortByBytesThenName(caches);
    QList<KSTCleanUpItem> support =
        thirdPartyApplicationSupportItemsUnderRoot(table.applicationSupport, generation);
    support << applicationFolderItems(table.appApplicationSupport,
                                      QStringLiteral("Application Support"), generation);
    sortByBytesThenName(support);
    for (const KSTCleanUpItem &item : caches + support)
        filesAnalyzed += weight(item.bytes);

    QList<KSTCleanUpItem> fixed;
    for (const Locations::FixedLocation &location : table.systemJunkLocations) {
        if (isCancelled(generation))
            return false;
        const quint64 size = diskUsageAtPath(location.path);
        if (size == 0)
            continue;
        fixed << fixedLocationItem(location.label, location.path, size);
        filesAnalyzed += weight(size);
    }
    if (const quint64 snapshots = table.hasLocalSnapshots ? localSnapshotBytes() : 0;
        snapshots != 0) {
        // Shown and counted, never removed: it has nothing to act on.
        fixed << KSTCleanUpItem{QStringLiteral("Time Machine Snapshots"),
                                QStringLiteral("/"),
                                QStringLiteral("/"),
                                snapshots,
                                false,
                                {}};
        filesAnalyzed += 1;
    }

    category.allItems = caches + support + fixed;
    if (!caches.isEmpty())
        category.items << caches.first();
    if (!support.isEmpty())
        category.items << support.first();
    category.items << fixed;
    category.totalBytes = totalBytesForItems(*category.allItems);
    return !isCancelled(generation);
}

bool KSTCleanUpEngine::buildTrashes(KSTCleanUpCategory &category, quint64 generation,
                                    quint64 &filesAnalyzed) const
{
    quint64 trashBytes = 0;
    const quint64 trashEntries = trashItemCountAndBytes(&trashBytes);
    filesAnalyzed += trashEntries;
    const QList<KSTCleanUpItem> failed = failedDownloadItemsWithGeneration(generation);
    filesAnalyzed += quint64(failed.size());
    const quint64 failedBytes = totalBytesForItems(failed);

    QList<KSTCleanUpItem> all;
    // A Trash of hidden entries only has no visible entry yet still takes space.
    const Locations::Table table = Locations::table();
    if (trashBytes != 0 || trashEntries != 0) {
        // Emptied rather than moved: no target of its own.
        const KSTCleanUpItem trash{KSTLayoutWords::current().trash,
                                   table.trashDisplayPath,
                                   table.trash,
                                   trashBytes,
                                   false,
                                   {}};
        category.items << trash;
        all << trash;
    }
    all << failed;
    category.allItems = all;
    if (!failed.isEmpty()) {
        category.items << KSTCleanUpItem{QStringLiteral("Failed downloads"),
                                         table.downloadsDisplayPath,
                                         table.downloads + QLatin1Char('/') +
                                             Locations::failedDownloadsPreviewName,
                                         failedBytes,
                                         true,
                                         {}};
    }
    category.totalBytes = failedBytes + trashBytes;
    return !isCancelled(generation);
}

bool KSTCleanUpEngine::buildLargeFiles(KSTCleanUpCategory &category, quint64 generation,
                                       quint64 &filesAnalyzed) const
{
    const QList<KSTCleanUpItem> found =
        KSTLargeFileSearch(m_isCancelled)
            .scanLargeFilesOverBytes(LargeFileThresholdBytes, generation);
    category.allItems = found;
    category.items = found.size() > LargeFilesCardLimit ? found.first(LargeFilesCardLimit) : found;
    category.totalBytes = totalBytesForItems(found);
    filesAnalyzed += quint64(found.size());
    return !isCancelled(generation);
}

bool KSTCleanUpEngine::buildRemovable(KSTCleanUpCategory &category, quint64 generation) const
{
    category.items = KSTIOSBackupCatalog(m_isCancelled).iosBackupItemsWithGeneration(generation);
    const QList<KSTCleanUpTarget> installers = installerPackageTargetsInDownloads(generation);
    const Locations::Table table = Locations::table();
    for (const Locations::FixedLocation &location : table.removableLocations) {
        if (isCancelled(generation))
            return false;
        if (location.path == table.downloads) {
            KSTCleanUpItem downloads = downloadsContentsItem(location.label, installers);
            if (downloads.bytes != 0)
                category.items << downloads;
            continue;
        }
        const quint64 size = Checker::shouldSkipPrivacyProtectedPath(location.path)
                                 ? 0
                                 : Checker::fileSizeAtAccessiblePath(location.path);
        if (size != 0)
            category.items << fixedLocationItem(location.label, location.path, size);
    }
    // The installer files themselves: the item moves exactly what was found, and the Downloads
    // folder item leaves them to it.
    quint64 installerBytes = 0;
    for (const KSTCleanUpTarget &target : installers)
        installerBytes += target.bytes;
    if (installerBytes != 0) {
        category.items << KSTCleanUpItem{QStringLiteral("Installer Packages"),
                                         table.downloadsDisplayPath,
                                         table.downloads,
                                         installerBytes,
                                         false,
                                         installers};
    }
    category.totalBytes = totalBytesForItems(category.items);
    return true;
}

KSTCleanUpItem
KSTCleanUpEngine::downloadsContentsItem(const QString &label,
                                        const QList<KSTCleanUpTarget> &installers) const
{
    // The folder stays; its visible entries go, except the installer files (moved by their own
    // item). An installer inside a sub-folder travels with that folder, so its bytes are taken
    // off the folder's share to count every byte once.
    const QString folder = Locations::table().downloads;
    KSTCleanUpItem item{label, shortenHomePath(folder), folder, 0, false, {}};
    if (folder.isEmpty())
        return item;
    const std::optional<QStringList> names = Checker::directoryContentsAtAccessiblePath(folder);
    if (!names)
        return item;
    for (const QString &name : *names) {
        const QString path = folder + QLatin1Char('/') + name;
        quint64 nested = 0;
        bool isInstaller = false;
        for (const KSTCleanUpTarget &installer : installers) {
            if (installer.path == path)
                isInstaller = true;
            else if (installer.path.startsWith(path + QLatin1Char('/')))
                nested += KSTTreeSize::allocatedBytesOfItem(installer.path,
                                                            Checker::accessibleTreeSizeOptions());
        }
        if (isInstaller)
            continue;
        const quint64 size = Checker::fileSizeAtAccessiblePath(path);
        const quint64 share = size > nested ? size - nested : 0;
        item.targets << targetAtPath(path, share);
        item.bytes += share;
    }
    return item;
}

KSTCleanUpTarget KSTCleanUpEngine::targetAtPath(const QString &path, quint64 bytes)
{
    return {path, KSTRemovalGuard::identityOf(path), bytes};
}

// ---- Other applications' Library folders ----

QList<KSTCleanUpItem>
KSTCleanUpEngine::thirdPartyCacheItemsUnderCachesRoot(const QString &cachesRoot,
                                                      quint64 generation) const
{
    return thirdPartyLibraryFolderItemsUnderRoot(
        cachesRoot, QStringLiteral("Caches"), Locations::table().isExcludedCacheFolder, generation);
}

QList<KSTCleanUpItem>
KSTCleanUpEngine::thirdPartyApplicationSupportItemsUnderRoot(const QString &root,
                                                             quint64 generation) const
{
    return thirdPartyLibraryFolderItemsUnderRoot(
        root, QStringLiteral("Application Support"),
        Locations::table().isExcludedApplicationSupportFolder, generation);
}

QList<KSTCleanUpItem>
KSTCleanUpEngine::applicationFolderItems(const QList<KSTCleanUpLocations::AppFolders> &folders,
                                         const QString &namePrefix, quint64 generation) const
{
    QList<KSTCleanUpItem> items;
    for (const Locations::AppFolders &place : folders) {
        for (const QString &id : directoryEntriesAtPath(place.containers)) {
            if (isCancelled(generation))
                return items;
            if (id.startsWith(QLatin1Char('.')))
                continue;
            const QString path =
                place.containers + QLatin1Char('/') + id + QLatin1Char('/') + place.inside;
            // Reached without a link anywhere below the home: an application folder that links
            // elsewhere is someone's content, not this user's cache.
            const std::optional<struct stat> status = KSTNoFollowPath::status(path, true);
            if (!status || !S_ISDIR(status->st_mode))
                continue;
            if (std::optional<KSTCleanUpItem> item = applicationFolderItem(namePrefix, id, path))
                items << *item;
        }
    }
    return items;
}

QList<KSTCleanUpItem> KSTCleanUpEngine::thirdPartyLibraryFolderItemsUnderRoot(
    const QString &root, const QString &namePrefix,
    const std::function<bool(const QString &)> &isExcludedFolderName, quint64 generation) const
{
    QList<KSTCleanUpItem> items;
    for (const QString &name : directoryEntriesAtPath(root)) {
        if (isCancelled(generation))
            break;
        if (name.startsWith(QLatin1Char('.')) || isExcludedFolderName(name))
            continue;
        const QString path = root + QLatin1Char('/') + name;
        bool isDirectory = false;
        if (!Checker::accessibleItemExistsAtPath(path, &isDirectory) || !isDirectory)
            continue;
        if (std::optional<KSTCleanUpItem> item = applicationFolderItem(namePrefix, name, path))
            items << *item;
    }
    sortByBytesThenName(items);
    return items;
}

bool KSTCleanUpEngine::isExcludedAppleLibraryFolderName(const QString &name)
{
    if (name.isEmpty())
        return true;
    const QString lower = name.toLower();
    return lower.contains(QLatin1String("com.apple.")) ||
           lower.startsWith(QLatin1String("com.apple")) || lower.startsWith(QLatin1String("apple"));
}

bool KSTCleanUpEngine::isExcludedAppleCacheFolder(const QString &name)
{
    return isExcludedAppleLibraryFolderName(name) ||
           appleCacheFolderNames().contains(name.toLower());
}

bool KSTCleanUpEngine::isExcludedAppleApplicationSupportFolder(const QString &name)
{
    return isExcludedAppleLibraryFolderName(name) ||
           appleApplicationSupportFolderNames().contains(name.toLower());
}

// ---- Trashes ----

quint64 KSTCleanUpEngine::trashItemCountAndBytes(quint64 *bytes)
{
    const Locations::Table table = Locations::table();
    quint64 count = 0;
    if (bytes)
        *bytes = 0;
    for (const Locations::TrashPlace &place : table.trashPlaces) {
        // Hidden entries count where they are items (a trashed dot file); read without a link,
        // so a trash folder that links elsewhere counts nothing.
        const std::optional<QStringList> entries =
            table.trashCountsHiddenEntries
                ? KSTNoFollowPath::listFolder(place.items, false)
                : Checker::directoryContentsAtAccessiblePath(place.items);
        count += entries ? quint64(entries->size()) : 0;
        if (!bytes)
            continue;
        // The Trash's size counts its hidden entries too (Finder's .DS_Store, trashed dot
        // files, the freedesktop records), unlike every other accessible size; the privacy
        // rule still applies.
        const QString url = Checker::accessibleURLForPath(place.folder, true);
        bool isDirectory = false;
        if (!url.isEmpty() && Checker::URLExists(url, &isDirectory) && isDirectory) {
            KSTTreeSize::Options options = Checker::accessibleTreeSizeOptions();
            options.skipHidden = false;
            *bytes += KSTTreeSize::allocatedBytes(QDir::cleanPath(url), options);
        }
    }
    return count;
}

QList<KSTCleanUpItem> KSTCleanUpEngine::failedDownloadItemsWithGeneration(quint64 generation) const
{
    const Locations::Table table = Locations::table();
    const QString folder = table.downloads;
    if (folder.isEmpty() || Checker::directoryURLForScanRoot(folder).isEmpty())
        return {};
    const std::optional<QStringList> entries = Checker::directoryContentsAtAccessiblePath(folder);
    if (!entries)
        return {};
    QList<KSTCleanUpItem> items;
    for (const QString &name : *entries) {
        if (isCancelled(generation))
            break;
        const QString path = folder + QLatin1Char('/') + name;
        if (!Checker::accessibleItemExistsAtPath(path))
            continue;
        // "Movie.mp4.download" is one; "file.DOWNLOAD" is not.
        if (!table.failedDownloadExtensions.contains(QFileInfo(name).suffix()))
            continue;
        const quint64 size = Checker::fileSizeAtAccessiblePath(path);
        items << KSTCleanUpItem{name, shortenHomePath(path),     path, size,
                                true, {targetAtPath(path, size)}};
    }
    sortByBytesThenName(items);
    return items;
}

// ---- Removable Data ----

quint64 KSTCleanUpEngine::installerPackageBytesInDownloads(quint64 generation) const
{
    quint64 total = 0;
    for (const KSTCleanUpTarget &target : installerPackageTargetsInDownloads(generation))
        total += target.bytes;
    return total;
}

QList<KSTCleanUpTarget>
KSTCleanUpEngine::installerPackageTargetsInDownloads(quint64 generation) const
{
    const Locations::Table table = Locations::table();
    const QString folder = table.downloads;
    if (folder.isEmpty())
        return {};
    const QList<KSTInstallerPackageSearch::Found> found = KSTInstallerPackageSearch::findInScope(
        folder, InstallerPackageResultCap, [this, generation] { return isCancelled(generation); },
        table.installerExtensions);
    QList<KSTCleanUpTarget> targets;
    for (const KSTInstallerPackageSearch::Found &package : found)
        targets << KSTCleanUpTarget{package.path, KSTRemovalGuard::identityOf(package.path),
                                    package.bytes};
    return targets;
}

// ---- System Junks ----

quint64 KSTCleanUpEngine::localSnapshotBytes()
{
    const QByteArray output = KSTToolRunner::pipeOpen(Locations::localSnapshotsShellLine,
                                                      {Locations::tmutilTool, Locations::wcTool},
                                                      LocalSnapshotsTimeoutMs);
    const qint64 lines = lineCountFromOutput(output);
    // A count whose estimate would not fit a signed byte count is no answer a Mac gives.
    const qint64 mostLines =
        std::numeric_limits<qint64>::max() / qint64(LocalSnapshotEstimateBytes);
    return lines < 1 || lines > mostLines ? 0 : quint64(lines) * LocalSnapshotEstimateBytes;
}

qint64 KSTCleanUpEngine::lineCountFromOutput(const QByteArray &output)
{
    // One line of at most 63 characters, read as strtoll reads it: leading blanks (wc pads
    // its count), an optional sign, digits up to the first other character. The line is
    // copied into a buffer of its own, so strtoll stops at our terminator and never depends
    // on the array having one (one made from raw data has none).
    char line[64] = {};
    const qsizetype length = std::min<qsizetype>(output.size(), 63);
    std::memcpy(line, output.constData(), size_t(length));
    if (char *newline = static_cast<char *>(std::memchr(line, '\n', size_t(length))))
        newline[1] = '\0';
    return std::strtoll(line, nullptr, 10);
}

// ---- Sizing and paths ----

quint64 KSTCleanUpEngine::diskUsageAtPath(const QString &path)
{
    return Checker::fileSizeAtAccessiblePath(path);
}

quint64 KSTCleanUpEngine::fileSizeAtPath(const QString &path)
{
    return Checker::fileSizeAtAccessiblePath(path);
}

quint64 KSTCleanUpEngine::folderSizeAtPath(const QString &path)
{
    return diskUsageAtPath(path);
}

quint64 KSTCleanUpEngine::totalBytesForItems(const QList<KSTCleanUpItem> &items)
{
    quint64 total = 0;
    for (const KSTCleanUpItem &item : items)
        total += item.bytes;
    return total;
}

QString KSTCleanUpEngine::shortenHomePath(const QString &path)
{
    const QString home = Checker::accessibleUserHomeDirectoryPath();
    if (home.isEmpty() || !path.startsWith(home))
        return path;
    return QLatin1Char('~') + path.mid(home.size());
}

QStringList KSTCleanUpEngine::directoryEntriesAtPath(const QString &path)
{
    return KSTStorageFigures::directoryEntriesAtPath(path);
}

void KSTCleanUpEngine::sortByBytesThenName(QList<KSTCleanUpItem> &items)
{
    std::stable_sort(items.begin(), items.end(),
                     [](const KSTCleanUpItem &a, const KSTCleanUpItem &b) {
                         if (a.bytes != b.bytes)
                             return a.bytes > b.bytes;
                         return a.name < b.name;
                     });
}
