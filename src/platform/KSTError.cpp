#include "KSTError.h"

#include <cstring>

KSTError KSTError::fromErrno(int errorNumber, const QString &context)
{
    KSTError error;
    error.domain = QStringLiteral("POSIX");
    error.code = errorNumber;
    const QString reason = QString::fromLocal8Bit(std::strerror(errorNumber));
    error.description = context.isEmpty() ? reason : context + QLatin1String(": ") + reason;
    return error;
}
