#pragma once

#include "KSTShellEngines.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSize>

#include <memory>

class KSTContentShellViewController;
class KSTFullDiskAccessScreen;
class KSTSidebarViewController;
class KSTSystemReportScreen;
class KSTToolScreen;
class QMainWindow;
class QWidget;

/// The one window: the sidebar on the left, the content shell of the selected tool on the
/// right, and the permission screen in front of the tools that need folder access.
///
/// Folder-access rule: sections 1 (Reporter), 2 (Clean Up) and 4 (Auto Clean) need access
/// (0, 2, 4 and 5 in a sandboxed build). Clean Up is gated whenever Full Disk Access is
/// missing, even with a home-folder grant; the others while the prompt is due
/// (KSTPermissionChecker::shouldShowFolderAccessPrompt(), which "remind me later" silences).
/// When access arrives (the application becomes active again, or the access status changes)
/// the section that asked is shown again and the overview, app-inventory and clean-up caches
/// are dropped so that their results are recomputed.
///
/// Screens are created once, one per section, and kept; the permission screen is made anew
/// each time it is needed. Main thread only.
class KSTMainWindowController : public QObject
{
    Q_OBJECT

public:
    static constexpr QSize MinimumContentSize{960, 600};
    static constexpr QSize DefaultContentSize{1180, 740};

    /// Presents @p engines, which must outlive the controller.
    explicit KSTMainWindowController(const KSTShellEngines &engines, QObject *parent = nullptr);
    ~KSTMainWindowController() override;

    QMainWindow *window() const;
    /// Sets up the interface once (sidebar, one screen per section, section 0) and shows the
    /// window.
    void showWindow();
    void setupUI();

    /// Shows @p section: its screen, or the permission screen when the gate says so, in a new
    /// content shell; then applies the last-good-size rule.
    void showSection(int section);
    /// The kept screen of @p section; nullptr outside the table or before setupUI().
    KSTToolScreen *screenForSection(int section) const;
    /// "Full Disk Access" for the permission screen ("User Folder Access" in a sandboxed
    /// build), else the section's content title.
    static QString contentTitleForSection(int section, const QWidget *screen);
    static bool sectionRequiresFolderAccess(int section);
    static bool shouldShowFolderAccessGateForSection(int section);
    /// When access is now granted and the permission screen is up (or a grant is awaited):
    /// clears remind-later, drops the caches and shows the section that asked again.
    void handleFolderAccessGrantedIfNeeded();

    /// Shows the System Report in a content shell titled "System Report" over the current
    /// section, which its back control shows again; nothing without a report service.
    void showSystemReport();
    /// The kept System Report screen; nullptr without a report service or before setupUI().
    KSTSystemReportScreen *systemReportScreen() const { return m_systemReportScreen; }

    // ---- Delegate callbacks ----
    void sidebarDidSelectSection(int section);
    void screenDidRequestSection(int section);
    void fullDiskAccessScreenDidChooseOpenSettings(KSTFullDiskAccessScreen *screen);
    void fullDiskAccessScreenDidChooseRemindLater(KSTFullDiskAccessScreen *screen);
    /// Opens the Full Disk Access settings (in a sandboxed build: asks for the home folder)
    /// and waits for the grant, after which @p section is shown again. The permission screen
    /// and the Clean Up screen's reminder both come here.
    void openFullDiskAccessSettingsForSection(int section);
    void folderAccessStatusDidChange();
    /// Refreshes the access status, then handleFolderAccessGrantedIfNeeded().
    void applicationDidBecomeActive();

    // ---- State ----
    KSTSidebarViewController *sidebar() const { return m_sidebar; }
    QWidget *contentHost() const { return m_contentHost; }
    KSTContentShellViewController *currentShell() const;
    const QList<KSTToolScreen *> &screenControllers() const { return m_screenControllers; }
    QSize lastGoodContentSize() const { return m_lastGoodContentSize; }
    int currentSection() const { return m_currentSection; }
    int pendingPermissionSection() const { return m_pendingPermissionSection; }
    bool isWaitingForFullDiskAccessGrant() const { return m_waitingForFullDiskAccessGrant; }
    bool didSetupUI() const { return m_didSetupUI; }
    /// Whether the permission screen is the one on display.
    bool isShowingPermissionScreen() const;

private:
    enum class Gate { Apply, Bypass };
    void showSection(int section, Gate gate);
    void removeCurrentShell();
    void applyContentSizeRule();
    void appearanceDidChange();

    KSTShellEngines m_engines;
    std::unique_ptr<QMainWindow> m_window;
    KSTSidebarViewController *m_sidebar = nullptr;
    QWidget *m_contentHost = nullptr;
    // Parent of the screens that are not on display.
    QWidget *m_screenParking = nullptr;
    QPointer<KSTContentShellViewController> m_currentShell;
    QPointer<KSTFullDiskAccessScreen> m_permissionScreen;
    QList<KSTToolScreen *> m_screenControllers;
    KSTSystemReportScreen *m_systemReportScreen = nullptr;
    QSize m_lastGoodContentSize;
    int m_currentSection = 0;
    int m_pendingPermissionSection = -1;
    bool m_waitingForFullDiskAccessGrant = false;
    bool m_didSetupUI = false;
};
