#pragma once

#include "KSTEnvironment.h"

#include <QString>

/// The words a text uses for the analysed machine's own parts, one set per layout. Every text
/// that names the Mac ("Mac Trash", "this Mac", "Finder", "SIP", "macOS") takes the word from
/// here, so that a Linux desktop reads "Trash", "this computer", "File manager", "Kernel
/// lockdown" and its own system's name instead.
///
/// Only what a person reads changes with the layout: nothing is ever recognised by these words
/// (the Trash item of Clean Up is known by its path, never by its label).
///
/// The sets are constant; safe from any thread.
struct KSTLayoutWords
{
    QString trash;               ///< the user's Trash as one item: "Mac Trash" / "Trash"
    QString thisComputer;        ///< "this Mac" / "this computer"
    QString fileManager;         ///< "Finder" / "File manager"
    QString integrityProtection; ///< "SIP" / "Kernel lockdown"
    QString machine;             ///< the machine in a title: "Mac" / "Computer"
    QString yourComputer;        ///< "your Mac" / "your computer"
    /// App Manage's source of an application (0, 1, 2) in its list: "App Store", "Direct",
    /// "System" / "Sandbox" (a Flatpak or snap), "Local", "Package"; anything above 2 reads as 1.
    QString appSourceLabels[3];
    /// The same in an application's details: "Mac App Store", "Direct Download", "macOS
    /// System" / "Flatpak or snap", "AppImage or local entry", "Distribution package".
    QString appSourceDetailLabels[3];

    QString appSourceLabel(quint64 source) const
    {
        return appSourceLabels[source > 2 ? 1 : source];
    }
    QString appSourceDetailLabel(quint64 source) const
    {
        return appSourceDetailLabels[source > 2 ? 1 : source];
    }

    /// The set of @p layout.
    static const KSTLayoutWords &forLayout(KSTLayout layout);
    /// The set of the current environment's layout.
    static const KSTLayoutWords &current();

    /// The system's name: "macOS" for the mac layout; for linux the analysed root's
    /// os-release PRETTY_NAME (or NAME and VERSION), "Linux" when it has none. Reads one small
    /// file under the root, within the host reader's caps.
    static QString systemName(const KSTEnvironment &environment);
    /// Who makes the system: "Apple Inc." for the mac layout; for linux the analysed root's
    /// os-release NAME ("Debian GNU/Linux"), "Linux" when it has none.
    static QString systemMaker(const KSTEnvironment &environment);
};
