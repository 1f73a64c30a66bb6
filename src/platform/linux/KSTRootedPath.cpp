#include "KSTRootedPath.h"

#include "KSTFileName.h"

#include <QStringList>

#include <climits>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString joined(const QString &root, const QStringList &parts)
{
    const QString tail = parts.join(QLatin1Char('/'));
    if (root == QLatin1String("/"))
        return QLatin1Char('/') + tail;
    return tail.isEmpty() ? root : root + QLatin1Char('/') + tail;
}

} // namespace

QString KSTRootedPath::resolve(const QString &root, const QString &path)
{
    const bool hostRoot = root == QLatin1String("/");
    if (!path.startsWith(QLatin1Char('/')) ||
        (!hostRoot && path != root && !path.startsWith(root + QLatin1Char('/'))))
        return {};
    QStringList pending =
        path.mid(hostRoot ? 0 : root.size()).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    QStringList done;
    int links = 0;
    while (!pending.isEmpty()) {
        const QString part = pending.takeFirst();
        if (part == QLatin1String("."))
            continue;
        if (part == QLatin1String("..")) {
            if (!done.isEmpty()) // ".." of the root is the root
                done.removeLast();
            continue;
        }
        const QString base = joined(root, done);
        const QByteArray candidate = KSTFileName::encoded(
            (base == QLatin1String("/") ? base : base + QLatin1Char('/')) + part);
        struct stat status;
        if (::lstat(candidate.constData(), &status) != 0)
            return {};
        if (S_ISLNK(status.st_mode)) {
            if (++links > maximumLinks)
                return {};
            char target[PATH_MAX];
            const ssize_t length = ::readlink(candidate.constData(), target, sizeof target);
            if (length <= 0 || length >= ssize_t(sizeof target))
                return {};
            const QString text = KSTFileName::decoded(target, length);
            if (text.startsWith(QLatin1Char('/')))
                done.clear();
            pending = text.split(QLatin1Char('/'), Qt::SkipEmptyParts) + pending;
            continue;
        }
        if (!pending.isEmpty() && !S_ISDIR(status.st_mode))
            return {};
        done << part;
    }
    return joined(root, done);
}
