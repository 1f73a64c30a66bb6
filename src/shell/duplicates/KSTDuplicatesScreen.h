#pragma once

#include "KSTDuplicateReviewModel.h"
#include "KSTToolScreen.h"

#include <functional>

class KSTDuplicateResultsView;
class KSTDuplicateScanningView;
class KSTDuplicateSetupView;
class KSTSystemInfo;
class QStackedWidget;

/// The Duplicate Files screen, in three pages:
/// - setup: the folders to compare (KSTDuplicateFolderOption, with folders the user adds) and
///   the scan button;
/// - scanning: the scan's status text, its progress and Cancel;
/// - results: categories, groups with check boxes, the preview of a group's copies, the two
///   removal buttons, what a removal left in place, "No duplicate files found", a rescan.
///
/// Everything it shows and does goes through a KSTDuplicateReviewModel: the scan is the
/// model's (results arrive on the main thread while the window stays responsive), ticks and
/// kept copies are the model's, and the two removals are the model's removeCurrentGroupDuplicates()
/// and removeAllSelectedDuplicates(), which move copies to the Trash through the removal guard.
/// Each removal is confirmed first.
///
/// The folder choice (the ticks, the added folders) and whether to scan when the screen
/// opens are remembered (KSTDuplicateFolderOptions). Alerts and the folder dialog go through
/// replaceable presenters, so tests answer them.
class KSTDuplicatesScreen : public KSTToolScreen
{
    Q_OBJECT

public:
    /// Asks before a removal: true to go ahead.
    using ConfirmationPresenter = std::function<bool(QWidget *parent, const QString &message,
                                                     const QString &informativeText)>;
    /// Asks for a folder to add: its path, or empty when the user cancelled.
    using FolderPicker = std::function<QString(QWidget *parent)>;

    /// @p systemInfo must outlive the screen and every scan and removal it starts.
    explicit KSTDuplicatesScreen(KSTSystemInfo &systemInfo, QWidget *parent = nullptr);

    /// The setup page with nothing about to scan, or a result is shown.
    bool isContentReady() const override;

    /// Replaces the message box and the folder dialog (tests).
    void setPresenters(ConfirmationPresenter confirmation, FolderPicker folderPicker);

    /// Scans the ticked folders (the scan button).
    void startScan();
    /// Scans the folders of the result shown again.
    void rescan();
    /// Asks for a folder and adds it, ticked.
    void addFolder();
    /// Confirmation, then the removal of the shown group's removable copies.
    void requestRemoveCurrent();
    /// Confirmation, then the removal of the removable copies of every ticked group.
    void requestRemoveSelected();
    /// Confirmation, then the same copies replaced with clones of their group's kept copy
    /// (their paths stay; never the default: only this button does it).
    void requestCloneSelected();

protected:
    void showEvent(QShowEvent *event) override;

private:
    void refreshPage();
    void saveChoice();
    void removalDidFinish(const KSTDuplicateRemovalOutcome &outcome);

    KSTDuplicateReviewModel m_model;
    ConfirmationPresenter m_confirm;
    FolderPicker m_pickFolder;
    QStackedWidget *m_pages = nullptr;
    KSTDuplicateSetupView *m_setup = nullptr;
    KSTDuplicateScanningView *m_scanning = nullptr;
    KSTDuplicateResultsView *m_results = nullptr;
    // The user went back to the folders from a result, which stays in the model meanwhile.
    bool m_choosingFolders = false;
    bool m_shownOnce = false;
    bool m_wasReady = false;
};
