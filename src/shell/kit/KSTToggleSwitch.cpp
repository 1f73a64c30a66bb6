#include "KSTToggleSwitch.h"

#include "KSTPalette.h"

#include <QPainter>
#include <QPainterPath>

KSTToggleSwitch::KSTToggleSwitch(QWidget *parent) : QAbstractButton(parent)
{
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    setFixedSize(sizeHint());
    setFocusPolicy(Qt::TabFocus);
}

QSize KSTToggleSwitch::sizeHint() const
{
    return {38, 22};
}

void KSTToggleSwitch::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(1, 1, -1, -1);
    QPainterPath trackPath;
    trackPath.addRoundedRect(track, track.height() / 2, track.height() / 2);
    QColor trackColor =
        isChecked() ? KSTPalette::color(QStringLiteral("emerald")) : KSTPalette::trackFill();
    if (!isEnabled())
        trackColor.setAlphaF(trackColor.alphaF() * 0.5);
    painter.fillPath(trackPath, trackColor);
    if (!isChecked()) {
        painter.setPen(QPen(KSTPalette::cardBorder(), 1));
        painter.drawPath(trackPath);
    }

    const qreal knobSize = track.height() - 4;
    const qreal knobX = isChecked() ? track.right() - 2 - knobSize : track.left() + 2;
    const QRectF knob(knobX, track.top() + 2, knobSize, knobSize);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 40));
    painter.drawEllipse(knob.translated(0, 0.8));
    painter.setBrush(Qt::white);
    painter.drawEllipse(knob);
    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(KSTPalette::accent(), 2));
        painter.drawPath(trackPath);
    }
}
