#pragma once

#include "KSTCommandLine.h"
#include "KSTEnvironment.h"
#include "KSTPermissionChecker.h"
#include "KSTTestSupport.h"

#include <QTextStream>

/// Runs `kestrel @p arguments` inside the test process (for executables linking kst_cli): the
/// access layer's cached answers are forgotten first, and the machine the run made current
/// (`--root`, `--user`, `--layout`) is undone afterwards.
inline KSTProgramRun runKestrelInProcess(const QStringList &arguments)
{
    KSTScopedEnvironment keep(KSTEnvironment::current());
    KSTPermissionChecker::resetForTesting();
    KSTProgramRun run;
    QTextStream out(&run.out);
    QTextStream err(&run.err);
    run.status = KSTCommandLine::run(arguments, out, err);
    out.flush();
    err.flush();
    return run;
}
