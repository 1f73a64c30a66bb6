#pragma once

#include "KSTToolScreen.h"

#include <QList>

#include <functional>

class KSTAutoCleanManager;
class KSTAutoCleanRuleRow;
class KSTKeptAsideBanner;
class KSTNeverTouchListView;
class KSTToggleSwitch;
class QLabel;

/// The Auto Clean screen: the master switch and what it means now, this month's bytes and
/// files removed and the last effective run, the six rules with their switches, and the
/// never-touch list.
///
/// Every switch and list change goes to the manager; the screen then shows the manager's
/// state again (on its "KSTAutoCleanStateDidChangeNotification" and at once), so it never
/// shows a state the manager does not hold.
class KSTAutoCleanScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    /// Chooses a folder to add to the never-touch list; an empty answer adds nothing.
    using FolderPicker = std::function<QString(QWidget *parent)>;

    /// @p manager must outlive the screen.
    explicit KSTAutoCleanScreen(KSTAutoCleanManager &manager, QWidget *parent = nullptr);

    /// Replaces the folder dialog (tests).
    void setFolderPicker(FolderPicker picker);

    /// Shows the manager's state.
    void refresh();

    /// Asks the picker for a folder and adds it; a refusal is explained under the list.
    void addNeverTouchFolder();
    void removeNeverTouchPath(const QString &path);

protected:
    void showEvent(QShowEvent *event) override;

private:
    QWidget *buildMasterCard();
    QWidget *buildStatistics();
    QWidget *buildRulesCard();

    KSTAutoCleanManager &m_manager;
    FolderPicker m_folderPicker;
    KSTToggleSwitch *m_masterSwitch = nullptr;
    QLabel *m_status = nullptr;
    QLabel *m_bytesSaved = nullptr;
    QLabel *m_filesRemoved = nullptr;
    QLabel *m_lastRun = nullptr;
    QList<KSTAutoCleanRuleRow *> m_ruleRows;
    KSTNeverTouchListView *m_neverTouch = nullptr;
    KSTKeptAsideBanner *m_keptAside = nullptr;
};
