#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>
#include <QStringList>

/// The symbol names the window uses ("sparkles", "trash.fill", "shield.fill", …; the names
/// of the platform's symbol set, as the engines' records carry them) drawn from the SVG icons
/// bundled under :/icons (resources/icons, their licence and the table of names there).
///
/// Icons are line drawings in one colour; each is recoloured when drawn, so a symbol follows
/// the palette. Main thread only (rendering uses the GUI).
class KSTSymbolImage
{
public:
    /// Every symbol name that has an icon.
    static QStringList knownSymbolNames();
    /// The resource path of @p symbolName's icon (":/icons/sparkles.svg"); the "circle" icon
    /// for a name without one.
    static QString resourcePathForSymbol(const QString &symbolName);
    /// The icon drawn in @p color, @p logicalSize pixels square at @p devicePixelRatio. Cached.
    static QPixmap pixmap(const QString &symbolName, const QColor &color, int logicalSize,
                          qreal devicePixelRatio = 1.0);
    /// The SVG text of @p symbolName with every "currentColor" replaced by @p color.
    static QByteArray recoloredSvg(const QString &symbolName, const QColor &color);
    /// The application's icon (a bird on a blue tile).
    static QIcon applicationIcon();
};
