#include "KSTAppUninstallHistory.h"

#include "KSTAppManageLocations.h"
#include "KSTAppUninstaller.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTPreferences.h"
#include "KSTRemovalGuard.h"

#include <QDir>
#include <QVariantList>
#include <QVariantMap>

namespace Locations = KSTAppManageLocations;

namespace {

const QString OriginalKey = QStringLiteral("originalPath");
const QString TrashedKey = QStringLiteral("trashedPath");
const QString KindKey = QStringLiteral("kind");
const QString DeviceKey = QStringLiteral("device");
const QString InodeKey = QStringLiteral("inode");
const QString SizeKey = QStringLiteral("size");
const QString SecondsKey = QStringLiteral("modifiedSeconds");
const QString NanosecondsKey = QStringLiteral("modifiedNanoseconds");

QString parentOf(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

QString nameOf(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

// The freedesktop Trash keeps a record beside each item; put back, the item needs it no more.
void removeTrashInfo(const KSTRemovalGuard &guard, const QString &trashedPath)
{
    if (KSTEnvironment::current().layout() != KSTLayout::Linux)
        return;
    const QString files = parentOf(trashedPath);
    if (nameOf(files) != QLatin1String("files"))
        return;
    const QString info = parentOf(files) + QLatin1String("/info/") + nameOf(trashedPath) +
                         QLatin1String(".trashinfo");
    guard.removePermanently(info);
}

} // namespace

void KSTAppUninstallHistory::remember(const QList<Item> &items)
{
    QVariantList stored;
    for (const Item &item : items) {
        // Numbers as text: every settings format keeps them exactly.
        stored.append(
            QVariantMap{{OriginalKey, KSTFileName::encoded(item.originalPath)},
                        {TrashedKey, KSTFileName::encoded(item.trashedPath)},
                        {KindKey, QString::number(int(item.identity.kind))},
                        {DeviceKey, QString::number(item.identity.device)},
                        {InodeKey, QString::number(item.identity.inode)},
                        {SizeKey, QString::number(item.identity.size)},
                        {SecondsKey, QString::number(item.identity.modifiedSeconds)},
                        {NanosecondsKey, QString::number(item.identity.modifiedNanoseconds)}});
    }
    const std::unique_ptr<QSettings> settings = KSTPreferences::standard();
    settings->setValue(Locations::lastUninstallItemsKey, stored);
    settings->sync();
}

QList<KSTAppUninstallHistory::Item> KSTAppUninstallHistory::lastUninstallItems()
{
    const std::unique_ptr<QSettings> settings = KSTPreferences::standard();
    QList<Item> items;
    for (const QVariant &entry : settings->value(Locations::lastUninstallItemsKey).toList()) {
        const QVariantMap map = entry.toMap();
        Item item;
        item.originalPath = KSTFileName::decoded(map.value(OriginalKey).toByteArray());
        item.trashedPath = KSTFileName::decoded(map.value(TrashedKey).toByteArray());
        bool kindOk = false;
        const int kind = map.value(KindKey).toString().toInt(&kindOk);
        if (!item.originalPath.startsWith(QLatin1Char('/')) ||
            !item.trashedPath.startsWith(QLatin1Char('/')) || !kindOk || kind < 0 ||
            kind > int(KSTFileIdentity::Kind::Other))
            continue;
        item.identity.kind = KSTFileIdentity::Kind(kind);
        item.identity.device = map.value(DeviceKey).toString().toULongLong();
        item.identity.inode = map.value(InodeKey).toString().toULongLong();
        item.identity.size = map.value(SizeKey).toString().toLongLong();
        item.identity.modifiedSeconds = map.value(SecondsKey).toString().toLongLong();
        item.identity.modifiedNanoseconds = map.value(NanosecondsKey).toString().toLongLong();
        items.append(item);
    }
    return items;
}

void KSTAppUninstallHistory::forget()
{
    const std::unique_ptr<QSettings> settings = KSTPreferences::standard();
    settings->remove(Locations::lastUninstallItemsKey);
    settings->sync();
}

KSTAppUninstallHistory::PutBackResult KSTAppUninstallHistory::putBackLastUninstall()
{
    PutBackResult result;
    const QList<Item> items = lastUninstallItems();
    const KSTRemovalGuard guard(KSTRemovalGuard::Policy{KSTAppUninstaller::removalScopeRoots(),
                                                        KSTRemovalGuard::storedNeverTouchPaths()});
    for (auto it = items.crbegin(); it != items.crend(); ++it) {
        const QString original = QDir::cleanPath(it->originalPath);
        KSTError error;
        if (guard.moveIntoFolder(it->trashedPath, it->identity, parentOf(original),
                                 nameOf(original), nullptr, &error)) {
            removeTrashInfo(guard, it->trashedPath);
            result.restoredPaths << original;
        } else {
            result.skippedPaths << original;
            result.reasons << error.description;
        }
    }
    forget();
    return result;
}
