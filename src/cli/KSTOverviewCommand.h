#pragma once

#include "KSTCliContext.h"

/// `kestrel overview`: the Overview snapshot of the analysed Mac as a readable summary or,
/// with --json, with KSTSystemSnapshot's property names as keys.
/// `kestrel overview --live N`: N live samples (processor, memory, download, upload,
/// activity) one second apart; the first lays the baselines.
///
/// The snapshot comes from KSTSystemInfo::shared(), whose Overview builder main() installs;
/// the command pumps the main loop until the fetch delivers.
int kstRunOverviewCommand(KSTCliContext &context);
