#pragma once

#include "KSTCliContext.h"

/// `kestrel duplicates remove [--path DIR]... (--all | --group KEY... | --current KEY)
/// [--keep PATH]... [--unkeep PATH]... [--yes] [--quiet]`: scans as `kestrel duplicates`
/// does, then acts as the Duplicates screen's buttons do, through the review model and so
/// through the removal guard:
/// - --keep and --unkeep work as a copy's check box in the preview (kept, or removable);
/// - --all ticks every group, --group KEY ticks the group whose hashKey is KEY or starts with
///   it (at least 8 digits), and both remove every ticked group's removable copies, then scan
///   the same folders again;
/// - --current KEY shows that group and removes its removable copies; the group leaves the
///   results and the next one is shown.
///
/// It prints the button's text and the copies, then asks "Remove? [y/N] " unless --yes; with
/// --json the text and the question go to standard error and standard output gets the
/// outcome (KSTDuplicatesOutput::writeRemovalOutcome), also when nothing moved.
///
/// Exit 0 when a copy moved; 1 when none did (declined, every copy left in place, nothing
/// removable); 2, before anything moves, for bad usage: no selection, a KEY that names no
/// group (or several), a PATH that is no copy in any group, or a DIR that cannot be scanned.
int kstRunDuplicatesRemoveCommand(KSTCliContext &context);
