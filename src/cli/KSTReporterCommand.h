#pragma once

#include "KSTCliContext.h"

/// `kestrel reporter`: waits for the full weekly report of the analysed Mac and prints its
/// range and period, installs and removals, the seven days with disk use and download and
/// upload shares, the byte totals and the most used applications; with --json the report
/// with KSTReporterSnapshot's property names as keys. Like the window, a full report records
/// today in the history; when it cannot, "history not recorded: <reason>" goes to standard
/// error (the report is still printed and the exit status is 0), and a damaged history that
/// was kept aside is named there.
///
/// `kestrel reporter history [--csv]`: the stored days, changing nothing; --json the array
/// of records with their six keys; --csv one line per day with the figures and the day's
/// derived download and upload in bytes. A damaged history file: exit 1 naming it and what
/// is wrong.
///
/// Exit status 0 done, 1 failed, 2 bad usage.
int kstRunReporterCommand(KSTCliContext &context);
