#pragma once

#include <QLoggingCategory>

/// Messages of the platform layer (tools run, the Trash), category "kestrel.platform". Only
/// warnings are shown by default; what was refused, skipped or cut short is logged at info level,
/// so QT_LOGGING_RULES="kestrel.platform.info=true" shows why something was left alone.
Q_DECLARE_LOGGING_CATEGORY(lcPlatform)
