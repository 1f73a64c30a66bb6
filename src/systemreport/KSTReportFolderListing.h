#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

/// One entry of a folder of the analysed machine, as it was when listed.
struct KSTReportFolderEntry
{
    QString name;
    QString path;
    bool isFolder = false;
    bool isFile = false;
    QDateTime modified;
};

/// How the report's collectors read a folder of the analysed machine: the same no-follow
/// listing the other tools use (KSTStorageFigures::directoryEntriesAtPath), so a folder that
/// is a link below the analysed home or root lists nothing, and each entry is looked at
/// without following a link (a link is neither a folder nor a file). Hidden entries are left
/// out. Thread-safe.
namespace KSTReportFolderListing {

/// The first @p limit visible entries of @p folder, in the listing's byte order; empty when
/// it is not a folder reached without a link or cannot be read. An entry that vanished
/// between the listing and its look is dropped.
QList<KSTReportFolderEntry> entries(const QString &folder, qsizetype limit);

/// Whether @p path is a folder reached without following a link.
bool isFolder(const QString &path);

/// The number of entries of @p folder, hidden ones included; -1 when it is not a folder
/// reached without a link.
qint64 entryCount(const QString &folder);

} // namespace KSTReportFolderListing
