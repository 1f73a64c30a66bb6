#pragma once

#include "KSTCliContext.h"
#include "KSTError.h"

#include <QDir>
#include <QJsonObject>
#include <QJsonValue>

#include <cstdio>
#include <optional>

/// What the Utilities commands share: the error object of their JSON, the question a change
/// asks, and paths as typed.
namespace KSTUtilitiesCommandSupport {

/// {domain, code, description}, or null.
inline QJsonValue errorJson(const std::optional<KSTError> &error)
{
    if (!error)
        return QJsonValue();
    return QJsonObject{{QStringLiteral("domain"), error->domain},
                       {QStringLiteral("code"), error->code},
                       {QStringLiteral("description"), error->description}};
}

/// An absolute form of a path as typed (relative ones start at the current folder); "~" is
/// left for the engine, which expands it against the analysed home.
inline QString absolutePath(const QString &typed)
{
    if (typed.isEmpty() || typed.startsWith(QLatin1Char('/')) || typed.startsWith(QLatin1Char('~')))
        return typed;
    return QDir::currentPath() + QLatin1Char('/') + typed;
}

} // namespace KSTUtilitiesCommandSupport
