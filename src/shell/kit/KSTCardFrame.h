#pragma once

#include <QWidget>

class QHBoxLayout;

/// A rounded card on the content background: the container of every group of figures.
/// Paints itself from the palette, so it follows the appearance without a style sheet.
class KSTCardFrame : public QWidget
{
    Q_OBJECT

public:
    explicit KSTCardFrame(QWidget *parent = nullptr);

    /// A tinted card (the named palette colour at low opacity) instead of the plain surface.
    void setTintColorName(const QString &colorName);

    /// A card's header row, for the caller to put into the card's layout: a symbol of
    /// @p symbolSize in the palette colour @p colorName (the secondary text colour when empty;
    /// no symbol when @p symbolName is empty), the title in the KSTStyle role @p role, then a
    /// stretch, so that whatever the caller adds next sits at the right edge. The widgets are
    /// children of @p card.
    static QHBoxLayout *headerRow(QWidget *card, const QString &title, const char *role,
                                  const QString &symbolName = {}, const QString &colorName = {},
                                  int symbolSize = 16, int spacing = 8);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_tintColorName;
};
