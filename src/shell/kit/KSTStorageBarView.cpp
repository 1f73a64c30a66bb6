#include "KSTStorageBarView.h"

#include "KSTPalette.h"

#include <QPainter>
#include <QPainterPath>

KSTStorageBarView::KSTStorageBarView(QWidget *parent) : QWidget(parent)
{
    setMinimumHeight(sizeHint().height());
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void KSTStorageBarView::setSegments(const QList<Segment> &segments, quint64 totalBytes)
{
    m_segments = segments;
    m_totalBytes = totalBytes;
    update();
}

QSize KSTStorageBarView::sizeHint() const
{
    return {400, 18};
}

void KSTStorageBarView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bar = QRectF(rect()).adjusted(0, 1, 0, -1);
    QPainterPath clip;
    clip.addRoundedRect(bar, bar.height() / 2, bar.height() / 2);
    painter.fillPath(clip, KSTPalette::trackFill());
    painter.setClipPath(clip);

    quint64 sum = 0;
    for (const Segment &segment : m_segments)
        sum += segment.bytes;
    const double scale = qMax<double>(double(m_totalBytes), double(sum));
    if (scale <= 0)
        return;
    double x = bar.left();
    for (const Segment &segment : m_segments) {
        const double width = bar.width() * double(segment.bytes) / scale;
        if (width <= 0)
            continue;
        painter.fillRect(QRectF(x, bar.top(), width, bar.height()),
                         KSTPalette::color(segment.colorName));
        x += width;
        // A hairline between neighbours keeps two similar colours apart.
        painter.fillRect(QRectF(x - 1, bar.top(), 1, bar.height()), KSTPalette::cardBackground());
    }
}
