#pragma once

#include <QLoggingCategory>

/// Messages of the Reporter engine, category "kestrel.reporter". Only warnings are shown by
/// default; what was refused, skipped or cut short is logged at info level, so
/// QT_LOGGING_RULES="kestrel.reporter.info=true" shows why something was left alone.
Q_DECLARE_LOGGING_CATEGORY(lcReporter)
