#pragma once

#include <QWidget>

class KSTBusyIndicator;
class KSTCardFrame;
class KSTDuplicateGroupListModel;
class KSTDuplicateOutcomeCard;
class KSTDuplicatePreview;
class KSTDuplicateReviewModel;
class QCheckBox;
class QLabel;
class QListView;
class QListWidget;
class QPushButton;
class QStackedWidget;
struct KSTDuplicateLinkOutcome;
struct KSTDuplicateRemovalOutcome;

/// The result page of the Duplicates screen: what can be freed, the six categories with their
/// symbols, the groups of the listed category with check boxes (and one for all), the preview
/// of the shown group, the two removal buttons with the review model's texts, and after a
/// removal what moved and which files were left in place, with why. With no group at all it
/// says "No duplicate files found".
///
/// Everything is read from the review model and every click goes back to it; removals are
/// only requested (the screen asks first).
class KSTDuplicateResultsView : public QWidget
{
    Q_OBJECT

public:
    /// @p review must outlive the view.
    explicit KSTDuplicateResultsView(KSTDuplicateReviewModel &review, QWidget *parent = nullptr);

    /// Shows what a removal did (kept until clearOutcome()).
    void showOutcome(const KSTDuplicateRemovalOutcome &outcome);
    /// Shows what replacing copies with clones did (kept until clearOutcome()).
    void showLinkOutcome(const KSTDuplicateLinkOutcome &outcome);
    void clearOutcome();

Q_SIGNALS:
    void removeCurrentRequested();
    void removeSelectedRequested();
    /// "Replace with Clones…": free the ticked copies' space while keeping their paths.
    void cloneSelectedRequested();
    void rescanRequested();
    void newScanRequested();

private:
    QWidget *buildSummaryCard();
    QWidget *buildCategoryCard();
    QWidget *buildGroupCard();
    QWidget *buildFooter();

    void snapshotDidChange();
    void selectionDidChange();
    void refreshButtons();
    void rebuildCategories();
    void restyleLists();

    KSTDuplicateReviewModel &m_review;
    KSTDuplicateGroupListModel *m_groupModel = nullptr;
    QLabel *m_summary = nullptr;
    QLabel *m_detail = nullptr;
    QPushButton *m_rescan = nullptr;
    QPushButton *m_newScan = nullptr;
    KSTDuplicateOutcomeCard *m_outcomeCard = nullptr;
    QStackedWidget *m_body = nullptr;
    QListWidget *m_categories = nullptr;
    QLabel *m_groupCount = nullptr;
    QCheckBox *m_allGroups = nullptr;
    QListView *m_groups = nullptr;
    KSTDuplicatePreview *m_preview = nullptr;
    KSTBusyIndicator *m_removing = nullptr;
    QPushButton *m_removeCurrent = nullptr;
    QPushButton *m_removeSelected = nullptr;
    QPushButton *m_cloneSelected = nullptr;
    bool m_syncing = false;
};
