#include "KSTWindowApplication.h"

#include "KSTAppDelegate.h"
#include "KSTMainWindowController.h"
#include "KSTPalette.h"
#include "KSTPermissionChecker.h"
#include "KSTScreenshotTaker.h"

#include <QApplication>
#include <QTimer>

#include <memory>

int KSTWindowApplication::run(int &argc, char **argv, const KSTWindowOptions &options)
{
    QApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Kestrel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KESTREL_VERSION));
    QGuiApplication::setApplicationDisplayName(KSTPermissionChecker::applicationDisplayName());
#ifndef Q_OS_MACOS
    // One look on every desktop; the Mac keeps its native style.
    QApplication::setStyle(QStringLiteral("Fusion"));
#endif

    if (options.appearance)
        KSTPalette::setAppearance(*options.appearance);

    KSTAppDelegate delegate(KSTShellEngines::shared());
    delegate.setMenuBarInWindow(!options.isScreenshot());
    delegate.applicationWillFinishLaunching();

    std::unique_ptr<KSTScreenshotTaker> screenshot;
    QTimer::singleShot(0, &delegate, [&] {
        delegate.applicationDidFinishLaunching();
        if (!options.isScreenshot())
            return;
        screenshot = std::make_unique<KSTScreenshotTaker>(*delegate.mainWindowController(),
                                                          options.screenshotPath, options.section,
                                                          options.size, ScreenshotTimeoutMs);
        screenshot->setShowsSystemReport(options.systemReport);
        if (options.afterMs)
            screenshot->setCaptureAfter(*options.afterMs);
        QObject::connect(screenshot.get(), &KSTScreenshotTaker::finished, &application,
                         [](int status) { QCoreApplication::exit(status); });
        screenshot->start();
    });
    return QApplication::exec();
}
