#include "KSTLinuxStartupEntries.h"

#include "KSTDesktopEntry.h"
#include "KSTEnvironment.h"
#include "KSTNoFollowPath.h"
#include "KSTReadOnlyFile.h"
#include "KSTRootedPath.h"
#include "KSTSystemdUnit.h"

#include <QDir>
#include <QSet>

namespace {

// The names of a folder, sorted and capped; nothing for a folder that is a link.
QStringList namesIn(const QString &folder, const QString &suffix)
{
    if (!folder.startsWith(QLatin1Char('/')))
        return {};
    const std::optional<QStringList> listed = KSTNoFollowPath::listFolder(folder, false);
    if (!listed)
        return {};
    QStringList names;
    for (const QString &name : *listed) {
        if (name.endsWith(suffix) && name.size() > suffix.size())
            names << name;
        if (names.size() >= KSTLinuxStartupEntries::maximumEntries)
            break;
    }
    names.sort();
    return names;
}

// The bytes of a file of the machine, links followed inside its root only; empty when it is
// not a regular file within @p maximumBytes.
QByteArray readInsideRoot(const KSTEnvironment &environment, const QString &path,
                          qint64 maximumBytes)
{
    const QString resolved = KSTRootedPath::resolve(QDir::cleanPath(environment.root()), path);
    QByteArray contents;
    if (resolved.isEmpty() || KSTReadOnlyFile::readWholeFile(resolved, maximumBytes, &contents) !=
                                  KSTReadOnlyFile::Status::Read)
        return {};
    return contents;
}

} // namespace

QString KSTLinuxStartupEntries::programPath(const KSTEnvironment &environment, const QString &word)
{
    if (word.isEmpty() || word.startsWith(QLatin1Char('/')) || word.contains(QLatin1Char('/')))
        return word;
    for (const char *folder : {"/usr/local/bin/", "/usr/bin/", "/bin/"}) {
        const QString candidate = QLatin1String(folder) + word;
        if (KSTNoFollowPath::status(QDir::cleanPath(environment.systemPath(candidate))))
            return candidate;
    }
    return word;
}

QList<KSTLinuxStartupEntry>
KSTLinuxStartupEntries::autostartEntries(const KSTEnvironment &environment,
                                         const QStringList &folders, const QString &locale)
{
    QList<KSTLinuxStartupEntry> entries;
    QSet<QString> decided;
    for (const QString &folder : folders) {
        const QString clean = QDir::cleanPath(folder);
        for (const QString &name : namesIn(clean, QStringLiteral(".desktop"))) {
            if (decided.contains(name))
                continue;
            decided.insert(name);
            const QString path = clean + QLatin1Char('/') + name;
            const KSTDesktopEntry entry = KSTDesktopEntry::parse(
                readInsideRoot(environment, path, KSTDesktopEntry::maximumFileBytes), locale);
            if (!entry.valid || entry.hidden || !entry.autostartEnabled)
                continue;
            KSTLinuxStartupEntry found;
            found.identifier = name.chopped(int(sizeof(".desktop") - 1));
            found.name = entry.name.isEmpty() ? found.identifier : entry.name;
            found.program = programPath(environment, KSTSystemdUnit::firstWord(entry.exec));
            found.path = path;
            entries << found;
        }
    }
    return entries;
}

QList<KSTLinuxStartupEntry>
KSTLinuxStartupEntries::enabledServices(const KSTEnvironment &environment,
                                        const QString &unitFolder)
{
    QList<KSTLinuxStartupEntry> entries;
    QSet<QString> seen;
    const QString clean = QDir::cleanPath(unitFolder);
    for (const QString &wants : namesIn(clean, QStringLiteral(".wants"))) {
        const QString folder = clean + QLatin1Char('/') + wants;
        for (const QString &unit : namesIn(folder, QStringLiteral(".service"))) {
            if (seen.contains(unit))
                continue;
            seen.insert(unit);
            const QString path = folder + QLatin1Char('/') + unit;
            const QString program = KSTSystemdUnit::execStartProgram(
                readInsideRoot(environment, path, KSTSystemdUnit::maximumFileBytes));
            entries << KSTLinuxStartupEntry{unit, unit, programPath(environment, program), path};
        }
    }
    return entries;
}

QStringList KSTLinuxStartupEntries::wantsEntries(const QString &unitFolder, const QString &unitName)
{
    QStringList paths;
    const QString clean = QDir::cleanPath(unitFolder);
    for (const QString &wants : namesIn(clean, QStringLiteral(".wants"))) {
        const QString folder = clean + QLatin1Char('/') + wants;
        if (namesIn(folder, QStringLiteral(".service")).contains(unitName))
            paths << folder + QLatin1Char('/') + unitName;
    }
    return paths;
}
