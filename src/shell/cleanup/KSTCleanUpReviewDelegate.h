#pragma once

#include <QStyledItemDelegate>

/// Draws the rows of the Clean Up review list in the window's palette: a category row (its
/// disclosure chevron, a check box that may be partly ticked, title, description and total)
/// and an item row (check box, name, location, size). An item that cannot be selected shows a
/// dimmed box and dimmed text.
///
/// The delegate only draws; the list decides what a click means (checkBoxRect() and
/// chevronRect() say where those parts are).
class KSTCleanUpReviewDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    /// Data roles of the list's items.
    enum Role {
        CategoryRole = Qt::UserRole, ///< category index
        ItemIndexRole,               ///< index in the review items; -1 on a category row
        SelectableRole,              ///< bool: the check box can be used
        LocationRole,                ///< location text (item) or description (category)
        SizeRole,                    ///< size text
        ExpandedRole,                ///< bool: a category row's items are shown
    };

    static constexpr int CategoryRowHeight = 44;
    static constexpr int ItemRowHeight = 32;

    explicit KSTCleanUpReviewDelegate(QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    /// Where the check box of a row whose rectangle is @p row is drawn.
    static QRect checkBoxRect(const QRect &row, bool categoryRow);
    /// Where a category row's chevron is drawn.
    static QRect chevronRect(const QRect &row);

private:
    void paintCheckBox(QPainter *painter, const QRect &box, Qt::CheckState state,
                       bool enabled) const;
};
