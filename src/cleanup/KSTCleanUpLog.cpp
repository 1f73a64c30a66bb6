#include "KSTCleanUpLog.h"

Q_LOGGING_CATEGORY(lcCleanUp, "kestrel.cleanup", QtWarningMsg)
