#include "KSTGaugeView.h"

#include "KSTPalette.h"
#include "KSTStyle.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

KSTGaugeView::KSTGaugeView(const QString &colorName, QWidget *parent)
    : QWidget(parent), m_colorName(colorName)
{
    setFixedSize(sizeHint());
}

void KSTGaugeView::setFraction(double fraction)
{
    const double clamped = std::isfinite(fraction) ? std::clamp(fraction, 0.0, 1.0) : 0.0;
    if (clamped == m_fraction)
        return;
    m_fraction = clamped;
    update();
}

QString KSTGaugeView::centerText() const
{
    return QString::number(std::lround(m_fraction * 100.0)) + QLatin1Char('%');
}

QSize KSTGaugeView::sizeHint() const
{
    return {96, 96};
}

void KSTGaugeView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal line = 9;
    const qreal side = qMin(width(), height()) - line;
    const QRectF ring((width() - side) / 2.0, (height() - side) / 2.0, side, side);

    QPen track(KSTPalette::trackFill(), line, Qt::SolidLine, Qt::RoundCap);
    painter.setPen(track);
    painter.drawArc(ring, 0, 360 * 16);
    if (m_fraction > 0) {
        QPen fill(KSTPalette::color(m_colorName), line, Qt::SolidLine, Qt::RoundCap);
        painter.setPen(fill);
        // Clockwise from twelve o'clock; a sliver still shows for a small non-zero share.
        const int span = -qMax(2 * 16, int(std::lround(m_fraction * 360.0 * 16.0)));
        painter.drawArc(ring, 90 * 16, span);
    }

    painter.setPen(KSTPalette::primaryText());
    painter.setFont(KSTStyle::font(20, QFont::DemiBold));
    painter.drawText(rect(), Qt::AlignCenter, centerText());
}
