#pragma once

#include "KSTCliContext.h"

#include <QString>

#include <functional>

/// One command of the `kestrel` command line ("access", "overview", …).
struct KSTCliCommand
{
    QString name;
    QString synopsis; ///< "access", "autoclean rule TYPE on|off"
    QString summary;  ///< one line for the help text
    std::function<int(KSTCliContext &)> run;
};

/// Every command, in the order the help lists them. Each engine adds its own here.
const QList<KSTCliCommand> &kstCliCommands();
