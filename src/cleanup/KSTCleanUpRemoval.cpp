#include "KSTCleanUpRemoval.h"

#include "KSTCleanUpEngine.h"
#include "KSTCleanUpLocations.h"
#include "KSTCleanUpLog.h"
#include "KSTDispatch.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTRemovalGuard.h"
#include "KSTTreeSize.h"

#include <QDir>

#include <algorithm>

namespace Locations = KSTCleanUpLocations;
using Checker = KSTPermissionChecker;

namespace {

QString homeTrashPath()
{
    return QDir::cleanPath(Locations::table().trash);
}

void recordFailure(KSTCleanUpRemoval::Result &result, const QString &path, const KSTError &error)
{
    qCInfo(lcCleanUp) << "not removed:" << error.description;
    result.failures << KSTCleanUpRemoval::Failure{path, error.description};
    result.error = error;
}

const QString TrashInfoExtension = QStringLiteral(".trashinfo");

qsizetype depthOf(const QString &path)
{
    return path.count(QLatin1Char('/'));
}

} // namespace

void KSTCleanUpRemoval::removeCleanUpItems(const QList<KSTCleanUpItem> &items,
                                           Completion completion)
{
    KSTDispatch::globalAsync(KSTQualityOfService::UserInitiated, [items, completion = std::move(
                                                                             completion)] {
        Result result;
        Checker::performWithGrantedHomeFolderAccess([&] { result = removeCleanUpItemsNow(items); });
        if (!completion)
            return;
        KSTDispatch::mainAsync([completion, result] { completion(result); });
    });
}

KSTCleanUpRemoval::Result
KSTCleanUpRemoval::removeCleanUpItemsNow(const QList<KSTCleanUpItem> &items)
{
    Result result;
    // The Trash is emptied before anything is moved: with the mac layout the moves land in
    // that very Trash, and emptying it afterwards would delete for good what the user only
    // asked to move there (a large file directly in the home sorts before ~/.Trash).
    QList<KSTCleanUpTarget> targets;
    bool emptyTrash = false;
    for (const KSTCleanUpItem &item : items) {
        if (item.filePath.isEmpty() || isFailedDownloadsSummaryItem(item))
            continue;
        if (isMacTrashCleanUpItem(item)) {
            emptyTrash = true;
            continue;
        }
        if (item.targets.isEmpty())
            targets << KSTCleanUpTarget{item.filePath, std::nullopt, item.bytes};
        else
            targets << item.targets;
    }
    if (emptyTrash)
        emptyMacTrash(&result.bytesRemoved, &result.itemsRemoved, &result);

    // Deepest first: an installer file inside a folder of Downloads leaves before the folder
    // does, so every entry is moved by itself and none is reported missing.
    std::stable_sort(targets.begin(), targets.end(),
                     [](const KSTCleanUpTarget &a, const KSTCleanUpTarget &b) {
                         return depthOf(a.path) > depthOf(b.path);
                     });
    const KSTRemovalGuard guard(
        KSTRemovalGuard::Policy{{}, KSTRemovalGuard::storedNeverTouchPaths()});
    for (const KSTCleanUpTarget &target : std::as_const(targets)) {
        const quint64 size = itemSizeAtPath(target.path);
        KSTError error;
        if (guard.moveToTrash(target.path, target.identity, nullptr, &error)) {
            ++result.itemsRemoved;
            result.bytesRemoved += size;
        } else {
            recordFailure(result, target.path, error);
        }
    }
    return result;
}

bool KSTCleanUpRemoval::isMacTrashCleanUpItem(const KSTCleanUpItem &item)
{
    return !item.filePath.isEmpty() && QDir::cleanPath(item.filePath) == homeTrashPath();
}

bool KSTCleanUpRemoval::isFailedDownloadsSummaryItem(const KSTCleanUpItem &item)
{
    return item.filePath.endsWith(Locations::failedDownloadsPreviewName);
}

bool KSTCleanUpRemoval::emptyMacTrashBytesRemoved(quint64 *bytes, quint64 *items)
{
    return emptyMacTrash(bytes, items, nullptr);
}

bool KSTCleanUpRemoval::emptyMacTrash(quint64 *bytes, quint64 *items, Result *result)
{
    const Locations::Table table = Locations::table();
    const QStringList neverTouch = KSTRemovalGuard::storedNeverTouchPaths();
    // Sized as the scan sized the Trash: hidden entries included, a file with several links
    // in the Trash counted once.
    KSTTreeSize::Options options = Checker::accessibleTreeSizeOptions();
    options.skipHidden = false;
    options.seenFiles = std::make_shared<KSTTreeSize::SeenFiles>();
    bool deletedAny = false;
    for (const Locations::TrashFolder &folder : table.trashEmptied) {
        // Listed through the folder itself, never through a link: a trash folder that links
        // elsewhere (or is a file) lists nothing, so nothing is deleted.
        const std::optional<QStringList> names = KSTNoFollowPath::listFolder(folder.path, false);
        if (!names)
            continue;
        const KSTRemovalGuard guard(KSTRemovalGuard::Policy{
            folder.scope.isEmpty() ? QStringList() : QStringList{folder.scope}, neverTouch});
        // Every entry is sized before any is deleted: deleting one name of a file drops its
        // link count, and the next name would then count it a second time.
        QList<QPair<QString, quint64>> entries;
        for (const QString &name : *names) {
            // Finder keeps the put-back records of what is still in the Trash there.
            if (!table.trashKeptName.isEmpty() && name == table.trashKeptName)
                continue;
            // A record stays while the item it describes is still in the Trash.
            if (!folder.recordsFor.isEmpty()) {
                if (!name.endsWith(TrashInfoExtension))
                    continue;
                const QString item =
                    folder.recordsFor + QLatin1Char('/') + name.chopped(TrashInfoExtension.size());
                if (KSTNoFollowPath::status(item))
                    continue;
            }
            const QString path = folder.path + QLatin1Char('/') + name;
            entries << qMakePair(path, KSTTreeSize::allocatedBytesOfItem(path, options));
        }
        for (const auto &[path, size] : std::as_const(entries)) {
            KSTError error;
            if (!guard.removePermanently(path, std::nullopt, &error)) {
                // Failures while emptying stay silent in the error; the entry is still listed.
                qCInfo(lcCleanUp) << "not emptied from the Trash:" << error.description;
                if (result && folder.holdsItems)
                    result->failures << Failure{path, error.description};
                continue;
            }
            if (bytes)
                *bytes += size;
            if (items && folder.holdsItems)
                *items += 1;
            deletedAny = deletedAny || folder.holdsItems;
        }
    }
    return deletedAny;
}

quint64 KSTCleanUpRemoval::itemSizeAtPath(const QString &path)
{
    bool isDirectory = false;
    if (!Checker::accessibleItemExistsAtPath(path, &isDirectory))
        return 0;
    return isDirectory ? KSTCleanUpEngine::folderSizeAtPath(path)
                       : KSTCleanUpEngine::fileSizeAtPath(path);
}
