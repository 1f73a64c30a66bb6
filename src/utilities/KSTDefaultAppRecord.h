#pragma once

#include "KSTDefaultAppCandidate.h"

#include <QList>
#include <QString>

/// One file type with the application that opens it now and those that could. Plain value.
struct KSTDefaultAppRecord
{
    QString extensionLabel;          ///< ".pdf", ".jpg / .jpeg", or the type itself
    QString contentTypeUTI;          ///< the uniform type identifier
    QString currentAppName;          ///< the handler's name, "None" when there is none
    QString currentBundleIdentifier; ///< empty when there is no handler
    QString currentAppIcon;          ///< the handler's icon file (see KSTDefaultAppCandidate)
    QList<KSTDefaultAppCandidate> candidates;

    bool operator==(const KSTDefaultAppRecord &) const = default;
};
