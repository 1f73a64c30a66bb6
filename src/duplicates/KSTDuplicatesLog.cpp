#include "KSTDuplicatesLog.h"

Q_LOGGING_CATEGORY(lcDuplicates, "kestrel.duplicates", QtWarningMsg)
