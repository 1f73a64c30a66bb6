#include "KSTOverviewLog.h"

Q_LOGGING_CATEGORY(lcOverview, "kestrel.overview", QtWarningMsg)
