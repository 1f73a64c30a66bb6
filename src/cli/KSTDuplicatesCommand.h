#pragma once

#include "KSTCliContext.h"

/// `kestrel duplicates [--path DIR]... [--quiet]`: scans each DIR (a leading "~" is the
/// analysed home; a relative DIR is taken from the current folder), or the default folders
/// (Pictures and Downloads of the analysed home, else the home), for files with identical
/// content, and prints the totals, the six categories and every group with its copies newest
/// first, the kept one marked and each copy's reason; with --json the snapshot with the
/// records' property names (KSTDuplicatesOutput::writeSnapshot).
///
/// Every progress report's status text goes to standard error, one line each, unless
/// --quiet. A DIR that is missing, not a folder, or a symbolic link (links are never
/// followed) is bad usage (exit 2) before anything is scanned; an unreadable folder is named
/// on standard error and left out.
///
/// The scan comes from KSTSystemInfo::shared(), whose Duplicates routine main() installs; the
/// command pumps the main loop until it delivers.
int kstRunDuplicatesCommand(KSTCliContext &context);
