#include "KSTDesktopRelatedPaths.h"

#include "KSTAppBundleReader.h"
#include "KSTAppManageLocations.h"
#include "KSTEnvironment.h"
#include "KSTLinuxPlaces.h"
#include "KSTPermissionChecker.h"
#include "KSTRelatedPathLookup.h"
#include "KSTRelatedPathMatcher.h"

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
    return collection.sortedPaths();
}

} // namespace KSTDesktopRelatedPaths
