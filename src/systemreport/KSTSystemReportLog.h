#pragma once

#include <QLoggingCategory>

/// Messages of the System Report engine, category "kestrel.systemreport". Only warnings are
/// shown by default; a tool whose answer was dropped is logged at info level, so
/// QT_LOGGING_RULES="kestrel.systemreport.info=true" shows why a row reads "—".
Q_DECLARE_LOGGING_CATEGORY(lcSystemReport)
