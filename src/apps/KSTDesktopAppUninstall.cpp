#include "KSTDesktopAppUninstall.h"

#include "KSTAppManageLocations.h"
#include "KSTEnvironment.h"
#include "KSTLinuxPlaces.h"
#include "linux/KSTDesktopEntryCatalog.h"

namespace Locations = KSTAppManageLocations;
using AppKind = KSTDesktopApplication::Kind;

namespace KSTDesktopAppUninstall {

std::optional<Plan> planFor(const KSTEnvironment &environment, const QString &bundlePath)
{
    for (const KSTDesktopApplication &application :
         KSTDesktopEntryCatalog(environment).applications()) {
        if (application.path != bundlePath)
            continue;
        Plan plan;
        switch (application.kind) {
        case AppKind::Package:
            plan.action = Action::Refuse;
            plan.command = Locations::packageRemoveCommand.arg(application.package);
            break;
        case AppKind::Snap:
            plan.action = Action::Refuse;
            plan.command = Locations::snapRemoveCommand.arg(application.snapName);
            break;
        case AppKind::Flatpak:
            if (application.userInstallation && !application.flatpakId.isEmpty() &&
                !application.flatpakId.startsWith(QLatin1Char('-'))) {
                plan.action = Action::UninstallUserFlatpak;
                plan.flatpakId = application.flatpakId;
            } else {
                plan.action = Action::Refuse;
                plan.command = Locations::systemFlatpakUninstallCommand.arg(
                    application.flatpakId.isEmpty() ? application.identifier.chopped(8)
                                                    : application.flatpakId);
            }
            break;
        case AppKind::AppImage:
        case AppKind::Local:
            plan.action = Action::MoveToTrash;
            break;
        }
        return plan;
    }
    return std::nullopt;
}

QString refusalText(const QString &command)
{
    return Locations::packageManagerRefusal.arg(command);
}

KSTToolResult uninstallUserFlatpak(const KSTEnvironment &environment, const QString &flatpakId)
{
    // flatpak finds the user installation from its own environment, which is this process's
    // user's: a disk of another machine under --root would lose the running user's app.
    const QString dataHome = environment.places()->dataHome();
    const QStringList variables = {
        QLatin1String("HOME=") + environment.home(),
        QLatin1String("XDG_DATA_HOME=") + dataHome,
        QLatin1String("FLATPAK_USER_DIR=") + dataHome + QLatin1String("/flatpak"),
    };
    return KSTToolRunner::runWithEnvironment(
        Locations::flatpakTool, Locations::userFlatpakUninstallArguments + QStringList{flatpakId},
        variables, KSTToolRunner::Channels::Merged, Locations::flatpakUninstallTimeoutMs,
        1024 * 1024);
}

} // namespace KSTDesktopAppUninstall
