#include "KSTNavRowView.h"

#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"

#include <QFontMetrics>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int RowHeight = 32;
constexpr int SymbolSize = 17;

} // namespace

KSTNavRowView::KSTNavRowView(int sectionIndex, const QString &title, const QString &symbolName,
                             QWidget *parent)
    : QWidget(parent), m_sectionIndex(sectionIndex), m_title(title), m_symbolName(symbolName)
{
    setAttribute(Qt::WA_Hover);
    setCursor(Qt::PointingHandCursor);
    setFixedHeight(RowHeight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(title);
}

void KSTNavRowView::setSelected(bool selected)
{
    if (m_selected == selected)
        return;
    m_selected = selected;
    update();
}

void KSTNavRowView::setBadgeText(const QString &text)
{
    m_badgeText = text;
    update();
}

void KSTNavRowView::setBadgeVisible(bool visible)
{
    if (m_badgeVisible == visible)
        return;
    m_badgeVisible = visible;
    update();
}

QSize KSTNavRowView::sizeHint() const
{
    return {200, RowHeight};
}

void KSTNavRowView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    event->accept();
    Q_EMIT activated(m_sectionIndex);
}

void KSTNavRowView::enterEvent(QEnterEvent *event)
{
    m_hovered = true;
    update();
    QWidget::enterEvent(event);
}

void KSTNavRowView::leaveEvent(QEvent *event)
{
    m_hovered = false;
    update();
    QWidget::leaveEvent(event);
}

void KSTNavRowView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_selected || m_hovered) {
        QPainterPath background;
        background.addRoundedRect(QRectF(rect()), 7, 7);
        painter.fillPath(background,
                         m_selected ? KSTPalette::selectionFill() : KSTPalette::hoverFill());
    }

    const int left = 10;
    const QColor symbolColor = KSTPalette::accent();
    const QPixmap symbol =
        KSTSymbolImage::pixmap(m_symbolName, symbolColor, SymbolSize, devicePixelRatioF());
    painter.drawPixmap(QPointF(left, (height() - SymbolSize) / 2.0), symbol);

    int right = width() - 10;
    if (m_badgeVisible && !m_badgeText.isEmpty()) {
        const QFont badgeFont = KSTStyle::font(10, QFont::Bold);
        const QFontMetrics metrics(badgeFont);
        const int badgeWidth = metrics.horizontalAdvance(m_badgeText) + 12;
        const QRectF badge(right - badgeWidth, (height() - 16) / 2.0, badgeWidth, 16);
        QPainterPath pill;
        pill.addRoundedRect(badge, 8, 8);
        painter.fillPath(pill, KSTPalette::color(QStringLiteral("emerald")));
        painter.setFont(badgeFont);
        painter.setPen(Qt::white);
        painter.drawText(badge, Qt::AlignCenter, m_badgeText);
        right = int(badge.left()) - 6;
    }

    const QFont titleFont = KSTStyle::font(13, m_selected ? QFont::DemiBold : QFont::Normal);
    painter.setFont(titleFont);
    painter.setPen(KSTPalette::primaryText());
    const int textLeft = left + SymbolSize + 10;
    const QRect textRect(textLeft, 0, qMax(0, right - textLeft), height());
    painter.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft,
                     QFontMetrics(titleFont).elidedText(m_title, Qt::ElideRight, textRect.width()));
}
