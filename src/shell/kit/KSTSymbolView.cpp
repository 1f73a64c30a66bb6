#include "KSTSymbolView.h"

#include "KSTPalette.h"
#include "KSTSymbolImage.h"

#include <QPainter>
#include <QPainterPath>

KSTSymbolView::KSTSymbolView(const QString &symbolName, const QString &colorName, int symbolSize,
                             QWidget *parent)
    : QWidget(parent), m_symbolName(symbolName), m_colorName(colorName), m_symbolSize(symbolSize)
{
    setFixedSize(sizeHint());
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void KSTSymbolView::setSymbolName(const QString &symbolName)
{
    if (m_symbolName == symbolName)
        return;
    m_symbolName = symbolName;
    update();
}

void KSTSymbolView::setColorName(const QString &colorName)
{
    if (m_colorName == colorName)
        return;
    m_colorName = colorName;
    update();
}

void KSTSymbolView::setTile(int tileSize)
{
    m_tileSize = tileSize;
    setFixedSize(sizeHint());
    update();
}

QSize KSTSymbolView::sizeHint() const
{
    const int side = qMax(m_symbolSize, m_tileSize);
    return {side, side};
}

void KSTSymbolView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color =
        m_colorName.isEmpty() ? KSTPalette::secondaryText() : KSTPalette::color(m_colorName);
    if (m_tileSize > 0) {
        QColor tile = color;
        tile.setAlpha(KSTPalette::isDark() ? 52 : 36);
        QPainterPath path;
        const QRectF tileRect((width() - m_tileSize) / 2.0, (height() - m_tileSize) / 2.0,
                              m_tileSize, m_tileSize);
        path.addRoundedRect(tileRect, m_tileSize * 0.28, m_tileSize * 0.28);
        painter.fillPath(path, tile);
    }
    const QPixmap symbol =
        KSTSymbolImage::pixmap(m_symbolName, color, m_symbolSize, devicePixelRatioF());
    painter.drawPixmap(QPointF((width() - m_symbolSize) / 2.0, (height() - m_symbolSize) / 2.0),
                       symbol);
}
