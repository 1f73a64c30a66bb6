#include "KSTDesktopAppUninstall.h"

#include "KSTAppManageLocations.h"
#include "KSTEnvironment.h"
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

KSTToolResult uninstallUserFlatpak(const QString &flatpakId)
{
    return KSTToolRunner::run(
        Locations::flatpakTool, Locations::userFlatpakUninstallArguments + QStringList{flatpakId},
        KSTToolRunner::Channels::Merged, Locations::flatpakUninstallTimeoutMs, 1024 * 1024);
}

} // namespace KSTDesktopAppUninstall
