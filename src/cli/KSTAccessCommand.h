#pragma once

#include "KSTCliContext.h"

/// `kestrel access`: whether Kestrel may read the protected places of the analysed Mac, and
/// what it would ask the user.
int kstRunAccessCommand(KSTCliContext &context);
