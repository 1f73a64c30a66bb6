#pragma once

#include "KSTDuplicateFolderOption.h"

#include <QList>
#include <QWidget>

class KSTToggleSwitch;
class QListWidget;
class QPushButton;

/// The first page of the Duplicates screen: the folders to compare, each with a check box
/// (the offered folders and those the user added, which can be taken off the list again),
/// "Add Folder…", whether to scan when the screen opens, and the scan button, which needs at
/// least one ticked folder.
///
/// It only shows and edits the folder options it is given; the screen decides what a scan
/// and an added folder are.
class KSTDuplicateSetupView : public QWidget
{
    Q_OBJECT

public:
    explicit KSTDuplicateSetupView(QWidget *parent = nullptr);

    void setOptions(const QList<KSTDuplicateFolderOption> &options);
    const QList<KSTDuplicateFolderOption> &options() const { return m_options; }

    void setScanOnOpen(bool on);
    bool scanOnOpen() const;
    /// Gives @p view (a list, a check box), shown on a card, the card's colours in the current
    /// appearance, keeping the style's own check boxes legible.
    static void paintOnCard(QWidget *view);

    /// Shows "Show Last Results" (a result is kept while the folders are chosen again).
    void setLastResultsAvailable(bool available);

Q_SIGNALS:
    /// A tick changed, or a custom folder was taken off the list.
    void optionsEdited();
    void scanOnOpenEdited(bool on);
    void scanRequested();
    void addFolderRequested();
    void lastResultsRequested();

private:
    void rebuild();
    void rowChanged();
    void removeCurrentFolder();
    void refreshButtons();
    void restyle();

    QList<KSTDuplicateFolderOption> m_options;
    QListWidget *m_list = nullptr;
    QPushButton *m_removeFolder = nullptr;
    QPushButton *m_scan = nullptr;
    QPushButton *m_lastResults = nullptr;
    KSTToggleSwitch *m_scanOnOpen = nullptr;
    bool m_rebuilding = false;
};
