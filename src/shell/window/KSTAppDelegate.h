#pragma once

#include "KSTShellEngines.h"

#include <QMenuBar>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <memory>

class KSTMainWindowController;

/// The application's start-up and its menu.
///
/// Start-up, in this order: before launch completes, the stored home-folder access is
/// restored (applicationWillFinishLaunching); when it completes, the auto-clean configuration
/// is applied, so that the hourly timer runs from launch whether or not its screen is ever
/// opened, then the application icon is set, the menu built and the window created and shown
/// (applicationDidFinishLaunching). Closing the window quits.
class KSTAppDelegate : public QObject
{
    Q_OBJECT

public:
    explicit KSTAppDelegate(const KSTShellEngines &engines, QObject *parent = nullptr);
    ~KSTAppDelegate() override;

    /// Restores the home-folder grant and gives the access layer its open panel and alert.
    void applicationWillFinishLaunching();
    void applicationDidFinishLaunching();
    /// Yes: the window is the application.
    static bool applicationShouldTerminateAfterLastWindowClosed() { return true; }

    /// The menu: "About %@", "App Support" and "Quit %@" (the display name); "Copy", "Paste"
    /// and "Select All"; "Minimize", "Zoom" and "Bring All to Front".
    void buildMenu();
    void showAbout();
    void showAppSupport();

    /// "Version %@ (%@)\n\n%@": the short version, the build and the copyright.
    static QString aboutText();
    /// A new message to the support address (a deployment setting; none by default) with the
    /// subject "Kestrel Support" and the body "Describe your issue here.".
    static QUrl supportMailURL();

    /// Whether the menu bar is drawn inside the window (on platforms without a global menu
    /// bar). Off for screenshots, which show the window as the Mac draws it.
    void setMenuBarInWindow(bool inWindow) { m_menuBarInWindow = inWindow; }

    KSTMainWindowController *mainWindowController() const { return m_windowController.get(); }
    QMenuBar *menuBar() const { return m_menuBar; }

private:
    void installAccessPresenters();
    void performEditAction(const char *method);

    KSTShellEngines m_engines;
    std::unique_ptr<KSTMainWindowController> m_windowController;
    // Owned by the window once it takes it; ours while it is the global menu bar.
    QPointer<QMenuBar> m_menuBar;
    bool m_menuBarInWindow = true;
};
