#include "KSTAutoCleanLog.h"

Q_LOGGING_CATEGORY(lcAutoClean, "kestrel.autoclean", QtWarningMsg)
