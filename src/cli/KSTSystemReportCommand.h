#pragma once

#include "KSTCliContext.h"

/// `kestrel report [--output FILE [--format txt|pdf] [--force]]`: waits for the final System
/// Report of the analysed Mac (progress on standard error when it is a terminal) and prints
/// its plain text; with --json only the snapshot (generatedAt, machineTitle,
/// generatedSubtitle, summaryCards, sections with their rows).
///
/// With --output the report is saved instead and "Saved FILE" is printed (on standard error
/// with --json, which still prints the very snapshot written). The format is --format, else
/// FILE's extension ".txt" or ".pdf"; any other extension, or one that disagrees with
/// --format, is bad usage found before anything is collected. An existing FILE is refused
/// (exit 1, untouched) unless --force; an existing folder gets
/// "Kestrel-SystemReport-<yyyy-MM-dd>.<ext>" inside it (text unless --format pdf), under the
/// same rule. A missing folder fails with nothing written.
///
/// Exit status 0 done, 1 failed (with the export's failure text), 2 bad usage.
int kstRunSystemReportCommand(KSTCliContext &context);
