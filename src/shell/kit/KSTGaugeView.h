#pragma once

#include <QWidget>

/// A ring gauge for a fraction (memory, processor): the filled arc in a palette colour over a
/// track, the percentage in the middle and a caption below it.
class KSTGaugeView : public QWidget
{
    Q_OBJECT

public:
    explicit KSTGaugeView(const QString &colorName, QWidget *parent = nullptr);

    /// @p fraction is clamped to [0, 1].
    void setFraction(double fraction);
    double fraction() const { return m_fraction; }
    /// The text in the middle ("42%").
    QString centerText() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_colorName;
    double m_fraction = 0;
};
