#pragma once

#include "KSTCliContext.h"

/// `kestrel erase PATH... [--method quick|secure|dod] [--yes]`: overwrites and deletes the
/// paths for good, after checking every one of them and asking.
int kstRunEraseCommand(KSTCliContext &context);
