#pragma once

#include "KSTCliContext.h"

/// `kestrel duplicates link --clone|--hardlink (--all | --group KEY...) [--path DIR]...
/// [--keep PATH]... [--unkeep PATH]... [--yes] [--quiet]`: scans as `kestrel duplicates`
/// does, chooses groups and copies as `duplicates remove` does, then, instead of moving the
/// removable copies to the Trash, makes each a clone of a kept copy of its group (--clone:
/// the file system shares their blocks, each stays a file of its own) or a hard link to it
/// (--hardlink, only when asked), through the review model and the removal guard
/// (KSTDuplicateLinkStep), and scans the same folders again.
///
/// It prints what it will do and the copies, then asks "Replace? [y/N] " unless --yes; with
/// --json the text and the question go to standard error and standard output gets
/// itemsLinked, bytesFreed (the space actually given back), linkedPaths, skipped ([{path,
/// reason}]) and snapshot (after the rescan), also when nothing changed.
///
/// Exit 0 when a copy was replaced; 1 when none was; 2 for bad usage (neither or both of
/// --clone and --hardlink, and as for `duplicates remove`).
int kstRunDuplicatesLinkCommand(KSTCliContext &context);
