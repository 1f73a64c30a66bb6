#include "KSTCleanUpRemoval.h"

#include "KSTCleanUpEngine.h"
#include "KSTCleanUpLocations.h"
#include "KSTDispatch.h"
#include "KSTPermissionChecker.h"
#include "KSTTrash.h"

#include <QDir>
#include <QFileInfo>

namespace Locations = KSTCleanUpLocations;
using Checker = KSTPermissionChecker;

void KSTCleanUpRemoval::removeCleanUpItems(const QList<KSTCleanUpItem> &items,
                                           Completion completion)
{
    KSTDispatch::globalAsync(KSTQualityOfService::UserInitiated, [items, completion = std::move(
                                                                             completion)] {
        Result result;
        Checker::performWithGrantedHomeFolderAccess([&] { result = removeCleanUpItemsNow(items); });
        if (!completion)
            return;
        KSTDispatch::mainAsync([completion, result] {
            completion(result.itemsRemoved, result.bytesRemoved, result.error);
        });
    });
}

KSTCleanUpRemoval::Result
KSTCleanUpRemoval::removeCleanUpItemsNow(const QList<KSTCleanUpItem> &items)
{
    Result result;
    // The Trash is emptied before anything is moved: with the mac layout the moves land in
    // that very Trash, and emptying it afterwards would delete for good what the user only
    // asked to move there (a large file directly in the home sorts before ~/.Trash).
    for (const KSTCleanUpItem &item : items) {
        if (!item.filePath.isEmpty() && !isFailedDownloadsSummaryItem(item) &&
            isMacTrashCleanUpItem(item))
            emptyMacTrashBytesRemoved(&result.bytesRemoved, &result.itemsRemoved);
    }
    for (const KSTCleanUpItem &item : items) {
        if (item.filePath.isEmpty() || isFailedDownloadsSummaryItem(item) ||
            isMacTrashCleanUpItem(item))
            continue;
        // The root of the volume (the local-snapshots item) can never go to the Trash; sizing
        // it first would walk the whole disk only to add nothing.
        const bool isVolumeRoot = QDir::cleanPath(item.filePath) == QLatin1String("/");
        const quint64 size = isVolumeRoot ? 0 : itemSizeAtPath(item.filePath);
        QString url = Checker::fileURLInGrantedHomeForPath(item.filePath, false);
        if (url.isEmpty())
            url = item.filePath;
        KSTError error;
        if (KSTTrash::moveToTrash(url, nullptr, &error)) {
            ++result.itemsRemoved;
            result.bytesRemoved += size;
        } else {
            result.error = error;
        }
    }
    return result;
}

bool KSTCleanUpRemoval::isMacTrashCleanUpItem(const KSTCleanUpItem &item)
{
    if (item.name == QLatin1String("Mac Trash"))
        return true;
    return !item.filePath.isEmpty() && QFileInfo(item.filePath).fileName() == Locations::trash;
}

bool KSTCleanUpRemoval::isFailedDownloadsSummaryItem(const KSTCleanUpItem &item)
{
    return item.filePath.endsWith(Locations::failedDownloadsPreviewName);
}

bool KSTCleanUpRemoval::emptyMacTrashBytesRemoved(quint64 *bytes, quint64 *items)
{
    const QString trash =
        Checker::accessibleUserHomeDirectoryPath() + QLatin1Char('/') + Locations::trash;
    bool deletedAny = false;
    for (const QString &name : KSTCleanUpEngine::directoryEntriesAtPath(trash)) {
        // Finder keeps the put-back records of what is still in the Trash there.
        if (name == Locations::trashFinderInfo)
            continue;
        const QString path = trash + QLatin1Char('/') + name;
        const quint64 size = itemSizeAtPath(path);
        bool deleted = false;
        if (Checker::isRunningSandboxed()) {
            const QString url = Checker::fileURLInGrantedHomeForPath(path, true);
            deleted = !url.isEmpty() && KSTTrash::removePermanently(url);
        } else {
            deleted = KSTTrash::removePermanently(path);
        }
        if (!deleted)
            continue;
        if (bytes)
            *bytes += size;
        if (items)
            *items += 1;
        deletedAny = true;
    }
    return deletedAny;
}

quint64 KSTCleanUpRemoval::itemSizeAtPath(const QString &path)
{
    bool isDirectory = false;
    if (Checker::isRunningSandboxed()) {
        if (!Checker::URLExists(Checker::fileURLInGrantedHomeForPath(path, false), &isDirectory))
            return 0;
    } else {
        const QFileInfo info(path);
        if (!info.exists())
            return 0;
        isDirectory = info.isDir();
    }
    return isDirectory ? KSTCleanUpEngine::folderSizeAtPath(path)
                       : KSTCleanUpEngine::fileSizeAtPath(path);
}
