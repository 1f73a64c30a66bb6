#include "KSTSystemReportLog.h"

Q_LOGGING_CATEGORY(lcSystemReport, "kestrel.systemreport", QtWarningMsg)
