#pragma once

#include <QString>
#include <QtGlobal>

/// One standard folder of the home with the size du gives it. Plain value.
struct KSTDiskFolderRecord
{
    QString name;
    QString path;
    quint64 bytes = 0;

    bool operator==(const KSTDiskFolderRecord &) const = default;
};
