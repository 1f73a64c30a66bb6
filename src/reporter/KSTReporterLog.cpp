#include "KSTReporterLog.h"

Q_LOGGING_CATEGORY(lcReporter, "kestrel.reporter", QtWarningMsg)
