#include "KSTRelatedPathDelegate.h"

#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"

#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int RowHeight = 30;
constexpr int BoxSize = 16;
constexpr int BoxMargin = 6;

void drawCheckBox(QPainter *painter, const QRectF &box, bool ticked, bool tickable, qreal dpr)
{
    QPainterPath shape;
    shape.addRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    if (ticked) {
        QColor fill = KSTPalette::accent();
        if (!tickable)
            fill.setAlpha(KSTPalette::isDark() ? 120 : 140);
        painter->fillPath(shape, fill);
        const int mark = BoxSize - 4;
        const QPixmap check =
            KSTSymbolImage::pixmap(QStringLiteral("checkmark"), Qt::white, mark, dpr);
        painter->drawPixmap(QPointF(box.x() + 2, box.y() + 2), check);
        return;
    }
    if (!tickable) {
        painter->fillPath(shape, KSTPalette::trackFill());
        return;
    }
    painter->fillPath(shape, KSTPalette::cardBackground());
    painter->setPen(QPen(KSTPalette::tertiaryText(), 1));
    painter->drawPath(shape);
}

} // namespace

KSTRelatedPathDelegate::KSTRelatedPathDelegate(QObject *parent) : QStyledItemDelegate(parent) {}

QRect KSTRelatedPathDelegate::checkBoxRect(const QRect &cell)
{
    return QRect(cell.left() + BoxMargin, cell.center().y() - BoxSize / 2 + 1, BoxSize, BoxSize);
}

void KSTRelatedPathDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                   const QModelIndex &index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QModelIndex first = index.siblingAtColumn(0);
    const bool removable = first.data(RemovableRole).toBool();
    const QRect cell = option.rect;
    if (option.state & QStyle::State_MouseOver)
        painter->fillRect(cell, KSTPalette::hoverFill());

    QRect textRect = cell.adjusted(6, 0, -6, 0);
    QColor color = removable ? KSTPalette::primaryText() : KSTPalette::tertiaryText();
    QFont font = KSTStyle::font(13);
    Qt::Alignment alignment = Qt::AlignLeft | Qt::AlignVCenter;
    if (index.column() == 0) {
        const qreal dpr = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        drawCheckBox(painter, checkBoxRect(cell), first.data(TickedRole).toBool(),
                     first.data(TickableRole).toBool(), dpr);
        textRect.setLeft(cell.left() + BoxMargin + BoxSize + 8);
    } else if (index.column() == 1) {
        if (removable)
            color = KSTPalette::secondaryText();
        font = KSTStyle::font(12);
    } else {
        alignment = Qt::AlignRight | Qt::AlignVCenter;
    }
    painter->setFont(font);
    painter->setPen(color);
    const QString text = QFontMetrics(font).elidedText(
        index.data(Qt::DisplayRole).toString(),
        index.column() == 0 ? Qt::ElideMiddle : Qt::ElideRight, textRect.width());
    painter->drawText(textRect, int(alignment), text);
    painter->restore();
}

QSize KSTRelatedPathDelegate::sizeHint(const QStyleOptionViewItem &option,
                                       const QModelIndex &index) const
{
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    size.setHeight(RowHeight);
    return size;
}
