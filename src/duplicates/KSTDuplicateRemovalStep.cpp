#include "KSTDuplicateRemovalStep.h"

#include "KSTNoFollowPath.h"

bool KSTDuplicateRemovalStep::isUnchangedSinceScan(const KSTDuplicateFileRecord &record)
{
    if (!record.path.startsWith(QLatin1Char('/')) || !record.identity.isFile() ||
        record.identity.inode == 0)
        return false;
    const std::optional<struct stat> status = KSTNoFollowPath::status(record.path);
    return status && record.identity.matches(KSTFileIdentity::fromStatus(*status));
}

const KSTDuplicateFileRecord *
KSTDuplicateRemovalStep::firstUnchanged(const QList<KSTDuplicateFileRecord> &records)
{
    for (const KSTDuplicateFileRecord &record : records) {
        if (isUnchangedSinceScan(record))
            return &record;
    }
    return nullptr;
}

QString KSTDuplicateRemovalStep::noCopyKeptReason()
{
    return QStringLiteral("No copy of this group is kept, so none of its copies was removed.");
}

QString KSTDuplicateRemovalStep::fileChangedReason()
{
    return QStringLiteral("The file changed or moved since the scan, so it was left in place.");
}

QString KSTDuplicateRemovalStep::keptCopyChangedReason()
{
    return QStringLiteral("The kept copy changed or moved since the scan, so this copy was left "
                          "in place.");
}
