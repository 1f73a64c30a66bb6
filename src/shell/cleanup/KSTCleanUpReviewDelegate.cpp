#include "KSTCleanUpReviewDelegate.h"

#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace {

constexpr int BoxSize = 16;
constexpr int ChevronSize = 14;
constexpr int SizeColumnWidth = 96;
// Item rows start their box under the category's box, past the chevron.
constexpr int CategoryBoxLeft = 34;
constexpr int ItemBoxLeft = 34;

} // namespace

KSTCleanUpReviewDelegate::KSTCleanUpReviewDelegate(QObject *parent) : QStyledItemDelegate(parent) {}

QRect KSTCleanUpReviewDelegate::checkBoxRect(const QRect &row, bool categoryRow)
{
    const int left = row.left() + (categoryRow ? CategoryBoxLeft : ItemBoxLeft);
    return {left, row.center().y() - BoxSize / 2 + 1, BoxSize, BoxSize};
}

QRect KSTCleanUpReviewDelegate::chevronRect(const QRect &row)
{
    return {row.left() + 10, row.center().y() - ChevronSize / 2 + 1, ChevronSize, ChevronSize};
}

QSize KSTCleanUpReviewDelegate::sizeHint(const QStyleOptionViewItem &option,
                                         const QModelIndex &index) const
{
    const bool category = index.data(ItemIndexRole).toInt() < 0;
    return {option.rect.width(), category ? CategoryRowHeight : ItemRowHeight};
}

void KSTCleanUpReviewDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                     const QModelIndex &index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRect row = option.rect;
    const bool category = index.data(ItemIndexRole).toInt() < 0;
    const bool selectable = index.data(SelectableRole).toBool();
    const bool enabled = option.state.testFlag(QStyle::State_Enabled);
    const qreal dpr = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;

    if (category) {
        // A faint band sets each category apart from the items under it.
        QPainterPath band;
        band.addRoundedRect(QRectF(row).adjusted(0, 4, 0, -2), 8, 8);
        painter->fillPath(band, KSTPalette::hoverFill());
    } else if (option.state.testFlag(QStyle::State_MouseOver) && selectable && enabled) {
        QPainterPath hover;
        hover.addRoundedRect(QRectF(row).adjusted(0, 1, 0, -1), 6, 6);
        painter->fillPath(hover, KSTPalette::hoverFill());
    }

    if (category) {
        const bool expanded = index.data(ExpandedRole).toBool();
        const QRect chevron = chevronRect(row);
        painter->drawPixmap(chevron,
                            KSTSymbolImage::pixmap(expanded ? QStringLiteral("chevron.down")
                                                            : QStringLiteral("chevron.right"),
                                                   KSTPalette::secondaryText(), ChevronSize, dpr));
    }
    const QRect box = checkBoxRect(row, category);
    const auto state = Qt::CheckState(index.data(Qt::CheckStateRole).toInt());
    paintCheckBox(painter, box, state, selectable && enabled);

    const QColor primary =
        selectable && enabled ? KSTPalette::primaryText() : KSTPalette::tertiaryText();
    const int textLeft = box.right() + 12;
    const QRect sizeRect(row.right() - 12 - SizeColumnWidth, row.top(), SizeColumnWidth,
                         row.height());
    const QString size = index.data(SizeRole).toString();
    painter->setFont(KSTStyle::font(13, category ? QFont::DemiBold : QFont::Normal));
    painter->setPen(category ? KSTPalette::primaryText() : primary);
    painter->drawText(sizeRect.adjusted(0, 1, 0, 1), Qt::AlignRight | Qt::AlignVCenter, size);

    // Name first at its natural width (up to most of the row), the location after it in the
    // secondary colour; both give way with an ellipsis.
    const int textRight = sizeRect.left() - 16;
    const int available = qMax(0, textRight - textLeft);
    const QString name = index.data(Qt::DisplayRole).toString();
    const QString location = index.data(LocationRole).toString();
    const QFont nameFont = KSTStyle::font(13, category ? QFont::DemiBold : QFont::Normal);
    const QFontMetricsF nameMetrics(nameFont);
    // Whole pixels, rounded up: a width rounded down would make the name elide itself.
    const int naturalWidth = int(std::ceil(nameMetrics.horizontalAdvance(name))) + 1;
    const int nameWidth = qMin(naturalWidth, location.isEmpty() ? available : available * 3 / 5);
    painter->setFont(nameFont);
    painter->setPen(category ? KSTPalette::primaryText() : primary);
    painter->drawText(QRect(textLeft, row.top(), nameWidth, row.height()).adjusted(0, 1, 0, 1),
                      Qt::AlignLeft | Qt::AlignVCenter,
                      nameMetrics.elidedText(name, Qt::ElideMiddle, nameWidth));
    if (!location.isEmpty()) {
        const QFont locationFont = KSTStyle::font(12);
        const QFontMetricsF locationMetrics(locationFont);
        const int locationLeft = textLeft + nameWidth + 12;
        const int locationWidth = qMax(0, textRight - locationLeft);
        painter->setFont(locationFont);
        painter->setPen(KSTPalette::secondaryText());
        painter->drawText(
            QRect(locationLeft, row.top(), locationWidth, row.height()).adjusted(0, 1, 0, 1),
            Qt::AlignLeft | Qt::AlignVCenter,
            locationMetrics.elidedText(location, Qt::ElideMiddle, locationWidth));
    }
    if (!category) {
        // A hairline under each item, starting at the text as the Mac's lists draw it.
        painter->fillRect(QRect(textLeft, row.bottom(), row.right() - textLeft - 12, 1),
                          KSTPalette::separator());
    }
    painter->restore();
}

void KSTCleanUpReviewDelegate::paintCheckBox(QPainter *painter, const QRect &box,
                                             Qt::CheckState state, bool enabled) const
{
    const QRectF frame = QRectF(box).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(frame, 4, 4);
    const bool ticked = state != Qt::Unchecked;
    if (!enabled) {
        painter->fillPath(path, KSTPalette::trackFill());
        return;
    }
    if (!ticked) {
        painter->fillPath(path, KSTPalette::cardBackground());
        QColor border = KSTPalette::secondaryText();
        border.setAlpha(150);
        painter->setPen(QPen(border, 1));
        painter->drawPath(path);
        return;
    }
    painter->fillPath(path, KSTPalette::accent());
    const QString mark =
        state == Qt::Checked ? QStringLiteral("checkmark") : QStringLiteral("minus");
    const qreal dpr = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
    painter->drawPixmap(box.adjusted(2, 2, -2, -2),
                        KSTSymbolImage::pixmap(mark, Qt::white, BoxSize - 4, dpr));
}
