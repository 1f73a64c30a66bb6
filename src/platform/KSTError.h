#pragma once

#include <QString>
#include <QVariantMap>

/// An error that reaches a person: a domain named after the engine ("KSTSystemInfo",
/// "KSTUtilitiesManager", or a platform domain such as "NSCocoaErrorDomain"/"POSIX"), an
/// integer code, a readable description, and extra keys where needed ("failedPaths").
struct KSTError
{
    QString domain;
    qint64 code = 0;
    QString description;
    QVariantMap userInfo;

    /// An error in the "POSIX" domain with strerror's text, prefixed with @p context.
    static KSTError fromErrno(int errorNumber, const QString &context = {});
};
