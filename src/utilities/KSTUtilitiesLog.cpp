#include "KSTUtilitiesLog.h"

Q_LOGGING_CATEGORY(lcUtilities, "kestrel.utilities", QtWarningMsg)
