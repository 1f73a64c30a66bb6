#pragma once

#include "KSTCliContext.h"

/// `kestrel autoclean [on|off | rule TYPE on|off | whitelist add|remove PATH | run]`: shows
/// the auto-clean state, changes it, or runs the enabled rules once. A command that starts a
/// run (run, and on or rule-on when they make automation active) returns only once that run
/// has ended, so the process never exits in the middle of a rule.
int kstRunAutoCleanCommand(KSTCliContext &context);
