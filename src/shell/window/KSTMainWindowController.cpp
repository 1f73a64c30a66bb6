#include "KSTMainWindowController.h"

#include "KSTContentShellViewController.h"
#include "KSTDispatch.h"
#include "KSTFullDiskAccessScreen.h"
#include "KSTNotificationCenter.h"
#include "KSTPalette.h"
#include "KSTPermissionChecker.h"
#include "KSTScreenFactory.h"
#include "KSTSectionCatalog.h"
#include "KSTSidebarViewController.h"
#include "KSTStyle.h"
#include "KSTSystemInfo.h"
#include "KSTSystemReportScreen.h"
#include "KSTToolScreen.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QVBoxLayout>

KSTMainWindowController::KSTMainWindowController(const KSTShellEngines &engines, QObject *parent)
    : QObject(parent), m_engines(engines), m_window(std::make_unique<QMainWindow>())
{
    m_window->setWindowTitle(QStringLiteral("Kestrel 3"));
    m_window->setMinimumSize(MinimumContentSize);
    m_window->resize(DefaultContentSize);
    m_window->setAttribute(Qt::WA_OpaquePaintEvent);

    KSTNotificationCenter::defaultCenter().addObserver(
        KSTPermissionChecker::FolderAccessStatusDidChangeNotification, this,
        [this](const KSTNotification &) { folderAccessStatusDidChange(); });
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                if (state == Qt::ApplicationActive)
                    applicationDidBecomeActive();
            });
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this,
            &KSTMainWindowController::appearanceDidChange);
}

KSTMainWindowController::~KSTMainWindowController() = default;

QMainWindow *KSTMainWindowController::window() const
{
    return m_window.get();
}

void KSTMainWindowController::showWindow()
{
    setupUI();
    m_window->show();
    // Nothing to bring forward when the window is drawn off-screen (screenshots, tests).
    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        m_window->raise();
        m_window->activateWindow();
    }
}

void KSTMainWindowController::setupUI()
{
    if (m_didSetupUI)
        return;
    m_didSetupUI = true;
    KSTStyle::applyToApplication();

    auto *central = new QWidget(m_window.get());
    auto *layout = new QHBoxLayout(central);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_sidebar = new KSTSidebarViewController(*m_engines.autoCleanManager, central);
    connect(m_sidebar, &KSTSidebarViewController::didSelectSection, this,
            &KSTMainWindowController::sidebarDidSelectSection);
    layout->addWidget(m_sidebar);
    m_contentHost = new QWidget(central);
    m_contentHost->setObjectName(QStringLiteral("contentHost"));
    auto *hostLayout = new QVBoxLayout(m_contentHost);
    hostLayout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_contentHost, 1);
    m_window->setCentralWidget(central);

    m_screenParking = new QWidget(m_window.get());
    m_screenParking->hide();
    for (int section = 0; section < KSTSectionCatalog::SectionCount; ++section) {
        KSTToolScreen *screen =
            KSTScreenFactory::makeScreenForSection(section, m_engines, m_screenParking);
        connect(screen, &KSTToolScreen::didRequestSection, this,
                &KSTMainWindowController::screenDidRequestSection);
        connect(screen, &KSTToolScreen::didRequestFullDiskAccessSettings, this,
                [this, section] { openFullDiskAccessSettingsForSection(section); });
        connect(screen, &KSTToolScreen::didRequestSystemReport, this,
                &KSTMainWindowController::showSystemReport);
        screen->hide();
        m_screenControllers << screen;
    }
    if (m_engines.systemReportService) {
        m_systemReportScreen =
            new KSTSystemReportScreen(*m_engines.systemReportService, m_screenParking);
        // The section it was opened from is still the current one.
        connect(m_systemReportScreen, &KSTSystemReportScreen::didRequestBack, this,
                [this] { showSection(m_currentSection); });
        m_systemReportScreen->hide();
    }
    m_sidebar->selectSection(KSTSectionCatalog::Overview);
    showSection(KSTSectionCatalog::Overview);
}

void KSTMainWindowController::showSystemReport()
{
    if (!m_didSetupUI)
        setupUI();
    if (!m_systemReportScreen)
        return;
    removeCurrentShell();
    auto *shell = new KSTContentShellViewController(m_systemReportScreen,
                                                    QStringLiteral("System Report"), m_contentHost);
    m_contentHost->layout()->addWidget(shell);
    shell->show();
    m_currentShell = shell;
    applyContentSizeRule();
}

KSTToolScreen *KSTMainWindowController::screenForSection(int section) const
{
    if (section < 0 || section >= m_screenControllers.size())
        return nullptr;
    return m_screenControllers.at(section);
}

QString KSTMainWindowController::contentTitleForSection(int section, const QWidget *screen)
{
    if (qobject_cast<const KSTFullDiskAccessScreen *>(screen))
        return KSTPermissionChecker::accessGrantTitle();
    return KSTSectionCatalog::contentTitle(section);
}

bool KSTMainWindowController::sectionRequiresFolderAccess(int section)
{
    return KSTSectionCatalog::requiresFolderAccess(
        section, KSTPermissionChecker::requiredAccessGrant() == KSTAccessGrant::HomeFolder);
}

bool KSTMainWindowController::shouldShowFolderAccessGateForSection(int section)
{
    if (!sectionRequiresFolderAccess(section))
        return false;
    if (KSTSectionCatalog::requiresFullDiskAccess(section) &&
        !KSTPermissionChecker::hasFullDiskAccess())
        return true;
    return KSTPermissionChecker::shouldShowFolderAccessPrompt();
}

void KSTMainWindowController::showSection(int section)
{
    showSection(section, Gate::Apply);
}

void KSTMainWindowController::showSection(int section, Gate gate)
{
    if (!m_didSetupUI)
        setupUI();
    m_currentSection = section;
    removeCurrentShell();

    QWidget *screen = nullptr;
    if (gate == Gate::Apply && shouldShowFolderAccessGateForSection(section)) {
        auto *permission = new KSTFullDiskAccessScreen(section);
        connect(permission, &KSTFullDiskAccessScreen::didChooseOpenSettings, this,
                &KSTMainWindowController::fullDiskAccessScreenDidChooseOpenSettings);
        connect(permission, &KSTFullDiskAccessScreen::didChooseRemindLater, this,
                &KSTMainWindowController::fullDiskAccessScreenDidChooseRemindLater);
        m_permissionScreen = permission;
        screen = permission;
    } else {
        screen = screenForSection(section);
    }

    auto *shell = new KSTContentShellViewController(screen, contentTitleForSection(section, screen),
                                                    m_contentHost);
    m_contentHost->layout()->addWidget(shell);
    shell->show();
    m_currentShell = shell;
    applyContentSizeRule();
}

void KSTMainWindowController::removeCurrentShell()
{
    if (!m_currentShell)
        return;
    KSTContentShellViewController *shell = m_currentShell;
    m_currentShell = nullptr;
    // A kept screen goes back to the parking place; the permission screen goes with its shell.
    if (shell->childController() != m_permissionScreen)
        shell->takeChild(m_screenParking);
    m_permissionScreen = nullptr;
    m_contentHost->layout()->removeWidget(shell);
    shell->hide();
    // Later, not now: a choice on the permission screen brings us here from inside its
    // button's click.
    shell->deleteLater();
}

void KSTMainWindowController::applyContentSizeRule()
{
    if (QLayout *layout = m_window->layout())
        layout->activate();
    const QSize size = m_window->size();
    if (size.width() >= MinimumContentSize.width() &&
        size.height() >= MinimumContentSize.height()) {
        m_lastGoodContentSize = size;
        return;
    }
    const bool lastGoodIsGood = m_lastGoodContentSize.width() >= MinimumContentSize.width() &&
                                m_lastGoodContentSize.height() >= MinimumContentSize.height();
    m_window->resize(lastGoodIsGood ? m_lastGoodContentSize : DefaultContentSize);
}

KSTContentShellViewController *KSTMainWindowController::currentShell() const
{
    return m_currentShell;
}

bool KSTMainWindowController::isShowingPermissionScreen() const
{
    return m_currentShell && m_permissionScreen &&
           m_currentShell->childController() == m_permissionScreen;
}

void KSTMainWindowController::handleFolderAccessGrantedIfNeeded()
{
    if (!KSTPermissionChecker::hasRequiredFolderAccess())
        return;
    if (!isShowingPermissionScreen() && !m_waitingForFullDiskAccessGrant)
        return;
    KSTPermissionChecker::clearRemindLater();
    m_waitingForFullDiskAccessGrant = false;
    KSTSystemInfo &systemInfo = *m_engines.systemInfo;
    systemInfo.invalidateOverviewCache();
    systemInfo.invalidateAppInventoryCache();
    systemInfo.invalidateCleanUpCache();

    const int section = sectionRequiresFolderAccess(m_pendingPermissionSection)
                            ? m_pendingPermissionSection
                            : m_currentSection;
    if (!sectionRequiresFolderAccess(section))
        return;
    m_sidebar->selectSection(section);
    showSection(section);
}

void KSTMainWindowController::sidebarDidSelectSection(int section)
{
    showSection(section);
}

void KSTMainWindowController::screenDidRequestSection(int section)
{
    m_sidebar->selectSection(section);
    showSection(section);
}

void KSTMainWindowController::fullDiskAccessScreenDidChooseOpenSettings(
    KSTFullDiskAccessScreen *screen)
{
    openFullDiskAccessSettingsForSection(screen->targetSection());
}

void KSTMainWindowController::openFullDiskAccessSettingsForSection(int section)
{
    m_pendingPermissionSection = section;
    m_waitingForFullDiskAccessGrant = true;
    if (KSTPermissionChecker::requiredAccessGrant() == KSTAccessGrant::HomeFolder) {
        KSTPermissionChecker::requestHomeFolderAccessWithCompletion(KSTDispatch::onMainFor<bool>(
            this, [this](bool) { handleFolderAccessGrantedIfNeeded(); }));
        return;
    }
    KSTPermissionChecker::openFullDiskAccessSettings();
}

void KSTMainWindowController::fullDiskAccessScreenDidChooseRemindLater(
    KSTFullDiskAccessScreen *screen)
{
    const int section = screen->targetSection();
    KSTPermissionChecker::setRemindLater(true);
    m_waitingForFullDiskAccessGrant = false;
    m_sidebar->selectSection(section);
    // The user asked for the tool now. Remind-later silences the prompt of every tool but
    // Clean Up, which stays gated while Full Disk Access is missing; this once it opens too,
    // and the reminder returns on its next visit.
    showSection(section, Gate::Bypass);
}

void KSTMainWindowController::folderAccessStatusDidChange()
{
    handleFolderAccessGrantedIfNeeded();
}

void KSTMainWindowController::applicationDidBecomeActive()
{
    KSTPermissionChecker::refreshFolderAccessStatus();
    handleFolderAccessGrantedIfNeeded();
}

void KSTMainWindowController::appearanceDidChange()
{
    KSTStyle::applyToApplication();
    for (QWidget *widget : m_window->findChildren<QWidget *>())
        widget->update();
}
