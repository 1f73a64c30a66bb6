#pragma once

#include <QWidget>

/// One symbol (KSTSymbolImage) drawn in a palette colour, optionally on a rounded tile of the
/// same colour: the icons of rows, cards and buttons. Repaints in the current appearance.
class KSTSymbolView : public QWidget
{
    Q_OBJECT

public:
    /// @p colorName is a named palette colour, or empty for the secondary text colour.
    KSTSymbolView(const QString &symbolName, const QString &colorName, int symbolSize,
                  QWidget *parent = nullptr);

    void setSymbolName(const QString &symbolName);
    QString symbolName() const { return m_symbolName; }
    void setColorName(const QString &colorName);
    /// Draws the symbol centred on a rounded tile @p tileSize square, tinted with the colour.
    void setTile(int tileSize);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_symbolName;
    QString m_colorName;
    int m_symbolSize;
    int m_tileSize = 0;
};
