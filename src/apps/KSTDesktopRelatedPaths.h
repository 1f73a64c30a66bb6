#pragma once

#include "KSTAppInventorySnapshot.h"

#include <QList>
#include <QString>
#include <QStringList>

/// The files a Linux desktop's application left in the home: for each token of the record
/// (KSTRelatedPathMatcher::relatedPathTokensForApp, each also in lower case) the entry of that
/// name in each XDG base dir and "~/.<token>" ("template"); for sure the application's: the
/// Flatpak sandbox ~/.var/app/<ID> and the snap's ~/snap/<name> ("container"), and the user's
/// autostart entry of its desktop-file ID ("launchAgent"). Candidates go through
/// KSTRelatedPathLookup::addRelatedPathCandidate (never through a link, sized, only those with
/// bytes); the home, the base dirs, the user folders and the folders of
/// desktopNeverListedHomeFolders, and every folder holding one of them, are never listed.
/// Thread-safe; blocking.
namespace KSTDesktopRelatedPaths {

QList<KSTInstalledAppRelatedPath> relatedPathsForApp(const KSTInstalledAppRecord &app,
                                                     const QStringList &installedIdentifiers);

/// Whether @p path is one the look-up never lists (see above).
bool isNeverListed(const QString &path);

} // namespace KSTDesktopRelatedPaths
