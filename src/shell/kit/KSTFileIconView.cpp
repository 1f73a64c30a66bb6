#include "KSTFileIconView.h"

#include "KSTIconLoader.h"
#include "KSTPalette.h"
#include "KSTSymbolImage.h"

#include <QPainter>

KSTFileIconView::KSTFileIconView(const QString &iconPath, const QString &symbolName,
                                 const QString &colorName, int iconSize, QWidget *parent)
    : QWidget(parent), m_iconPath(iconPath), m_symbolName(symbolName), m_colorName(colorName),
      m_iconSize(iconSize)
{
    setFixedSize(sizeHint());
    setAttribute(Qt::WA_TransparentForMouseEvents);
    if (!iconPath.isEmpty()) {
        setToolTip(Qt::convertFromPlainText(iconPath));
        connect(&KSTIconLoader::shared(), &KSTIconLoader::iconLoaded, this,
                &KSTFileIconView::iconLoaded);
    }
}

void KSTFileIconView::iconLoaded(const QString &path)
{
    if (path != m_iconPath)
        return;
    m_loaded = false;
    update();
}

QSize KSTFileIconView::sizeHint() const
{
    return {m_iconSize, m_iconSize};
}

void KSTFileIconView::paintEvent(QPaintEvent *)
{
    // Read only once the view is drawn: rows scrolled out of sight cost nothing.
    if (!m_loaded) {
        KSTIconLoader &loader = KSTIconLoader::shared();
        m_icon = loader.iconForFile(m_iconPath);
        // While the file is read the symbol stands in; iconLoaded() asks again.
        m_loaded = !loader.isLoading(m_iconPath);
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (!m_icon.isNull()) {
        m_icon.paint(&painter, rect());
        return;
    }
    const QColor color =
        m_colorName.isEmpty() ? KSTPalette::secondaryText() : KSTPalette::color(m_colorName);
    painter.drawPixmap(
        0, 0, KSTSymbolImage::pixmap(m_symbolName, color, m_iconSize, devicePixelRatioF()));
}
