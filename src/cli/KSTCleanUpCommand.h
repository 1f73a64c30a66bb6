#pragma once

#include "KSTCliContext.h"

/// `kestrel cleanup`: the clean-up snapshot of the analysed Mac, its four categories with
/// their totals and every item a removal can select (with its path), or with --json the
/// whole snapshot with KSTCleanUpSnapshot's property names as keys (allItems null when
/// unset, scanDate in ISO 8601).
///
/// `kestrel cleanup clean [--category TYPE]... [--item PATH]... [--yes]`: selects as the
/// screen does (KSTCleanUpSelectionModel: a category selects all its review items, an item
/// the review item with that filePath), shows the confirmation, asks on standard input
/// unless --yes (anything but "y" or "yes" cancels: exit 1, "Cancelled."), removes and prints
/// the items removed, the bytes removed and the error (--json: itemsRemoved, bytesRemoved,
/// error as {domain, code, description} or null). An unknown TYPE or PATH, or no selection,
/// is bad usage (exit 2); exit 1 when nothing could be removed.
///
/// The snapshot and the removal come from KSTSystemInfo::shared(), whose Clean Up builder
/// main() installs; the command pumps the main loop until they deliver.
int kstRunCleanUpCommand(KSTCliContext &context);
