#include "KSTAppsLog.h"

Q_LOGGING_CATEGORY(lcApps, "kestrel.apps", QtWarningMsg)
