#pragma once

#include <QStyledItemDelegate>

/// Draws a row of the related-file list in the palette's colours: in the first column a
/// check box (ticked, clear, or dimmed when it cannot be changed) and the path, in the
/// second why the path matched, in the third its size. Rows that can never be removed are
/// drawn in the tertiary text colour.
class KSTRelatedPathDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    enum Role {
        TickedRole = Qt::UserRole + 1, ///< bool
        TickableRole,                  ///< bool: the user may change the tick
        RemovableRole,                 ///< bool: the path may be removed at all
        PathRole,                      ///< the absolute path
    };

    explicit KSTRelatedPathDelegate(QObject *parent = nullptr);

    /// Where the check box of a row drawn in @p cell (its first column) lies.
    static QRect checkBoxRect(const QRect &cell);

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};
