#include "KSTCoreLog.h"

Q_LOGGING_CATEGORY(lcCore, "kestrel.core", QtWarningMsg)
