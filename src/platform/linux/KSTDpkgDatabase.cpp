#include "KSTDpkgDatabase.h"

#include "KSTNoFollowPath.h"
#include "KSTReadOnlyFile.h"
#include "KSTRootedPath.h"

#include <QByteArrayView>

namespace {

QString rootedPath(const QString &root, const char *machinePath)
{
    if (root == QLatin1String("/"))
        return QLatin1String(machinePath);
    return root + QLatin1String(machinePath);
}

struct Stanza
{
    QByteArrayView package;
    bool installed = false;
    qint64 sizeKiB = -1;
    QByteArrayView version;
};

QByteArrayView fieldValue(QByteArrayView line, qsizetype colon)
{
    return line.sliced(colon + 1).trimmed();
}

// Calls @p finish with each stanza of @p status (the last one too, without a blank line).
template <typename Finish> void forEachStanza(const QByteArray &status, Finish finish)
{
    const QByteArrayView text(status);
    Stanza stanza;
    qsizetype position = 0;
    while (position <= text.size()) {
        qsizetype end = text.indexOf('\n', position);
        if (end < 0)
            end = text.size();
        QByteArrayView line = text.sliced(position, end - position);
        position = end + 1;
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.trimmed().isEmpty()) {
            finish(stanza);
            stanza = {};
            continue;
        }
        if (line.startsWith(' ') || line.startsWith('\t'))
            continue; // a continuation of a multi-line field
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            continue;
        const QByteArrayView key = line.first(colon);
        if (key == "Package") {
            stanza.package = fieldValue(line, colon);
        } else if (key == "Status") {
            stanza.installed = fieldValue(line, colon) == "install ok installed";
        } else if (key == "Installed-Size") {
            bool ok = false;
            const qint64 value = fieldValue(line, colon).toLongLong(&ok);
            stanza.sizeKiB =
                ok && value >= 0 && value <= KSTDpkgDatabase::maximumInstalledSizeKiB ? value : -1;
        } else if (key == "Version") {
            stanza.version = fieldValue(line, colon);
        }
    }
    finish(stanza);
}

QByteArray readStatus(const QString &root)
{
    const QString status = KSTRootedPath::resolve(root, rootedPath(root, "/var/lib/dpkg/status"));
    QByteArray contents;
    if (status.isEmpty() ||
        KSTReadOnlyFile::readWholeFileWithoutLinks(status, KSTDpkgDatabase::maximumStatusBytes,
                                                   &contents) != KSTReadOnlyFile::Status::Read)
        return {};
    return contents;
}

} // namespace

QHash<QString, qint64> KSTDpkgDatabase::installedSizes(const QByteArray &status)
{
    QHash<QString, qint64> sizes;
    forEachStanza(status, [&sizes](const Stanza &stanza) {
        if (!stanza.package.isEmpty() && stanza.installed && stanza.sizeKiB >= 0) {
            const QString name = QString::fromUtf8(stanza.package);
            if (!sizes.contains(name))
                sizes.insert(name, stanza.sizeKiB);
        }
    });
    return sizes;
}

QHash<QString, QString> KSTDpkgDatabase::installedVersions(const QByteArray &status)
{
    QHash<QString, QString> versions;
    forEachStanza(status, [&versions](const Stanza &stanza) {
        if (stanza.package.isEmpty() || !stanza.installed || stanza.version.isEmpty() ||
            stanza.version.size() > maximumVersionBytes)
            return;
        const QString name = QString::fromUtf8(stanza.package);
        if (!versions.contains(name))
            versions.insert(name, QString::fromUtf8(stanza.version));
    });
    return versions;
}

QSet<QString> KSTDpkgDatabase::listedPaths(const QByteArray &list, const QSet<QString> &wanted)
{
    QSet<QString> found;
    const QByteArrayView text(list);
    qsizetype position = 0;
    while (position < text.size() && found.size() < wanted.size()) {
        qsizetype end = text.indexOf('\n', position);
        if (end < 0)
            end = text.size();
        const QByteArrayView line = text.sliced(position, end - position);
        position = end + 1;
        // Most lines are other files; only a full comparison for the plausible ones.
        if (!line.startsWith('/') || line.size() > 4096)
            continue;
        const QString path = QString::fromUtf8(line);
        if (wanted.contains(path))
            found.insert(path);
    }
    return found;
}

QString KSTDpkgDatabase::packageOfListName(const QString &fileName)
{
    if (!fileName.endsWith(QLatin1String(".list")) || fileName.size() <= 5 ||
        fileName.startsWith(QLatin1Char('.')))
        return {};
    QString package = fileName.chopped(5);
    const qsizetype colon = package.indexOf(QLatin1Char(':'));
    if (colon == 0)
        return {};
    if (colon > 0)
        package.truncate(colon);
    return package;
}

QHash<QString, qint64> KSTDpkgDatabase::readInstalledSizes(const QString &root)
{
    return installedSizes(readStatus(root));
}

QHash<QString, QString> KSTDpkgDatabase::readInstalledVersions(const QString &root)
{
    return installedVersions(readStatus(root));
}

QHash<QString, QString> KSTDpkgDatabase::readOwners(const QString &root,
                                                    const QSet<QString> &machinePaths)
{
    QHash<QString, QString> owners;
    if (machinePaths.isEmpty())
        return owners;
    const QString info = KSTRootedPath::resolve(root, rootedPath(root, "/var/lib/dpkg/info"));
    const std::optional<QStringList> names =
        info.isEmpty() ? std::nullopt : KSTNoFollowPath::listFolder(info, true);
    if (!names)
        return owners;
    // In name order, so a file two packages list (a diversion) always has the same owner.
    QStringList sorted = *names;
    sorted.sort();
    QSet<QString> remaining = machinePaths;
    int listsRead = 0;
    for (const QString &name : sorted) {
        const QString package = packageOfListName(name);
        if (package.isEmpty())
            continue;
        if (++listsRead > maximumListFiles || remaining.isEmpty())
            break;
        QByteArray list;
        if (KSTReadOnlyFile::readWholeFileWithoutLinks(info + QLatin1Char('/') + name,
                                                       maximumListBytes,
                                                       &list) != KSTReadOnlyFile::Status::Read)
            continue;
        for (const QString &path : listedPaths(list, remaining)) {
            owners.insert(path, package);
            remaining.remove(path);
        }
    }
    return owners;
}
