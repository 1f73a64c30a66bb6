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

bool isFolderWithoutLink(const QString &path)
{
    const std::optional<KSTFileIdentity> identity = identityOf(path);
    return identity && identity->isFolder();
}

} // namespace

QList<KSTReportFolderEntry> entries(const QString &folder, qsizetype limit)
{
    const QString clean = QDir::cleanPath(folder);
    QList<KSTReportFolderEntry> result;
    if (clean.isEmpty() || !isFolderWithoutLink(clean))
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
    if (clean.isEmpty() || !isFolderWithoutLink(clean))
        return -1;
    return KSTStorageFigures::directoryEntriesAtPath(clean).size();
}

} // namespace KSTReportFolderListing
