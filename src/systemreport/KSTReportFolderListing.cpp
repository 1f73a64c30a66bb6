#include "KSTReportFolderListing.h"

#include "KSTFileIdentity.h"
#include "KSTNoFollowPath.h"
#include "KSTStorageFigures.h"

#include <QDir>

namespace KSTReportFolderListing {

namespace {

std::optional<KSTFileIdentity> identityOf(const QString &path)
{
    const std::optional<struct stat> status = KSTNoFollowPath::status(path);
    if (!status)
        return std::nullopt;
    return KSTFileIdentity::fromStatus(*status);
}

} // namespace

bool isFolder(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    if (!clean.startsWith(QLatin1Char('/')))
        return false;
    const std::optional<KSTFileIdentity> identity = identityOf(clean);
    return identity && identity->isFolder();
}

QList<KSTReportFolderEntry> entries(const QString &folder, qsizetype limit)
{
    const QString clean = QDir::cleanPath(folder);
    QList<KSTReportFolderEntry> result;
    if (!isFolder(clean))
        return result;
    for (const QString &name : KSTStorageFigures::directoryEntriesAtPath(clean)) {
        if (result.size() >= limit)
            break;
        if (name.startsWith(QLatin1Char('.')))
            continue;
        KSTReportFolderEntry entry;
        entry.name = name;
        entry.path = clean + QLatin1Char('/') + name;
        const std::optional<KSTFileIdentity> identity = identityOf(entry.path);
        if (!identity)
            continue;
        entry.isFolder = identity->isFolder();
        entry.isFile = identity->isFile();
        entry.modified = QDateTime::fromMSecsSinceEpoch(identity->modifiedMilliseconds());
        result.append(entry);
    }
    return result;
}

qint64 entryCount(const QString &folder)
{
    const QString clean = QDir::cleanPath(folder);
    if (!isFolder(clean))
        return -1;
    return KSTStorageFigures::directoryEntriesAtPath(clean).size();
}

} // namespace KSTReportFolderListing
