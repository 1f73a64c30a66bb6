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

/// Where texts meant for the person go: standard output, or standard error with --json so
/// that the document stands alone.
inline QTextStream &talk(KSTCliContext &context)
{
    return context.json() ? context.err() : context.out();
}

/// Asks @p question on the talk stream unless @p yes; true only for "y" or "yes".
inline bool confirmed(KSTCliContext &context, const QString &question, bool yes)
{
    QTextStream &stream = talk(context);
    if (yes) {
        stream.flush();
        return true;
    }
    stream << question << " [y/N] ";
    stream.flush();
    char buffer[256] = {};
    const bool answered = std::fgets(buffer, sizeof buffer, stdin) != nullptr;
    const QString answer = QString::fromLocal8Bit(buffer).trimmed().toLower();
    if (answered && (answer == QLatin1String("y") || answer == QLatin1String("yes")))
        return true;
    stream << "Cancelled.\n";
    stream.flush();
    return false;
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
