#pragma once

#include <QSet>
#include <QTreeWidget>

class KSTCleanUpSelectionModel;

/// The review list of the Clean Up screen: every category of the model's snapshot as a row
/// with a check box that ticks or clears all its selectable items, and under it each of its
/// review items (reviewItems(), so the failed downloads one by one) with its own check box.
/// Items of 0 bytes are shown but cannot be ticked.
///
/// The list holds no selection of its own: a click asks the model, and the boxes are redrawn
/// from the model's selection whenever it changes. While the model cleans, nothing can be
/// ticked (the model refuses, and the screen disables the list).
///
/// A click on a category's chevron (or anywhere on its row outside the box) opens or closes
/// it; categories stay open or closed across rescans. Space ticks the current row.
class KSTCleanUpReviewList : public QTreeWidget
{
    Q_OBJECT

public:
    /// @p model must outlive the list.
    explicit KSTCleanUpReviewList(KSTCleanUpSelectionModel &model, QWidget *parent = nullptr);

    /// The row of category @p category, or of its review item @p index; nullptr when absent.
    QTreeWidgetItem *categoryRow(qsizetype category) const;
    QTreeWidgetItem *itemRow(qsizetype category, qsizetype index) const;

    /// What a click on the row's check box does: ticks or clears the item, or every
    /// selectable item of the category (clears when all are ticked, else ticks all).
    void toggleRow(QTreeWidgetItem *row);

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void rebuild();
    void refreshCheckStates();
    void setCategoryOpen(QTreeWidgetItem *row, bool open);

    KSTCleanUpSelectionModel &m_model;
    // Category types the user closed; they stay closed when a new snapshot arrives.
    QSet<QString> m_closedCategoryTypes;
};
