#pragma once

#include "KSTToolRunner.h"

#include <QString>

#include <optional>

class KSTEnvironment;

/// How an application of a Linux desktop is uninstalled, never with more rights than the
/// user's: a distribution package, a snap and a Flatpak of the system installation are
/// refused with the package manager's command for a person to run; a Flatpak of the user's
/// installation is uninstalled by flatpak; an AppImage and an entry no package owns go to the
/// Trash (through KSTAppUninstaller's guard, like every related path). Thread-safe.
namespace KSTDesktopAppUninstall {

enum class Action {
    Refuse,               ///< error 100 naming command
    UninstallUserFlatpak, ///< flatpak uninstall --user --noninteractive flatpakId
    MoveToTrash,
};

struct Plan
{
    Action action = Action::MoveToTrash;
    QString command;   ///< Refuse: what to run instead ("sudo apt remove firefox-esr")
    QString flatpakId; ///< UninstallUserFlatpak
};

/// The plan for the application whose entry (or AppImage) is @p bundlePath, as the desktop's
/// catalog finds it now; nothing when the catalog lists no application there.
std::optional<Plan> planFor(const KSTEnvironment &environment, const QString &bundlePath);

/// The error sentence of a refusal.
QString refusalText(const QString &command);

/// Runs flatpak's uninstall of @p flatpakId from the user installation of @p environment's
/// user (with its time-out and output caps): flatpak is pointed at that user's home and data
/// home, so that under another root it never acts on the running user's own installation.
KSTToolResult uninstallUserFlatpak(const KSTEnvironment &environment, const QString &flatpakId);

} // namespace KSTDesktopAppUninstall
