#include "KSTAccessLog.h"

Q_LOGGING_CATEGORY(lcAccess, "kestrel.access", QtWarningMsg)
