#include "KSTLargeFileSearch.h"

#include "KSTCleanUpEngine.h"
#include "KSTCleanUpLocations.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTToolRunner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace Locations = KSTCleanUpLocations;
using Checker = KSTPermissionChecker;

KSTLargeFileSearch::KSTLargeFileSearch(CancellationCheck isCancelled)
    : m_isCancelled(std::move(isCancelled))
{
}

bool KSTLargeFileSearch::isCancelled(quint64 generation) const
{
    return m_isCancelled && m_isCancelled(generation);
}

QList<KSTCleanUpItem> KSTLargeFileSearch::scanLargeFilesOverBytes(quint64 threshold,
                                                                  quint64 generation) const
{
    const QString home = searchedHome();
    QList<KSTCleanUpItem> items;
    for (const QString &path : largeFilePathsOverBytes(threshold, generation)) {
        if (isCancelled(generation))
            break;
        const std::optional<KSTFileIdentity> identity = acceptedLargeFile(path, home);
        if (!identity)
            continue;
        const quint64 size = Checker::fileSizeAtAccessiblePath(path);
        if (size < threshold)
            continue;
        items << KSTCleanUpItem{path.mid(path.lastIndexOf(QLatin1Char('/')) + 1),
                                KSTCleanUpEngine::shortenHomePath(path),
                                path,
                                size,
                                true,
                                {KSTCleanUpTarget{path, identity, size}}};
    }
    KSTCleanUpEngine::sortByBytesThenName(items);
    return items;
}

QList<KSTCleanUpItem> KSTLargeFileSearch::largeFilesOverBytes(quint64 threshold, qsizetype limit,
                                                              quint64 generation) const
{
    const QList<KSTCleanUpItem> items = scanLargeFilesOverBytes(threshold, generation);
    return items.size() > limit ? items.first(std::max<qsizetype>(0, limit)) : items;
}

quint64 KSTLargeFileSearch::largeFilesTotalBytesOver(quint64 threshold, quint64 generation) const
{
    return KSTCleanUpEngine::totalBytesForItems(scanLargeFilesOverBytes(threshold, generation));
}

QStringList KSTLargeFileSearch::largeFilePathsOverBytes(quint64 threshold, quint64 generation) const
{
    const Checker::HomeSearchScope scope = searchScope();
    QStringList paths;
    for (const QString &root : scope.roots) {
        if (isCancelled(generation))
            break;
        const KSTToolResult result =
            KSTToolRunner::run(Locations::findTool, findArguments(root, scope.home, threshold),
                               KSTToolRunner::Channels::Separate, FindTimeoutMs);
        // A find that met one unreadable folder exits with 1 although it printed everything
        // else; that folder's whole output is dropped then, as the Mac build does.
        if (!result.succeeded())
            continue;
        paths << pathsFromFindOutput(result.standardOutput,
                                     [this, generation] { return isCancelled(generation); });
    }
    return paths;
}

QString KSTLargeFileSearch::userFolder()
{
    // A Mac keeps the user folder at /Users/<login> whatever home was given, so under the mac
    // layout that path is taken under the analysed root (a mounted or fixture volume); a
    // Linux machine has no /Users and searches the environment's home instead.
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Mac)
        return environment.systemPath(Locations::usersFolder + QLatin1Char('/') +
                                      environment.loginName());
    return environment.home();
}

KSTPermissionChecker::HomeSearchScope KSTLargeFileSearch::searchScope()
{
    return Checker::homeSearchScope(userFolder(), Locations::sandboxedLargeFileFolders);
}

QString KSTLargeFileSearch::searchedHome()
{
    return QDir::cleanPath(searchScope().home);
}

std::optional<KSTFileIdentity> KSTLargeFileSearch::acceptedLargeFile(const QString &path,
                                                                     const QString &home)
{
    // What find prints is taken as a claim to check, not as a fact: a line must name a
    // regular file, reached without a link, inside the searched home and outside the places
    // the search leaves alone.
    if (home.isEmpty() || !path.startsWith(home + QLatin1Char('/')) ||
        QDir::cleanPath(path) != path)
        return std::nullopt;
    const Locations::Table table = Locations::table();
    for (const QString &excluded : table.largeFileExcludedFolders) {
        const QString folder = home + QLatin1Char('/') + excluded;
        if (path == folder || path.startsWith(folder + QLatin1Char('/')))
            return std::nullopt;
    }
    // Whatever lies in a hidden folder directly in the home (the XDG homes, the Trash,
    // ~/.var) is left to the other categories.
    if (table.largeFileSkipsHiddenAndUnreadable &&
        path.mid(home.size() + 1).section(QLatin1Char('/'), 0, 0).startsWith(QLatin1Char('.')) &&
        path.indexOf(QLatin1Char('/'), home.size() + 1) > 0)
        return std::nullopt;
    if (Checker::liesInPrivacyProtectedPlace(path))
        return std::nullopt;
    const std::optional<struct stat> status = KSTNoFollowPath::status(path, true);
    if (!status || !S_ISREG(status->st_mode))
        return std::nullopt;
    return KSTFileIdentity::fromStatus(*status);
}

QStringList KSTLargeFileSearch::findArgumentsForThreshold(quint64 threshold)
{
    const QString folder = userFolder();
    return findArguments(folder, folder, threshold);
}

QStringList KSTLargeFileSearch::findArguments(const QString &root, const QString &home,
                                              quint64 threshold)
{
    const quint64 mebibytes = std::max<quint64>(1, threshold / 1048576);
    const Locations::Table table = Locations::table();
    QStringList arguments = {root};
    if (table.largeFileSkipsHiddenAndUnreadable) {
        // Folders only: hidden ones directly in the home, the excluded ones, and any the
        // search cannot read (find would report those and fail the whole search).
        const QString escapedHome = findPatternEscaped(home);
        arguments << QStringLiteral("-type") << QStringLiteral("d") << QStringLiteral("(")
                  << QStringLiteral("-path") << escapedHome + QStringLiteral("/.*");
        for (const QString &excluded : table.largeFileExcludedFolders)
            arguments << QStringLiteral("-o") << QStringLiteral("-path")
                      << escapedHome + QLatin1Char('/') + findPatternEscaped(excluded);
        arguments << QStringLiteral("-o") << QStringLiteral("!") << QStringLiteral("-readable")
                  << QStringLiteral(")") << QStringLiteral("-prune") << QStringLiteral("-o");
    } else {
        for (const QString &excluded : table.largeFileExcludedFolders) {
            // The Trash is left out by the check of each result, not pruned.
            if (excluded != Locations::library)
                continue;
            arguments << QStringLiteral("-path") << home + QLatin1Char('/') + excluded
                      << QStringLiteral("-prune") << QStringLiteral("-o");
        }
    }
    arguments << QStringLiteral("-type") << QStringLiteral("f") << QStringLiteral("-size")
              << QLatin1Char('+') + QString::number(mebibytes) + QLatin1Char('M')
              // NUL-separated: a name may hold a newline, trailing spaces or bytes that are not
              // UTF-8, and is acted on by its real bytes.
              << QStringLiteral("-print0");
    return arguments;
}

QString KSTLargeFileSearch::findPatternEscaped(const QString &path)
{
    QString escaped;
    for (const QChar character : path) {
        if (character == QLatin1Char('*') || character == QLatin1Char('?') ||
            character == QLatin1Char('[') || character == QLatin1Char('\\'))
            escaped += QLatin1Char('\\');
        escaped += character;
    }
    return escaped;
}

QStringList KSTLargeFileSearch::pathsFromFindOutput(const QByteArray &output,
                                                    const std::function<bool()> &isCancelled)
{
    QStringList paths;
    for (const QByteArray &name : output.split('\0')) {
        if (isCancelled && isCancelled())
            break;
        if (!name.isEmpty())
            paths << KSTFileName::decoded(name);
    }
    return paths;
}
