#include "KSTDesktopRelatedPaths.h"

#include "KSTAppBundleReader.h"
#include "KSTAppManageLocations.h"
#include "KSTEnvironment.h"
#include "KSTLinuxPlaces.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTQuietFiles.h"
#include "KSTRelatedPathLookup.h"
#include "KSTRelatedPathMatcher.h"
#include "linux/KSTDesktopAppDetails.h"
#include "linux/KSTDesktopEntry.h"
#include "linux/KSTSystemdUnit.h"

#include <QDir>

namespace Locations = KSTAppManageLocations;
using Matcher = KSTRelatedPathMatcher;

namespace {

QString desktopUserHome()
{
    return QDir::cleanPath(KSTPermissionChecker::accessibleUserHomeDirectoryPath());
}

QStringList baseDirs(const KSTEnvironment &environment)
{
    const auto places = environment.places();
    return {places->cacheHome(), places->configHome(), places->dataHome(), places->stateHome()};
}

QStringList protectedFolders()
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString home = desktopUserHome();
    QStringList folders{home};
    for (const QString &base : baseDirs(environment))
        folders << QDir::cleanPath(base);
    for (const KSTLinuxPlaces::UserFolder role : KSTLinuxPlaces::userFolders) {
        const QString folder = environment.places()->userFolder(role);
        if (!folder.isEmpty())
            folders << QDir::cleanPath(folder);
    }
    for (const QString &relative : Locations::desktopNeverListedHomeFolders)
        folders << home + QLatin1Char('/') + relative;
    return folders;
}

// A regular file's bytes, reached without a link, within @p maximumBytes; empty otherwise.
QByteArray readRegularFile(const QString &path, qint64 maximumBytes)
{
    QByteArray contents;
    if (KSTQuietFiles::readFile(path, maximumBytes, &contents) != KSTReadOnlyFile::Status::Read)
        return {};
    return contents;
}

// The program the desktop entry at @p path runs (its Exec line), as a host path; empty when
// it is not on the machine.
QString programOfEntryFile(const KSTEnvironment &environment, const QString &path)
{
    return KSTDesktopAppDetailsReader::resolveProgram(
        environment,
        KSTDesktopAppDetailsReader::programOfExec(
            KSTDesktopEntry::parse(readRegularFile(path, KSTDesktopEntry::maximumFileBytes)).exec));
}

// The program the systemd unit at @p path starts (its ExecStart), the same way.
QString programOfUnitFile(const KSTEnvironment &environment, const QString &path)
{
    return KSTDesktopAppDetailsReader::resolveProgram(
        environment,
        KSTSystemdUnit::execStartProgram(readRegularFile(path, KSTSystemdUnit::maximumFileBytes)));
}

// What the application runs: an AppImage itself, else its entry's Exec program.
QString programOfApp(const KSTEnvironment &environment, const KSTInstalledAppRecord &app)
{
    if (!app.bundlePath.endsWith(QLatin1String(".desktop")))
        return app.bundlePath;
    return programOfEntryFile(environment, app.bundlePath);
}

// The user's own autostart entries and units that run @p program.
QStringList runnersOf(const KSTEnvironment &environment, const QString &program)
{
    QStringList runners;
    const QString config = environment.places()->configHome();
    const struct
    {
        QString folder;
        QLatin1String suffix;
        QString (*programOf)(const KSTEnvironment &, const QString &);
    } places[] = {
        {config + QLatin1Char('/') + Locations::userAutostartFolder, QLatin1String(".desktop"),
         programOfEntryFile},
        {config + QLatin1Char('/') + Locations::userUnitFolder, QLatin1String(".service"),
         programOfUnitFile},
    };
    for (const auto &place : places) {
        const std::optional<QStringList> names = KSTNoFollowPath::listFolder(place.folder, false);
        if (!names)
            continue;
        for (const QString &name :
             names->first(std::min(names->size(), Locations::desktopRunnerFilesPerFolder))) {
            if (!name.endsWith(place.suffix))
                continue;
            const QString path = place.folder + QLatin1Char('/') + name;
            if (const QString runs = place.programOf(environment, path);
                !runs.isEmpty() && runs == program)
                runners << path;
        }
    }
    return runners;
}

} // namespace

namespace KSTDesktopRelatedPaths {

bool isNeverListed(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    for (const QString &folder : protectedFolders()) {
        if (folder == clean || folder.startsWith(clean + QLatin1Char('/')))
            return true;
    }
    return false;
}

QList<KSTInstalledAppRelatedPath> relatedPathsForApp(const KSTInstalledAppRecord &app,
                                                     const QStringList &installedIdentifiers)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    const QString home = desktopUserHome();
    Matcher::Collection collection;
    const auto add = [&](const QString &path, const QString &rule, const QString &token,
                         bool sure) {
        if (isNeverListed(path))
            return;
        KSTRelatedPathLookup::addRelatedPathCandidate({path, rule, token, sure, std::nullopt}, app,
                                                      installedIdentifiers, collection);
    };

    QStringList tokens;
    for (const QString &token : Matcher::relatedPathTokensForApp(app)) {
        for (const QString &form : {token, token.toLower()}) {
            if (!tokens.contains(form))
                tokens << form;
        }
    }
    const QString template_ = QStringLiteral("template");
    for (const QString &token : std::as_const(tokens)) {
        // A token is one path component or nothing: "../../Documents" fills no template.
        if (!KSTAppBundleReader::isPlainFileName(token))
            continue;
        const bool exact = token == app.bundleIdentifier || token == app.name;
        for (const QString &base : baseDirs(environment))
            add(base + QLatin1Char('/') + token, template_, token, exact);
        add(home + QLatin1Char('/') + Locations::desktopHiddenHomeTemplate.arg(token), template_,
            token, exact);
    }

    const QString identifier = app.bundleIdentifier;
    if (!KSTAppBundleReader::isPlainFileName(identifier))
        return collection.sortedPaths();
    const QString container = QStringLiteral("container");
    // Flatpak IDs are reverse domain names; snapd names its entries <snap>_<app>.
    if (identifier.contains(QLatin1Char('.')))
        add(home + QLatin1Char('/') + Locations::flatpakDataTemplate.arg(identifier), container,
            identifier, true);
    const qsizetype underscore = identifier.indexOf(QLatin1Char('_'));
    if (underscore > 0)
        add(home + QLatin1Char('/') + Locations::snapDataTemplate.arg(identifier.left(underscore)),
            container, identifier.left(underscore), true);
    add(environment.places()->configHome() + QLatin1Char('/') +
            Locations::autostartTemplate.arg(identifier),
        QStringLiteral("launchAgent"), identifier, true);
    // Whatever the user set up to start the application goes with it.
    if (const QString program = programOfApp(environment, app); !program.isEmpty()) {
        for (const QString &runner : runnersOf(environment, program))
            add(runner, QStringLiteral("launchAgent"), identifier, true);
    }
    return collection.sortedPaths();
}

} // namespace KSTDesktopRelatedPaths
