#include "KSTBusyIndicator.h"

#include "KSTPalette.h"

#include <QPainter>

KSTBusyIndicator::KSTBusyIndicator(int diameter, QWidget *parent)
    : QWidget(parent), m_diameter(diameter)
{
    setFixedSize(sizeHint());
    setAttribute(Qt::WA_TransparentForMouseEvents);
    m_timer.setInterval(40);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_angle = (m_angle + 30) % 360;
        update();
    });
    hide();
}

void KSTBusyIndicator::setRunning(bool running)
{
    m_running = running;
    setVisible(running);
    if (!running)
        m_timer.stop();
    else if (isVisible())
        m_timer.start();
}

QSize KSTBusyIndicator::sizeHint() const
{
    return {m_diameter, m_diameter};
}

void KSTBusyIndicator::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal pen = qMax(2.0, m_diameter / 8.0);
    const QRectF circle = QRectF(rect()).adjusted(pen / 2, pen / 2, -pen / 2, -pen / 2);
    painter.setPen(QPen(KSTPalette::trackFill(), pen));
    painter.drawEllipse(circle);
    painter.setPen(QPen(KSTPalette::accent(), pen, Qt::SolidLine, Qt::RoundCap));
    // Qt counts sixteenths of a degree, counter-clockwise; a quarter-turn arc that moves
    // clockwise reads as the familiar spinner.
    painter.drawArc(circle, (90 - m_angle) * 16, -100 * 16);
}

void KSTBusyIndicator::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_running)
        m_timer.start();
}

void KSTBusyIndicator::hideEvent(QHideEvent *event)
{
    m_timer.stop();
    QWidget::hideEvent(event);
}
