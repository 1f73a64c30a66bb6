#pragma once

#include "KSTCliContext.h"

/// `kestrel apps [--progress]`: waits for the inventory's "Scan complete" and prints one line
/// per application, then the totals; --progress writes each status text received to standard
/// error, one per line. --json: the snapshot's properties with every record property but the
/// icon, plus isUnused.
///
/// `kestrel apps show APP` (a bundle identifier or a bundle path): the record, sized, with its
/// related paths (how sure each match is and why it matched), its tokens and what an
/// uninstall would remove by default. --json adds relatedPathTokens and uninstallPaths.
///
/// `kestrel apps uninstall APP [--include PATH]... [--exclude PATH]... [--yes]`: ticks and
/// clears related paths as the screen would (KSTAppUninstallSelection), prints them and the
/// confirmation, asks unless --yes, and uninstalls. --json (also on failure): success,
/// removedCount, uninstallPaths, error ({domain, code, description, failedPaths} or null).
///
/// `kestrel apps undo [--yes]`: puts back what the last uninstall moved to the Trash.
/// --json: restoredPaths, skippedPaths.
///
/// Exit status: 0 done (an uninstall that left some files: also the warning on standard
/// error), 1 failed or declined, 2 an unknown APP, an identifier held by two bundles (both
/// named), or a PATH that is not listed as removable; nothing moves on 2.
int kstRunAppsCommand(KSTCliContext &context);
