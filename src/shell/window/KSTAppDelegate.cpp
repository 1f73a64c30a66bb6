#include "KSTAppDelegate.h"

#include "KSTApplicationInfo.h"
#include "KSTAutoCleanManager.h"
#include "KSTMainWindowController.h"
#include "KSTPermissionChecker.h"
#include "KSTSymbolImage.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QUrlQuery>

#ifndef KESTREL_SUPPORT_ADDRESS
#define KESTREL_SUPPORT_ADDRESS ""
#endif

KSTAppDelegate::KSTAppDelegate(const KSTShellEngines &engines, QObject *parent)
    : QObject(parent), m_engines(engines)
{
}

KSTAppDelegate::~KSTAppDelegate()
{
    m_windowController.reset(); // takes a menu bar it was given with it
    delete m_menuBar.data();
}

void KSTAppDelegate::applicationWillFinishLaunching()
{
    KSTPermissionChecker::restoreStoredHomeFolderAccess();
    installAccessPresenters();
}

void KSTAppDelegate::applicationDidFinishLaunching()
{
    // A Qt application is a regular foreground application from the start; nothing to switch.
    m_engines.autoCleanManager->applyAutomationConfiguration();
    QApplication::setWindowIcon(KSTSymbolImage::applicationIcon());
    QGuiApplication::setQuitOnLastWindowClosed(applicationShouldTerminateAfterLastWindowClosed());
    buildMenu();
    m_windowController = std::make_unique<KSTMainWindowController>(m_engines);
#ifndef Q_OS_MACOS
    if (m_menuBarInWindow)
        m_windowController->window()->setMenuBar(m_menuBar);
#endif
    m_windowController->showWindow();
}

void KSTAppDelegate::buildMenu()
{
    if (m_menuBar)
        return;
    // Without a parent this is the Mac's global menu bar; elsewhere the window takes it.
    m_menuBar = new QMenuBar(nullptr);
    const QString name = KSTPermissionChecker::applicationDisplayName();

    QMenu *application = m_menuBar->addMenu(name);
    QAction *about = application->addAction(QStringLiteral("About %1").arg(name), this,
                                            &KSTAppDelegate::showAbout);
    about->setMenuRole(QAction::AboutRole);
    application->addSeparator();
    QAction *support = application->addAction(QStringLiteral("App Support"), this,
                                              &KSTAppDelegate::showAppSupport);
    support->setMenuRole(QAction::ApplicationSpecificRole);
    application->addSeparator();
    QAction *quit =
        application->addAction(QStringLiteral("Quit %1").arg(name), qApp, &QCoreApplication::quit);
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);

    QMenu *edit = m_menuBar->addMenu(QStringLiteral("Edit"));
    const struct
    {
        const char *title;
        QKeySequence::StandardKey key;
        const char *method;
    } editItems[] = {
        {"Copy", QKeySequence::Copy, "copy"},
        {"Paste", QKeySequence::Paste, "paste"},
        {"Select All", QKeySequence::SelectAll, "selectAll"},
    };
    for (const auto &item : editItems) {
        QAction *action = edit->addAction(QLatin1String(item.title));
        action->setShortcut(item.key);
        action->setMenuRole(QAction::NoRole);
        const char *method = item.method;
        connect(action, &QAction::triggered, this, [this, method] { performEditAction(method); });
    }

    QMenu *windowMenu = m_menuBar->addMenu(QStringLiteral("Window"));
    QAction *minimize = windowMenu->addAction(QStringLiteral("Minimize"), this, [this] {
        if (m_windowController)
            m_windowController->window()->showMinimized();
    });
    minimize->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_M));
    windowMenu->addAction(QStringLiteral("Zoom"), this, [this] {
        if (!m_windowController)
            return;
        QMainWindow *window = m_windowController->window();
        window->isMaximized() ? window->showNormal() : window->showMaximized();
    });
    windowMenu->addSeparator();
    windowMenu->addAction(QStringLiteral("Bring All to Front"), this, [this] {
        if (!m_windowController)
            return;
        QMainWindow *window = m_windowController->window();
        window->showNormal();
        window->raise();
        window->activateWindow();
    });
}

void KSTAppDelegate::performEditAction(const char *method)
{
    // The standard editing slots of whatever text widget has the focus.
    if (QWidget *focus = QApplication::focusWidget())
        QMetaObject::invokeMethod(focus, method);
}

QString KSTAppDelegate::aboutText()
{
    return QStringLiteral("Version %1 (%2)\n\n%3")
        .arg(KSTApplicationInfo::shortVersion(), KSTApplicationInfo::buildVersion(),
             KSTApplicationInfo::copyright());
}

void KSTAppDelegate::showAbout()
{
    const QString name = KSTPermissionChecker::applicationDisplayName();
    QWidget *parent = m_windowController ? m_windowController->window() : nullptr;
    auto *box = new QMessageBox(parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowTitle(QStringLiteral("About %1").arg(name));
    box->setIconPixmap(KSTSymbolImage::applicationIcon().pixmap(64, 64));
    box->setText(name);
    box->setInformativeText(aboutText());
    box->setStandardButtons(QMessageBox::Ok);
    box->open();
}

QUrl KSTAppDelegate::supportMailURL()
{
    QUrl url;
    url.setScheme(QStringLiteral("mailto"));
    url.setPath(QStringLiteral(KESTREL_SUPPORT_ADDRESS));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("subject"), QStringLiteral("Kestrel Support"));
    query.addQueryItem(QStringLiteral("body"), QStringLiteral("Describe your issue here."));
    url.setQuery(query);
    return url;
}

void KSTAppDelegate::showAppSupport()
{
    QDesktopServices::openUrl(supportMailURL());
}

void KSTAppDelegate::installAccessPresenters()
{
    // Only a sandboxed build asks for the home folder; the presenters stay unused otherwise.
    KSTPermissionChecker::setHomeFolderPanelPresenter(
        [this](const KSTPermissionChecker::HomeFolderPanelRequest &request,
               std::function<void(bool, const QString &)> done) {
            QWidget *parent = QApplication::activeWindow();
            if (!parent && m_windowController)
                parent = m_windowController->window();
            auto *dialog = new QFileDialog(parent, request.message, request.startDirectory);
            dialog->setAttribute(Qt::WA_DeleteOnClose);
            dialog->setFileMode(QFileDialog::Directory);
            dialog->setOption(QFileDialog::ShowDirsOnly);
            dialog->setLabelText(QFileDialog::Accept, request.prompt);
            connect(dialog, &QFileDialog::finished, dialog, [dialog, done](int result) {
                const QStringList chosen = dialog->selectedFiles();
                done(result == QDialog::Accepted && !chosen.isEmpty(),
                     chosen.isEmpty() ? QString() : chosen.first());
            });
            dialog->open();
        });
    KSTPermissionChecker::setAlertPresenter(
        [](const QString &message, const QString &informative, const QString &button) {
            QMessageBox box(QApplication::activeWindow());
            box.setText(message);
            box.setInformativeText(informative);
            box.addButton(button, QMessageBox::AcceptRole);
            box.exec();
        });
}
