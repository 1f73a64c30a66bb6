// Trash origins: where each item in the Trash came from and what deleted it. Read-only.
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesManagerPrivate.h"

#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTFreedesktopTrash.h"
#include "KSTLayoutWords.h"
#include "KSTLinuxPlaces.h"
#include "KSTNoFollowPath.h"
#include "KSTPathText.h"
#include "KSTPropertyList.h"
#include "KSTQuarantineInfo.h"
#include "KSTReadOnlyFile.h"
#include "KSTUtilitiesLocations.h"

#include <QDir>
#include <QUrl>

#include <algorithm>
#include <cerrno>
#include <sys/xattr.h>

namespace {

// Real stores are a few kilobytes; a larger file is not read.
constexpr qint64 MaximumStoreBytes = 16 * 1024 * 1024;
constexpr qsizetype MaximumAttributeBytes = 1024 * 1024;
constexpr qsizetype WalkSteps = 1023;
const QByteArray PutBackNameRecord = QByteArrayLiteral("ptbNustr");

QString trimmedOfNul(QString text)
{
    while (!text.isEmpty() && text.front() == QChar(0))
        text.remove(0, 1);
    while (!text.isEmpty() && text.back() == QChar(0))
        text.chop(1);
    return text;
}

// Where the length-and-first-character pattern sits just before @p c.
bool matchesAt(const QByteArray &data, qsizetype c)
{
    if (c < 5 || c > data.size())
        return false;
    const auto at = [&data](qsizetype index) { return quint8(data.at(index)); };
    return at(c - 5) == 0 && at(c - 4) == 0 && at(c - 3) == 0 && at(c - 2) != 0 && at(c - 1) == 0;
}

// The URL without its last path component, as a URL ("https://h/d/f.pdf" → "https://h/d/").
QString withoutLastComponent(const QString &text)
{
    QUrl url(text, QUrl::TolerantMode);
    if (!url.isValid())
        return text;
    QString path = url.path();
    if (path.isEmpty() || path == QLatin1String("/"))
        return url.toString(QUrl::RemoveQuery | QUrl::RemoveFragment);
    if (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    path = path.left(path.lastIndexOf(QLatin1Char('/')) + 1);
    url.setPath(path.isEmpty() ? QStringLiteral("/") : path);
    return url.toString(QUrl::RemoveQuery | QUrl::RemoveFragment);
}

// Trash records in the order a person looks for a name in.
QList<KSTTrashSourceRecord> sortedByFileName(QList<KSTTrashSourceRecord> records)
{
    std::stable_sort(records.begin(), records.end(),
                     [](const KSTTrashSourceRecord &a, const KSTTrashSourceRecord &b) {
                         return KSTUtilitiesOrder::localizedCaseInsensitiveLess(a.fileName,
                                                                                b.fileName);
                     });
    return records;
}

} // namespace

QList<KSTTrashSourceRecord> KSTUtilitiesManager::scanTrashSourceItems() const
{
    if (KSTEnvironment::current().layout() == KSTLayout::Linux)
        return scanLinuxTrashSourceItems();
    QList<KSTTrashSourceRecord> records;
    const QString trash = KSTEnvironment::current().homePath(KSTUtilitiesLocations::Trash);
    const std::optional<QStringList> names = KSTNoFollowPath::listFolder(trash, true);
    if (!names)
        return records;
    const QStringList putBack = originalPathsFromTrashDSStoreAtPath(
        trash + QLatin1Char('/') + KSTUtilitiesLocations::TrashStore);
    QSet<QString> used;
    for (const QString &name : *names) {
        KSTTrashSourceRecord record;
        record.trashPath = trash + QLatin1Char('/') + name;
        record.fileName = name;
        record.originalLocation = originalLocationForTrashItem(record.trashPath, putBack, used);
        if (record.originalLocation.isEmpty())
            record.originalLocation = QStringLiteral("Unknown");
        record.deletedBy = deletedByAppForTrashItem(record.trashPath);
        records.append(record);
    }
    return sortedByFileName(std::move(records));
}

QStringList KSTUtilitiesManager::originalPathsFromTrashDSStoreAtPath(const QString &path)
{
    QByteArray data;
    if (KSTReadOnlyFile::readWholeFile(path, MaximumStoreBytes, &data) !=
        KSTReadOnlyFile::Status::Read)
        return {};
    return originalPathsFromTrashDSStoreData(data);
}

QStringList KSTUtilitiesManager::originalPathsFromTrashDSStoreData(const QByteArray &data)
{
    // A search for the put-back name records rather than a walk of the store's tree. Each
    // text run it cuts starts one byte late and so fails the parity test for ordinary
    // records: this finds nothing in most stores, and the other routes decide.
    QStringList paths;
    if (data.size() < 8 || data.mid(4, 4) != QByteArrayLiteral("Bud1"))
        return paths;
    for (qsizetype p = data.indexOf(PutBackNameRecord); p >= 0;
         p = data.indexOf(PutBackNameRecord, p + 1)) {
        qsizetype c1 = -1;
        qsizetype c2 = -1;
        qsizetype s = p + 10;
        for (qsizetype step = 0; step < WalkSteps && step < p; ++step, --s) {
            const qsizetype c = s - 5;
            if (!matchesAt(data, c))
                continue;
            if (c1 < 0) {
                c1 = c;
                continue;
            }
            c2 = c;
            break;
        }
        if (c1 < 0 || c2 < 0)
            continue;
        const qsizetype aStart = c2, aEnd = c1 - 5, bStart = c1, bEnd = p;
        if (aStart < 0 || bStart < 0 || aEnd > data.size() || bEnd > data.size())
            continue;
        const qsizetype aLength = aEnd - aStart, bLength = bEnd - bStart;
        if (aLength < 2 || bLength < 2 || aLength % 2 != 0 || bLength % 2 != 0)
            continue;
        const std::optional<QString> directory = bud1StringFromUTF16Data(data.mid(aStart, aLength));
        const std::optional<QString> name = bud1StringFromUTF16Data(data.mid(bStart, bLength));
        if (!directory || !name)
            continue;
        if (const std::optional<QString> path = bud1FullPathFromDirectoryPath(*directory, *name))
            paths.append(*path);
    }
    return paths;
}

std::optional<QString> KSTUtilitiesManager::bud1StringFromUTF16Data(const QByteArray &data)
{
    if (data.size() < 2 || data.size() % 2 != 0)
        return std::nullopt;
    QString text;
    text.reserve(data.size() / 2);
    for (qsizetype index = 0; index < data.size(); index += 2)
        text.append(QChar(char16_t(quint8(data.at(index)) | (quint8(data.at(index + 1)) << 8))));
    text = trimmedOfNul(text);
    if (text.isEmpty())
        return std::nullopt;
    return text;
}

std::optional<QString> KSTUtilitiesManager::bud1FullPathFromDirectoryPath(const QString &directory,
                                                                          const QString &fileName)
{
    const QString folder = trimmedOfNul(directory);
    const QString name = trimmedOfNul(fileName);
    if (folder.isEmpty() || name.isEmpty())
        return std::nullopt;
    QString joined = folder;
    while (joined.size() > 1 && joined.endsWith(QLatin1Char('/')))
        joined.chop(1);
    QString leaf = name;
    while (leaf.startsWith(QLatin1Char('/')))
        leaf.remove(0, 1);
    if (leaf.isEmpty())
        return joined;
    joined = joined == QLatin1String("/") ? QString(joined + leaf)
                                          : QString(joined + QLatin1Char('/') + leaf);
    if (joined.isEmpty())
        return folder + QLatin1Char('/') + name;
    return joined;
}

QString KSTUtilitiesManager::originalLocationForTrashItem(const QString &itemPath,
                                                          const QStringList &bud1Paths,
                                                          QSet<QString> &usedBud1Paths) const
{
    const QString name = KSTPathText::lastPathComponent(itemPath);
    const QString metadata = originalLocationFromExtendedAttributesForTrashItem(itemPath);
    if (!metadata.isEmpty() && metadata != QLatin1String("Unknown")) {
        // Its put-back record is spent, so later items of the same name stay in step.
        markUsedBud1PathForTrashFileName(name, bud1Paths, usedBud1Paths);
        return metadata;
    }
    return originalLocationFromBud1Paths(bud1Paths, name, usedBud1Paths);
}

QString KSTUtilitiesManager::originalLocationFromExtendedAttributesForTrashItem(
    const QString &itemPath) const
{
    if (const std::optional<QByteArray> whereFroms =
            xattrDataForPath(itemPath, KSTUtilitiesLocations::WhereFromsAttribute)) {
        const QVariant list = KSTPropertyList::fromData(*whereFroms);
        if (list.typeId() == QMetaType::QVariantList && !list.toList().isEmpty()) {
            const QVariant first = list.toList().first();
            if (first.typeId() == QMetaType::QString && !first.toString().isEmpty())
                return first.toString();
        }
    }
    const KSTQuarantineInfo quarantine = KSTQuarantineInfo::forPath(itemPath);
    if (!quarantine.dataURL.isEmpty())
        return withoutLastComponent(quarantine.dataURL);
    return QStringLiteral("Unknown");
}

QString KSTUtilitiesManager::originalLocationFromBud1Paths(const QStringList &paths,
                                                           const QString &trashFileName,
                                                           QSet<QString> &usedBud1Paths)
{
    for (const bool caseInsensitive : {false, true}) {
        if (const std::optional<QString> path =
                firstUnusedBud1PathInPaths(paths, trashFileName, usedBud1Paths, caseInsensitive))
            return *path;
    }
    return QStringLiteral("Unknown");
}

std::optional<QString> KSTUtilitiesManager::firstUnusedBud1PathInPaths(const QStringList &paths,
                                                                       const QString &trashFileName,
                                                                       QSet<QString> &usedBud1Paths,
                                                                       bool caseInsensitive)
{
    for (const QString &path : paths) {
        if (usedBud1Paths.contains(path))
            continue;
        if (KSTPathText::lastPathComponent(path).compare(
                trashFileName, caseInsensitive ? Qt::CaseInsensitive : Qt::CaseSensitive) == 0) {
            usedBud1Paths.insert(path);
            return path;
        }
    }
    return std::nullopt;
}

void KSTUtilitiesManager::markUsedBud1PathForTrashFileName(const QString &trashFileName,
                                                           const QStringList &paths,
                                                           QSet<QString> &usedBud1Paths)
{
    if (!firstUnusedBud1PathInPaths(paths, trashFileName, usedBud1Paths, false))
        firstUnusedBud1PathInPaths(paths, trashFileName, usedBud1Paths, true);
}

QString KSTUtilitiesManager::deletedByAppForTrashItem(const QString &itemPath) const
{
    const KSTQuarantineInfo quarantine = KSTQuarantineInfo::forPath(itemPath);
    if (!quarantine.agentName.isEmpty())
        return quarantine.agentName;
    if (const std::optional<QString> name =
            appNameForBundleIdentifier(quarantine.agentBundleIdentifier))
        return *name;
    return KSTLayoutWords::current().fileManager;
}

std::optional<QByteArray> KSTUtilitiesManager::xattrDataForPath(const QString &path,
                                                                const QString &name)
{
    const QByteArray file = KSTFileName::encoded(path);
    QList<QByteArray> names = {name.toUtf8()};
#ifdef __linux__
    names << (KSTUtilitiesLocations::LinuxAttributePrefix + name).toUtf8();
#endif
    for (const QByteArray &attribute : std::as_const(names)) {
        // The entry's own attributes: a link's, never its target's, and nothing is opened.
        const ssize_t size = ::lgetxattr(file.constData(), attribute.constData(), nullptr, 0);
        if (size < 0 || size > MaximumAttributeBytes)
            continue;
        QByteArray value(qsizetype(size), '\0');
        const ssize_t read =
            ::lgetxattr(file.constData(), attribute.constData(), value.data(), size_t(size));
        if (read == size)
            return value;
    }
    return std::nullopt;
}

QList<KSTTrashSourceRecord> KSTUtilitiesManager::scanLinuxTrashSourceItems() const
{
    using namespace KSTUtilitiesLocations;
    QList<KSTTrashSourceRecord> records;
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString trash =
        QDir::cleanPath(environment.places()->dataHome() + QLatin1Char('/') + LinuxTrash);
    const QString files = trash + QLatin1Char('/') + LinuxTrashFiles;
    const std::optional<QStringList> names = KSTNoFollowPath::listFolder(files, false);
    if (!names)
        return records;
    for (const QString &name : *names) {
        KSTTrashSourceRecord record;
        record.trashPath = files + QLatin1Char('/') + name;
        record.fileName = name;
        if (const std::optional<QByteArray> url =
                xattrDataForPath(record.trashPath, OriginUrlAttribute);
            url && !url->isEmpty()) {
            record.originalLocation = QString::fromUtf8(*url);
        } else {
            // The record is read only when it is a file of its own, never through a link.
            const std::optional<struct stat> info =
                KSTNoFollowPath::status(trash + QLatin1Char('/') + LinuxTrashInfo +
                                        QLatin1Char('/') + name + TrashInfoSuffix);
            if (info && S_ISREG(info->st_mode))
                record.originalLocation = KSTFreedesktopTrash::originalPath(record.trashPath);
        }
        if (record.originalLocation.isEmpty())
            record.originalLocation = QStringLiteral("Unknown");
        record.deletedBy = deletedByAppForTrashItem(record.trashPath);
        records.append(record);
    }
    return sortedByFileName(std::move(records));
}
