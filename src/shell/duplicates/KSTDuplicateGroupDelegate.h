#pragma once

#include <QStyledItemDelegate>

/// Draws a row of the duplicate group list: the check box, the file name over its copies and
/// size, what its extra copies take on the right, and the shown group highlighted. A click on
/// the box (or Space on the current row) toggles the tick through the model's setData().
class KSTDuplicateGroupDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    static constexpr int RowHeight = 48;

    explicit KSTDuplicateGroupDelegate(QObject *parent = nullptr);

    /// Where the check box of a row drawn in @p row lies.
    static QRect checkBoxRect(const QRect &row);

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;

protected:
    bool editorEvent(QEvent *event, QAbstractItemModel *model, const QStyleOptionViewItem &option,
                     const QModelIndex &index) override;
};
