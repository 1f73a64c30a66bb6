// The kestrel executable: with a command it runs the command line; without one it opens the
// window, or saves a picture of it (--screenshot). On a machine without a display it prints
// the overview instead and says how to see the window.
//
// Everything is decided before a Qt application object exists: the command line needs only
// a QCoreApplication, and a screenshot must choose the off-screen platform before the
// QApplication is created.
#include "KSTAppInventoryEngine.h"
#include "KSTCleanUpEngine.h"
#include "KSTCommandLine.h"
#include "KSTDuplicateEngine.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTOverviewEngine.h"
#include "KSTReporterEngine.h"
#include "KSTSystemInfo.h"
#include "KSTSystemReportExport.h"
#include "KSTSystemReportPdfWriter.h"
#include "KSTToolProcessGroups.h"
#include "KSTWindowApplication.h"
#include "KSTWindowOptions.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QTextStream>

#include <cstdio>
#include <memory>

namespace {

// Engines plug their build routines into the frame before anything may ask for a scan, on the
// command line and in the window alike.
void installEngines()
{
    KSTOverviewEngine::install(KSTSystemInfo::shared());
    KSTReporterEngine::install(KSTSystemInfo::shared());
    KSTCleanUpEngine::install(KSTSystemInfo::shared());
    KSTDuplicateEngine::install(KSTSystemInfo::shared());
    KSTAppInventoryEngine::shared();
    KSTSystemReportExport::setPdfWriter(&KSTSystemReportPdfWriter::writePDFToURL);
}

// While the report's Gui application starts, Qt probes the session's runtime folder for a
// sandbox marker and warns when XDG_RUNTIME_DIR is unset (cron, a plain ssh login). The probe
// has nothing to do with the report, so that one warning is dropped while the application is
// made; every other message, then and later, goes where it always goes.
QtMessageHandler startUpHandler = nullptr;

void withoutRuntimeFolderWarning(QtMsgType type, const QMessageLogContext &context,
                                 const QString &message)
{
    if (type == QtWarningMsg &&
        message.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR not set")))
        return;
    startUpHandler(type, context, message);
}

std::unique_ptr<QGuiApplication> makeReportApplication(int &argc, char **argv)
{
    startUpHandler = qInstallMessageHandler(&withoutRuntimeFolderWarning);
    auto application = std::make_unique<QGuiApplication>(argc, argv);
    qInstallMessageHandler(startUpHandler);
    return application;
}

int runCommandLine(int &argc, char **argv, const QStringList &arguments)
{
    // The report draws its PDF with Qt's painter, which needs fonts and so a Gui application;
    // without a display it draws off-screen.
    std::unique_ptr<QCoreApplication> application;
    if (KSTCommandLine::commandName(arguments) == QLatin1String("report")) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        application = makeReportApplication(argc, argv);
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }
    QCoreApplication::setApplicationName(QStringLiteral("Kestrel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KESTREL_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
    return KSTCommandLine::run(arguments, out, err);
}

bool hasDisplay()
{
#ifdef Q_OS_MACOS
    return true;
#else
    // A platform chosen explicitly (offscreen, vnc, …) is the caller's decision.
    return !qEnvironmentVariableIsEmpty("DISPLAY") ||
           !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
#endif
}

int printOverviewInstead(int &argc, char **argv, QStringList arguments)
{
    arguments << QStringLiteral("overview");
    const int status = runCommandLine(argc, argv, arguments);
    QTextStream(stderr) << "\n"
                           "This machine has no display (neither DISPLAY nor WAYLAND_DISPLAY is\n"
                           "set), so Kestrel printed its overview instead of opening the window.\n"
                           "To see the window, run Kestrel in a desktop session, run it on a\n"
                           "virtual display with `xvfb-run ./scripts/run`, or save a picture of\n"
                           "it with `./scripts/run --screenshot kestrel.png [--section N]`.\n";
    return status;
}

int usageError(const QString &message)
{
    QTextStream(stderr) << "kestrel: " << message << "\nRun 'kestrel --help' for usage.\n";
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    // Tools run in sessions of their own, out of reach of the terminal's Ctrl-C; these
    // handlers end them with the program, in the window and on the command line alike.
    KSTToolProcessGroups::installTerminationHandlers();
    installEngines();

    QStringList arguments;
    for (int index = 1; index < argc; ++index)
        arguments << KSTFileName::decoded(argv[index]); // a path argument keeps its bytes

    QStringList globalArguments = arguments;
    QString windowError;
    const KSTWindowOptions window = KSTWindowOptions::take(globalArguments, &windowError);
    // A command keeps the command line exactly as it was, window options or not.
    if (KSTCommandLine::wantsCommandLine(globalArguments))
        return runCommandLine(argc, argv, arguments);
    if (!windowError.isEmpty())
        return usageError(windowError);

    QString environmentError;
    const std::optional<KSTEnvironment> environment =
        KSTCommandLine::environmentFromArguments(globalArguments, &environmentError);
    if (!environment)
        return usageError(environmentError);

    if (!window.isScreenshot() && !hasDisplay())
        return printOverviewInstead(argc, argv, globalArguments);

    KSTEnvironment::setCurrent(*environment);
    if (window.isScreenshot())
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return KSTWindowApplication::run(argc, argv, window);
}
