#include "KSTReporterBarChart.h"

#include "KSTPalette.h"
#include "KSTStyle.h"

#include <QHelpEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>

#include <algorithm>

namespace {

constexpr int LabelHeight = 18;
constexpr int LabelGap = 6;
constexpr int LegendHeight = 22;
constexpr int LegendDot = 8;
constexpr qreal BarGap = 4;
constexpr qreal MaximumBarWidth = 22;
// A day with nothing still shows where its bar would stand.
constexpr qreal MinimumBarHeight = 3;

} // namespace

KSTReporterBarChart::KSTReporterBarChart(QWidget *parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    connect(&KSTPalette::instance(), &KSTPalette::appearanceChanged, this,
            qOverload<>(&QWidget::update));
}

void KSTReporterBarChart::setSeries(const QList<Series> &series, const QStringList &labels)
{
    m_series = series;
    m_labels = labels;
    update();
}

void KSTReporterBarChart::setGroupToolTips(const QStringList &toolTips)
{
    m_toolTips = toolTips;
}

QSize KSTReporterBarChart::sizeHint() const
{
    return {320, 150};
}

QSize KSTReporterBarChart::minimumSizeHint() const
{
    return {160, 90};
}

QRectF KSTReporterBarChart::groupRect(qsizetype index) const
{
    const qreal top = hasLegend() ? LegendHeight : 0;
    const qreal width = qreal(rect().width()) / qreal(std::max<qsizetype>(1, m_labels.size()));
    return {index * width, top, width, qreal(rect().height()) - top};
}

bool KSTReporterBarChart::hasLegend() const
{
    return std::any_of(m_series.begin(), m_series.end(),
                       [](const Series &series) { return !series.name.isEmpty(); });
}

void KSTReporterBarChart::paintLegend(QPainter &painter) const
{
    const QFontMetrics metrics(painter.font());
    qreal right = width();
    for (auto series = m_series.crbegin(); series != m_series.crend(); ++series) {
        if (series->name.isEmpty())
            continue;
        const qreal textWidth = metrics.horizontalAdvance(series->name);
        painter.setPen(KSTPalette::secondaryText());
        painter.drawText(QRectF(right - textWidth, 0, textWidth, LegendDot + 6),
                         Qt::AlignRight | Qt::AlignVCenter, series->name);
        right -= textWidth + 5 + LegendDot;
        painter.setPen(Qt::NoPen);
        painter.setBrush(KSTPalette::color(series->colorName));
        painter.drawEllipse(QRectF(right, 3, LegendDot, LegendDot));
        right -= 14;
    }
}

void KSTReporterBarChart::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(KSTStyle::font(11, QFont::Medium));
    if (hasLegend())
        paintLegend(painter);
    const qreal plotTop = hasLegend() ? LegendHeight : 0;
    const qreal plotHeight = std::max<qreal>(10, height() - plotTop - LabelHeight - LabelGap);
    const qreal baseline = plotTop + plotHeight;

    // A faint base line and a half-way guide, so short bars read against the whole.
    painter.setPen(QPen(KSTPalette::separator(), 1));
    painter.drawLine(QPointF(0, baseline + 0.5), QPointF(width(), baseline + 0.5));
    painter.setPen(QPen(KSTPalette::separator(), 1, Qt::DotLine));
    painter.drawLine(QPointF(0, plotTop + plotHeight / 2),
                     QPointF(width(), plotTop + plotHeight / 2));

    const qsizetype bars = std::max<qsizetype>(1, m_series.size());
    for (qsizetype day = 0; day < m_labels.size(); ++day) {
        const QRectF group = groupRect(day);
        const qreal barWidth =
            std::min(MaximumBarWidth, (group.width() * 0.6 - BarGap * (bars - 1)) / bars);
        const qreal span = barWidth * bars + BarGap * (bars - 1);
        qreal x = group.center().x() - span / 2;
        for (const Series &series : m_series) {
            if (day < series.fractions.size()) {
                const double fraction = std::clamp(series.fractions.at(day), 0.0, 1.0);
                const qreal height = std::max(MinimumBarHeight, plotHeight * fraction);
                QPainterPath bar;
                bar.addRoundedRect(QRectF(x, baseline - height, barWidth, height), 3, 3);
                painter.fillPath(bar, KSTPalette::color(series.colorName));
            }
            x += barWidth + BarGap;
        }
        // Today, the last day, is named in the primary colour.
        painter.setPen(day + 1 == m_labels.size() ? KSTPalette::primaryText()
                                                  : KSTPalette::tertiaryText());
        painter.drawText(QRectF(group.x(), baseline + LabelGap, group.width(), LabelHeight),
                         Qt::AlignHCenter | Qt::AlignTop, m_labels.at(day));
    }
}

bool KSTReporterBarChart::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto *help = static_cast<QHelpEvent *>(event);
        for (qsizetype day = 0; day < m_labels.size() && day < m_toolTips.size(); ++day) {
            if (groupRect(day).contains(help->pos()) && !m_toolTips.at(day).isEmpty()) {
                QToolTip::showText(help->globalPos(), m_toolTips.at(day), this);
                return true;
            }
        }
        QToolTip::hideText();
        event->ignore();
        return true;
    }
    return QWidget::event(event);
}
