#include "KSTCardFrame.h"

#include "KSTPalette.h"
#include "KSTStyle.h"
#include "KSTSymbolView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>

KSTCardFrame::KSTCardFrame(QWidget *parent) : QWidget(parent) {}

void KSTCardFrame::setTintColorName(const QString &colorName)
{
    m_tintColorName = colorName;
    update();
}

QHBoxLayout *KSTCardFrame::headerRow(QWidget *card, const QString &title, const char *role,
                                     const QString &symbolName, const QString &colorName,
                                     int symbolSize, int spacing)
{
    auto *row = new QHBoxLayout;
    row->setSpacing(spacing);
    if (!symbolName.isEmpty())
        row->addWidget(new KSTSymbolView(symbolName, colorName, symbolSize, card));
    row->addWidget(KSTStyle::label(title, role, card));
    row->addStretch(1);
    return row;
}

void KSTCardFrame::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(frame, 12, 12);
    painter.fillPath(path, KSTPalette::cardBackground());
    if (!m_tintColorName.isEmpty()) {
        QColor tint = KSTPalette::color(m_tintColorName);
        tint.setAlpha(KSTPalette::isDark() ? 40 : 22);
        painter.fillPath(path, tint);
    }
    painter.setPen(QPen(KSTPalette::cardBorder(), 1));
    painter.drawPath(path);
}
