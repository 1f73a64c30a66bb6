#include "KSTDuplicateGroupDelegate.h"

#include "KSTDuplicateGroupListModel.h"
#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int BoxSize = 16;
constexpr int SizeColumnWidth = 84;

} // namespace

KSTDuplicateGroupDelegate::KSTDuplicateGroupDelegate(QObject *parent) : QStyledItemDelegate(parent)
{
}

QRect KSTDuplicateGroupDelegate::checkBoxRect(const QRect &row)
{
    return {row.left() + 12, row.center().y() - BoxSize / 2 + 1, BoxSize, BoxSize};
}

QSize KSTDuplicateGroupDelegate::sizeHint(const QStyleOptionViewItem &option,
                                          const QModelIndex &) const
{
    return {option.rect.width(), RowHeight};
}

void KSTDuplicateGroupDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                      const QModelIndex &index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect row = option.rect;
    const bool checkable = index.flags().testFlag(Qt::ItemIsUserCheckable);
    if (option.state.testFlag(QStyle::State_Selected) ||
        option.state.testFlag(QStyle::State_MouseOver)) {
        QPainterPath band;
        band.addRoundedRect(QRectF(row).adjusted(2, 2, -2, -2), 7, 7);
        painter->fillPath(band, option.state.testFlag(QStyle::State_Selected)
                                    ? KSTPalette::selectionFill()
                                    : KSTPalette::hoverFill());
    }

    const QRectF box = QRectF(checkBoxRect(row)).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath boxPath;
    boxPath.addRoundedRect(box, 4, 4);
    const bool ticked = index.data(Qt::CheckStateRole).toInt() == Qt::Checked;
    if (!checkable) {
        painter->fillPath(boxPath, KSTPalette::trackFill());
    } else if (ticked) {
        painter->fillPath(boxPath, KSTPalette::accent());
        const qreal dpr = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        painter->drawPixmap(
            checkBoxRect(row).adjusted(2, 2, -2, -2),
            KSTSymbolImage::pixmap(QStringLiteral("checkmark"), Qt::white, BoxSize - 4, dpr));
    } else {
        painter->fillPath(boxPath, KSTPalette::cardBackground());
        QColor border = KSTPalette::secondaryText();
        border.setAlpha(150);
        painter->setPen(QPen(border, 1));
        painter->drawPath(boxPath);
    }

    const int textLeft = checkBoxRect(row).right() + 12;
    const QRect sizeRect(row.right() - 12 - SizeColumnWidth, row.top(), SizeColumnWidth,
                         row.height());
    painter->setFont(KSTStyle::font(13, QFont::DemiBold));
    painter->setPen(KSTPalette::primaryText());
    painter->drawText(sizeRect, Qt::AlignRight | Qt::AlignVCenter,
                      index.data(KSTDuplicateGroupListModel::ReclaimableRole).toString());

    const int width = qMax(0, sizeRect.left() - 10 - textLeft);
    const QFont nameFont = KSTStyle::font(13, QFont::Medium);
    painter->setFont(nameFont);
    painter->drawText(QRect(textLeft, row.top() + 6, width, 20), Qt::AlignLeft | Qt::AlignVCenter,
                      QFontMetrics(nameFont).elidedText(index.data(Qt::DisplayRole).toString(),
                                                        Qt::ElideMiddle, width));
    const QFont detailFont = KSTStyle::font(12);
    painter->setFont(detailFont);
    painter->setPen(KSTPalette::secondaryText());
    painter->drawText(QRect(textLeft, row.top() + 25, width, 18), Qt::AlignLeft | Qt::AlignVCenter,
                      QFontMetrics(detailFont)
                          .elidedText(index.data(KSTDuplicateGroupListModel::DetailRole).toString(),
                                      Qt::ElideRight, width));
    painter->restore();
}

bool KSTDuplicateGroupDelegate::editorEvent(QEvent *event, QAbstractItemModel *model,
                                            const QStyleOptionViewItem &option,
                                            const QModelIndex &index)
{
    if (!index.flags().testFlag(Qt::ItemIsUserCheckable))
        return false;
    bool toggle = false;
    if (event->type() == QEvent::MouseButtonRelease) {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        toggle =
            mouse->button() == Qt::LeftButton &&
            checkBoxRect(option.rect).adjusted(-4, -4, 4, 4).contains(mouse->position().toPoint());
    } else if (event->type() == QEvent::KeyPress) {
        toggle = static_cast<QKeyEvent *>(event)->key() == Qt::Key_Space;
    }
    if (!toggle)
        return false;
    const bool ticked = index.data(Qt::CheckStateRole).toInt() == Qt::Checked;
    return model->setData(index, ticked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
}
