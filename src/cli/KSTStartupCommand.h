#pragma once

#include "KSTCliContext.h"

/// `kestrel startup [disable ITEM [--yes]]`: the startup items with their boot impact, or
/// disabling one (ITEM: its path or its unique identifier).
int kstRunStartupCommand(KSTCliContext &context);
