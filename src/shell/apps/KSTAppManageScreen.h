#pragma once

#include "KSTAppInventoryModel.h"
#include "KSTAppUninstallHistory.h"
#include "KSTAppUninstallSelection.h"
#include "KSTToolScreen.h"

#include <QHash>
#include <QTimer>

#include <functional>

class KSTAppDetailPane;
class KSTAppInventoryEngine;
class KSTSystemInfo;
class KSTAppListModel;
class KSTAppListSortProxy;
class KSTBusyIndicator;
class KSTStorageBarView;
class QLabel;
class QLineEdit;
class QModelIndex;
class QPushButton;
class QTreeView;

/// The App Manage screen: how many apps there are and their total size, with the scan's
/// progress (the list fills in during discovery, then sizes arrive under a progress bar) or,
/// once done, when it ran; the list of apps with icon, name, version, developer, category,
/// architecture, source, installed and last-opened dates and size, sortable by any column and
/// filtered by name; and the detail pane of the chosen app (KSTAppDetailPane) with its
/// related files and the uninstall.
///
/// The inventory comes from a KSTAppInventoryModel: asked for when the screen is shown (the
/// cached one at once, its missing sizes resumed), re-read on every metadata notification,
/// and its passes cancelled when the screen is hidden. The chosen app's related files are
/// looked up by the engine once and remembered for the visit; its ticks and its uninstall are
/// a KSTAppUninstallSelection's. "Uninstall" asks first (the selection's texts); afterwards
/// the app leaves the list, the inventory is rescanned when another copy stayed, and what
/// went wrong is told (with the paths left in place). Alerts go through replaceable
/// presenters, so tests answer them. "Put Back" (shown while the last uninstall is
/// remembered) moves its items back after asking, and scans again.
///
/// Once the first whole inventory is in, the first app of the list is chosen when none is.
class KSTAppManageScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    /// Asks before an uninstall: true to go ahead.
    using ConfirmationPresenter = std::function<bool(QWidget *parent, const QString &message,
                                                     const QString &informativeText)>;
    /// Tells the outcome of an uninstall (called only when its alert is not None).
    using OutcomePresenter = std::function<void(QWidget *parent, const KSTAppUninstallOutcome &)>;

    /// @p engine is installed on @p systemInfo; both must outlive the screen and every
    /// uninstall it starts.
    KSTAppManageScreen(KSTSystemInfo &systemInfo, KSTAppInventoryEngine &engine,
                       QWidget *parent = nullptr);

    /// The whole inventory is in, and the chosen app (if any) shows its related files.
    bool isContentReady() const override;

    /// Replaces the QMessageBox alerts (tests).
    void setAlertPresenters(ConfirmationPresenter confirmation, OutcomePresenter outcome);

    /// Chooses the app of @p bundlePath (empty: none) as if its row were clicked.
    void chooseApp(const QString &bundlePath);
    /// The bundle path of the chosen app; empty when none.
    QString chosenBundlePath() const { return m_chosenPath; }
    /// The Uninstall button: confirmation, then the uninstall.
    void requestUninstall();
    /// Drops the cached inventory and scans again (the Rescan button).
    void rescan();
    /// The Put Back button: confirmation, then what the last uninstall moved goes back where
    /// nothing has taken its place, and the inventory is scanned again.
    void requestPutBack();

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    QWidget *buildSummaryCard();
    QWidget *buildListCard();

    void snapshotDidChange();
    void refreshSummary();
    void currentRowDidChange(const QModelIndex &current);
    void selectChosenRow();
    void showChosenApp();
    void relatedPathsDidLoad(const QString &bundlePath,
                             const QList<KSTInstalledAppRelatedPath> &paths);
    void uninstallDidFinish(const KSTAppUninstallOutcome &outcome);
    void announceIfReady();
    void refreshPutBack();
    void putBackDidFinish(const KSTAppUninstallHistory::PutBackResult &result);

    KSTAppInventoryEngine &m_engine;
    KSTAppInventoryModel m_model;
    KSTAppUninstallSelection m_selection;
    ConfirmationPresenter m_confirm;
    OutcomePresenter m_tell;
    bool m_announcedReady = false;
    bool m_puttingBack = false;
    QString m_chosenPath;
    // Related files looked up during this visit of the inventory, by bundle path: the cached
    // records learn them too, but only with the next refresh of the cache.
    QHash<QString, QList<KSTInstalledAppRelatedPath>> m_relatedByPath;
    QString m_lookingUpPath;
    QString m_lastOutcome;
    // Keeps "Scanned 5 min ago" true while the screen is on display.
    QTimer m_ageTimer;

    KSTBusyIndicator *m_scanIndicator = nullptr;
    QLabel *m_summary = nullptr;
    QLabel *m_detail = nullptr;
    KSTStorageBarView *m_progress = nullptr;
    QLineEdit *m_filter = nullptr;
    QPushButton *m_rescanButton = nullptr;
    QPushButton *m_putBackButton = nullptr;
    KSTAppListModel *m_listModel = nullptr;
    KSTAppListSortProxy *m_proxy = nullptr;
    QTreeView *m_list = nullptr;
    QLabel *m_emptyLabel = nullptr;
    KSTAppDetailPane *m_detailPane = nullptr;
};
