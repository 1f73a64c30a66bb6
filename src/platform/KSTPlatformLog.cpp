#include "KSTPlatformLog.h"

Q_LOGGING_CATEGORY(lcPlatform, "kestrel.platform", QtWarningMsg)
