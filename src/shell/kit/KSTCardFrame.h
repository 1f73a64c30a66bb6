#pragma once

#include <QWidget>

/// A rounded card on the content background: the container of every group of figures.
/// Paints itself from the palette, so it follows the appearance without a style sheet.
class KSTCardFrame : public QWidget
{
    Q_OBJECT

public:
    explicit KSTCardFrame(QWidget *parent = nullptr);

    /// A tinted card (the named palette colour at low opacity) instead of the plain surface.
    void setTintColorName(const QString &colorName);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_tintColorName;
};
