#pragma once

#include "KSTAppInventorySnapshot.h"
#include "KSTCardFrame.h"

#include <QHash>
#include <QIcon>

class KSTAppUninstallSelection;
class KSTBusyIndicator;
class KSTElidedLabel;
class KSTRelatedPathList;
class QLabel;
class QPushButton;
class QStackedWidget;

/// The detail pane of App Manage: everything known of one application (icon, name, version
/// and build, identifier, developer, category, architecture, source, installed and last
/// opened dates, bundle and total sizes, location), its related files with their boxes, the
/// selected total and the "Uninstall" button; with no application, a hint to pick one.
///
/// The pane shows the app and ticks of a KSTAppUninstallSelection, which the screen fills;
/// until the app's related files are looked up it says so and offers no uninstall. A system
/// application's button stays off with the reason beside it. Pressing the button only emits
/// uninstallRequested(): the screen asks and starts the uninstall.
class KSTAppDetailPane : public KSTCardFrame
{
    Q_OBJECT

public:
    /// @p selection must outlive the pane.
    explicit KSTAppDetailPane(KSTAppUninstallSelection &selection, QWidget *parent = nullptr);

    /// The hint instead of an application.
    void showNothing();
    /// @p app's fields and @p icon; its related files as the selection holds them when
    /// @p relatedLoaded, else a "looking" state.
    void showApp(const KSTInstalledAppRecord &app, const QIcon &icon, bool relatedLoaded);
    /// Whether an application with its related files is on display.
    bool isShowingLoadedApp() const { return m_showingApp && m_relatedLoaded; }

Q_SIGNALS:
    void uninstallRequested();

private:
    QWidget *buildFields();
    QWidget *buildRelated();
    void refreshFooter();

    KSTAppUninstallSelection &m_selection;
    bool m_showingApp = false;
    bool m_relatedLoaded = false;
    QStackedWidget *m_pages = nullptr;
    QLabel *m_icon = nullptr;
    QLabel *m_name = nullptr;
    QLabel *m_subtitle = nullptr;
    QHash<QString, QLabel *> m_values;
    KSTElidedLabel *m_location = nullptr;
    QStackedWidget *m_relatedPages = nullptr;
    KSTBusyIndicator *m_lookingIndicator = nullptr;
    KSTRelatedPathList *m_relatedList = nullptr;
    QLabel *m_selectedTotal = nullptr;
    QLabel *m_reason = nullptr;
    KSTBusyIndicator *m_uninstallIndicator = nullptr;
    QLabel *m_uninstallingLabel = nullptr;
    QPushButton *m_uninstallButton = nullptr;
};
