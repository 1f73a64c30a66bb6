#pragma once

#include <QLoggingCategory>

/// Messages of the access layer (permissions and the removal guard), category "kestrel.access".
/// Only warnings are shown by default; what was refused, skipped or cut short is logged at info
/// level, so QT_LOGGING_RULES="kestrel.access.info=true" shows why something was left alone.
Q_DECLARE_LOGGING_CATEGORY(lcAccess)
