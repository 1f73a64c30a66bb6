#pragma once

#include "KSTCliContext.h"

/// `kestrel erase PATH... [--method quick|secure|dod] [--yes] [--dry-run]`: overwrites and
/// deletes the paths for good, after checking every one of them and asking; --dry-run only
/// says what would be overwritten and what only removed.
int kstRunEraseCommand(KSTCliContext &context);
