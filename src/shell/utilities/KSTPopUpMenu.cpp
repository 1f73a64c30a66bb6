#include "KSTPopUpMenu.h"

#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolImage.h"

#include <QPainter>
#include <QPainterPath>

namespace {
constexpr int ChevronSize = 12;
constexpr int ChevronRoom = 26;
} // namespace

KSTPopUpMenu::KSTPopUpMenu(QWidget *parent) : QComboBox(parent)
{
    setFont(KSTStyle::font(12));
    setCursor(Qt::PointingHandCursor);
    setMinimumHeight(28);
}

void KSTPopUpMenu::showPopup()
{
    Q_EMIT popupAboutToShow();
    QComboBox::showPopup();
}

void KSTPopUpMenu::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    painter.fillPath(path, underMouse() && isEnabled() ? KSTPalette::hoverFill()
                                                       : KSTPalette::cardBackground());
    painter.setPen(QPen(hasFocus() ? KSTPalette::accent() : KSTPalette::separator(), 1));
    painter.drawPath(path);

    const QRect textRect = rect().adjusted(10, 0, -ChevronRoom, 0);
    painter.setPen(isEnabled() ? KSTPalette::primaryText() : KSTPalette::tertiaryText());
    painter.setFont(font());
    painter.drawText(
        textRect, Qt::AlignVCenter | Qt::AlignLeft,
        painter.fontMetrics().elidedText(currentText(), Qt::ElideRight, textRect.width()));
    const QPixmap chevron =
        KSTSymbolImage::pixmap(QStringLiteral("chevron.down"), KSTPalette::secondaryText(),
                               ChevronSize, devicePixelRatioF());
    painter.drawPixmap(width() - ChevronRoom + (ChevronRoom - ChevronSize) / 2 - 2,
                       (height() - ChevronSize) / 2, chevron);
}
