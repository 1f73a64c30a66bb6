#include "KSTCleanUpReviewList.h"

#include "KSTCleanUpReviewDelegate.h"
#include "KSTCleanUpSelectionModel.h"
#include "KSTFormatting.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>

#include <algorithm>

using Delegate = KSTCleanUpReviewDelegate;

KSTCleanUpReviewList::KSTCleanUpReviewList(KSTCleanUpSelectionModel &model, QWidget *parent)
    : QTreeWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("cleanUpReviewList"));
    setColumnCount(1);
    header()->hide();
    setRootIsDecorated(false);
    setIndentation(0);
    setItemsExpandable(false);
    setExpandsOnDoubleClick(false);
    setUniformRowHeights(false);
    setSelectionMode(QAbstractItemView::NoSelection);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setMouseTracking(true);
    setAttribute(Qt::WA_MacShowFocusRect, false);
    setItemDelegate(new KSTCleanUpReviewDelegate(this));
    // The delegate draws every row; the view itself stays on the card's surface.
    setStyleSheet(
        QStringLiteral("QTreeWidget { background: transparent; border: none; "
                       "outline: 0; } QTreeWidget::item { background: transparent; "
                       "border: none; } QTreeWidget::branch { background: transparent; }"));

    connect(&m_model, &KSTCleanUpSelectionModel::snapshotChanged, this,
            &KSTCleanUpReviewList::rebuild);
    connect(&m_model, &KSTCleanUpSelectionModel::selectionChanged, this,
            &KSTCleanUpReviewList::refreshCheckStates);
    rebuild();
}

QTreeWidgetItem *KSTCleanUpReviewList::categoryRow(qsizetype category) const
{
    if (category < 0 || category >= topLevelItemCount())
        return nullptr;
    return topLevelItem(int(category));
}

QTreeWidgetItem *KSTCleanUpReviewList::itemRow(qsizetype category, qsizetype index) const
{
    QTreeWidgetItem *parent = categoryRow(category);
    if (!parent || index < 0 || index >= parent->childCount())
        return nullptr;
    return parent->child(int(index));
}

void KSTCleanUpReviewList::rebuild()
{
    clear();
    const auto snapshot = m_model.snapshot();
    if (!snapshot)
        return;
    const bool placeholder = snapshot->isPartial;
    for (qsizetype category = 0; category < m_model.categoryCount(); ++category) {
        const KSTCleanUpCategory &record = snapshot->categories.at(category);
        const QList<KSTCleanUpItem> items = m_model.reviewItems(category);
        auto *row = new QTreeWidgetItem(this);
        // Not user-checkable: a tick goes to the model, never straight into the item.
        row->setFlags(Qt::ItemIsEnabled);
        row->setText(0, record.name);
        row->setData(0, Delegate::CategoryRole, int(category));
        row->setData(0, Delegate::ItemIndexRole, -1);
        row->setData(0, Delegate::LocationRole, record.categoryDescription);
        row->setData(0, Delegate::SizeRole,
                     placeholder ? QString() : KSTFormatting::formatBytesShort(record.totalBytes));
        const bool anySelectable =
            std::any_of(items.cbegin(), items.cend(), &KSTCleanUpSelectionModel::isSelectable);
        row->setData(0, Delegate::SelectableRole, anySelectable);
        for (qsizetype index = 0; index < items.size(); ++index) {
            const KSTCleanUpItem &item = items.at(index);
            auto *child = new QTreeWidgetItem(row);
            child->setFlags(Qt::ItemIsEnabled);
            child->setText(0, item.name);
            child->setData(0, Delegate::CategoryRole, int(category));
            child->setData(0, Delegate::ItemIndexRole, int(index));
            child->setData(0, Delegate::SelectableRole,
                           KSTCleanUpSelectionModel::isSelectable(item));
            child->setData(0, Delegate::LocationRole,
                           item.nameOnlyInList ? QString() : item.displayPath);
            child->setData(0, Delegate::SizeRole,
                           placeholder ? QString() : KSTFormatting::formatBytesShort(item.bytes));
            child->setToolTip(0, item.filePath.isEmpty() ? item.name : item.filePath);
        }
        setCategoryOpen(row, !m_closedCategoryTypes.contains(record.categoryType));
    }
    refreshCheckStates();
}

void KSTCleanUpReviewList::refreshCheckStates()
{
    for (int category = 0; category < topLevelItemCount(); ++category) {
        QTreeWidgetItem *row = topLevelItem(category);
        int selectable = 0;
        int ticked = 0;
        for (int index = 0; index < row->childCount(); ++index) {
            QTreeWidgetItem *child = row->child(index);
            const bool isTicked = m_model.isItemSelected(category, index);
            child->setData(0, Qt::CheckStateRole, isTicked ? Qt::Checked : Qt::Unchecked);
            if (child->data(0, Delegate::SelectableRole).toBool()) {
                ++selectable;
                ticked += isTicked ? 1 : 0;
            }
        }
        const Qt::CheckState state = ticked == 0            ? Qt::Unchecked
                                     : ticked == selectable ? Qt::Checked
                                                            : Qt::PartiallyChecked;
        row->setData(0, Qt::CheckStateRole, state);
    }
    viewport()->update();
}

void KSTCleanUpReviewList::setCategoryOpen(QTreeWidgetItem *row, bool open)
{
    row->setData(0, Delegate::ExpandedRole, open);
    row->setExpanded(open);
}

void KSTCleanUpReviewList::toggleRow(QTreeWidgetItem *row)
{
    if (!row || !row->data(0, Delegate::SelectableRole).toBool())
        return;
    const qsizetype category = row->data(0, Delegate::CategoryRole).toInt();
    const qsizetype index = row->data(0, Delegate::ItemIndexRole).toInt();
    if (index < 0) {
        const bool allTicked = row->data(0, Qt::CheckStateRole).toInt() == Qt::Checked;
        m_model.setCategorySelected(category, !allTicked);
        return;
    }
    m_model.setItemSelected(category, index, !m_model.isItemSelected(category, index));
}

void KSTCleanUpReviewList::mouseReleaseEvent(QMouseEvent *event)
{
    QTreeWidgetItem *row = itemAt(event->position().toPoint());
    if (!row || event->button() != Qt::LeftButton) {
        QTreeWidget::mouseReleaseEvent(event);
        return;
    }
    const bool isCategory = row->data(0, Delegate::ItemIndexRole).toInt() < 0;
    const QRect rect = visualItemRect(row);
    const QRect box = Delegate::checkBoxRect(rect, isCategory).adjusted(-6, -6, 6, 6);
    if (isCategory && !box.contains(event->position().toPoint())) {
        const int category = row->data(0, Delegate::CategoryRole).toInt();
        const QString type = m_model.snapshot()->categories.at(category).categoryType;
        const bool open = !row->data(0, Delegate::ExpandedRole).toBool();
        if (open)
            m_closedCategoryTypes.remove(type);
        else
            m_closedCategoryTypes.insert(type);
        setCategoryOpen(row, open);
    } else {
        // An item row ticks wherever it is clicked: the whole row is the target.
        toggleRow(row);
    }
    event->accept();
}

void KSTCleanUpReviewList::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && currentItem()) {
        toggleRow(currentItem());
        event->accept();
        return;
    }
    QTreeWidget::keyPressEvent(event);
}
