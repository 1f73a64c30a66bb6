#pragma once

#include "KSTCliContext.h"

/// `kestrel encrypt PATH... [--password-stdin] [--yes]`: one password-protected ZIP archive
/// per path, next to it. The password is asked twice without echo, or with --password-stdin
/// read from the first line of standard input; no option takes it, so it never appears in
/// the process table.
int kstRunEncryptCommand(KSTCliContext &context);
