// The kestrel executable: with a command it runs the command line; without one it will open
// the window, and until the window exists it prints the help.
#include "KSTCommandLine.h"
#include "KSTOverviewEngine.h"
#include "KSTSystemInfo.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Kestrel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KESTREL_VERSION));

    // Engines plug their build routines into the frame before anything may ask for a scan.
    KSTOverviewEngine::install(KSTSystemInfo::shared());

    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    QTextStream out(stdout);
    QTextStream err(stderr);
    return KSTCommandLine::run(arguments, out, err);
}
