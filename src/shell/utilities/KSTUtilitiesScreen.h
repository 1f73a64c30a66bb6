#pragma once

#include "KSTToolScreen.h"
#include "KSTUtilitiesAlerts.h"

#include <QList>

#include <functional>

class KSTDefaultAppsPanel;
class KSTEncryptionPanel;
class KSTHomeSizesPanel;
class KSTSecureErasePanel;
class KSTStartupItemsPanel;
class KSTTrashOriginsPanel;
class KSTUtilitiesManager;
class QGridLayout;

/// The Utilities screen: six cards, each driving KSTUtilitiesManager through the same
/// widget-free models as `kestrel startup`, `erase` and `encrypt`: Startup Items, Secure
/// Erase, Encrypted Archives, Default Apps, Trash Origins and Home Folders.
///
/// The lists are read on workers when the screen is first shown (startup items and the
/// Trash again at every showing, since they change behind the window's back); the content is
/// ready once all four have arrived. Everything that changes the machine asks first through
/// the screen's alerts, whose presenters tests replace.
class KSTUtilitiesScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    /// Asks for paths to erase or encrypt; empty when cancelled.
    using PathPicker = std::function<QStringList(QWidget *parent)>;

    /// @p manager must outlive the screen and every job it starts.
    explicit KSTUtilitiesScreen(KSTUtilitiesManager &manager, QWidget *parent = nullptr);

    bool isContentReady() const override;

    /// Replaces the QMessageBox alerts (tests).
    void setAlertPresenters(KSTUtilitiesAlerts::ConfirmationPresenter confirmation,
                            KSTUtilitiesAlerts::MessagePresenter message);
    /// Replaces the file dialog of both "Choose…" buttons (tests).
    void setPathPicker(const PathPicker &picker);

protected:
    void showEvent(QShowEvent *event) override;
    /// Three columns of cards when there is room, else two.
    void resizeEvent(QResizeEvent *event) override;

private:
    void arrange(int columns);
    void panelDidLoad();
    void applyFieldStyle();

    KSTUtilitiesAlerts m_alerts;
    QGridLayout *m_grid = nullptr;
    QList<QWidget *> m_panels;
    int m_columns = 0;
    bool m_shownOnce = false;
    bool m_announcedReady = false;
    KSTStartupItemsPanel *m_startup = nullptr;
    KSTSecureErasePanel *m_erase = nullptr;
    KSTEncryptionPanel *m_encryption = nullptr;
    KSTDefaultAppsPanel *m_defaultApps = nullptr;
    KSTTrashOriginsPanel *m_trash = nullptr;
    KSTHomeSizesPanel *m_homeSizes = nullptr;
};
