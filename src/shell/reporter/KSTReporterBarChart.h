#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QWidget>

/// A small column chart of days: one group of bars per day, one bar per series (the disk
/// chart has one series, the network chart two), each as tall as its fraction (0..1) of the
/// plot's height, with the day's label under the group, and a legend of the named series above
/// the plot. It draws what it is given and computes nothing; values outside 0..1 are drawn at
/// the nearest end.
class KSTReporterBarChart : public QWidget
{
    Q_OBJECT

public:
    struct Series
    {
        QString colorName; ///< a named palette colour
        QList<double> fractions;
        QString name; ///< shown in the legend; no legend when no series has a name
    };

    explicit KSTReporterBarChart(QWidget *parent = nullptr);

    /// One group per label; a series shorter than the labels leaves its missing bars out.
    void setSeries(const QList<Series> &series, const QStringList &labels);
    /// Tool tips of the day groups, in label order (an empty text: none).
    void setGroupToolTips(const QStringList &toolTips);

    const QList<Series> &series() const { return m_series; }
    const QStringList &labels() const { return m_labels; }
    const QStringList &groupToolTips() const { return m_toolTips; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    bool event(QEvent *event) override;

private:
    // The area of day @p index's group (bars and label).
    QRectF groupRect(qsizetype index) const;
    bool hasLegend() const;
    // Draws the legend right-aligned in the top strip.
    void paintLegend(QPainter &painter) const;

    QList<Series> m_series;
    QStringList m_labels;
    QStringList m_toolTips;
};
