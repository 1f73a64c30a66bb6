#pragma once

#include <QString>
#include <QtGlobal>

/// One folder of the weekly "what grew" list.
struct KSTReporterFolderChange
{
    QString displayPath;
    qint64 deltaBytes = 0;
    double barFraction = 0;
    QString colorKey;
};
