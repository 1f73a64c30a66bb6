#include "KSTDuplicateRemovalStep.h"

#include "KSTFileStatus.h"

#include <QFile>

#include <fcntl.h>

bool KSTDuplicateRemovalStep::isUnchangedSinceScan(const KSTDuplicateFileRecord &record)
{
    if (record.path.isEmpty())
        return false;
    const std::optional<KSTFileStatus> status =
        KSTFileStatus::ofEntry(AT_FDCWD, QFile::encodeName(record.path).constData());
    return status && status->isRegularFile() && status->size == record.bytes &&
           status->modificationTimeMs == record.modificationDate.toMSecsSinceEpoch() &&
           status->device == record.device && status->inode == record.inode;
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
