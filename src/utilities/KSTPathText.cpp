#include "KSTPathText.h"

namespace {

QString withoutTrailingSlashes(const QString &path)
{
    qsizetype end = path.size();
    while (end > 1 && path.at(end - 1) == QLatin1Char('/'))
        --end;
    return path.left(end);
}

// Where the extension's dot is in @p path, or -1.
qsizetype extensionDot(const QString &path)
{
    const QString clean = withoutTrailingSlashes(path);
    const qsizetype slash = clean.lastIndexOf(QLatin1Char('/'));
    const qsizetype dot = clean.lastIndexOf(QLatin1Char('.'));
    if (dot <= slash + 1 || dot == clean.size() - 1)
        return -1;
    return dot;
}

} // namespace

namespace KSTPathText {

QString lastPathComponent(const QString &path)
{
    const QString clean = withoutTrailingSlashes(path);
    if (clean == QLatin1String("/"))
        return clean;
    return clean.mid(clean.lastIndexOf(QLatin1Char('/')) + 1);
}

QString deletingLastPathComponent(const QString &path)
{
    const QString clean = withoutTrailingSlashes(path);
    const qsizetype slash = clean.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return {};
    if (slash == 0)
        return QStringLiteral("/");
    return clean.left(slash);
}

QString pathExtension(const QString &path)
{
    const qsizetype dot = extensionDot(path);
    return dot < 0 ? QString() : withoutTrailingSlashes(path).mid(dot + 1);
}

QString deletingPathExtension(const QString &path)
{
    const qsizetype dot = extensionDot(path);
    return dot < 0 ? withoutTrailingSlashes(path) : withoutTrailingSlashes(path).left(dot);
}

} // namespace KSTPathText
