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
